#include <gtest/gtest.h>

#include "framework/exceptions.h"
#include "framework/format_settings.h"
#include "framework/variant.h"

namespace vg {
namespace {

TEST(Variant, KindsAndTypeCodes) {
  EXPECT_EQ(VarType(Variant()), varEmpty);
  EXPECT_EQ(VarType(Variant::Null()), varNull);
  EXPECT_EQ(VarType(Variant(true)), varBoolean);
  EXPECT_EQ(VarType(Variant(int32_t{5})), varInteger);
  EXPECT_EQ(VarType(Variant(int64_t{5})), varInt64);
  EXPECT_EQ(VarType(Variant(1.5)), varDouble);
  EXPECT_EQ(VarType(Variant(Currency{15000})), varCurrency);
  EXPECT_EQ(VarType(Variant("x")), varString);
  EXPECT_EQ(VarType(Variant::FromDateTime(1)), varDate);
  EXPECT_EQ(VarType(VarArrayOf({1, "a"})), varArray | varVariant);
  EXPECT_EQ(VarTypeName(varArray | varVariant), "Array Variant");
}

TEST(Variant, ConversionsFollowTheFrameworkRules) {
  TFormatSettingsScope keep;
  EXPECT_EQ(Variant().AsInteger(), 0);
  EXPECT_EQ(Variant().AsString(), "");
  EXPECT_FALSE(Variant().AsBoolean());
  EXPECT_EQ(Variant(true).AsInteger(), -1);  // true is all bits set
  EXPECT_EQ(Variant(true).AsString(), "True");
  EXPECT_TRUE(Variant(" false ").AsBoolean() == false);
  EXPECT_TRUE(Variant("TRUE").AsBoolean());
  EXPECT_TRUE(Variant("2").AsBoolean());
  // Half to even when a number becomes an integer.
  EXPECT_EQ(Variant(2.5).AsInteger(), 2);
  EXPECT_EQ(Variant(3.5).AsInteger(), 4);
  EXPECT_EQ(Variant(-2.5).AsInteger(), -2);
  EXPECT_EQ(Variant(Currency{25000}).AsInteger(), 2);
  EXPECT_EQ(Variant(Currency{-35000}).AsInteger(), -4);
  EXPECT_EQ(Variant(Currency{-34999}).AsInteger(), -3);
  EXPECT_EQ(Variant("  12").AsInteger(), 12);
  EXPECT_EQ(Variant("12.5").AsInteger(), 12);
  EXPECT_DOUBLE_EQ(Variant(Currency::FromDouble(1.23456)).AsDouble(), 1.2346);
  EXPECT_EQ(Variant(1.5).AsString(), "1.5");
  EXPECT_EQ(Variant(Currency{12345}).AsString(), "1.2345");
  EXPECT_EQ(Variant::FromDateTime(36955.5).AsString(), "3/5/2001 12:00:00 PM");
  EXPECT_DOUBLE_EQ(Variant("3/5/2001").AsDateTime(), 36955);
  FormatSettings().DecimalSeparator = ',';
  EXPECT_DOUBLE_EQ(Variant("1,25").AsDouble(), 1.25);
  EXPECT_EQ(Variant(1.25).AsString(), "1,25");
}

TEST(Variant, ImpossibleConversionsRaise) {
  EXPECT_THROW(Variant::Null().AsInteger(), EVariantError);
  EXPECT_THROW(Variant::Null().AsString(), EVariantError);
  EXPECT_THROW(Variant::Null().AsBoolean(), EVariantError);
  EXPECT_THROW(Variant("abc").AsDouble(), EVariantError);
  EXPECT_THROW(Variant("abc").AsBoolean(), EVariantError);
  EXPECT_THROW(Variant("abc").AsDateTime(), EVariantError);
  EXPECT_THROW(Variant(3e9).AsInteger(), EVariantError);
  EXPECT_THROW(Variant(int64_t{1} << 40).AsInteger(), EVariantError);
  EXPECT_THROW(Variant(1e300).AsCurrency(), EVariantError);
  EXPECT_THROW(VarArrayOf({1}).AsString(), EVariantError);
  try {
    Variant("x").AsInteger();
    FAIL();
  } catch (const EVariantError& e) {
    EXPECT_STREQ(e.what(), "Could not convert variant of type (String) into type (Integer)");
  }
  EXPECT_EQ(VarToStr(Variant::Null()), "");
}

TEST(Variant, Arrays) {
  Variant a = VarArrayCreate(1, 3);
  EXPECT_TRUE(VarIsArray(a));
  EXPECT_EQ(VarArrayDimCount(a), 1);
  EXPECT_EQ(VarArrayDimCount(Variant(1)), 0);
  EXPECT_EQ(VarArrayLowBound(a, 1), 1);
  EXPECT_EQ(VarArrayHighBound(a, 1), 3);
  EXPECT_TRUE(a[2].IsEmpty());
  a[3] = Variant("z");
  EXPECT_EQ(a[3].AsString(), "z");
  EXPECT_THROW(a[0], EVariantError);
  EXPECT_THROW(a[4], EVariantError);
  EXPECT_THROW(VarArrayLowBound(a, 2), EVariantError);
  EXPECT_THROW(Variant(1)[0], EVariantError);
  a.Redim(4);
  EXPECT_EQ(a.HighBound(), 4);
  Variant empty = VarArrayCreate(0, -1);
  EXPECT_EQ(empty.HighBound(), -1);
  Variant copy = a;
  copy[3] = Variant(1);
  EXPECT_EQ(a[3].AsString(), "z");  // arrays copy by value
  EXPECT_FALSE(copy.SameAs(a));
  EXPECT_TRUE(VarArrayOf({1, "a"}).SameAs(VarArrayOf({1, "a"})));
}

}  // namespace
}  // namespace vg
