// TagCursor: a handle's position in a tag, in the tag's own order (a
// descending tag walks its ascending tree backwards).
//
// A handle's current record may not be in the tag (its filter, or a unique
// tag that left it out); the cursor then stands between the entries the
// record's key falls between, and a move goes to the neighbour on that
// side.
#pragma once

#include <vector>

#include "index/btree_cursor.h"
#include "index/tag.h"

namespace xbase::index {

class TagCursor {
 public:
  explicit TagCursor(Tag& tag) : tag_(tag), cur_(tag.tree()), key_(tag.key_len()) {}

  Tag& tag() { return tag_; }
  Status first() { return reset(tag_.descending() ? cur_.last() : cur_.first()); }
  Status last() { return reset(tag_.descending() ? cur_.first() : cur_.last()); }
  Status next() { return tag_.descending() ? backward() : forward(); }
  Status prev() { return tag_.descending() ? forward() : backward(); }

  // Stands on (key, rec), or between its neighbours when it is absent.
  Status place(const uint8_t* key, uint32_t rec);
  // The first entry in tag order whose first `len` key bytes are not
  // before `key` in tag order; *exact when those bytes equal it.
  Status seek(const uint8_t* key, size_t len, bool* exact);

  bool valid() const { return cur_.valid() && !between_; }
  uint32_t rec() const { return cur_.rec(); }
  const uint8_t* key() const { return cur_.key(); }
  // Whether the cursor stands on `rec` and nothing changed since.
  bool on(uint32_t rec) const { return !between_ && cur_.fresh() && cur_.rec() == rec; }

  // The record `ahead` entries on in tag order, when cheaply known; else 0.
  uint32_t peek(int ahead) const {
    return between_ ? 0 : cur_.peek(tag_.descending() ? -ahead : ahead);
  }

  // Scratch for the key of a handle's current record.
  uint8_t* scratch() { return key_.data(); }

 private:
  Status reset(Status st) {
    between_ = false;
    return st;
  }
  // Moves in ascending key order.
  Status forward();
  Status backward();

  Tag& tag_;
  BTreeCursor cur_;
  bool between_ = false;  // cur_ stands on the successor of the position
  std::vector<uint8_t> key_;
};

}  // namespace xbase::index
