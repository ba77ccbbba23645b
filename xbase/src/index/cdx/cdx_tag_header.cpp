#include "index/cdx/cdx_tag_header.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "index/cdx/cdx_layout.h"
#include "io/endian.h"
#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::index::cdx {

namespace {

constexpr std::string_view kTagHeader = "index tag header";

// An expression of the pool: `len` bytes at `offset` with its NUL.
Status pool_text(const uint8_t* pool, size_t offset, size_t len, uint64_t at, const char* what,
                 std::string* out) {
  out->clear();
  if (len == 0) return Status::ok();
  if (offset > kPoolSize || len > kPoolSize - offset)
    return damaged_at(kTagHeader, at, std::string("the ") + what + " expression lies outside the header");
  const uint8_t* s = pool + offset;
  size_t n = 0;
  while (n < len && s[n] != 0) ++n;
  out->assign(reinterpret_cast<const char*>(s), n);
  return Status::ok();
}

}  // namespace

Status parse_tag_header(std::span<const uint8_t> bytes, uint64_t at, CdxTagHeader* out) {
  if (bytes.size() < kHeaderSize) return damaged_at(kTagHeader, at, "cut short by the end of the file");
  const uint8_t* h = bytes.data();
  CdxTagHeader t;
  t.root = io::load_u32le(h + kHdrRoot);
  t.free_list = io::load_u32le(h + kHdrFreeList);
  t.counter = io::load_u32le(h + kHdrCounter);
  t.key_len = io::load_u16le(h + kHdrKeyLen);
  t.options = h[kHdrOptions];
  t.signature = h[kHdrSignature];
  if (t.key_len == 0 || t.key_len > kMaxKeyLen)
    return damaged_at(kTagHeader, at, "key length " + std::to_string(t.key_len) + " is impossible");
  for (size_t i = 0; i < kHdrCollationLen && h[kHdrCollation + i] != 0; ++i)
    t.collation.push_back(static_cast<char>(std::toupper(h[kHdrCollation + i])));
  t.descending = io::load_u16le(h + kHdrDescending) != 0;
  const uint8_t* pool = h + kHdrPool;
  XB_TRY(pool_text(pool, io::load_u16le(h + kHdrKeyOffset), io::load_u16le(h + kHdrKeyExprLen), at,
                   "key", &t.key_expr));
  XB_TRY(pool_text(pool, io::load_u16le(h + kHdrForOffset), io::load_u16le(h + kHdrForLen), at,
                   "FOR", &t.filter));
  *out = std::move(t);
  return Status::ok();
}

Status write_tag_header(const CdxTagHeader& t, std::span<uint8_t> out) {
  uint8_t* h = out.data();
  std::memset(h, 0, kHeaderSize);
  const size_t key_len = t.key_expr.size() + 1, for_len = t.filter.size() + 1;
  if (key_len + for_len > kPoolSize)
    return Status(e4index, "the key and filter expressions are longer than an index header holds");
  io::store_u32le(h + kHdrRoot, t.root);
  io::store_u32le(h + kHdrFreeList, t.free_list);
  io::store_u32le(h + kHdrCounter, t.counter);
  io::store_u16le(h + kHdrKeyLen, t.key_len);
  h[kHdrOptions] = t.options;
  h[kHdrSignature] = t.signature;
  std::memcpy(h + kHdrCollation, t.collation.data(),
              std::min(t.collation.size(), kHdrCollationLen));
  io::store_u16le(h + kHdrDescending, t.descending ? 1 : 0);
  io::store_u16le(h + kHdrForOffset, static_cast<uint16_t>(key_len));
  io::store_u16le(h + kHdrForLen, static_cast<uint16_t>(for_len));
  io::store_u16le(h + kHdrKeyOffset, 0);
  io::store_u16le(h + kHdrKeyExprLen, static_cast<uint16_t>(key_len));
  std::memcpy(h + kHdrPool, t.key_expr.data(), t.key_expr.size());
  std::memcpy(h + kHdrPool + key_len, t.filter.data(), t.filter.size());
  return Status::ok();
}

}  // namespace xbase::index::cdx
