// The header of a memo file, read from its bytes: which layout it has and its block size.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vgx {

enum class MemoKind {
  fpt,         // FoxPro family: big-endian header, block size at bytes 6-7
  dbt3,        // dBASE III and Clipper: fixed 512-byte blocks
  dbt4,        // dBASE IV and later: block size at bytes 20-21
  dbt_guess,   // a .DBT whose table does not say which layout: decided from the header
};

struct MemoHeaderInfo {
  MemoKind kind = MemoKind::fpt;  // never dbt_guess
  uint32_t next_free_block = 0;
  uint32_t block_size = 0;        // 0 when the header holds none (damaged)
};

// "FPT" or "DBT".
const char* memo_extension(MemoKind kind);
// "FoxPro", "dBASE III", "dBASE IV".
const char* memo_layout_name(MemoKind kind);

// Null when the bytes are too few for the layout's header fields.
std::optional<MemoHeaderInfo> parse_memo_header(MemoKind kind, std::span<const uint8_t> bytes);

}  // namespace vgx
