#include "index/btree.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::index {

namespace {

constexpr std::string_view kNode = "index node";

size_t lower_bound(const Node& node, const SeekTarget& t) {
  // The target's first bytes as a number to compare with the keys' heads:
  // where the heads differ over those bytes, they decide.
  const size_t m = std::min<size_t>({t.len, 8, node.key_len});
  uint64_t head = 0;
  for (size_t b = 0; b < 8; ++b) head = (head << 8) | (b < m ? t.key[b] : 0);
  const uint64_t mask = m == 0 ? 0 : ~uint64_t{0} << (64 - 8 * m);
  const uint64_t* heads = node.heads();
  size_t lo = 0, hi = node.count();
  while (lo < hi) {
    const size_t mid = (lo + hi) / 2;
    const uint64_t h = heads[mid] & mask;
    const bool below =
        h != head ? h < head
                  : compare_to_target(node.key(mid), node.recs[mid], t, node.key_len) < 0;
    if (below)
      lo = mid + 1;
    else
      hi = mid;
  }
  return lo;
}

// A node below this share of its page is merged with a sibling when the
// two fit in one page.
bool underfull(const PageCodec& codec, const Node& node) {
  return codec.space_used(node) * 4 < codec.space_total(node.leaf);
}

}  // namespace

int compare_to_target(const uint8_t* key, uint32_t rec, const SeekTarget& t, size_t key_len) {
  int c = std::memcmp(key, t.key, t.len);
  if (c != 0) return c;
  if (t.after) return -1;
  if (t.len < key_len) return 0;
  return rec < t.rec ? -1 : rec > t.rec ? 1 : 0;
}

Status BTree::load_child(const Node& parent, size_t slot, int depth, Node** out) {
  if (depth >= kMaxDepth)
    return damaged_at(kNode, parent.page, "the tree is deeper than any real index (a cycle?)");
  const uint32_t child = parent.children[slot];
  if (child == parent.page) return damaged_at(kNode, parent.page, "a node names itself as its child");
  XB_TRY(store_.load(child, out));
  if ((*out)->key_len != parent.key_len)
    return damaged_at(kNode, child, "key length differs from its parent's");
  return Status::ok();
}

Status BTree::descend(const SeekTarget& target, Path* path) {
  Node* node = nullptr;
  XB_TRY(store_.load(store_.root(), &node));
  for (int d = 0;; ++d) {
    Path::Level& level = path->levels[static_cast<size_t>(d)];
    level.node = node;
    size_t slot = lower_bound(*node, target);
    if (node->leaf) {
      level.slot = slot;
      path->depth = d + 1;
      return Status::ok();
    }
    if (node->empty()) return damaged_at(kNode, node->page, "an interior node without entries");
    if (slot == node->count()) slot = node->count() - 1;
    level.slot = slot;
    XB_TRY(load_child(*node, slot, d + 1, &node));
  }
}

// Refills the path below `level` along the first (or, with `last`, the last)
// entries of each node: a leaf slot past its last entry when going back, so
// that the step that follows lands on it.
Status BTree::descend_below(Path* path, int level, bool last) {
  for (int m = level + 1; m < path->depth; ++m) {
    const Path::Level& up = path->levels[static_cast<size_t>(m - 1)];
    Node* node = nullptr;
    XB_TRY(load_child(*up.node, up.slot, m, &node));
    if (node->leaf != (m == path->depth - 1))
      return damaged_at(kNode, node->page, "leaves at different depths");
    if (!node->leaf && node->empty())
      return damaged_at(kNode, node->page, "an interior node without entries");
    const size_t slot = !last ? 0 : node->leaf ? node->count() : node->count() - 1;
    path->levels[static_cast<size_t>(m)] = {node, slot};
  }
  return Status::ok();
}

