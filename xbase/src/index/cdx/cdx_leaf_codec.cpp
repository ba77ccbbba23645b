// Compact leaves: entries of E bytes from offset 24, key bytes from the
// page end downwards (see cdx_layout.h).
#include <algorithm>
#include <cstring>
#include <string>

#include "index/cdx/cdx_layout.h"
#include "index/cdx/cdx_node_codec.h"
#include "io/endian.h"
#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::index::cdx {

namespace {

uint8_t bits_for(uint64_t value) {
  uint8_t bits = 0;
  while (value != 0) {
    ++bits;
    value >>= 1;
  }
  return bits;
}

uint64_t load_le(const uint8_t* p, size_t n) {
  uint64_t v = 0;
  for (size_t i = n; i-- > 0;) v = (v << 8) | p[i];
  return v;
}

void store_le(uint8_t* p, size_t n, uint64_t v) {
  for (size_t i = 0; i < n; ++i) {
    p[i] = static_cast<uint8_t>(v);
    v >>= 8;
  }
}

constexpr std::string_view kLeaf = "index leaf";

}  // namespace

LeafWidths leaf_widths(uint32_t key_len, uint32_t max_rec) {
  LeafWidths w;
  w.dup_bits = w.trail_bits = bits_for(key_len);
  const unsigned rec_needed = std::max<unsigned>(1, bits_for(max_rec));
  unsigned bytes = 1;
  while (bytes * 8 < rec_needed + w.dup_bits + w.trail_bits) ++bytes;
  w.entry_bytes = static_cast<uint8_t>(bytes);
  w.rec_bits = static_cast<uint8_t>(bytes * 8 - w.dup_bits - w.trail_bits);
  return w;
}

size_t CdxNodeCodec::trailing(const uint8_t* key) const {
  size_t n = key_len_;
  const uint64_t pads = 0x0101010101010101ull * pad_;
  while (n >= 8) {
    uint64_t w;
    std::memcpy(&w, key + n - 8, 8);
    if (w != pads) break;
    n -= 8;
  }
  while (n > 0 && key[n - 1] == pad_) --n;
  return key_len_ - n;
}

size_t CdxNodeCodec::shared(const uint8_t* prev, const uint8_t* key, size_t trail) const {
  const size_t limit = key_len_ - trail;
  size_t n = 0;
  while (n + 8 <= limit) {
    uint64_t a, b;
    std::memcpy(&a, prev + n, 8);
    std::memcpy(&b, key + n, 8);
    if (a != b) break;
    n += 8;
  }
  while (n < limit && prev[n] == key[n]) ++n;
  return n;
}

Status CdxNodeCodec::decode_leaf(std::span<const uint8_t> page, uint64_t at, Node* out) const {
  const uint8_t* p = page.data();
  const size_t count = io::load_u16le(p + kNodeCount);
  const uint32_t rec_mask = io::load_u32le(p + kLeafRecMask);
  const uint8_t dup_mask = p[kLeafDupMask], trail_mask = p[kLeafTrailMask];
  const uint8_t rec_bits = p[kLeafRecBits], dup_bits = p[kLeafDupBits],
                trail_bits = p[kLeafTrailBits];
  const size_t e = p[kLeafEntryBytes];
  if (count > 0) {
    if (e == 0 || e > 8) return damaged_at(kLeaf, at, "entry size " + std::to_string(e) + " is impossible");
    if (size_t{rec_bits} + dup_bits + trail_bits > e * 8)
      return damaged_at(kLeaf, at, "bit widths exceed the entry size");
    if (dup_bits > 16 || trail_bits > 16) return damaged_at(kLeaf, at, "impossible bit widths");
  }
  if (count * e > kLeafSpace)
    return damaged_at(kLeaf, at, std::to_string(count) + " entries do not fit the page");
  out->keys.resize(count * key_len_);
  out->touched();
  out->recs.resize(count);
  out->children.clear();
  const size_t entries_end = kLeafEntries + count * e;
  size_t pos = kPageSize;
  const uint8_t* prev = nullptr;
  for (size_t i = 0; i < count; ++i) {
    const uint64_t v = load_le(p + kLeafEntries + i * e, e);
    const uint32_t rec = static_cast<uint32_t>(v & rec_mask);
    const size_t dup = (v >> rec_bits) & dup_mask;
    const size_t trail = (v >> (rec_bits + dup_bits)) & trail_mask;
    if (dup + trail > key_len_)
      return damaged_at(kLeaf, at, "entry " + std::to_string(i) + " is longer than a key");
    if (dup > 0 && prev == nullptr) return damaged_at(kLeaf, at, "the first key shares bytes with no key");
    const size_t fresh = key_len_ - dup - trail;
    if (pos < entries_end + fresh) return damaged_at(kLeaf, at, "key bytes run into the entries");
    pos -= fresh;
    uint8_t* key = out->key(i);
    if (dup > 0) std::memcpy(key, prev, dup);
    std::memcpy(key + dup, p + pos, fresh);
    std::memset(key + dup + fresh, pad_, trail);
    out->recs[i] = rec;
    prev = key;
  }
  return Status::ok();
}

