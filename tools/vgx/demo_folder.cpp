#include "demo_folder.h"

#include <algorithm>
#include <fstream>
#include <system_error>

namespace vgx {

bool prepare_demo_folder(const std::filesystem::path& folder, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const auto status = fs::symlink_status(folder, ec);
  if (fs::exists(status)) {
    if (!fs::is_directory(status)) {
      error = "'" + folder.string() + "' exists and is not a folder";
      return false;
    }
    const bool empty = fs::is_empty(folder, ec);
    if (ec) {
      error = "cannot look into '" + folder.string() + "': " + ec.message();
      return false;
    }
    if (!empty) {
      if (!fs::exists(folder / kDemoMarkerFile, ec)) {
        error = "'" + folder.string() +
                "' exists and is not empty; choose another folder with --dir, or remove it";
        return false;
      }
      fs::remove_all(folder, ec);
      if (ec) {
        error = "cannot replace the earlier demo in '" + folder.string() + "': " + ec.message();
        return false;
      }
    }
  }
  fs::create_directories(folder, ec);
  if (ec) {
    error = "cannot create '" + folder.string() + "': " + ec.message();
    return false;
  }
  std::ofstream marker(folder / kDemoMarkerFile);
  marker << "Made by 'vgx demo'; the next demo run may replace this folder.\n";
  if (!marker) {
    error = "cannot write into '" + folder.string() + "'";
    return false;
  }
  return true;
}

std::vector<FileEntry> list_demo_files(const std::filesystem::path& folder) {
  std::vector<FileEntry> files;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    if (!entry.is_regular_file(ec)) continue;
    const std::string name = entry.path().filename().string();
    if (name == kDemoMarkerFile) continue;
    files.push_back({name, entry.file_size(ec)});
  }
  std::sort(files.begin(), files.end(),
            [](const FileEntry& a, const FileEntry& b) { return a.name < b.name; });
  return files;
}

}  // namespace vgx