Status BTree::step_forward(Path* path, bool* moved) {
  *moved = false;
  for (;;) {
    Path::Level& leaf = path->leaf();
    if (leaf.slot < leaf.node->count()) ++leaf.slot;
    if (leaf.slot < leaf.node->count()) {
      *moved = true;
      return Status::ok();
    }
    int l = path->depth - 2;
    while (l >= 0 && path->levels[static_cast<size_t>(l)].slot + 1 >=
                         path->levels[static_cast<size_t>(l)].node->count())
      --l;
    if (l < 0) return Status::ok();  // past the last entry
    ++path->levels[static_cast<size_t>(l)].slot;
    XB_TRY(descend_below(path, l, false));
    if (path->leaf().node->count() > 0) {
      *moved = true;
      return Status::ok();
    }
    // An empty leaf (only damaged files have them): keep going.
  }
}

Status BTree::step_back(Path* path, bool* moved) {
  *moved = false;
  for (;;) {
    Path::Level& leaf = path->leaf();
    if (leaf.slot > 0 && leaf.node->count() > 0) {
      leaf.slot = std::min(leaf.slot, leaf.node->count()) - 1;
      *moved = true;
      return Status::ok();
    }
    int l = path->depth - 2;
    while (l >= 0 && path->levels[static_cast<size_t>(l)].slot == 0) --l;
    if (l < 0) return Status::ok();  // before the first entry
    --path->levels[static_cast<size_t>(l)].slot;
    XB_TRY(descend_below(path, l, true));
  }
}

Status BTree::edge(bool last, Path* path) {
  Node* node = nullptr;
  XB_TRY(store_.load(store_.root(), &node));
  for (int d = 0;; ++d) {
    Path::Level& level = path->levels[static_cast<size_t>(d)];
    level.node = node;
    if (node->leaf) {
      level.slot = last ? node->count() : 0;
      path->depth = d + 1;
      break;
    }
    if (node->empty()) return damaged_at(kNode, node->page, "an interior node without entries");
    level.slot = last ? node->count() - 1 : 0;
    XB_TRY(load_child(*node, level.slot, d + 1, &node));
  }
  bool moved = false;
  Path::Level& leaf = path->leaf();
  if (last) return step_back(path, &moved);
  if (leaf.node->empty()) {
    leaf.slot = 0;
    return step_forward(path, &moved);
  }
  return Status::ok();
}

Status BTree::fix_high_keys(Path* path, int level) {
  for (int l = level - 1; l >= 0; --l) {
    Node* child = path->levels[static_cast<size_t>(l + 1)].node;
    Path::Level& up = path->levels[static_cast<size_t>(l)];
    if (child->empty()) return Status::ok();
    const size_t last = child->count() - 1;
    if (compare_entry(up.node->key(up.slot), up.node->recs[up.slot], child->key(last),
                      child->recs[last], up.node->key_len) == 0)
      return Status::ok();
    up.node->set_entry(up.slot, child->key(last), child->recs[last]);
    store_.changed(up.node);
    if (up.slot + 1 != up.node->count()) return Status::ok();
  }
  return Status::ok();
}

Status BTree::insert(const uint8_t* key, uint32_t rec) {
  const SeekTarget target{key, key_len(), rec, false};
  Path path;
  XB_TRY(descend(target, &path));
  Path::Level& lv = path.leaf();
  Node* leaf = lv.node;
  // Inserting an entry that is there already changes nothing.
  if (lv.slot < leaf->count() &&
      compare_entry(leaf->key(lv.slot), leaf->recs[lv.slot], key, rec, leaf->key_len) == 0)
    return Status::ok();
  const PageCodec& codec = store_.codec();
  // The space a page's entries take, known from the last insert: the
  // codec works out the change from the new entry's neighbours.
  const size_t before =
      leaf->space_hint >= 0 ? static_cast<size_t>(leaf->space_hint) : codec.space_used(*leaf);
  leaf->insert(lv.slot, key, rec);
  const size_t after = codec.space_after_insert(*leaf, lv.slot, before);
  leaf->space_hint = static_cast<int64_t>(after);
  store_.changed(leaf);
  const bool at_end = lv.slot + 1 == leaf->count();
  if (at_end) XB_TRY(fix_high_keys(&path, path.depth - 1));
  if (after > codec.space_total(true))
    XB_TRY(split(&path, path.depth - 1, at_end && leaf->right == kNoPage));
  return Status::ok();
}

