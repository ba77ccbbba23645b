// What the engine's tests share: a temporary folder that goes away with its
// owner, whole files as bytes, field lists for d4create, and an engine
// context closed with its scope.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "vgxbase/xbase.h"

namespace test_files {

namespace fs = std::filesystem;

class TempDir {
 public:
  explicit TempDir(const char* prefix = "vgx-test") {
    std::string tmpl = (fs::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
    if (mkdtemp(tmpl.data()) == nullptr) ADD_FAILURE() << "cannot make a folder " << tmpl;
    path_ = tmpl;
  }
  ~TempDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const fs::path& path() const { return path_; }
  std::string at(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

// A whole file as text or as bytes ("" or empty when it cannot be read).
inline std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}
inline std::vector<uint8_t> slurp_bytes(const fs::path& p) {
  const std::string s = slurp(p);
  return std::vector<uint8_t>(s.begin(), s.end());
}

// Writes a new file: cutting an existing one to zero makes the file system
// flush it, which costs more than everything else a test does with it.
inline void spit(const fs::path& p, const std::string& bytes) {
  fs::remove(p);
  std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
}

// Little- and big-endian words of a file's bytes.
inline uint32_t le16(const std::string& b, size_t at) {
  return uint8_t(b[at]) | uint32_t(uint8_t(b[at + 1])) << 8;
}
inline uint32_t le32(const std::string& b, size_t at) {
  return le16(b, at) | le16(b, at + 2) << 16;
}
inline uint32_t be32(const std::string& b, size_t at) {
  return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
         uint32_t(uint8_t(b[at + 2])) << 8 | uint8_t(b[at + 3]);
}

// A table file's header words and size, as another program sees them.
struct TableWords {
  uint32_t count = 0;
  uint64_t header_len = 0, record_len = 0, size = 0;
  // The whole records the file holds.
  uint64_t present() const { return size > header_len ? (size - header_len) / record_len : 0; }
};
inline TableWords table_words(const fs::path& p) {
  const std::string b = slurp(p);
  if (b.size() < 12) return {};
  return {le32(b, 4), le16(b, 8), le16(b, 10), b.size()};
}

inline FIELD4INFO fld(const char* name, int type, int len, int dec = 0, int nulls = 0) {
  return {const_cast<char*>(name), static_cast<int16_t>(type), static_cast<uint16_t>(len),
          static_cast<uint16_t>(dec), static_cast<uint16_t>(nulls)};
}

// A field list ended by the all-zero entry d4create expects.
inline std::vector<FIELD4INFO> fields(std::initializer_list<FIELD4INFO> list) {
  std::vector<FIELD4INFO> v(list);
  v.push_back(FIELD4INFO{});
  return v;
}

// One engine context of a format, errors stored and not printed.
struct Context {
  explicit Context(int format, int compatibility = 26) : c4(code4initP()) {
    code4indexFormat(c4, format);
    code4compatibility(c4, compatibility);
    code4autoOpen(c4, 0);
    code4errOff(c4, 1);
  }
  ~Context() { code4initUndo(c4); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  int error() const { return code4errorCode(c4, r4check); }
  CODE4* c4;
};

}  // namespace test_files
