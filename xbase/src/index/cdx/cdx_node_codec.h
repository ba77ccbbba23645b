// CdxNodeCodec: the pages of one CDX tree (interior nodes and compact
// leaves, see cdx_layout.h) for keys of one length and pad byte.
#pragma once

#include "index/page_codec.h"

namespace xbase::index::cdx {

// Bit widths and entry size a compact leaf uses for its entries.
struct LeafWidths {
  uint8_t rec_bits = 0;
  uint8_t dup_bits = 0;
  uint8_t trail_bits = 0;
  uint8_t entry_bytes = 0;
};

// Widths for keys of `key_len` and record numbers up to `max_rec`: the
// duplicate and trailing counts get the bits `key_len` needs, the record
// number the rest of the fewest whole bytes that hold it.
LeafWidths leaf_widths(uint32_t key_len, uint32_t max_rec);

class CdxNodeCodec final : public PageCodec {
 public:
  CdxNodeCodec(uint32_t key_len, uint8_t pad) : key_len_(key_len), pad_(pad) {}

  uint32_t page_size() const override;
  uint32_t key_len() const override { return key_len_; }
  uint8_t pad() const { return pad_; }

  Status decode(std::span<const uint8_t> page, uint64_t at, Node* out) const override;
  void encode(const Node& node, std::span<uint8_t> page) const override;
  size_t space_used(const Node& node) const override;
  size_t space_total(bool leaf) const override;
  size_t split_point(const Node& node) const override;
  size_t space_after_insert(const Node& node, size_t slot, size_t before) const override;
  bool pack(PackState& state, const uint8_t* key, uint32_t rec, bool leaf) const override;

  // Pad bytes at the end of a key, and bytes shared with the previous key
  // on the page (limited so that shared and pad bytes never overlap).
  size_t trailing(const uint8_t* key) const;
  // Encodes a leaf with the widths given (they must hold its counts and
  // record numbers); encode() picks the smallest that do.
  void encode_leaf_as(const Node& node, const LeafWidths& widths, std::span<uint8_t> page) const;
  size_t shared(const uint8_t* prev, const uint8_t* key, size_t trail) const;

 private:
  Status decode_leaf(std::span<const uint8_t> page, uint64_t at, Node* out) const;
  Status decode_interior(std::span<const uint8_t> page, uint64_t at, Node* out) const;
  void encode_leaf(const Node& node, std::span<uint8_t> page) const;
  void encode_interior(const Node& node, std::span<uint8_t> page) const;

  uint32_t key_len_;
  uint8_t pad_;
};

}  // namespace xbase::index::cdx
