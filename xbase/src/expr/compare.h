// Comparison rules shared by the relational operators and MIN/MAX.
//
// Text: `<`, `<=`, `>` and `>=` compare bytes as unsigned values, the
// shorter operand padded with blanks (the order of index keys). `=`
// compares over the right operand's length (the left padded with blanks
// when shorter), so "PARIS  " = "PARIS" and anything = "" hold; `<>`, `#`
// and `!=` are its negation, and `==` wants the same bytes and length,
// trailing blanks included. So "ABC" = "AB" holds while "ABC" <= "AB" does
// not, as in xBase with inexact comparison.
// Numbers are equal when they agree to about 14 significant digits, so that
// 0.1 + 0.2 = 0.3 holds as it does for decimal xBase numbers.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstring>

#include <string.h>  // memmem

#include "expr/value.h"

namespace xbase::expr {

inline int compare_padded(TextView a, TextView b) {
  const size_t common = a.size < b.size ? a.size : b.size;
  if (common) {
    const int c = std::memcmp(a.data, b.data, common);
    if (c != 0) return c < 0 ? -1 : 1;
  }
  const TextView& longer = a.size > b.size ? a : b;
  for (size_t i = common; i < longer.size; ++i) {
    const auto ch = static_cast<unsigned char>(longer.data[i]);
    if (ch != ' ') return (ch > ' ') == (&longer == &a) ? 1 : -1;
  }
  return 0;
}

// The `=` of text.
inline bool text_matches(TextView a, TextView b) {
  if (a.size >= b.size) return b.size == 0 || std::memcmp(a.data, b.data, b.size) == 0;
  if (a.size && std::memcmp(a.data, b.data, a.size) != 0) return false;
  for (size_t i = a.size; i < b.size; ++i)
    if (b.data[i] != ' ') return false;
  return true;
}

inline bool text_identical(TextView a, TextView b) {
  return a.size == b.size && (a.size == 0 || std::memcmp(a.data, b.data, a.size) == 0);
}

// Where `needle` first occurs in `hay` (0-based), or -1; "" occurs nowhere,
// as AT("", x) finds nothing. memmem takes linear time whatever the texts,
// so a long near-miss searched in a long memo cannot stall a scan.
inline ptrdiff_t find_text(TextView needle, TextView hay) {
  if (needle.size == 0 || needle.size > hay.size) return -1;
  const void* at = memmem(hay.data, hay.size, needle.data, needle.size);
  return at ? static_cast<const char*>(at) - hay.data : -1;
}

inline constexpr double kNumberTolerance = 1e-14;

inline int compare_numbers(double a, double b) {
  if (a == b) return 0;
  const double scale = std::fabs(a) > std::fabs(b) ? std::fabs(a) : std::fabs(b);
  if (std::fabs(a - b) <= scale * kNumberTolerance) return 0;
  return a < b ? -1 : 1;
}

}  // namespace xbase::expr
