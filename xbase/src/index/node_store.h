// NodeStore: the pages of one tree as decoded Nodes. A format's index file
// implements it over its page cache; tests implement it in memory.
//
// Nodes handed out stay valid, and unchanged by anyone else, for as long as
// version() answers the same value: a change to the tree, a cache trim or
// another process's change seen through the file's change counter moves it.
#pragma once

#include <cstdint>

#include "index/page_codec.h"

namespace xbase::index {

class NodeStore {
 public:
  virtual ~NodeStore() = default;

  virtual const PageCodec& codec() const = 0;
  virtual uint32_t root() const = 0;
  virtual Status set_root(uint32_t page) = 0;
  virtual uint64_t version() const = 0;
  // Size of the file in bytes, bounding every page offset (and so the
  // number of pages a walk may visit).
  virtual uint64_t extent() const = 0;

  // The node at `page`; e4data when the page lies outside the file or does
  // not decode.
  virtual Status load(uint32_t page, Node** out) = 0;
  // A new empty node on a newly allocated page.
  virtual Status create(bool leaf, Node** out) = 0;
  // Records that a node handed out was changed; it is written at flush.
  virtual void changed(Node* node) = 0;
  // Gives a node's page back; the node is no longer valid.
  virtual void release(Node* node) = 0;

  // Bulk builds: a page number for a node written once with write_direct
  // and not kept in memory.
  virtual Status allocate(uint32_t* page) = 0;
  virtual Status write_direct(const Node& node) = 0;
};

}  // namespace xbase::index
