// Per-record work done eight bytes at a time or without the general
// parsers: the loops that filters and keys spend their time in.
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

// A numeric field's usual text: blanks, an optional sign, up to 15 digits
// with at most one point, trailing blanks. Answers false for anything else
// (the general parser then decides); the value is computed as the general
// parser computes it, so both agree to the bit.
inline bool plain_number(const char* s, size_t len, double* out) {
  static constexpr double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  constexpr size_t kMaxDigits = 15;
  size_t i = 0;
  while (i < len && s[i] == ' ') ++i;
  bool neg = false;
  if (i < len && (s[i] == '-' || s[i] == '+')) neg = s[i++] == '-';
  uint64_t mant = 0;
  size_t digits = 0;
  int frac = -1;
  for (; i < len; ++i) {
    const unsigned d = static_cast<unsigned char>(s[i]) - '0';
    if (d < 10) {
      mant = mant * 10 + d;
      ++digits;
      if (frac >= 0) ++frac;
    } else if (s[i] == '.' && frac < 0) {
      frac = 0;
    } else {
      break;
    }
  }
  while (i < len && s[i] == ' ') ++i;
  if (i != len || digits > kMaxDigits) return false;
  const double v = static_cast<double>(mant) / kPow10[frac < 0 ? 0 : frac];
  *out = neg ? -v : v;
  return true;
}

}  // namespace xbase::expr
