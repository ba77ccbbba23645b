// Small file-system questions the tool asks before the engine opens anything.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vgx {

struct FilePrefix {
  std::vector<uint8_t> bytes;  // at most the requested count; fewer when the file is shorter
  std::uintmax_t file_size = 0;
};

// The first `count` bytes of a file; null with `error` set when it cannot be read.
std::optional<FilePrefix> read_file_prefix(const std::filesystem::path& path, std::size_t count,
                                           std::string& error);

// The regular file beside `table` with the same base name and the given extension, letter case
// ignored in both (tables travel between systems that ignore case), chosen as the engine chooses:
// the exact spelling, else the first by name; null when there is none.
std::optional<std::filesystem::path> find_sibling_file(const std::filesystem::path& table,
                                                       std::string_view extension);

}  // namespace vgx
