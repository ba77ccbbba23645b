#include "memo/memo_layout.h"

#include <algorithm>

#include "io/endian.h"

namespace xbase::memo {

namespace {

constexpr uint8_t kDbt4BlockMark[4] = {0xFF, 0xFF, 0x08, 0x00};
constexpr size_t kDbt3BlockSizeWordAt = 4;
constexpr size_t kDbt3VersionAt = 16;
constexpr uint8_t kDbt3Version = 0x03;

}  // namespace

size_t header_fields_len(MemoKind kind) {
  switch (kind) {
    case MemoKind::kDbt3: return kDbt3HeaderFields;
    case MemoKind::kDbt4: return kDbt4HeaderFields;
    case MemoKind::kFpt: return kFptHeaderFields;
  }
  return kDbt4HeaderFields;
}

bool valid_block_size(MemoKind kind, uint32_t block_size) {
  switch (kind) {
    case MemoKind::kDbt3: return block_size == kDbt3BlockSize;
    case MemoKind::kDbt4: return block_size >= kDbt4MinBlockSize && block_size <= kMaxBlockSize;
    case MemoKind::kFpt: return block_size >= 1 && block_size <= kMaxBlockSize;
  }
  return false;
}

uint32_t default_block_size(MemoKind kind) {
  return kind == MemoKind::kFpt ? kFptDefaultBlockSize : kDbt3BlockSize;
}

bool parse_block_size(MemoKind kind, const uint8_t* header, uint32_t* block_size,
                      const char** why) {
  switch (kind) {
    case MemoKind::kDbt3:
      *block_size = kDbt3BlockSize;
      return true;
    case MemoKind::kDbt4:
      *block_size = io::load_u16le(header + kDbt4BlockSizeAt);
      // A dBASE III-style file beside a dBASE IV table leaves the field zero;
      // its blocks are 512 bytes and its memos are read by the III rule.
      if (*block_size == 0) *block_size = kDbt4DefaultBlockSize;
      break;
    case MemoKind::kFpt:
      *block_size = io::load_u16be(header + kFptBlockSizeAt);
      break;
  }
  if (!valid_block_size(kind, *block_size)) {
    *why = *block_size == 0 ? "the header's block size is zero"
                            : "the header's block size is impossible";
    return false;
  }
  return true;
}

uint32_t first_data_block(MemoKind kind, uint32_t block_size) {
  if (kind != MemoKind::kFpt) return 1;
  return (kFptHeaderBytes + block_size - 1) / block_size;
}

std::string new_header(MemoKind kind, uint32_t block_size, std::string_view table_name) {
  std::string h(kind == MemoKind::kFpt ? kFptHeaderBytes : block_size, '\0');
  auto* b = reinterpret_cast<uint8_t*>(h.data());
  store_next_free(kind, first_data_block(kind, block_size), b);
  switch (kind) {
    case MemoKind::kDbt3:
      io::store_u32le(b + kDbt3BlockSizeWordAt, kDbt3BlockSize);
      b[kDbt3VersionAt] = kDbt3Version;
      break;
    case MemoKind::kDbt4: {
      std::string_view name = table_name.substr(0, kDbt4NameLen);
      std::fill(b + kDbt4NameAt, b + kDbt4NameAt + kDbt4NameLen, uint8_t(' '));
      std::copy(name.begin(), name.end(), h.begin() + kDbt4NameAt);
      io::store_u16le(b + kDbt4BlockSizeAt, static_cast<uint16_t>(block_size));
      break;
    }
    case MemoKind::kFpt:
      io::store_u16be(b + kFptBlockSizeAt, static_cast<uint16_t>(block_size));
      break;
  }
  return h;
}

uint32_t load_next_free(MemoKind kind, const uint8_t* word) {
  return kind == MemoKind::kFpt ? io::load_u32be(word) : io::load_u32le(word);
}

void store_next_free(MemoKind kind, uint32_t next_free, uint8_t* word) {
  if (kind == MemoKind::kFpt)
    io::store_u32be(word, next_free);
  else
    io::store_u32le(word, next_free);
}

size_t value_overhead(MemoKind kind) {
  return kind == MemoKind::kDbt3 ? kDbt3TerminatorBytes : kBlockHeaderBytes;
}

bool decode_dbt4_block(const uint8_t* b, uint32_t* total) {
  if (!std::equal(b, b + 4, kDbt4BlockMark)) return false;
  *total = io::load_u32le(b + 4);
  return true;
}

size_t encode_block_header(MemoKind kind, uint32_t type, uint64_t len, uint8_t* out) {
  switch (kind) {
    case MemoKind::kDbt3:
      return 0;
    case MemoKind::kDbt4:
      std::copy(kDbt4BlockMark, kDbt4BlockMark + 4, out);
      io::store_u32le(out + 4, static_cast<uint32_t>(len + kBlockHeaderBytes));
      return kBlockHeaderBytes;
    case MemoKind::kFpt:
      io::store_u32be(out, type);
      io::store_u32be(out + 4, static_cast<uint32_t>(len));
      return kBlockHeaderBytes;
  }
  return 0;
}

}  // namespace xbase::memo