Status BTree::split(Path* path, int level, bool appending) {
  const PageCodec& codec = store_.codec();
  Node* n = path->levels[static_cast<size_t>(level)].node;
  if (n->count() < 2) return Status(e4index, "an index entry is larger than a page");
  // Filling in key order (appends) leaves full pages behind: the new
  // entry alone starts the new page.
  size_t k =
      appending ? n->count() - 1 : std::clamp<size_t>(codec.split_point(*n), 1, n->count() - 1);
  Node* r = nullptr;
  XB_TRY(store_.create(n->leaf, &r));
  n->move_tail(k, r);
  // The codec's estimate may leave one half too full: shift entries over.
  for (size_t guard = 0; !codec.fits(*n) && n->count() > 1 && guard < 4096; ++guard) {
    const size_t last = n->count() - 1;
    r->insert(0, n->key(last), n->recs[last], n->leaf ? kNoPage : n->children[last]);
    n->erase(last);
  }
  for (size_t guard = 0; !codec.fits(*r) && r->count() > 1 && guard < 4096; ++guard) {
    n->append(r->key(0), r->recs[0], r->leaf ? kNoPage : r->children[0]);
    r->erase(0);
  }
  if (!codec.fits(*n) || !codec.fits(*r))
    return Status(e4index, "index entries too large to split a page");
  r->right = n->right;
  r->left = n->page;
  if (n->right != kNoPage) {
    Node* rr = nullptr;
    XB_TRY(store_.load(n->right, &rr));
    rr->left = r->page;
    store_.changed(rr);
  }
  n->right = r->page;
  store_.changed(n);
  store_.changed(r);
  const size_t nl = n->count() - 1, rl = r->count() - 1;
  if (level == 0) {
    Node* root = nullptr;
    XB_TRY(store_.create(false, &root));
    root->append(n->key(nl), n->recs[nl], n->page);
    root->append(r->key(rl), r->recs[rl], r->page);
    n->root = false;
    root->root = true;
    store_.changed(root);
    return store_.set_root(root->page);
  }
  Path::Level& up = path->levels[static_cast<size_t>(level - 1)];
  Node* p = up.node;
  p->set_entry(up.slot, n->key(nl), n->recs[nl]);
  p->insert(up.slot + 1, r->key(rl), r->recs[rl], r->page);
  store_.changed(p);
  if (codec.fits(*p)) return Status::ok();
  return split(path, level - 1, appending && up.slot + 2 == p->count() && p->right == kNoPage);
}

Status BTree::remove(const uint8_t* key, uint32_t rec, bool* found) {
  *found = false;
  const SeekTarget target{key, key_len(), rec, false};
  Path path;
  XB_TRY(descend(target, &path));
  Path::Level& lv = path.leaf();
  Node* leaf = lv.node;
  if (lv.slot >= leaf->count() ||
      compare_entry(leaf->key(lv.slot), leaf->recs[lv.slot], key, rec, leaf->key_len) != 0)
    return Status::ok();
  leaf->erase(lv.slot);
  store_.changed(leaf);
  *found = true;
  // A later key may lose bytes it shared with the removed one.
  if (!store_.codec().fits(*leaf)) {
    XB_TRY(fix_high_keys(&path, path.depth - 1));
    return split(&path, path.depth - 1, false);
  }
  return rebalance(&path, path.depth - 1);
}

Status BTree::unlink(Node* node) {
  if (node->left != kNoPage) {
    Node* l = nullptr;
    XB_TRY(store_.load(node->left, &l));
    l->right = node->right;
    store_.changed(l);
  }
  if (node->right != kNoPage) {
    Node* r = nullptr;
    XB_TRY(store_.load(node->right, &r));
    r->left = node->left;
    store_.changed(r);
  }
  return Status::ok();
}

