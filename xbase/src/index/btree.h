// BTree: search, insert, delete (with merging of underfull nodes), bulk
// build and checking, for every format, over a NodeStore.
//
// Rules the algorithms keep:
//  1. entries are ordered by (key, record); no entry appears twice;
//  2. an interior entry holds its child's highest entry and its page;
//  3. a node is never empty unless it is the root (an empty tree is one
//     empty root leaf);
//  4. siblings on each level are linked left and right in key order;
//  5. a node's page holds it entirely (the codec says what fits).
// A descent deeper than kMaxDepth is reported as damage: it also stops a
// cycle of child pointers.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "index/node_store.h"

namespace xbase::index {

inline constexpr int kMaxDepth = 24;

// What a search looks for: the first entry not below it. `len` bytes of
// `key` take part (fewer than the key length: a prefix). With `after`, an
// entry whose first `len` bytes equal the key counts as below it, so the
// search finds the first entry past every such entry.
struct SeekTarget {
  const uint8_t* key = nullptr;
  size_t len = 0;
  uint32_t rec = 0;
  bool after = false;
};

// Where an entry of `key_len` bytes stands relative to a target: < 0 below,
// otherwise not below.
int compare_to_target(const uint8_t* key, uint32_t rec, const SeekTarget& t, size_t key_len);

struct Path {
  struct Level {
    Node* node = nullptr;
    size_t slot = 0;
  };
  std::array<Level, kMaxDepth> levels{};
  int depth = 0;  // levels in use; levels[depth - 1] is the leaf
  Level& leaf() { return levels[static_cast<size_t>(depth - 1)]; }
  const Level& leaf() const { return levels[static_cast<size_t>(depth - 1)]; }
};

// Sorted input for a bulk build.
class EntrySource {
 public:
  virtual ~EntrySource() = default;
  virtual size_t size() const = 0;
  virtual const uint8_t* key(size_t i) const = 0;
  virtual uint32_t rec(size_t i) const = 0;
};

struct TreeStats {
  uint64_t entries = 0;
  uint64_t leaves = 0;
  uint64_t interiors = 0;
  int depth = 0;
};

class BTree {
 public:
  explicit BTree(NodeStore& store) : store_(store) {}

  NodeStore& store() { return store_; }
  uint32_t key_len() const { return store_.codec().key_len(); }

  // Descends to the leaf slot of the first entry not below `target`. The
  // slot may equal the leaf's count: the entry is then the first of a
  // later leaf, or there is none.
  Status descend(const SeekTarget& target, Path* path);

  // The first (or, with `last`, the last) entry; the leaf slot is out of
  // range when the tree is empty.
  Status edge(bool last, Path* path);
  // Moves to the next / previous entry across leaves; *moved is false at
  // the end / beginning (the path then stands past the last / on the first).
  Status step_forward(Path* path, bool* moved);
  Status step_back(Path* path, bool* moved);

  Status insert(const uint8_t* key, uint32_t rec);
  // Removes (key, rec); *found tells whether it was there.
  Status remove(const uint8_t* key, uint32_t rec, bool* found);
  // Whether an entry with this key exists whose record is not `except`.
  Status has_key(const uint8_t* key, uint32_t except, bool* found);

  // Replaces the whole tree by the sorted entries, writing pages bottom up;
  // the new root is set last. Pages of the old tree are not reused.
  Status build(const EntrySource& entries);

  // Checks rules 1-5 over the whole tree and counts what it finds; e4data
  // with the first fault.
  Status check(TreeStats* stats);

 private:
  Status load_child(const Node& parent, size_t slot, int depth, Node** out);
  Status descend_below(Path* path, int level, bool last);
  Status split(Path* path, int level, bool appending);
  Status fix_high_keys(Path* path, int level);
  Status rebalance(Path* path, int level);
  Status remove_node(Path* path, int level);
  Status collapse_root();
  Status unlink(Node* node);

  NodeStore& store_;
};

}  // namespace xbase::index
