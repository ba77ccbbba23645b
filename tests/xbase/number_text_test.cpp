// Numbers stored as text: the reader must agree with the C library on every
// text (its own exact path included), and the writer's output must read back.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "table/number_text.h"

namespace {

using xbase::table::format_number;
using xbase::table::parse_long;
using xbase::table::parse_number;

uint64_t bits_of(double v) {
  uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

// What the reader promises for text without NUL characters: the C library's
// value, 0 where that is not finite.
double library_value(const std::string& text) {
  double v = std::strtod(text.c_str(), nullptr);
  return std::isfinite(v) ? v : 0;
}

// Bit for bit, but a sign-only text may give -0 where the library gives 0.
void expect_same(const std::string& text) {
  const double got = parse_number(text.data(), text.size());
  const double want = library_value(text);
  if (got == 0 && want == 0) return;
  EXPECT_EQ(bits_of(got), bits_of(want)) << "\"" << text << "\": " << got << " against " << want;
}

TEST(NumberText, CommonShapesReadAsTheLibraryReadsThem) {
  for (const char* t : {"", " ", "0", "7", "-7", "+7", "   12.50", "  -0.05", "1234567890123456", "123456789012345",
                        "12345678901234.5", ".5", "-.5", "5.", "-", ".", "-.", "   0000000000012", "0.1", "0.3",
                        " 99999999999.99", "-9999999999999.9", "        1", "1       ", " 1 2", "1e5", "  -1.5E-3",
                        "**********", "1.2.3", "--5", "- 5", "5-", "  +.", "\t12", "1,5", "12345678.123456789"})
    expect_same(t);
}

TEST(NumberText, BlanksAndNulsAroundTheNumberAreIgnored) {
  EXPECT_EQ(parse_number("\0\0  12.5", 8), 12.5);
  EXPECT_EQ(parse_number("12.5\0\0\0", 7), 12.5);
  EXPECT_EQ(parse_number("  -3  ", 6), -3);
  EXPECT_EQ(parse_number("        ", 8), 0);
  EXPECT_TRUE(std::signbit(parse_number("   -", 4)));
}

// Random texts of every width up to 20: mostly well-formed right-aligned
// numbers, some with a stray character, blank or second point that sends
// the reader from its exact path to the library's.
TEST(NumberText, RandomTextsOfEveryWidthAgreeWithTheLibrary) {
  std::mt19937_64 rng(20261121);
  const std::string odd = " .-+e0x9";
  for (int round = 0; round < 200000; ++round) {
    const size_t width = rng() % 21;
    const size_t digits = width ? rng() % (width + 1) : 0;
    std::string t(width - digits, ' ');
    std::string number;
    for (size_t i = 0; i < digits; ++i) number += static_cast<char>('0' + rng() % 10);
    if (!number.empty() && rng() % 3) number.insert(rng() % (number.size() + 1), ".");
    if (!number.empty() && rng() % 4 == 0) number.insert(0, rng() % 2 ? "-" : "+");
    t += number;
    t.resize(width, ' ');
    if (width && rng() % 5 == 0) t[rng() % width] = odd[rng() % odd.size()];
    expect_same(t);
    if (HasFailure()) return;
  }
}

TEST(NumberText, LongValuesAreClampedToThe32BitRange) {
  EXPECT_EQ(parse_long("  2147483647", 12), 2147483647);
  EXPECT_EQ(parse_long("  9999999999", 12), 2147483647);
  EXPECT_EQ(parse_long(" -9999999999", 12), -2147483647 - 1);
  EXPECT_EQ(parse_long("   -12.99", 9), -12);
}

TEST(NumberText, WrittenNumbersReadBackRounded) {
  std::mt19937_64 rng(7);
  char out[21];
  for (int round = 0; round < 20000; ++round) {
    const uint32_t width = 1 + static_cast<uint32_t>(rng() % 20);
    const uint32_t dec = width > 2 ? static_cast<uint32_t>(rng() % (width - 1)) : 0;
    const double value = std::ldexp(static_cast<double>(rng() % 2000001) - 1000000.0, -static_cast<int>(rng() % 20));
    if (!format_number(value, width, dec, out)) continue;
    const double back = parse_number(out, width);
    ASSERT_LE(std::fabs(back - value), 0.50001 * std::pow(10.0, -static_cast<int>(dec)) + std::fabs(value) * 1e-15)
        << value << " in N(" << width << "," << dec << "): " << std::string(out, width);
  }
}

TEST(NumberText, ValuesThatDoNotFitBecomeAsterisks) {
  char out[8];
  EXPECT_FALSE(format_number(123456.0, 5, 0, out));
  EXPECT_EQ(std::string(out, 5), "*****");
  EXPECT_FALSE(format_number(NAN, 6, 2, out));
  EXPECT_EQ(std::string(out, 6), "***.**");
  EXPECT_TRUE(format_number(-2.675, 6, 2, out));
  EXPECT_EQ(std::string(out, 6), " -2.68");
}

}  // namespace
