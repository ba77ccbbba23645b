#include "memo_header_info.h"

namespace vgx {
namespace {

constexpr std::size_t kFptHeaderFields = 8;
constexpr std::size_t kDbt3HeaderFields = 4;
constexpr std::size_t kDbt4HeaderFields = 22;
constexpr uint32_t kDbt3BlockSize = 512;

uint32_t load_u32be(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}
uint32_t load_u32le(const uint8_t* p) {
  return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
uint16_t load_u16le(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

// A dBASE IV header keeps a multiple of 512 at bytes 20-21; a dBASE III one leaves them zero.
MemoKind guess_dbt_kind(std::span<const uint8_t> bytes) {
  if (bytes.size() < kDbt4HeaderFields) return MemoKind::dbt3;
  const uint16_t size = load_u16le(&bytes[20]);
  return size != 0 && size % 512 == 0 ? MemoKind::dbt4 : MemoKind::dbt3;
}

}  // namespace

const char* memo_extension(MemoKind kind) { return kind == MemoKind::fpt ? "FPT" : "DBT"; }

const char* memo_layout_name(MemoKind kind) {
  switch (kind) {
    case MemoKind::fpt: return "FoxPro";
    case MemoKind::dbt3: return "dBASE III";
    case MemoKind::dbt4: return "dBASE IV";
    case MemoKind::dbt_guess: break;
  }
  return "dBASE";
}

std::optional<MemoHeaderInfo> parse_memo_header(MemoKind kind, std::span<const uint8_t> bytes) {
  if (kind == MemoKind::dbt_guess) kind = guess_dbt_kind(bytes);
  MemoHeaderInfo info;
  info.kind = kind;
  switch (kind) {
    case MemoKind::fpt:
      if (bytes.size() < kFptHeaderFields) return std::nullopt;
      info.next_free_block = load_u32be(&bytes[0]);
      info.block_size = static_cast<uint32_t>((bytes[6] << 8) | bytes[7]);
      return info;
    case MemoKind::dbt3:
      if (bytes.size() < kDbt3HeaderFields) return std::nullopt;
      info.next_free_block = load_u32le(&bytes[0]);
      info.block_size = kDbt3BlockSize;
      return info;
    case MemoKind::dbt4:
      if (bytes.size() < kDbt4HeaderFields) return std::nullopt;
      info.next_free_block = load_u32le(&bytes[0]);
      info.block_size = load_u16le(&bytes[20]);
      return info;
    case MemoKind::dbt_guess: break;
  }
  return std::nullopt;
}

}  // namespace vgx
