// Node: one B-tree page decoded into plain arrays, the form the tree
// algorithms work on whatever the file format.
//
// Entries are ordered by (key bytes, record number). A leaf holds the
// entries themselves. An interior node holds one entry per child: the
// child's page and the highest (key, record) of the child's subtree, so a
// search descends into the first child whose entry is not below the target.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace xbase::index {

inline constexpr uint32_t kNoPage = 0xFFFFFFFFu;

struct Node {
  uint32_t page = kNoPage;  // byte offset in the file
  bool leaf = true;
  bool root = false;
  uint32_t left = kNoPage;  // siblings on the same level
  uint32_t right = kNoPage;
  uint32_t key_len = 0;
  std::vector<uint8_t> keys;       // count() * key_len bytes
  std::vector<uint32_t> recs;      // record number of each entry
  std::vector<uint32_t> children;  // interior nodes: child page of each entry

  // The first eight bytes of each key as a big-endian number, made when a
  // search first needs them: comparing these settles most comparisons
  // without touching the keys. Whoever changes `keys` other than through
  // the methods here calls touched().
  const uint64_t* heads() const {
    if (!heads_ok_) build_heads();
    return heads_.data();
  }
  void touched() {
    heads_ok_ = false;
    space_hint = -1;
  }
  // The bytes the entries take, when the tree knows it (-1 otherwise);
  // every change through the methods here forgets it.
  int64_t space_hint = -1;

  size_t count() const { return recs.size(); }
  bool empty() const { return recs.empty(); }
  const uint8_t* key(size_t i) const { return keys.data() + i * key_len; }
  uint8_t* key(size_t i) { return keys.data() + i * key_len; }
  std::span<const uint8_t> key_span(size_t i) const { return {key(i), key_len}; }

  void clear_entries() {
    touched();
    keys.clear();
    recs.clear();
    children.clear();
  }
  void insert(size_t at, const uint8_t* k, uint32_t rec, uint32_t child = kNoPage) {
    touched();
    keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(at * key_len), k, k + key_len);
    recs.insert(recs.begin() + static_cast<std::ptrdiff_t>(at), rec);
    if (!leaf) children.insert(children.begin() + static_cast<std::ptrdiff_t>(at), child);
  }
  void append(const uint8_t* k, uint32_t rec, uint32_t child = kNoPage) {
    touched();
    keys.insert(keys.end(), k, k + key_len);
    recs.push_back(rec);
    if (!leaf) children.push_back(child);
  }
  void erase(size_t at) {
    touched();
    auto kb = keys.begin() + static_cast<std::ptrdiff_t>(at * key_len);
    keys.erase(kb, kb + key_len);
    recs.erase(recs.begin() + static_cast<std::ptrdiff_t>(at));
    if (!leaf) children.erase(children.begin() + static_cast<std::ptrdiff_t>(at));
  }
  void set_entry(size_t at, const uint8_t* k, uint32_t rec) {
    touched();
    std::memmove(key(at), k, key_len);
    recs[at] = rec;
  }
  // Moves entries [from, count()) to the end of `to`.
  void move_tail(size_t from, Node* to) {
    touched();
    to->touched();
    to->keys.insert(to->keys.end(), keys.begin() + static_cast<std::ptrdiff_t>(from * key_len),
                    keys.end());
    to->recs.insert(to->recs.end(), recs.begin() + static_cast<std::ptrdiff_t>(from), recs.end());
    if (!leaf)
      to->children.insert(to->children.end(), children.begin() + static_cast<std::ptrdiff_t>(from),
                          children.end());
    keys.resize(from * key_len);
    recs.resize(from);
    if (!leaf) children.resize(from);
  }
  size_t memory() const {
    return sizeof(Node) + keys.capacity() + 4 * (recs.capacity() + children.capacity()) +
           8 * recs.capacity();
  }

 private:
  void build_heads() const {
    const size_t n = count(), take = key_len < 8 ? key_len : 8;
    heads_.resize(n);
    for (size_t i = 0; i < n; ++i) {
      const uint8_t* k = keys.data() + i * key_len;
      uint64_t h = 0;
      for (size_t b = 0; b < 8; ++b) h = (h << 8) | (b < take ? k[b] : 0);
      heads_[i] = h;
    }
    heads_ok_ = true;
  }

  mutable std::vector<uint64_t> heads_;
  mutable bool heads_ok_ = false;
};

// Order of entries: key bytes, then record number.
inline int compare_entry(const uint8_t* a, uint32_t arec, const uint8_t* b, uint32_t brec,
                         size_t key_len) {
  int c = std::memcmp(a, b, key_len);
  if (c != 0) return c;
  return arec < brec ? -1 : arec > brec ? 1 : 0;
}

}  // namespace xbase::index
