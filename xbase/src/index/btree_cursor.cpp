#include "index/btree_cursor.h"

#include <cstring>

namespace xbase::index {

void BTreeCursor::take_entry() {
  const Path::Level& leaf = path_.leaf();
  std::memcpy(key_.data(), leaf.node->key(leaf.slot), key_.size());
  rec_ = leaf.node->recs[leaf.slot];
  where_ = Where::kOn;
  version_ = tree_.store().version();
}

bool BTreeCursor::take_leaf_entry() {
  const Path::Level& leaf = path_.leaf();
  if (leaf.slot >= leaf.node->count()) return false;
  take_entry();
  return true;
}

Status BTreeCursor::advance(bool forward) {
  bool moved = false;
  XB_TRY(forward ? tree_.step_forward(&path_, &moved) : tree_.step_back(&path_, &moved));
  if (moved)
    take_entry();
  else
    where_ = forward ? Where::kAfterLast : Where::kBeforeFirst;
  return Status::ok();
}

Status BTreeCursor::settle_forward() {
  if (take_leaf_entry()) return Status::ok();
  return advance(true);
}

Status BTreeCursor::first() {
  where_ = Where::kNowhere;
  XB_TRY(tree_.edge(false, &path_));
  if (!take_leaf_entry()) where_ = Where::kAfterLast;
  return Status::ok();
}

Status BTreeCursor::last() {
  where_ = Where::kNowhere;
  XB_TRY(tree_.edge(true, &path_));
  if (!take_leaf_entry()) where_ = Where::kAfterLast;
  return Status::ok();
}

Status BTreeCursor::seek(const SeekTarget& target, bool* exact) {
  *exact = false;
  where_ = Where::kNowhere;
  XB_TRY(tree_.descend(target, &path_));
  XB_TRY(settle_forward());
  if (where_ == Where::kOn) *exact = std::memcmp(key_.data(), target.key, target.len) == 0;
  return Status::ok();
}

Status BTreeCursor::seek_before(const SeekTarget& target) {
  where_ = Where::kNowhere;
  XB_TRY(tree_.descend(target, &path_));
  bool moved = false;
  XB_TRY(tree_.step_back(&path_, &moved));
  if (moved)
    take_entry();
  else
    where_ = Where::kBeforeFirst;
  return Status::ok();
}

Status BTreeCursor::restore(bool* between) {
  *between = false;
  if (version_ == tree_.store().version()) return Status::ok();
  const SeekTarget target{key_.data(), key_.size(), rec_, false};
  XB_TRY(tree_.descend(target, &path_));
  const Path::Level& leaf = path_.leaf();
  *between = !(leaf.slot < leaf.node->count() &&
               compare_entry(leaf.node->key(leaf.slot), leaf.node->recs[leaf.slot], key_.data(),
                             rec_, key_.size()) == 0);
  version_ = tree_.store().version();
  return Status::ok();
}

Status BTreeCursor::next() {
  switch (where_) {
    case Where::kNowhere:
    case Where::kBeforeFirst:
      return first();
    case Where::kAfterLast:
      return Status::ok();
    case Where::kOn:
      break;
  }
  bool between = false;
  XB_TRY(restore(&between));
  if (between) return settle_forward();
  return advance(true);
}

Status BTreeCursor::prev() {
  switch (where_) {
    case Where::kNowhere:
    case Where::kAfterLast:
      return last();
    case Where::kBeforeFirst:
      return Status::ok();
    case Where::kOn:
      break;
  }
  bool between = false;
  XB_TRY(restore(&between));
  return advance(false);
}

}  // namespace xbase::index