Status BTree::rebalance(Path* path, int level) {
  Node* n = path->levels[static_cast<size_t>(level)].node;
  if (level == 0) return collapse_root();
  if (n->empty()) return remove_node(path, level);
  XB_TRY(fix_high_keys(path, level));
  const PageCodec& codec = store_.codec();
  if (!underfull(codec, *n)) return Status::ok();
  Path::Level& up = path->levels[static_cast<size_t>(level - 1)];
  Node* p = up.node;
  // Merge with the right sibling under the same parent, else the left one.
  size_t left_slot = up.slot, right_slot = up.slot + 1;
  if (right_slot >= p->count()) {
    if (up.slot == 0) return Status::ok();
    left_slot = up.slot - 1;
    right_slot = up.slot;
  }
  Node *l = nullptr, *r = nullptr;
  XB_TRY(load_child(*p, left_slot, level, &l));
  XB_TRY(load_child(*p, right_slot, level, &r));
  if (l->leaf != r->leaf || l == r) return damaged_at(kNode, p->page, "children of different kinds");
  Node merged = *l;
  for (size_t i = 0; i < r->count(); ++i)
    merged.append(r->key(i), r->recs[i], r->leaf ? kNoPage : r->children[i]);
  if (!codec.fits(merged)) return Status::ok();
  l->keys.swap(merged.keys);
  l->recs.swap(merged.recs);
  l->children.swap(merged.children);
  l->touched();
  XB_TRY(unlink(r));
  l->right = r->right;  // unlink wrote this through the loaded node as well
  store_.changed(l);
  const size_t last = l->count() - 1;
  p->set_entry(left_slot, l->key(last), l->recs[last]);
  p->erase(right_slot);
  store_.changed(p);
  store_.release(r);
  up.slot = left_slot;
  path->levels[static_cast<size_t>(level)].node = l;
  return rebalance(path, level - 1);
}

Status BTree::remove_node(Path* path, int level) {
  Node* n = path->levels[static_cast<size_t>(level)].node;
  XB_TRY(unlink(n));
  Path::Level& up = path->levels[static_cast<size_t>(level - 1)];
  up.node->erase(up.slot);
  store_.changed(up.node);
  store_.release(n);
  if (up.node->empty()) {
    if (level - 1 == 0) {
      // The whole tree is gone: the root becomes an empty leaf.
      up.node->leaf = true;
      up.node->clear_entries();
      return Status::ok();
    }
    return remove_node(path, level - 1);
  }
  if (up.slot == up.node->count()) up.slot = up.node->count() - 1;
  return rebalance(path, level - 1);
}

Status BTree::collapse_root() {
  Node* root = nullptr;
  XB_TRY(store_.load(store_.root(), &root));
  for (int guard = 0; !root->leaf && root->count() <= 1 && guard < kMaxDepth; ++guard) {
    if (root->empty()) {
      root->leaf = true;
      root->clear_entries();
      store_.changed(root);
      return Status::ok();
    }
    Node* child = nullptr;
    XB_TRY(load_child(*root, 0, 1, &child));
    child->root = true;
    child->left = child->right = kNoPage;
    store_.changed(child);
    XB_TRY(store_.set_root(child->page));
    store_.release(root);
    root = child;
  }
  return Status::ok();
}

Status BTree::has_key(const uint8_t* key, uint32_t except, bool* found) {
  *found = false;
  const SeekTarget target{key, key_len(), 0, false};
  Path path;
  XB_TRY(descend(target, &path));
  bool moved = true;
  if (path.leaf().slot >= path.leaf().node->count()) XB_TRY(step_forward(&path, &moved));
  for (int guard = 0; moved && guard < 3; ++guard) {
    const Path::Level& lv = path.leaf();
    if (std::memcmp(lv.node->key(lv.slot), key, key_len()) != 0) return Status::ok();
    if (lv.node->recs[lv.slot] != except) {
      *found = true;
      return Status::ok();
    }
    XB_TRY(step_forward(&path, &moved));
  }
  return Status::ok();
}

