// The formats the format-dependent suites run over, one row each: a format the
// engine learns to write is a row here (and its expectations a row in the
// suites' tables), not a copy of a suite.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vgxbase/xbase.h"

namespace formats {

// A table format, chosen by the context's format and compatibility.
struct Table {
  const char* name;
  int format;             // code4indexFormat
  int compatibility;      // code4compatibility
  uint8_t version;        // byte 0 of a table with a memo file
  const char* memo_ext;   // upper case
  uint32_t block_size;    // of a new memo file
  uint32_t first_block;   // the block the first memo takes
  uint32_t block_extra;   // bytes a block holds besides the value (header, terminator)
  bool later_types;       // I, Y, T, B, V, Q and nullable fields
  bool memo_big_endian() const { return std::string(memo_ext) == "FPT"; }
};

inline const std::vector<Table>& tables() {
  static const std::vector<Table> all = {{"FoxPro2", 1, 26, 0xF5, "FPT", 64, 8, 8, false},
                                         {"LaterFoxPro", 1, 30, 0x30, "FPT", 64, 8, 8, true},
                                         {"Clipper", 2, 26, 0x83, "DBT", 512, 1, 2, false},
                                         {"DbaseIV", 4, 26, 0x8B, "DBT", 512, 1, 8, false}};
  return all;
}

// An index format.
struct Index {
  const char* name;
  int format;                            // code4indexFormat
  const char* ext;                       // upper case
  std::vector<std::string> sample_exts;  // lower case, with the dot
  uint64_t lock_byte;                    // a writer's lock in a shared index file
};

inline const std::vector<Index>& indexes() {
  static const std::vector<Index> all = {{"Cdx", 1, "CDX", {".cdx", ".dcx"}, 0x7FFFFFFE}};
  return all;
}

inline void PrintTo(const Table& t, std::ostream* os) { *os << t.name; }
inline void PrintTo(const Index& i, std::ostream* os) { *os << i.name; }

// Names a parameterised test after its row.
struct Named {
  template <class T>
  std::string operator()(const testing::TestParamInfo<T>& info) const {
    return info.param.name;
  }
};

inline void use(CODE4* c4, const Table& t) {
  code4indexFormat(c4, t.format);
  code4compatibility(c4, t.compatibility);
}

}  // namespace formats
