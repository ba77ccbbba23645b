#include "index/sorted_keys.h"

#include <algorithm>
#include <cstring>

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

void SortedKeys::sort(bool unique) {
  const size_t head = std::min<size_t>(key_len_, 8);
  for (Entry& e : entries_) {
    const uint8_t* k = arena_.data() + size_t{e.index} * key_len_;
    uint64_t p = 0;
    for (size_t i = 0; i < 8; ++i) p = (p << 8) | (i < head ? k[i] : 0);
    e.prefix = p;
  }
  if (key_len_ <= 8) {
    std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
      return a.prefix != b.prefix ? a.prefix < b.prefix : a.rec < b.rec;
    });
  } else {
    const uint8_t* base = arena_.data() + 8;
    const size_t rest = key_len_ - 8;
    const size_t kl = key_len_;
    std::sort(entries_.begin(), entries_.end(), [base, rest, kl](const Entry& a, const Entry& b) {
      if (a.prefix != b.prefix) return a.prefix < b.prefix;
      const int c = std::memcmp(base + size_t{a.index} * kl, base + size_t{b.index} * kl, rest);
      return c != 0 ? c < 0 : a.rec < b.rec;
    });
  }
  if (!unique || entries_.empty()) return;
  size_t out = 1;
  for (size_t i = 1; i < entries_.size(); ++i) {
    const Entry& prev = entries_[out - 1];
    const Entry& cur = entries_[i];
    const bool same = prev.prefix == cur.prefix &&
                      (key_len_ <= 8 || std::memcmp(key(out - 1) + 8, arena_.data() + size_t{cur.index} * key_len_ + 8,
                                                    key_len_ - 8) == 0);
    if (!same) entries_[out++] = cur;
  }
  entries_.resize(out);
}

}  // namespace xbase::index
