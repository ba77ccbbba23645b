#include "index/key_encoding.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "io/endian.h"
#include "table/field_codec.h"
#include "util/date.h"

namespace xbase::index {

namespace {

constexpr uint64_t kSignBit = 0x8000000000000000ull;
constexpr double kSecondsPerDay = 86400.0;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// "CCYYMMDD" or "CCYYMMDDhh:mm:ss" (also without the colons) as a day
// number with the time as a fraction; 0 for a blank or impossible date.
double day_number_from_text(std::string_view text, bool with_time) {
  char date[9] = "        ";
  std::memcpy(date, text.data(), text.size() < 8 ? text.size() : 8);
  int32_t day = date::day_from_ccyymmdd(date);
  if (day <= 0) return 0;
  if (!with_time) return day;
  int parts[3] = {0, 0, 0};
  size_t at = 8;
  for (int& part : parts) {
    if (at < text.size() && text[at] == ':') ++at;
    if (at + 1 < text.size() && is_digit(text[at]) && is_digit(text[at + 1]))
      part = (text[at] - '0') * 10 + (text[at + 1] - '0');
    at += 2;
  }
  return day + (parts[0] * 3600 + parts[1] * 60 + parts[2]) / kSecondsPerDay;
}

}  // namespace

void encode_number(double value, uint8_t out[8]) {
  if (value == 0) value = 0;  // -0 sorts with 0
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  bits = (bits & kSignBit) ? ~bits : (bits | kSignBit);
  io::store_u64be(out, bits);
}

double decode_number(const uint8_t in[8]) {
  uint64_t bits = io::load_u64be(in);
  bits = (bits & kSignBit) ? (bits & ~kSignBit) : ~bits;
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

void encode_int32(int32_t value, uint8_t out[4]) {
  io::store_u32be(out, static_cast<uint32_t>(value) ^ 0x80000000u);
}

int32_t decode_int32(const uint8_t in[4]) {
  return static_cast<int32_t>(io::load_u32be(in) ^ 0x80000000u);
}

size_t key_from_text(KeyKind kind, std::string_view text, uint8_t* out) {
  switch (kind) {
    case KeyKind::kNumber:
      encode_number(table::parse_number(text.data(), text.size()), out);
      return kNumberKeyLen;
    case KeyKind::kInt32: {
      double v = table::parse_number(text.data(), text.size());
      v = std::isnan(v) ? 0 : v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : v;
      encode_int32(static_cast<int32_t>(v), out);
      return kInt32KeyLen;
    }
    case KeyKind::kDate:
      encode_number(day_number_from_text(text, false), out);
      return kNumberKeyLen;
    case KeyKind::kDateTime:
      encode_number(day_number_from_text(text, true), out);
      return kNumberKeyLen;
    case KeyKind::kLogical: {
      const char c = text.empty() ? 'F' : text[0];
      out[0] = (c == 'T' || c == 't' || c == 'Y' || c == 'y') ? 'T' : 'F';
      return 1;
    }
    case KeyKind::kText:
      break;
  }
  std::memcpy(out, text.data(), text.size());
  return text.size();
}

std::string_view kind_name(KeyKind kind) {
  switch (kind) {
    case KeyKind::kText:
      return "character";
    case KeyKind::kNumber:
      return "numeric";
    case KeyKind::kInt32:
      return "integer";
    case KeyKind::kDate:
      return "date";
    case KeyKind::kDateTime:
      return "date-time";
    case KeyKind::kLogical:
      return "logical";
  }
  return "?";
}

std::string describe_key(KeyKind kind, Collation collation, bool nullable, const uint8_t* key,
                         size_t len) {
  if (nullable) {
    if (len == 0 || key[0] != kNotNullMark) return "NULL";
    ++key;
    --len;
  }
  char buf[64];
  switch (kind) {
    case KeyKind::kText:
      if (collation == Collation::kMachine)
        return std::string(reinterpret_cast<const char*>(key), len);
      break;
    case KeyKind::kNumber:
      if (len != kNumberKeyLen) break;
      std::snprintf(buf, sizeof buf, "%.15g", decode_number(key));
      return buf;
    case KeyKind::kInt32:
      if (len != kInt32KeyLen) break;
      return std::to_string(decode_int32(key));
    case KeyKind::kDate:
    case KeyKind::kDateTime: {
      if (len != kNumberKeyLen) break;
      const double v = decode_number(key);
      const int32_t day = static_cast<int32_t>(std::floor(v));
      if (day <= 0) return kind == KeyKind::kDate ? "        " : "                ";
      char date[9] = {};
      date::ccyymmdd_from_day(day, date);
      if (kind == KeyKind::kDate) return date;
      const long secs = std::lround((v - day) * kSecondsPerDay);
      std::snprintf(buf, sizeof buf, "%s%02ld:%02ld:%02ld", date, secs / 3600 % 24, secs / 60 % 60,
                    secs % 60);
      return buf;
    }
    case KeyKind::kLogical:
      if (len == 1) return std::string(1, static_cast<char>(key[0]));
      break;
  }
  std::string hex;
  for (size_t i = 0; i < len; ++i) {
    std::snprintf(buf, sizeof buf, "%02X", key[i]);
    hex += buf;
  }
  return hex;
}

}  // namespace xbase::index
