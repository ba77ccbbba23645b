// Node headers and interior nodes; leaves are in cdx_leaf_codec.cpp.
#include "index/cdx/cdx_node_codec.h"

#include <cstring>
#include <string>

#include "index/cdx/cdx_layout.h"
#include "io/endian.h"
#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::index::cdx {

uint32_t CdxNodeCodec::page_size() const { return kPageSize; }

size_t CdxNodeCodec::space_total(bool leaf) const { return leaf ? kLeafSpace : kInteriorSpace; }

Status CdxNodeCodec::decode(std::span<const uint8_t> page, uint64_t at, Node* out) const {
  if (page.size() < kPageSize)
    return Status(e4data,
                  "index node at offset " + std::to_string(at) + " is cut short by the file end");
  const uint8_t* p = page.data();
  const uint16_t attr = io::load_u16le(p + kNodeAttr);
  out->page = static_cast<uint32_t>(at);
  out->leaf = (attr & kAttrLeaf) != 0;
  out->root = (attr & kAttrRoot) != 0;
  out->left = io::load_u32le(p + kNodeLeft);
  out->right = io::load_u32le(p + kNodeRight);
  out->key_len = key_len_;
  return out->leaf ? decode_leaf(page, at, out) : decode_interior(page, at, out);
}

Status CdxNodeCodec::decode_interior(std::span<const uint8_t> page, uint64_t at, Node* out) const {
  const uint8_t* p = page.data();
  const size_t count = io::load_u16le(p + kNodeCount);
  const size_t entry = key_len_ + 8;
  if (count * entry > kInteriorSpace)
    return damaged_at("index node", at, std::to_string(count) + " entries do not fit the page");
  out->keys.resize(count * key_len_);
  out->touched();
  out->recs.resize(count);
  out->children.resize(count);
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* e = p + kNodeHeader + i * entry;
    std::memcpy(out->key(i), e, key_len_);
    out->recs[i] = io::load_u32be(e + key_len_);
    out->children[i] = io::load_u32be(e + key_len_ + 4);
  }
  return Status::ok();
}

void CdxNodeCodec::encode(const Node& node, std::span<uint8_t> page) const {
  uint8_t* p = page.data();
  uint16_t attr = static_cast<uint16_t>((node.leaf ? kAttrLeaf : 0) | (node.root ? kAttrRoot : 0));
  io::store_u16le(p + kNodeAttr, attr);
  io::store_u16le(p + kNodeCount, static_cast<uint16_t>(node.count()));
  io::store_u32le(p + kNodeLeft, node.left);
  io::store_u32le(p + kNodeRight, node.right);
  if (node.leaf)
    encode_leaf(node, page);
  else
    encode_interior(node, page);
}

void CdxNodeCodec::encode_interior(const Node& node, std::span<uint8_t> page) const {
  uint8_t* p = page.data();
  const size_t entry = key_len_ + 8;
  for (size_t i = 0; i < node.count(); ++i) {
    uint8_t* e = p + kNodeHeader + i * entry;
    std::memcpy(e, node.key(i), key_len_);
    io::store_u32be(e + key_len_, node.recs[i]);
    io::store_u32be(e + key_len_ + 4, node.children[i]);
  }
  const size_t used = kNodeHeader + node.count() * entry;
  std::memset(p + used, 0, kPageSize - used);
}

}  // namespace xbase::index::cdx