void CdxNodeCodec::encode_leaf(const Node& node, std::span<uint8_t> page) const {
  uint32_t max_rec = 0;
  for (uint32_t r : node.recs) max_rec = std::max(max_rec, r);
  encode_leaf_as(node, leaf_widths(key_len_, max_rec), page);
}

void CdxNodeCodec::encode_leaf_as(const Node& node, const LeafWidths& w,
                                  std::span<uint8_t> page) const {
  uint8_t* p = page.data();
  io::store_u16le(p + kNodeAttr, static_cast<uint16_t>(kAttrLeaf | (node.root ? kAttrRoot : 0)));
  io::store_u16le(p + kNodeCount, static_cast<uint16_t>(node.count()));
  io::store_u32le(p + kNodeLeft, node.left);
  io::store_u32le(p + kNodeRight, node.right);
  const size_t count = node.count();
  const size_t e = w.entry_bytes;
  size_t pos = kPageSize;
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* key = node.key(i);
    const size_t trail = trailing(key);
    const size_t dup = i == 0 ? 0 : shared(node.key(i - 1), key, trail);
    const size_t fresh = key_len_ - dup - trail;
    pos -= fresh;
    std::memcpy(p + pos, key + dup, fresh);
    const uint64_t v = uint64_t{node.recs[i]} | (uint64_t{dup} << w.rec_bits) |
                       (uint64_t{trail} << (w.rec_bits + w.dup_bits));
    store_le(p + kLeafEntries + i * e, e, v);
  }
  const size_t entries_end = kLeafEntries + count * e;
  std::memset(p + entries_end, 0, pos - entries_end);
  io::store_u16le(p + kLeafFree, static_cast<uint16_t>(pos - entries_end));
  io::store_u32le(p + kLeafRecMask, w.rec_bits >= 32 ? 0xFFFFFFFFu : (1u << w.rec_bits) - 1);
  p[kLeafDupMask] = static_cast<uint8_t>((1u << w.dup_bits) - 1);
  p[kLeafTrailMask] = static_cast<uint8_t>((1u << w.trail_bits) - 1);
  p[kLeafRecBits] = w.rec_bits;
  p[kLeafDupBits] = w.dup_bits;
  p[kLeafTrailBits] = w.trail_bits;
  p[kLeafEntryBytes] = w.entry_bytes;
}

