// The folder `vgx demo` writes into: made fresh, or replaced when an earlier demo run made it
// (it carries a marker file); any other non-empty folder is left alone.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vgx {

inline constexpr const char* kDemoMarkerFile = ".vgx-demo";

// Leaves an empty folder holding only the marker; false with `error` set otherwise.
bool prepare_demo_folder(const std::filesystem::path& folder, std::string& error);

struct FileEntry {
  std::string name;
  std::uintmax_t size = 0;
};

// The regular files of the folder but the marker, sorted by name.
std::vector<FileEntry> list_demo_files(const std::filesystem::path& folder);

}  // namespace vgx