// ---- bulk build -----------------------------------------------------------

namespace {

// One level of a bulk build: nodes are filled in order and written as soon
// as the next one starts, so that each knows its right sibling's page.
class LevelWriter {
 public:
  LevelWriter(NodeStore& store, bool leaf) : store_(store), leaf_(leaf) {
    node_.leaf = leaf;
    node_.key_len = store.codec().key_len();
  }

  Status add(const uint8_t* key, uint32_t rec, uint32_t child) {
    if (node_.page == kNoPage) XB_TRY(start(kNoPage));
    if (!store_.codec().pack(state_, key, rec, leaf_)) {
      if (node_.empty()) return Status(e4index, "an index entry is larger than a page");
      uint32_t next = kNoPage;
      XB_TRY(store_.allocate(&next));
      node_.right = next;
      XB_TRY(finish());
      XB_TRY(start(next));
      if (!store_.codec().pack(state_, key, rec, leaf_))
        return Status(e4index, "an index entry is larger than a page");
    }
    node_.append(key, rec, child);
    state_.prev = node_.key(node_.count() - 1);
    return Status::ok();
  }

  // Writes the last node; answers how many nodes the level has.
  Status close(size_t* nodes, bool root) {
    if (node_.page == kNoPage) XB_TRY(start(kNoPage));
    node_.root = root && nodes_ == 0;
    XB_TRY(finish());
    *nodes = nodes_;
    return Status::ok();
  }

  // Highest entry and page of every node written, for the level above.
  std::vector<uint8_t> high_keys;
  std::vector<uint32_t> high_recs;
  std::vector<uint32_t> pages;

 private:
  Status start(uint32_t page) {
    const uint32_t left = node_.page;
    node_.clear_entries();
    node_.keys.reserve(size_t{store_.codec().page_size()} * 2);
    if (page == kNoPage) XB_TRY(store_.allocate(&page));
    node_.page = page;
    node_.left = left;
    node_.right = kNoPage;
    state_ = PackState{};
    return Status::ok();
  }
  Status finish() {
    if (!node_.empty()) {
      high_keys.insert(high_keys.end(), node_.key(node_.count() - 1),
                       node_.key(node_.count() - 1) + node_.key_len);
      high_recs.push_back(node_.recs.back());
    } else {
      high_keys.resize(high_keys.size() + node_.key_len, 0);
      high_recs.push_back(0);
    }
    pages.push_back(node_.page);
    ++nodes_;
    return store_.write_direct(node_);
  }

  NodeStore& store_;
  bool leaf_;
  Node node_;
  PackState state_;
  size_t nodes_ = 0;
};

}  // namespace

Status BTree::build(const EntrySource& entries) {
  const uint32_t kl = key_len();
  std::vector<uint8_t> keys;
  std::vector<uint32_t> recs, children;
  size_t nodes = 0;
  {
    LevelWriter leaves(store_, true);
    // Sorted entries point all over their key arena; asking for keys a few
    // entries ahead overlaps those cache misses instead of paying each one.
    constexpr size_t kAhead = 16;
    const size_t n = entries.size();
    for (size_t i = 0; i < n; ++i) {
      if (i + kAhead < n) __builtin_prefetch(entries.key(i + kAhead));
      XB_TRY(leaves.add(entries.key(i), entries.rec(i), kNoPage));
    }
    // A single leaf is the root itself.
    XB_TRY(leaves.close(&nodes, true));
    if (nodes == 1) return store_.set_root(leaves.pages[0]);
    keys.swap(leaves.high_keys);
    recs.swap(leaves.high_recs);
    children.swap(leaves.pages);
  }
  for (int depth = 1; depth < kMaxDepth; ++depth) {
    // Count first: the top level's only node is the root.
    LevelWriter level(store_, false);
    for (size_t i = 0; i < recs.size(); ++i)
      XB_TRY(level.add(keys.data() + i * kl, recs[i], children[i]));
    XB_TRY(level.close(&nodes, true));
    if (nodes == 1) return store_.set_root(level.pages[0]);
    keys.swap(level.high_keys);
    recs.swap(level.high_recs);
    children.swap(level.pages);
  }
  return Status(e4index, "an index too deep to build");
}

