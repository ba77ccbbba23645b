#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "settings_guard.h"
#include "values/Vgfunc.h"

namespace vg {
namespace {

using Strings = SettingsGuard;

TEST_F(Strings, TrimmingAndPadding) {
  EXPECT_EQ(LTrim("  a b  "), "a b  ");
  EXPECT_EQ(Trim("  a b  "), "  a b");  // a right trim
  EXPECT_EQ(AllTrim("\t a \t"), "\t a \t");  // only the blank counts
  EXPECT_EQ(AllTrim("   "), "");
  EXPECT_EQ(Space(-2), "");
  EXPECT_EQ(Replicate('*', -1), "");
  EXPECT_EQ(LPad("abcde", 4), "abcde");  // longer texts are never cut
  EXPECT_EQ(ZPad("-7", 3), "0-7");       // zeros go in front of the sign too
  EXPECT_EQ(Pad("ab", 4), "ab  ");
  EXPECT_EQ(Pad("abcde", 3), "abc");
}

TEST_F(Strings, FormatPhone) {
  EXPECT_EQ(FormatPhone("5551234"), "(   ) 555-1234");
  EXPECT_EQ(FormatPhone("8005551234"), "(800) 555-1234");
  EXPECT_EQ(FormatPhone("(800) 555-1234 ext 99"), "(800) 555-1234");  // extra digits dropped
  EXPECT_EQ(FormatPhone("80055"), "(800) 55 -    ");
  EXPECT_EQ(FormatPhone("none"), "(   )    -    ");
  EXPECT_EQ(FormatPhone(""), "(   )    -    ");
}

TEST_F(Strings, BytesAndCharacters) {
  const char raw[] = {'a', '\0', 'b', 'c'};
  EXPECT_EQ(StrPasN(raw, 3), std::string("a\0b", 3));
  EXPECT_EQ(StrPasN(raw, 0), "");
  EXPECT_EQ(StrPasN(nullptr, 2), "");
  std::vector<char> out(6, 'x');
  EXPECT_EQ(StrPCopyBin(out.data(), std::string("a\0b", 3)), out.data());
  EXPECT_EQ(std::string(out.data(), 5), std::string("a\0b\0x", 5));
  EXPECT_TRUE(CharToBool('y'));
  EXPECT_TRUE(CharToBool('T'));
  EXPECT_FALSE(CharToBool('N'));
  EXPECT_EQ(BoolToChar(false), 'F');
}

TEST_F(Strings, FileNamesAndAliases) {
  EXPECT_EQ(RemoveTrailingBackSlash("/"), "/");  // the root keeps its delimiter
  EXPECT_EQ(RemoveTrailingBackSlash("/data/"), "/data");
  EXPECT_EQ(RemoveTrailingBackSlash(""), "");
  EXPECT_EQ(ExtractFileAlias("/da.ta/my file.dbf.bak"), "my file");
  EXPECT_EQ(ExtractFileAlias("ORDERS"), "ORDERS");
  EXPECT_EQ(ExtractFileAlias("/data/.hidden"), "");
  EXPECT_EQ(ExtractDBAlias("/data/my file.dbf"), "my_file");
}

TEST_F(Strings, CharacterSets) {
  EXPECT_EQ(VGOEMToAnsi("M\x81ller \xDA\xC4\xBF"), "M\xFCller +-+");
  EXPECT_EQ(VGAnsiToOEM("M\xFCller \xC0"), "M\x81ller A");
  EXPECT_EQ(VGOEMToAnsi(""), "");
  EXPECT_EQ(VGOEMToAnsi(std::string("\x81\0\x81", 3)), "\xFC");  // up to the NUL
}

TEST_F(Strings, NamesOfCodesAndStates) {
  EXPECT_EQ(ExprTypeToString('d'), "Date Double");  // the case of the code counts
  EXPECT_EQ(ExprTypeToString('T'), "");
  EXPECT_EQ(DSStateToString(dsCurValue), "dsCurValue");
  EXPECT_EQ(DSStateToString(dsBlockRead), "");
  EXPECT_TRUE(IsVariantArray(VarArrayCreate(0, -1)));
  EXPECT_FALSE(IsVariantArray(Variant::Null()));
}

TEST_F(Strings, DelimStringList) {
  TDelimStringList list;
  list.SetInputString(" a ; b;;c ;");
  // The empty piece between delimiters counts, the last not.
  EXPECT_EQ(list.Text(), "a\nb\n\nc\n");
  list.SetInputString("x; ");  // a last piece of blanks is not empty: it adds ""
  EXPECT_EQ(list.Text(), "x\n\n");
  list.SetDelimiter(',');
  list.SetInputString("p,q");
  EXPECT_EQ(list.Text(), "p\nq\n");
  list.SetInputString("");
  EXPECT_EQ(list.Count(), 0);
}

TEST_F(Strings, NullableFields) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::path(VGX_TEST_BINARY_DIR) / "nullable_fields";
  fs::remove_all(dir);
  fs::create_directories(dir);
  CODE4* c4 = code4initP();
  ASSERT_NE(c4, nullptr);
  code4errOff(c4, 1);
  code4safety(c4, 0);
  code4compatibility(c4, 30);
  FIELD4INFO fields[] = {{const_cast<char*>("NAME"), 'C', 10, 0, 190},
                         {const_cast<char*>("QTY"), 'N', 5, 0, 0},
                         {nullptr, 0, 0, 0, 0}};
  DATA4* data = d4create(c4, (dir / "NULLS").c_str(), fields, nullptr);
  ASSERT_NE(data, nullptr);
  FIELD4* name = d4field(data, "NAME");
  FIELD4* qty = d4field(data, "QTY");
  EXPECT_TRUE(F4Nullable(data, name));
  EXPECT_FALSE(F4Nullable(data, qty));
  EXPECT_FALSE(F4Nullable(data, nullptr));
  EXPECT_FALSE(F4Nullable(nullptr, name));
  ASSERT_EQ(d4appendStart(data, 0), 0);
  d4blank(data);
  EXPECT_FALSE(F4NullFlagSet(name));
  f4assignNull(name);
  EXPECT_TRUE(F4NullFlagSet(name));
  EXPECT_FALSE(F4NullFlagSet(nullptr));
  code4initUndo(c4);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vg
