// Reads a table and its memo file the way an application does, for the table
// fuzzer and for the damaged-table tests that replay what it found.
//
// An input is one table file and one memo file in a single byte string:
//   0-3  u32le n: bytes of the table part
//   4..  n table bytes, then the memo bytes
// When n is more than what follows, the whole input is a table without a
// memo file, so that plain table files serve as inputs too.
// Both are written into a folder as T.DBF with T.FPT, then again with T.DBT,
// and each pair is opened read-only under every index format (one of them
// reading past the page cache); every field of every record is read through
// the C functions. Damaged input must end in a result code, never a fault
// or a hang.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>

#include "fuzz_files.h"
#include "io/endian.h"
#include "vgxbase/xbase.h"

namespace vgx_fuzz {

struct TableInput {
  const uint8_t* table = nullptr;
  size_t table_size = 0;
  const uint8_t* memo = nullptr;
  size_t memo_size = 0;
};

inline TableInput split_table_input(const uint8_t* data, size_t size) {
  TableInput in;
  const size_t n = size < 4 ? 0 : xbase::io::load_u32le(data);
  if (size < 4 || n > size - 4) {
    in.table = data;
    in.table_size = size;
    return in;
  }
  in.table = data + 4;
  in.table_size = n;
  in.memo = data + 4 + n;
  in.memo_size = size - 4 - n;
  return in;
}

// What one scan met: whether the table opened, the first error code a read
// answered (0 when none) and the records visited.
struct ScanResult {
  bool opened = false;
  int open_code = 0;
  int read_code = 0;
  int32_t records = 0;
};

// `on_error`, when given, sees each failed read before its code is cleared
// (the damaged-table tests read the context's message there).
inline void read_every_field(DATA4* d, CODE4* c4, ScanResult* r,
                             const std::function<void(int)>& on_error = {}) {
  const int n = d4numFields(d);
  (void)d4deleted(d);
  for (int j = 1; j <= n; ++j) {
    FIELD4* f = d4fieldJ(d, j);
    (void)f4str(f);
    (void)f4double(f);
    (void)f4long(f);
    (void)f4true(f);
    (void)f4dateTime(f);
    (void)f4null(f);
    (void)f4memoLen(f);
    (void)f4memoStr(f);
    const int code = code4errorCode(c4, r4check);
    if (code < 0 && r->read_code == 0) r->read_code = code;
    if (code < 0 && on_error) on_error(code);
    code4errorCode(c4, 0);
  }
}

// Opens `dir`/T read-only with index format `format` and reads everything;
// `cached` chooses between the page cache and reads straight from the file.
inline ScanResult scan_table(const std::string& dir, int format, bool cached) {
  ScanResult r;
  CODE4* c4 = code4initP();
  if (c4 == nullptr) return r;
  code4errOff(c4, 1);
  code4readOnly(c4, 1);
  code4optimize(c4, cached ? 1 : 0);
  code4indexFormat(c4, format);
  DATA4* d = d4open(c4, (dir + "/T").c_str());
  if (d == nullptr) {
    r.open_code = code4errorCode(c4, 0);
    code4initUndo(c4);
    return r;
  }
  r.opened = true;
  const int32_t count = d4recCount(d);
  // Forward through every record, bounded by the count in case a cursor
  // bug stops it from reaching the end.
  int rc = d4top(d);
  for (int64_t steps = 0; rc == 0 && steps <= int64_t(count); ++steps) {
    ++r.records;
    read_every_field(d, c4, &r);
    rc = d4skip(d, 1);
  }
  if (rc < 0 && r.read_code == 0) r.read_code = rc;
  // Backwards a little, and the end positions.
  if (d4bottom(d) == 0) {
    read_every_field(d, c4, &r);
    for (int i = 0; i < 3 && d4skip(d, -1) == 0; ++i) read_every_field(d, c4, &r);
  }
  if (d4go(d, count) == 0) read_every_field(d, c4, &r);
  (void)d4go(d, count + 1);
  FIELD4INFO* info = d4fieldInfo(d);
  u4freeDefault(info);
  d4close(d);
  code4initUndo(c4);
  return r;
}

// The whole treatment of one input, in `dir` (which it fills with T.*).
inline void run_table_input(const std::string& dir, const uint8_t* data, size_t size) {
  const TableInput in = split_table_input(data, size);
  const std::string dbf = dir + "/T.DBF", fpt = dir + "/T.FPT", dbt = dir + "/T.DBT";
  if (!write_whole(dbf, in.table, in.table_size)) return;
  unlink(fpt.c_str());
  unlink(dbt.c_str());
  if (in.memo == nullptr) {
    for (int format : {1, 2, 4}) (void)scan_table(dir, format, format != 2);
    return;
  }
  for (const std::string* memo : {&fpt, &dbt}) {
    unlink(fpt.c_str());
    if (!write_whole(*memo, in.memo, in.memo_size)) return;
    for (int format : {1, 2, 4}) (void)scan_table(dir, format, format != 2);
  }
}

}  // namespace vgx_fuzz
