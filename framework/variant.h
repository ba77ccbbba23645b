// Variant: a value whose type is decided at run time. It holds nothing
// (Empty), the database null (Null), a Boolean, a 32- or 64-bit integer, a
// double, a currency amount (fixed point, four decimals), a string, a
// date-time, or a one-dimensional array of variants.
//
// Conversions between the kinds follow the framework's rules: Empty reads as
// 0, false or ""; true reads as -1 as a number; numbers round half to even
// when they become integers; strings are read with the locale's separators.
// A conversion that cannot be made (Null to anything but a variant, text that
// is no number, an array to a scalar) raises EVariantError, as does an
// integer conversion that overflows.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "framework/date_time.h"

namespace vg {

// Type codes, as the framework numbers them.
enum TVarType : uint16_t {
  varEmpty = 0x0000,
  varNull = 0x0001,
  varInteger = 0x0003,
  varDouble = 0x0005,
  varCurrency = 0x0006,
  varDate = 0x0007,
  varBoolean = 0x000B,
  varVariant = 0x000C,
  varInt64 = 0x0014,
  varString = 0x0100,
  varTypeMask = 0x0FFF,
  varArray = 0x2000,
};

// A currency amount: the value times 10000, exact.
struct Currency {
  int64_t scaled = 0;

  static Currency FromDouble(double value);  // rounds to four decimals
  double ToDouble() const { return static_cast<double>(scaled) / 10000.0; }
  friend bool operator==(Currency a, Currency b) { return a.scaled == b.scaled; }
};

class Variant {
 public:
  Variant() = default;
  Variant(bool value);
  Variant(int32_t value);
  Variant(int64_t value);
  Variant(double value);
  Variant(Currency value);
  Variant(const std::string& value);
  Variant(std::string&& value);
  Variant(const char* value);

  static Variant Null();
  static Variant FromDateTime(TDateTime value);
  // An array indexed low_bound..high_bound, every element Empty.
  static Variant Array(int low_bound, int high_bound);
  // An array indexed from 0 holding `items`.
  static Variant ArrayOf(std::initializer_list<Variant> items);
  static Variant ArrayOf(const std::vector<Variant>& items);

  // The type code; arrays answer varArray | varVariant.
  uint16_t VarType() const { return is_array_ ? (varArray | varVariant) : type_; }
  bool IsEmpty() const { return type_ == varEmpty && !is_array_; }
  bool IsNull() const { return type_ == varNull; }
  bool IsArray() const { return is_array_; }

  bool AsBoolean() const;
  int32_t AsInteger() const;
  int64_t AsInt64() const;
  double AsDouble() const;
  Currency AsCurrency() const;
  TDateTime AsDateTime() const;
  std::string AsString() const;

  // Arrays only (EVariantError otherwise): bounds, element access and
  // resizing of the upper bound.
  int LowBound() const;
  int HighBound() const;
  Variant& operator[](int index);
  const Variant& operator[](int index) const;
  void Redim(int high_bound);

  // Same type and same value (arrays element by element); Empty equals Empty,
  // Null equals Null.
  bool SameAs(const Variant& other) const;

 private:
  void require_array() const;
  [[noreturn]] void cannot_convert(const char* target) const;

  uint16_t type_ = varEmpty;
  bool is_array_ = false;
  bool bool_ = false;
  int64_t int_ = 0;     // varInteger, varInt64, varCurrency (scaled)
  double double_ = 0;   // varDouble, varDate
  std::string string_;  // varString
  int low_bound_ = 0;
  std::vector<Variant> items_;
};

// The framework's free functions over variants.
inline uint16_t VarType(const Variant& v) { return v.VarType(); }
inline bool VarIsEmpty(const Variant& v) { return v.IsEmpty(); }
inline bool VarIsNull(const Variant& v) { return v.IsNull(); }
inline bool VarIsArray(const Variant& v) { return v.IsArray(); }
// 1 for an array, 0 otherwise.
inline int VarArrayDimCount(const Variant& v) { return v.IsArray() ? 1 : 0; }
int VarArrayLowBound(const Variant& v, int dim);
int VarArrayHighBound(const Variant& v, int dim);
inline Variant VarArrayCreate(int low_bound, int high_bound) {
  return Variant::Array(low_bound, high_bound);
}
inline Variant VarArrayOf(std::initializer_list<Variant> items) { return Variant::ArrayOf(items); }
// The text of a variant; Null gives "".
std::string VarToStr(const Variant& v);
// The name of a type code ("Integer", "String", "Array of Variant", ...).
std::string VarTypeName(uint16_t type);

}  // namespace vg
