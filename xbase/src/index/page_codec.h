// PageCodec: one index format's mapping between page bytes and Nodes. The
// B-tree never looks at page bytes; a codec never walks the tree.
//
// Every decoder takes the page as a span and checks each count, offset and
// length against it: damaged bytes give e4data naming the file offset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "index/node.h"
#include "util/status.h"

namespace xbase::index {

// Running totals while a bulk build fills one node entry by entry.
struct PackState {
  size_t count = 0;
  size_t bytes = 0;  // variable part of the entries so far
  uint32_t max_rec = 0;
  const uint8_t* prev = nullptr;  // the last key added
  // A codec's own memo: the entry size for record numbers up to rec_limit.
  uint32_t rec_limit = 0;
  uint32_t entry_bytes = 0;
};

class PageCodec {
 public:
  virtual ~PageCodec() = default;

  virtual uint32_t page_size() const = 0;
  virtual uint32_t key_len() const = 0;

  // Decodes the page found at byte offset `at` of the file into `out`.
  virtual Status decode(std::span<const uint8_t> page, uint64_t at, Node* out) const = 0;
  // Encodes a node that fits (see fits) into a page of page_size() bytes.
  virtual void encode(const Node& node, std::span<uint8_t> page) const = 0;

  // Bytes the node's entries take, and the room a page has for them.
  virtual size_t space_used(const Node& node) const = 0;
  virtual size_t space_total(bool leaf) const = 0;
  bool fits(const Node& node) const { return space_used(node) <= space_total(node.leaf); }
  // space_used of a node just after one entry was inserted at `slot`, given
  // what it was before; codecs whose entries depend on their neighbours
  // answer from those alone.
  virtual size_t space_after_insert(const Node& node, size_t /*slot*/, size_t /*before*/) const {
    return space_used(node);
  }

  // Where an overfull node is best cut: entries [0, k) stay, [k, n) move to
  // a new right sibling. The tree checks that both halves fit.
  virtual size_t split_point(const Node& node) const { return node.count() / 2; }

  // Adds (key, rec) to a node being filled by a bulk build when it still
  // fits; answers false and leaves the state alone when it does not.
  virtual bool pack(PackState& state, const uint8_t* key, uint32_t rec, bool leaf) const = 0;
};

}  // namespace xbase::index
