// The per-record shortcuts of the expression engine against the plain
// definitions they replace: every byte value through the case mapping and
// the digit test, in every lane of the eight-byte words.
#include "expr/fast_paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>


namespace xbase::expr {
namespace {

char plain_case(char c, bool upper) {
  if (upper) return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

TEST(ExprFastPaths, CaseMappingOfEveryByteAtEveryPosition) {
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  // Shifted copies put each byte in every lane of the eight-byte words and
  // in the tail loop.
  for (size_t shift = 0; shift < 9; ++shift) {
    const std::string in = all.substr(shift) + all.substr(0, shift);
    std::string up(in.size(), '\0'), low(in.size(), '\0');
    ascii_case<true>(in.data(), in.size(), up.data());
    ascii_case<false>(in.data(), in.size(), low.data());
    for (size_t i = 0; i < in.size(); ++i) {
      ASSERT_EQ(up[i], plain_case(in[i], true)) << int(static_cast<unsigned char>(in[i]));
      ASSERT_EQ(low[i], plain_case(in[i], false)) << int(static_cast<unsigned char>(in[i]));
    }
  }
}

TEST(ExprFastPaths, EightDigitsRefusesEveryOtherByteInEveryPlace) {
  int y = 0, m = 0, d = 0;
  const uint8_t good[8] = {'1', '9', '7', '0', '0', '3', '1', '5'};
  ASSERT_TRUE(eight_digits(good, &y, &m, &d));
  EXPECT_EQ(y * 10000 + m * 100 + d, 19700315);
  for (int pos = 0; pos < 8; ++pos) {
    for (int c = 0; c < 256; ++c) {
      uint8_t s[8];
      std::copy(good, good + 8, s);
      s[pos] = static_cast<uint8_t>(c);
      EXPECT_EQ(eight_digits(s, &y, &m, &d), c >= '0' && c <= '9') << pos << " " << c;
    }
  }
}

}  // namespace
}  // namespace xbase::expr
