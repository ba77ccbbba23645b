#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/oem_ansi.h"

namespace vg {
namespace {

std::string to_ansi(const std::string& oem) {
  std::string out(oem.size(), '\0');
  EXPECT_TRUE(OemToCharBuffA(oem.data(), out.data(), static_cast<uint32_t>(oem.size())));
  return out;
}

std::string to_oem(const std::string& ansi) {
  std::string out(ansi.size(), '\0');
  EXPECT_TRUE(CharToOemBuffA(ansi.data(), out.data(), static_cast<uint32_t>(ansi.size())));
  return out;
}

TEST(OemAnsi, LettersBothWays) {
  // u diaeresis, e acute, A ring, n tilde, sharp s, y diaeresis in code page 437 and 1252.
  EXPECT_EQ(to_ansi("\x81\x82\x8F\xA4\xE1\x98"), "\xFC\xE9\xC5\xF1\xDF\xFF");
  EXPECT_EQ(to_oem("\xFC\xE9\xC5\xF1\xDF\xFF"), "\x81\x82\x8F\xA4\xE1\x98");
  EXPECT_EQ(to_ansi("Plain ASCII 0-9 ~\x7F"), "Plain ASCII 0-9 ~\x7F");
  // Every character both sets share survives the round trip.
  for (int b = 0; b < 256; ++b) {
    const bool shared = (b < 0xB0 && b != 0x9E && b != 0xA9) || b == 0xE1 || b == 0xE6 ||
                        b == 0xF1 || b == 0xF6 || b == 0xF8 || b == 0xFA || b == 0xFD ||
                        b == 0xFF;
    if (shared) {
      EXPECT_EQ(AnsiToOemChar(OemToAnsiChar(static_cast<char>(b))), static_cast<char>(b)) << b;
    }
  }
}

TEST(OemAnsi, BestFitsIntoAnsi) {
  // Box drawing: corners and crossings "+", horizontals "-", verticals the broken bar.
  EXPECT_EQ(to_ansi("\xDA\xC4\xBF\xB3\xC0\xD9\xC5\xCD\xBA\xC9"), "+-+\xA6+++-\xA6+");
  EXPECT_EQ(OemToAnsiChar('\xC2'), '-');  // a tee down joins a horizontal line
  EXPECT_EQ(OemToAnsiChar('\xB1'), '\xA6');
  EXPECT_EQ(OemToAnsiChar('\xDC'), '_');
  // Greek and mathematical signs: Latin look-alikes; beta is the sharp s.
  EXPECT_EQ(to_ansi("\xE0\xE3\xE4\xEC\xF2\xFB\xFC"), "apS8=vn");
  EXPECT_EQ(OemToAnsiChar('\xE1'), '\xDF');
  EXPECT_EQ(OemToAnsiChar('\x9E'), 'P');
}

TEST(OemAnsi, BestFitsIntoOem) {
  // Accented letters that code page 437 lacks lose their accent.
  EXPECT_EQ(to_oem("\xC0\xC3\xCA\xCD\xD5\xDD\xE3\xF5\xFD\x8A\x9E"), "AAEIOYaoySz");
  EXPECT_EQ(to_oem("\x91\x92\x93\x94\x96\x97\x85"), "''\"\"--.");
  EXPECT_EQ(AnsiToOemChar('\xA7'), '\x15');  // section sign at its glyph position
  EXPECT_EQ(AnsiToOemChar('\xA9'), 'c');
  EXPECT_EQ(AnsiToOemChar('\xD8'), 'O');
  EXPECT_EQ(AnsiToOemChar('\x81'), '?');  // undefined in 1252
  EXPECT_EQ(AnsiToOemChar('\xDE'), '?');
  EXPECT_EQ(AnsiToOemChar('\xA0'), '\xFF');  // no-break space exists in both
}

TEST(OemAnsi, CallingConventions) {
  char buf[16];
  std::strcpy(buf, "\x81" "ber");
  EXPECT_TRUE(OemToCharA(buf, buf));  // in place
  EXPECT_STREQ(buf, "\xFC" "ber");
  EXPECT_TRUE(CharToOemA(buf, buf));
  EXPECT_STREQ(buf, "\x81" "ber");
  // The string forms stop at the NUL; the buffer forms convert it and go on.
  char out[8] = "XXXXXXX";
  EXPECT_TRUE(OemToCharA("\x82", out));
  EXPECT_EQ(std::string(out, 3), std::string("\xE9\0X", 3));
  const char src[3] = {'\x82', '\0', '\x82'};
  EXPECT_TRUE(OemToCharBuffA(src, out, 3));
  EXPECT_EQ(std::string(out, 3), std::string("\xE9\0\xE9", 3));
  EXPECT_TRUE(OemToCharBuffA(src, out, 0));
  EXPECT_FALSE(OemToCharA(nullptr, out));
  EXPECT_FALSE(CharToOemA(src, nullptr));
  EXPECT_FALSE(CharToOemBuffA(nullptr, out, 1));
}

}  // namespace
}  // namespace vg
