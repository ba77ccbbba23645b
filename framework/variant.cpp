#include "framework/variant.h"

#include <cmath>
#include <utility>

#include "framework/exceptions.h"
#include "framework/sys_utils.h"

namespace vg {

namespace {

[[noreturn]] void overflow(uint16_t from, const char* target) {
  throw EVariantError("Overflow while converting variant of type (" + VarTypeName(from) +
                      ") into type (" + target + ")");
}

// Rounds half to even, as the framework's integer conversions do.
bool round_to_int64(double value, int64_t& out) {
  if (!std::isfinite(value)) return false;
  const double r = std::nearbyint(value);
  if (r < -9223372036854775808.0 || r >= 9223372036854775808.0) return false;
  out = static_cast<int64_t>(r);
  return true;
}

}  // namespace

Currency Currency::FromDouble(double value) {
  int64_t scaled = 0;
  if (!round_to_int64(value * 10000.0, scaled))
    throw EVariantError("Overflow while converting variant of type (Double) into type (Currency)");
  return Currency{scaled};
}

Variant::Variant(bool value) : type_(varBoolean), bool_(value) {}
Variant::Variant(int32_t value) : type_(varInteger), int_(value) {}
Variant::Variant(int64_t value) : type_(varInt64), int_(value) {}
Variant::Variant(double value) : type_(varDouble), double_(value) {}
Variant::Variant(Currency value) : type_(varCurrency), int_(value.scaled) {}
Variant::Variant(const std::string& value) : type_(varString), string_(value) {}
Variant::Variant(std::string&& value) : type_(varString), string_(std::move(value)) {}
Variant::Variant(const char* value) : type_(varString), string_(value == nullptr ? "" : value) {}

Variant Variant::Null() {
  Variant v;
  v.type_ = varNull;
  return v;
}

Variant Variant::FromDateTime(TDateTime value) {
  Variant v;
  v.type_ = varDate;
  v.double_ = value;
  return v;
}

Variant Variant::Array(int low_bound, int high_bound) {
  if (high_bound < low_bound - 1) throw EVariantError("Invalid variant array bounds");
  Variant v;
  v.is_array_ = true;
  v.type_ = varVariant;
  v.low_bound_ = low_bound;
  v.items_.resize(static_cast<size_t>(static_cast<int64_t>(high_bound) - low_bound + 1));
  return v;
}

Variant Variant::ArrayOf(std::initializer_list<Variant> items) {
  return ArrayOf(std::vector<Variant>(items));
}

Variant Variant::ArrayOf(const std::vector<Variant>& items) {
  Variant v;
  v.is_array_ = true;
  v.type_ = varVariant;
  v.items_ = items;
  return v;
}

void Variant::cannot_convert(const char* target) const {
  throw EVariantError("Could not convert variant of type (" + VarTypeName(VarType()) +
                      ") into type (" + target + ")");
}

bool Variant::AsBoolean() const {
  if (is_array_) cannot_convert("Boolean");
  switch (type_) {
    case varEmpty: return false;
    case varBoolean: return bool_;
    case varInteger:
    case varInt64:
    case varCurrency: return int_ != 0;
    case varDouble:
    case varDate: return double_ != 0;
    case varString: {
      const std::string t = TrimWhite(string_);
      if (SameText(t, "True")) return true;
      if (SameText(t, "False")) return false;
      double d = 0;
      if (TryStrToFloat(string_, d)) return d != 0;
      break;
    }
    default: break;
  }
  cannot_convert("Boolean");
}

int64_t Variant::AsInt64() const {
  if (is_array_) cannot_convert("Int64");
  int64_t out = 0;
  switch (type_) {
    case varEmpty: return 0;
    case varBoolean: return bool_ ? -1 : 0;
    case varInteger:
    case varInt64: return int_;
    case varCurrency: {
      // Half to even on the exact scaled amount.
      const int64_t whole = int_ / 10000, rest = int_ % 10000;
      const int64_t away = rest > 0 ? 1 : -1;
      if (rest > 5000 || rest < -5000) return whole + away;
      if (rest == 5000 || rest == -5000) return whole % 2 == 0 ? whole : whole + away;
      return whole;
    }
    case varDouble:
    case varDate:
      if (!round_to_int64(double_, out)) overflow(type_, "Int64");
      return out;
    case varString: {
      if (TryStrToInt64(string_, out)) return out;
      double d = 0;
      if (TryStrToFloat(string_, d)) {
        if (!round_to_int64(d, out)) overflow(type_, "Int64");
        return out;
      }
      break;
    }
    default: break;
  }
  cannot_convert("Int64");
}

int32_t Variant::AsInteger() const {
  if (is_array_ || type_ == varNull) cannot_convert("Integer");
  if (type_ == varString) {
    int64_t v = 0;
    double d = 0;
    if (!TryStrToInt64(string_, v) && !TryStrToFloat(string_, d)) cannot_convert("Integer");
  }
  const int64_t v = AsInt64();
  if (v < INT32_MIN || v > INT32_MAX) overflow(VarType(), "Integer");
  return static_cast<int32_t>(v);
}

double Variant::AsDouble() const {
  if (is_array_) cannot_convert("Double");
  switch (type_) {
    case varEmpty: return 0;
    case varBoolean: return bool_ ? -1 : 0;
    case varInteger:
    case varInt64: return static_cast<double>(int_);
    case varCurrency: return static_cast<double>(int_) / 10000.0;
    case varDouble:
    case varDate: return double_;
    case varString: {
      double d = 0;
      if (TryStrToFloat(string_, d)) return d;
      break;
    }
    default: break;
  }
  cannot_convert("Double");
}

Currency Variant::AsCurrency() const {
  if (is_array_ || type_ == varNull) cannot_convert("Currency");
  if (type_ == varCurrency) return Currency{int_};
  if (type_ == varString) {
    double d = 0;
    if (!TryStrToFloat(string_, d)) cannot_convert("Currency");
  }
  const double d = AsDouble();
  int64_t scaled = 0;
  if (!round_to_int64(d * 10000.0, scaled)) overflow(VarType(), "Currency");
  return Currency{scaled};
}

TDateTime Variant::AsDateTime() const {
  if (is_array_ || type_ == varNull) cannot_convert("Date");
  if (type_ == varString) {
    TDateTime v = 0;
    if (TryStrToDateTime(string_, v)) return v;
    double d = 0;
    if (TryStrToFloat(string_, d)) return d;
    cannot_convert("Date");
  }
  return AsDouble();
}

std::string Variant::AsString() const {
  if (is_array_) cannot_convert("String");
  switch (type_) {
    case varEmpty: return std::string();
    case varBoolean: return bool_ ? "True" : "False";
    case varInteger:
    case varInt64: return IntToStr(int_);
    case varCurrency: return FloatToStr(static_cast<double>(int_) / 10000.0);
    case varDouble: return FloatToStr(double_);
    case varDate: return DateTimeToStr(double_);
    case varString: return string_;
    default: break;
  }
  cannot_convert("String");
}

void Variant::require_array() const {
  if (!is_array_) throw EVariantError("Variant is not an array");
}

int Variant::LowBound() const {
  require_array();
  return low_bound_;
}

int Variant::HighBound() const {
  require_array();
  return low_bound_ + static_cast<int>(items_.size()) - 1;
}

Variant& Variant::operator[](int index) {
  require_array();
  const int64_t at = static_cast<int64_t>(index) - low_bound_;
  if (at < 0 || at >= static_cast<int64_t>(items_.size()))
    throw EVariantError("Variant or safe array index out of bounds");
  return items_[static_cast<size_t>(at)];
}

const Variant& Variant::operator[](int index) const {
  return const_cast<Variant&>(*this)[index];
}

void Variant::Redim(int high_bound) {
  require_array();
  if (high_bound < low_bound_ - 1) throw EVariantError("Invalid variant array bounds");
  items_.resize(static_cast<size_t>(static_cast<int64_t>(high_bound) - low_bound_ + 1));
}

bool Variant::SameAs(const Variant& other) const {
  if (VarType() != other.VarType()) return false;
  if (is_array_) {
    if (low_bound_ != other.low_bound_ || items_.size() != other.items_.size()) return false;
    for (size_t i = 0; i < items_.size(); ++i)
      if (!items_[i].SameAs(other.items_[i])) return false;
    return true;
  }
  switch (type_) {
    case varBoolean: return bool_ == other.bool_;
    case varInteger:
    case varInt64:
    case varCurrency: return int_ == other.int_;
    case varDouble:
    case varDate: return double_ == other.double_;
    case varString: return string_ == other.string_;
    default: return true;
  }
}

int VarArrayLowBound(const Variant& v, int dim) {
  if (dim != 1) throw EVariantError("Variant or safe array index out of bounds");
  return v.LowBound();
}

int VarArrayHighBound(const Variant& v, int dim) {
  if (dim != 1) throw EVariantError("Variant or safe array index out of bounds");
  return v.HighBound();
}

std::string VarToStr(const Variant& v) { return v.IsNull() ? std::string() : v.AsString(); }

std::string VarTypeName(uint16_t type) {
  std::string name;
  switch (type & varTypeMask) {
    case varEmpty: name = "Empty"; break;
    case varNull: name = "Null"; break;
    case varInteger: name = "Integer"; break;
    case varDouble: name = "Double"; break;
    case varCurrency: name = "Currency"; break;
    case varDate: name = "Date"; break;
    case varBoolean: name = "Boolean"; break;
    case varVariant: name = "Variant"; break;
    case varInt64: name = "Int64"; break;
    case varString: name = "String"; break;
    default: name = "Unknown"; break;
  }
  return (type & varArray) != 0 ? "Array " + name : name;
}

}  // namespace vg
