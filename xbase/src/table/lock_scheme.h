// Where each format's products lock a shared table. The bytes lie far past
// any real data so that a lock serialises writers without blocking readers.
//
//   FoxPro   header/append 0x7FFFFFFE; record N at 0x7FFFFFFE - N; file lock
//            covers every record byte and the header byte.
//   Clipper  header/append 1 000 000 000; record N at 1 000 000 000 + N;
//            file lock from 1 000 000 001 for 1 000 000 000 bytes.
//   dBASE    header/append 0xEFFFFFFE; record N at 0xEFFFFFFE - N; file lock
//            covers the records, the header byte and 0xEFFFFFFF.
// Memo allocation locks one byte of the memo file: byte 0 for the FoxPro
// and Clipper layouts, 0xEFFFFFFE for dBASE.
#pragma once

#include <cstdint>

namespace xbase::table {

struct LockScheme {
  uint64_t header_byte = 0;
  uint64_t record_base = 0;
  bool records_descend = true;
  uint64_t file_start = 0;
  uint64_t file_len = 0;
  uint64_t memo_byte = 0;

  uint64_t record_byte(int32_t rec) const {
    return records_descend ? record_base - static_cast<uint64_t>(rec)
                           : record_base + static_cast<uint64_t>(rec);
  }
};

// format: 1 FoxPro, 2 Clipper, 4 dBASE (the engine's format bits).
inline LockScheme lock_scheme_for(int format) {
  LockScheme s;
  switch (format) {
    case 2:
      s.header_byte = 1000000000ull;
      s.record_base = 1000000000ull;
      s.records_descend = false;
      s.file_start = 1000000001ull;
      s.file_len = 1000000000ull;
      s.memo_byte = 0;
      break;
    case 4:
      s.header_byte = 0xEFFFFFFEull;
      s.record_base = 0xEFFFFFFEull;
      s.file_start = 0xEFFFFFFEull - 1000000000ull;
      s.file_len = 1000000000ull + 2;
      s.memo_byte = 0xEFFFFFFEull;
      break;
    default:
      s.header_byte = 0x7FFFFFFEull;
      s.record_base = 0x7FFFFFFEull;
      s.file_start = 0x7FFFFFFEull - 0x07FFFFFFull;
      s.file_len = 0x07FFFFFFull + 1;
      s.memo_byte = 0;
      break;
  }
  return s;
}

}  // namespace xbase::table
