// SortedKeys: the keys of one tag gathered from a table scan, sorted for a
// bulk build. Keys sit back to back in one arena; the sort moves 16-byte
// entries that carry the key's first eight bytes, so most comparisons never
// touch the arena.
#pragma once

#include <cstdint>
#include <vector>

#include "index/btree.h"

namespace xbase::index {

class SortedKeys final : public EntrySource {
 public:
  explicit SortedKeys(uint32_t key_len) : key_len_(key_len) {}

  void reserve(size_t n);
  // Room for the key of `rec`, to be filled by the caller before sort().
  uint8_t* add(uint32_t rec);
  // Takes back the last add().
  void drop_last();
  // Sorts by (key, record); `unique` keeps only the first record of each key.
  void sort(bool unique);

  size_t size() const override { return entries_.size(); }
  const uint8_t* key(size_t i) const override {
    return arena_.data() + size_t{entries_[i].index} * key_len_;
  }
  uint32_t rec(size_t i) const override { return entries_[i].rec; }

 private:
  struct Entry {
    uint64_t prefix;
    uint32_t rec;
    uint32_t index;
  };

  void radix_sort_prefixes();

  uint32_t key_len_;
  std::vector<uint8_t> arena_;
  std::vector<Entry> entries_;
};

}  // namespace xbase::index