size_t CdxNodeCodec::space_used(const Node& node) const {
  if (!node.leaf) return node.count() * (key_len_ + 8);
  uint32_t max_rec = 0;
  for (uint32_t r : node.recs) max_rec = std::max(max_rec, r);
  size_t bytes = node.count() * leaf_widths(key_len_, max_rec).entry_bytes;
  for (size_t i = 0; i < node.count(); ++i) {
    const size_t trail = trailing(node.key(i));
    const size_t dup = i == 0 ? 0 : shared(node.key(i - 1), node.key(i), trail);
    bytes += key_len_ - dup - trail;
  }
  return bytes;
}

size_t CdxNodeCodec::space_after_insert(const Node& node, size_t slot, size_t before) const {
  if (!node.leaf) return node.count() * (key_len_ + 8);
  const size_t n = node.count();
  uint32_t max_before = 0, max_after = 0;
  for (size_t i = 0; i < n; ++i) {
    max_after = std::max(max_after, node.recs[i]);
    if (i != slot) max_before = std::max(max_before, node.recs[i]);
  }
  const size_t e_before = leaf_widths(key_len_, max_before).entry_bytes;
  const size_t e_after = leaf_widths(key_len_, max_after).entry_bytes;
  // Fresh bytes of `at` following `prev` (none: first on the page).
  auto fresh = [&](const uint8_t* prev, const uint8_t* at) {
    const size_t trail = trailing(at);
    return key_len_ - trail - (prev ? shared(prev, at, trail) : 0);
  };
  const uint8_t* prev = slot > 0 ? node.key(slot - 1) : nullptr;
  const uint8_t* mine = node.key(slot);
  size_t bytes = before - (n - 1) * e_before + fresh(prev, mine);
  if (slot + 1 < n) {
    const uint8_t* next = node.key(slot + 1);
    bytes = bytes - fresh(prev, next) + fresh(mine, next);
  }
  return bytes + n * e_after;
}

size_t CdxNodeCodec::split_point(const Node& node) const {
  if (!node.leaf || node.count() < 2) return node.count() / 2;
  // Half of the packed bytes on each side; the right half's first key
  // loses its shared bytes, so count it whole.
  const size_t total = space_used(node);
  size_t used = 0;
  for (size_t i = 0; i < node.count(); ++i) {
    const size_t trail = trailing(node.key(i));
    const size_t dup = i == 0 ? 0 : shared(node.key(i - 1), node.key(i), trail);
    used += key_len_ - dup - trail + 4;
    if (used * 2 >= total) return std::clamp<size_t>(i + 1, 1, node.count() - 1);
  }
  return node.count() / 2;
}

bool CdxNodeCodec::pack(PackState& state, const uint8_t* key, uint32_t rec, bool leaf) const {
  if (!leaf) {
    if ((state.count + 1) * (key_len_ + 8) > kInteriorSpace) return false;
    ++state.count;
    return true;
  }
  const size_t trail = trailing(key);
  const size_t dup = state.count == 0 || state.prev == nullptr ? 0 : shared(state.prev, key, trail);
  const size_t fresh = key_len_ - dup - trail;
  const uint32_t max_rec = std::max(state.max_rec, rec);
  if (state.entry_bytes == 0 || max_rec > state.rec_limit) {
    const LeafWidths w = leaf_widths(key_len_, max_rec);
    state.entry_bytes = w.entry_bytes;
    state.rec_limit = w.rec_bits >= 32 ? 0xFFFFFFFFu : (1u << w.rec_bits) - 1;
  }
  const size_t e = state.entry_bytes;
  if ((state.count + 1) * e + state.bytes + fresh > kLeafSpace) {
    if (state.count > 0) {
      // The widths stay those of the records already packed.
      const LeafWidths w = leaf_widths(key_len_, state.max_rec);
      state.entry_bytes = w.entry_bytes;
      state.rec_limit = w.rec_bits >= 32 ? 0xFFFFFFFFu : (1u << w.rec_bits) - 1;
    }
    return false;
  }
  ++state.count;
  state.bytes += fresh;
  state.max_rec = max_rec;
  return true;
}

}  // namespace xbase::index::cdx
