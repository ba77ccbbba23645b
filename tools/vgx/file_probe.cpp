#include "file_probe.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

namespace vgx {
namespace {

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

}  // namespace

std::optional<FilePrefix> read_file_prefix(const std::filesystem::path& path, std::size_t count,
                                           std::string& error) {
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) {
    error = "is a folder, not a file";
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = std::strerror(errno);
    return std::nullopt;
  }
  FilePrefix prefix;
  prefix.file_size = std::filesystem::file_size(path, ec);
  if (ec) {
    error = ec.message();
    return std::nullopt;
  }
  prefix.bytes.resize(count);
  in.read(reinterpret_cast<char*>(prefix.bytes.data()), static_cast<std::streamsize>(count));
  prefix.bytes.resize(static_cast<std::size_t>(in.gcount()));
  if (in.bad()) {
    error = "read failed";
    return std::nullopt;
  }
  return prefix;
}

std::optional<std::filesystem::path> find_sibling_file(const std::filesystem::path& table,
                                                       std::string_view extension) {
  const std::filesystem::path folder =
      table.has_parent_path() ? table.parent_path() : std::filesystem::path(".");
  const std::string stem = table.stem().string();
  const std::string wanted_ext = "." + std::string(extension);
  std::error_code ec;
  std::filesystem::directory_iterator it(folder, ec);
  if (ec) return std::nullopt;
  std::optional<std::filesystem::path> found;
  for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
    if (ec) break;
    const std::filesystem::path& candidate = it->path();
    std::error_code type_ec;
    if (!it->is_regular_file(type_ec)) continue;
    if (!equal_ignoring_case(candidate.stem().string(), stem)) continue;
    if (!equal_ignoring_case(candidate.extension().string(), wanted_ext)) continue;
    // Prefer the exact spelling when several files differ only in case; else the first by name.
    if (candidate.filename().string() == stem + wanted_ext) return candidate;
    if (!found || candidate.filename() < found->filename()) found = candidate;
  }
  if (found && table.has_parent_path()) return table.parent_path() / found->filename();
  if (found) return found->filename();
  return std::nullopt;
}

}  // namespace vgx
