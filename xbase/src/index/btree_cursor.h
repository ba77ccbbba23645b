// BTreeCursor: a position in a BTree as a stack of (node, slot) pairs, with
// the verbs First, Last, Seek, Next and Prev.
//
// The cursor keeps a copy of its entry (key and record). When the tree has
// changed since the last move (its store's version moved: a change of ours,
// a cache trim, or another process's change), the next move first finds
// that entry again; if it is gone, the cursor stands between its
// neighbours, so Next gives the entry after it and Prev the one before.
#pragma once

#include <cstdint>
#include <vector>

#include "index/btree.h"

namespace xbase::index {

class BTreeCursor {
 public:
  enum class Where : uint8_t { kNowhere, kOn, kBeforeFirst, kAfterLast };

  explicit BTreeCursor(BTree& tree) : tree_(tree), key_(tree.key_len()) {}

  Status first();
  Status last();
  // The first entry not below `target`; *exact tells whether its first
  // target.len key bytes equal the target's (for full-length targets with a
  // record number: the very entry).
  Status seek(const SeekTarget& target, bool* exact);
  // The last entry below `target` (Prev of seek).
  Status seek_before(const SeekTarget& target);
  Status next();
  Status prev();

  bool valid() const { return where_ == Where::kOn; }
  // On an entry, and the tree has not changed since the cursor got there.
  bool fresh() const { return where_ == Where::kOn && version_ == tree_.store().version(); }
  Where where() const { return where_; }
  // The entry: key bytes (key_len) and record number, valid until the next move.
  const uint8_t* key() const { return key_.data(); }
  uint32_t rec() const { return rec_; }
  // The record of the entry `ahead` entries on (negative: back) when it is
  // in the same leaf, else 0: a hint for reading ahead.
  uint32_t peek(int ahead) const {
    if (where_ != Where::kOn || path_.depth == 0) return 0;
    const Path::Level& leaf = path_.leaf();
    const int64_t at = static_cast<int64_t>(leaf.slot) + ahead;
    return at >= 0 && at < static_cast<int64_t>(leaf.node->count())
               ? leaf.node->recs[static_cast<size_t>(at)]
               : 0;
  }
  // Forgets the position (the next move must be First, Last or Seek).
  void reset() { where_ = Where::kNowhere; }

 private:
  Status restore(bool* between);
  void take_entry();
  // Takes the entry the leaf slot is on; false when the slot is past the end.
  bool take_leaf_entry();
  // One entry on or back; past either end the cursor says which.
  Status advance(bool forward);
  Status settle_forward();

  BTree& tree_;
  Path path_;
  Where where_ = Where::kNowhere;
  uint64_t version_ = 0;
  std::vector<uint8_t> key_;
  uint32_t rec_ = 0;
};

}  // namespace xbase::index
