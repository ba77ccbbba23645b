#include "io/file.h"

#include "vgxbase/xbase.h"

namespace xbase::io {

Status read_past_end(const std::string& path, uint64_t offset, size_t len) {
  return Status(e4read, "cannot read " + path + ": " + std::to_string(len) + " bytes at offset " +
                            std::to_string(offset) + " lie past its end");
}

Status File::read_exact(uint64_t offset, void* buf, size_t len) const {
  size_t got = 0;
  XB_TRY(read_at(offset, buf, len, &got));
  return got == len ? Status::ok() : read_past_end(path(), offset, len);
}

Status File::write_pieces_at(uint64_t offset, const iovec* pieces, int count) {
  for (int i = 0; i < count; ++i) {
    XB_TRY(write_at(offset, pieces[i].iov_base, pieces[i].iov_len));
    offset += pieces[i].iov_len;
  }
  return Status::ok();
}

std::string path_base_name(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
}

std::string path_extension(const std::string& path) {
  size_t slash = path.rfind('/');
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  if (dot == (slash == std::string::npos ? 0 : slash + 1)) return "";  // ".hidden"
  return path.substr(dot + 1);
}

std::string path_replace_extension(const std::string& path, const std::string& ext) {
  size_t slash = path.rfind('/');
  size_t dot = path.rfind('.');
  std::string stem = path;
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash + 1)) stem.resize(dot);
  return ext.empty() ? stem : stem + "." + ext;
}

}  // namespace xbase::io
