// Per-record work done eight bytes at a time: the loops that filters and
// keys spend their time in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace xbase::expr {

inline constexpr uint64_t kOnes = 0x0101010101010101ull;
inline constexpr uint64_t kHighs = 0x8080808080808080ull;

// ASCII letters to upper (or lower) case, other bytes as they are: per
// eight bytes, the high bit of each byte in `in_range` marks a letter of
// the case to change, and 0x20 flips it.
template <bool kUpper>
inline void ascii_case(const char* in, size_t n, char* out) {
  constexpr uint64_t first = kUpper ? 'a' : 'A';
  constexpr uint64_t last = kUpper ? 'z' : 'Z';
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t w;
    std::memcpy(&w, in + i, 8);
    const uint64_t low7 = w & ~kHighs;
    const uint64_t at_least_first = low7 + (0x80 - first) * kOnes;
    const uint64_t above_last = low7 + (0x80 - last - 1) * kOnes;
    const uint64_t in_range = at_least_first & ~above_last & ~w & kHighs;
    w ^= in_range >> 2;
    std::memcpy(out + i, &w, 8);
  }
  for (; i < n; ++i) {
    const auto c = static_cast<unsigned char>(in[i]);
    out[i] = static_cast<char>(c - first <= last - first ? c ^ 0x20 : c);
  }
}

// Eight CCYYMMDD digits as year, month and day; false when any byte is not
// a digit (the caller still checks the date is real).
inline bool eight_digits(const uint8_t* s, int* y, int* m, int* d) {
  uint64_t w;
  std::memcpy(&w, s, 8);
  // A byte is a digit when subtracting '0' does not borrow and adding 0x46
  // ('9' + 0x46 = 0x7F) does not reach the high bit.
  const uint64_t low = w - 0x30 * kOnes;
  const uint64_t high = w + 0x46 * kOnes;
  if (((low | high | w) & kHighs) != 0) return false;
  int v[8];
  for (int i = 0; i < 8; ++i) v[i] = s[i] - '0';
  *y = v[0] * 1000 + v[1] * 100 + v[2] * 10 + v[3];
  *m = v[4] * 10 + v[5];
  *d = v[6] * 10 + v[7];
  return true;
}

}  // namespace xbase::expr
