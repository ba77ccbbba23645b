#include "index/sorted_keys.h"

#include <algorithm>
#include <cstring>

#include "io/endian.h"

namespace xbase::index {

void SortedKeys::reserve(size_t n) {
  arena_.reserve(n * key_len_);
  entries_.reserve(n);
}

uint8_t* SortedKeys::add(uint32_t rec) {
  const uint32_t index = static_cast<uint32_t>(entries_.size());
  entries_.push_back({0, rec, index});
  arena_.resize(arena_.size() + key_len_);
  return arena_.data() + arena_.size() - key_len_;
}

void SortedKeys::drop_last() {
  entries_.pop_back();
  arena_.resize(arena_.size() - key_len_);
}

// Entries that arrived in record order: a stable sort by the prefix alone,
// one byte per pass (passes where every entry has the same byte are
// skipped), leaves equal prefixes in record order.
void SortedKeys::radix_sort_prefixes() {
  // Every pass's counts in one read of the entries.
  std::vector<uint32_t> counts(8 * 256, 0);
  for (const Entry& e : entries_)
    for (int b = 0; b < 8; ++b) ++counts[size_t(b) * 256 + ((e.prefix >> (8 * b)) & 0xFF)];
  std::vector<Entry> other(entries_.size());
  for (int b = 0; b < 8; ++b) {
    uint32_t* c = counts.data() + size_t(b) * 256;
    if (std::find(c, c + 256, static_cast<uint32_t>(entries_.size())) != c + 256) continue;
    uint32_t at = 0;
    for (int i = 0; i < 256; ++i) {
      const uint32_t n = c[i];
      c[i] = at;
      at += n;
    }
    const int shift = 8 * b;
    for (const Entry& e : entries_) other[c[(e.prefix >> shift) & 0xFF]++] = e;
    entries_.swap(other);
  }
}

void SortedKeys::sort(bool unique) {
  const size_t head = std::min<size_t>(key_len_, 8);
  for (Entry& e : entries_) {
    const uint8_t* k = arena_.data() + size_t{e.index} * key_len_;
    if (head == 8) {
      e.prefix = io::load_u64be(k);
      continue;
    }
    uint64_t p = 0;
    for (size_t i = 0; i < 8; ++i) p = (p << 8) | (i < head ? k[i] : 0);
    e.prefix = p;
  }
  const bool in_record_order =
      std::is_sorted(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.rec < b.rec; });
  if (key_len_ <= 8) {
    if (in_record_order) {
      radix_sort_prefixes();
    } else {
      std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : a.rec < b.rec;
      });
    }
  } else {
    // Past the prefix, eight bytes at a time as big-endian words.
    const uint8_t* base = arena_.data();
    const size_t kl = key_len_;
    auto less = [base, kl](const Entry& a, const Entry& b) {
      if (a.prefix != b.prefix) return a.prefix < b.prefix;
      const uint8_t* ka = base + size_t{a.index} * kl;
      const uint8_t* kb = base + size_t{b.index} * kl;
      size_t i = 8;
      for (; i + 8 <= kl; i += 8) {
        const uint64_t wa = io::load_u64be(ka + i), wb = io::load_u64be(kb + i);
        if (wa != wb) return wa < wb;
      }
      for (; i < kl; ++i)
        if (ka[i] != kb[i]) return ka[i] < kb[i];
      return a.rec < b.rec;
    };
    if (in_record_order) {
      // The radix passes order the prefixes; only runs that share one need
      // the rest of their keys compared.
      radix_sort_prefixes();
      for (size_t i = 0; i < entries_.size();) {
        size_t j = i + 1;
        while (j < entries_.size() && entries_[j].prefix == entries_[i].prefix) ++j;
        if (j - i > 1) std::sort(entries_.begin() + i, entries_.begin() + j, less);
        i = j;
      }
    } else {
      std::sort(entries_.begin(), entries_.end(), less);
    }
  }
  if (!unique || entries_.empty()) return;
  size_t out = 1;
  for (size_t i = 1; i < entries_.size(); ++i) {
    const Entry& prev = entries_[out - 1];
    const Entry& cur = entries_[i];
    const bool same =
        prev.prefix == cur.prefix &&
        (key_len_ <= 8 ||
         std::memcmp(key(out - 1) + 8, arena_.data() + size_t{cur.index} * key_len_ + 8,
                     key_len_ - 8) == 0);
    if (!same) entries_[out++] = cur;
  }
  entries_.resize(out);
}

}  // namespace xbase::index