// ---- checking -------------------------------------------------------------

Status BTree::check(TreeStats* stats) {
  *stats = TreeStats{};
  const uint32_t kl = key_len();
  const uint64_t max_pages = store_.extent() / store_.codec().page_size() + 1;
  std::unordered_set<uint32_t> seen;
  // The pages of the level being checked, with the entry each one's parent
  // holds for it (none for the root).
  std::vector<uint32_t> pages{store_.root()};
  std::vector<uint8_t> expect_keys;
  std::vector<uint32_t> expect_recs;
  std::vector<uint8_t> prev_key(kl);
  for (int depth = 0; !pages.empty(); ++depth) {
    if (depth >= kMaxDepth)
      return damaged_at(kNode, pages[0], "the tree is deeper than any real index (a cycle?)");
    std::vector<uint32_t> next_pages;
    std::vector<uint8_t> next_keys;
    std::vector<uint32_t> next_recs;
    bool have_prev = false;
    uint32_t prev_rec = 0;
    bool level_leaf = false;
    for (size_t i = 0; i < pages.size(); ++i) {
      const uint32_t page = pages[i];
      if (!seen.insert(page).second || seen.size() > max_pages)
        return damaged_at(kNode, page, "the page is reached twice");
      Node* node = nullptr;
      XB_TRY(store_.load(page, &node));
      if (i == 0) level_leaf = node->leaf;
      if (node->leaf != level_leaf) return damaged_at(kNode, page, "leaves at different depths");
      if (node->key_len != kl) return damaged_at(kNode, page, "wrong key length");
      if (node->empty() && depth > 0) return damaged_at(kNode, page, "an empty node below the root");
      if (!node->leaf && node->empty()) return damaged_at(kNode, page, "an interior node without entries");
      if (node->root != (depth == 0))
        return damaged_at(kNode, page, depth == 0 ? "the root is not marked as root"
                                        : "a node below the root is marked as root");
      const uint32_t want_left = i == 0 ? kNoPage : pages[i - 1];
      const uint32_t want_right = i + 1 == pages.size() ? kNoPage : pages[i + 1];
      if (node->left != want_left || node->right != want_right)
        return damaged_at(kNode, page, "wrong sibling links");
      for (size_t e = 0; e < node->count(); ++e) {
        if (have_prev &&
            compare_entry(prev_key.data(), prev_rec, node->key(e), node->recs[e], kl) >= 0)
          return damaged_at(kNode, page, "entries out of order at entry " + std::to_string(e));
        std::memcpy(prev_key.data(), node->key(e), kl);
        prev_rec = node->recs[e];
        have_prev = true;
        if (!node->leaf) {
          next_pages.push_back(node->children[e]);
          next_keys.insert(next_keys.end(), node->key(e), node->key(e) + kl);
          next_recs.push_back(node->recs[e]);
        }
      }
      if (depth > 0) {
        const size_t last = node->count() - 1;
        if (compare_entry(node->key(last), node->recs[last], expect_keys.data() + i * kl,
                          expect_recs[i], kl) != 0)
          return damaged_at(kNode, page, "its parent's entry is not its highest entry");
      }
      if (node->leaf) {
        ++stats->leaves;
        stats->entries += node->count();
      } else {
        ++stats->interiors;
      }
    }
    stats->depth = depth + 1;
    pages.swap(next_pages);
    expect_keys.swap(next_keys);
    expect_recs.swap(next_recs);
  }
  return Status::ok();
}

}  // namespace xbase::index
