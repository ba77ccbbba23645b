// Writing a fuzz input to the file the engine then opens.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "io/file.h"

namespace vgx_fuzz {

// Writes a new file: cutting an existing one to zero makes the file system
// flush it, which costs more than everything a run does with the file.
inline bool write_whole(const std::string& path, const uint8_t* data, size_t size) {
  unlink(path.c_str());
  std::unique_ptr<xbase::io::File> f;
  if (!xbase::io::FileSystem::posix().open(path, xbase::io::OpenMode::kCreate, &f)) return false;
  return size == 0 || f->write_at(0, data, size).is_ok();
}

}  // namespace vgx_fuzz
