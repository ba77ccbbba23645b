#include <gtest/gtest.h>

#include "framework/exceptions.h"
#include "framework/format_settings.h"
#include "framework/sys_utils.h"

namespace vg {
namespace {

TEST(SysUtils, FloatTextFollowsTheLocaleSeparator) {
  TFormatSettingsScope keep;
  EXPECT_EQ(FloatToStr(0.1), "0.1");
  EXPECT_EQ(FloatToStr(-1234.5), "-1234.5");
  EXPECT_EQ(FloatToStr(1e15 - 1), "999999999999999");
  EXPECT_EQ(FloatToStr(1e15), "1E15");
  EXPECT_EQ(FloatToStr(0.00001), "1E-5");
  EXPECT_EQ(FloatToStr(0.0001), "0.0001");
  EXPECT_EQ(FloatToStr(2.0 / 3.0), "0.666666666666667");
  EXPECT_EQ(FloatToStrF(1234.5, ffFixed, 15, 2), "1234.50");
  EXPECT_EQ(FloatToStrF(-1234567.125, ffNumber, 15, 2), "-1,234,567.13");
  EXPECT_EQ(FloatToStrF(1234.5, ffExponent, 4, 2), "1.235E+03");
  EXPECT_EQ(FloatToStrF(-5, ffCurrency, 15, 2), "($5.00)");
  EXPECT_EQ(FloatToStrF(-0.001, ffCurrency, 15, 2), "$0.00");
  FormatSettings().DecimalSeparator = ',';
  FormatSettings().ThousandSeparator = '.';
  EXPECT_EQ(FloatToStr(-1234.5), "-1234,5");
  EXPECT_EQ(FloatToStrF(1234567.5, ffNumber, 15, 1), "1.234.567,5");
  EXPECT_EQ(Format("[%8.2f|%2.2d|%s|%%|%-3d]", 3.14159, 7, "x", 4), "[    3,14|07|x|%|4  ]");
}

TEST(SysUtils, ReadingNumbers) {
  TFormatSettingsScope keep;
  EXPECT_DOUBLE_EQ(StrToFloat("  -12.5e2 "), -1250);
  EXPECT_DOUBLE_EQ(StrToFloat(".5"), 0.5);
  double d = 0;
  EXPECT_FALSE(TryStrToFloat("", d));
  EXPECT_FALSE(TryStrToFloat(".", d));
  EXPECT_FALSE(TryStrToFloat("1,5", d));
  EXPECT_FALSE(TryStrToFloat("1e", d));
  EXPECT_THROW(StrToFloat("abc"), EConvertError);
  FormatSettings().DecimalSeparator = ',';
  EXPECT_DOUBLE_EQ(StrToFloat("1,5"), 1.5);
  EXPECT_FALSE(TryStrToFloat("1.5", d));

  EXPECT_EQ(StrToInt("  -42"), -42);
  EXPECT_EQ(StrToInt("$1F"), 31);
  EXPECT_EQ(StrToInt("0x10"), 16);
  int32_t i = 0;
  EXPECT_FALSE(TryStrToInt("42 ", i));  // trailing blanks are not numbers
  EXPECT_FALSE(TryStrToInt("2147483648", i));
  EXPECT_TRUE(TryStrToInt("-2147483648", i));
  EXPECT_EQ(StrToIntDef("x", 9), 9);
  try {
    StrToInt("1x");
    FAIL();
  } catch (const EConvertError& e) {
    EXPECT_STREQ(e.what(), "'1x' is not a valid integer value");
  }
}

TEST(SysUtils, CaseMappingAndComparison) {
  EXPECT_EQ(AnsiUpperCase("abc\xE9\xFF\x9A\xF7"), "ABC\xC9\x9F\x8A\xF7");
  EXPECT_EQ(AnsiLowerCase("ABC\xC9\x9F\x8A\xD7"), "abc\xE9\xFF\x9A\xD7");
  EXPECT_EQ(UpperCase("abc\xE9"), "ABC\xE9");
  EXPECT_TRUE(SameText("Field", "fIELD"));
  EXPECT_TRUE(AnsiSameText("\xE9t\xE9", "\xC9T\xC9"));
  EXPECT_LT(CompareText("a", "B"), 0);
  EXPECT_GT(CompareStr("a", "B"), 0);
  EXPECT_EQ(TrimWhite("\t a b \r\n"), "a b");
  EXPECT_EQ(TrimRightWhite(" a "), " a");
  EXPECT_EQ(QuotedStr("it's"), "'it''s'");
  size_t pos = 0;
  EXPECT_EQ(AnsiExtractQuotedStr("\"a\"\"b\" rest", pos, '"'), "a\"b");
  EXPECT_EQ(pos, 6u);
  EXPECT_EQ(StringReplace("aXbxc", "x", "-", rfReplaceAll | rfIgnoreCase), "a-b-c");
  EXPECT_EQ(StringReplace("axbxc", "x", "-", 0), "a-bxc");
}

TEST(SysUtils, FileNames) {
  EXPECT_EQ(ExtractFileName("/data/sub/ORDERS.DBF"), "ORDERS.DBF");
  EXPECT_EQ(ExtractFilePath("/data/sub/ORDERS.DBF"), "/data/sub/");
  EXPECT_EQ(ExtractFileDir("/data/sub/ORDERS.DBF"), "/data/sub");
  EXPECT_EQ(ExtractFileDir("/ORDERS.DBF"), "/");
  EXPECT_EQ(ExtractFileExt("/da.ta/ORDERS.tar.DBF"), ".DBF");
  EXPECT_EQ(ExtractFileExt("/da.ta/ORDERS"), "");
  EXPECT_EQ(ChangeFileExt("/d/a.dbf", ".cdx"), "/d/a.cdx");
  EXPECT_EQ(ChangeFileExt("/d.x/a", ".cdx"), "/d.x/a.cdx");
  EXPECT_EQ(IncludeTrailingPathDelimiter("/d"), "/d/");
  EXPECT_EQ(ExcludeTrailingPathDelimiter("/d/"), "/d");
  EXPECT_EQ(ExcludeTrailingPathDelimiter("/"), "/");
  EXPECT_EQ(ExpandFileName("/a/./b/../c"), "/a/c");
  EXPECT_EQ(ExpandFileName("/.."), "/");
  const std::string folder = ExecutableFolder();
  ASSERT_FALSE(folder.empty());
  EXPECT_EQ(folder.back(), '/');
  EXPECT_TRUE(DirectoryExists(folder));
  EXPECT_TRUE(FileExists(ExecutableFileName()));
  EXPECT_FALSE(FileExists(folder));
}

}  // namespace
}  // namespace vg
