#include <gtest/gtest.h>

#include "settings_guard.h"
#include "values/Vgfunc.h"

namespace vg {
namespace {

using Numbers = SettingsGuard;

TEST_F(Numbers, FloatToXBase) {
  EXPECT_EQ(FloatToXBase(-3.14159, 8, 2), "   -3.14");
  EXPECT_EQ(FloatToXBase(2.5, 3, 0), "  3");     // half away from zero
  EXPECT_EQ(FloatToXBase(-2.5, 3, 0), " -3");
  EXPECT_EQ(FloatToXBase(0.125, 5, 2), " 0.13");
  EXPECT_EQ(FloatToXBase(0.5, 4, 2), "0.50");
  EXPECT_EQ(FloatToXBase(-0.001, 6, 2), "  0.00");  // no minus for a zero
  EXPECT_EQ(FloatToXBase(12345.678, 5, 2), "12345.68");  // never cut
  EXPECT_EQ(FloatToXBase(1e15, 20, 2), " 1000000000000000.00");
  FormatSettings().DecimalSeparator = ',';
  FormatSettings().ThousandSeparator = '.';
  EXPECT_EQ(FloatToXBase(-1234.5, 10, 2), "  -1234.50");  // always a point
}

TEST_F(Numbers, ReadingFieldText) {
  EXPECT_DOUBLE_EQ(xBaseToFloat("  -1,234.50"), -1234.5);
  EXPECT_DOUBLE_EQ(xBaseToFloat(""), 0);
  EXPECT_DOUBLE_EQ(xBaseToFloat("   "), 0);
  EXPECT_DOUBLE_EQ(xBaseToFloat("-"), 0);
  EXPECT_DOUBLE_EQ(xBaseToFloat("1.2.3"), 1.23);   // a second point is ignored
  EXPECT_DOUBLE_EQ(xBaseToFloat("12-"), 12);       // a sign after digits is not one
  EXPECT_DOUBLE_EQ(xBaseToFloat(".5-"), 0.5);
  EXPECT_DOUBLE_EQ(xBaseToFloat("+-7"), 7);
  EXPECT_DOUBLE_EQ(xBaseToFloat("1e5"), 15);       // letters are ignored
  FormatSettings().DecimalSeparator = ',';
  FormatSettings().ThousandSeparator = '.';
  EXPECT_DOUBLE_EQ(xBaseToFloat("1,234.5"), 1234.5);  // field text keeps its point
  EXPECT_DOUBLE_EQ(JStrToFloat("-1.234,5"), -1234.5);  // typed text uses the locale's
  EXPECT_DOUBLE_EQ(JStrToFloat("1.5"), 15);

  FormatSettings().DecimalSeparator = '.';
  FormatSettings().ThousandSeparator = ',';
  EXPECT_EQ(JStoI("12-"), -12);
  EXPECT_EQ(JStoI(" +42 "), 42);
  EXPECT_EQ(JStoI("1,234"), 1234);
  EXPECT_EQ(JStoI("12.9"), 12);  // truncated
  EXPECT_EQ(JStoI("-.9"), 0);
  EXPECT_EQ(JStoI("x-y"), 0);
  EXPECT_EQ(JStoI("5-+"), -5);
  EXPECT_EQ(JStoI("99999999999"), 0);  // overflow
  EXPECT_EQ(JStoI("-2147483648"), INT32_MIN);
}

TEST_F(Numbers, ReformatNumericString) {
  EXPECT_EQ(ReformatNumericString("-0", 6, 2), " -0.00");
  EXPECT_EQ(ReformatNumericString(" -0.0", 4, 0), "   0");
  EXPECT_EQ(ReformatNumericString("-0", 3, 2), "-0.00");  // no room: nothing cut
  EXPECT_EQ(ReformatNumericString("12.5", 5, 0), "   12");  // truncated, not rounded
  EXPECT_EQ(ReformatNumericString("-7.9", 4, 0), "  -7");
  EXPECT_EQ(ReformatNumericString("1,234.5", 9, 2), "  1234.50");
  EXPECT_EQ(ReformatNumericString("0", 4, 1), " 0.0");
  FormatSettings().DecimalSeparator = ',';
  EXPECT_EQ(ReformatNumericString("3,25", 6, 1), "   3,3");
}

TEST_F(Numbers, NumericTextTests) {
  EXPECT_TRUE(IsNumericString(""));
  EXPECT_TRUE(IsNumericString(" -1,234.50 "));
  EXPECT_TRUE(IsNumericString("__12_"));
  EXPECT_TRUE(IsNumericString("12-"));
  EXPECT_FALSE(IsNumericString("+-1"));  // two signs
  EXPECT_FALSE(IsNumericString("1.2.3"));
  EXPECT_FALSE(IsNumericString("1e5"));
  EXPECT_TRUE(IsIntegerString(" 1,234"));
  EXPECT_FALSE(IsIntegerString("1.5"));
  EXPECT_FALSE(IsIntegerString("--1"));
  FormatSettings().DecimalSeparator = ',';
  FormatSettings().ThousandSeparator = ' ';
  EXPECT_TRUE(IsNumericString("1 234,5"));
  EXPECT_FALSE(IsNumericString("1.5"));
  EXPECT_TRUE(AllDigits("0123456789"));
  EXPECT_TRUE(AllDigits(""));
  EXPECT_FALSE(AllDigits("12 "));
  EXPECT_DOUBLE_EQ(Exponentiation(-1.5, 3), -3.375);
  EXPECT_DOUBLE_EQ(Exponentiation(2, -3), 1);  // negative powers are not computed
}

TEST_F(Numbers, DefaultFormats) {
  EXPECT_EQ(DefaultNumericEditFormat(10, 2), "######0.00");
  EXPECT_EQ(DefaultNumericDisplayFormat(5, 0), "####0");
  EXPECT_EQ(DefaultNumericDisplayFormat(3, 2), "0.00");
  EXPECT_EQ(DefaultNumericDisplayFormat(0, 0), "0");
  EXPECT_EQ(DefaultDateDisplayFormat(), "MM/DD/YYYY");
  EXPECT_EQ(DefaultDateEditMask(), "!99/99/0000;1;_");
  VGEnv->SetDateFormat("dd.mm.ccyy");
  EXPECT_EQ(DefaultDateDisplayFormat(), "dd.mm.YYyy");
  EXPECT_EQ(DefaultDateEditMask(), "!99990000;1;_");  // "." is not the locale's separator
  FormatSettings().DateSeparator = '.';
  EXPECT_EQ(DefaultDateEditMask(), "!99/99/0000;1;_");
}

}  // namespace
}  // namespace vg
