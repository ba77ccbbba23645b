#include "value_format.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace vgx {
namespace {

bool is_pad(char c) { return c == ' ' || c == '\0'; }

bool all_digits(std::string_view text) {
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

}  // namespace

std::string_view trim_right(std::string_view text) {
  while (!text.empty() && is_pad(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view trim(std::string_view text) {
  text = trim_right(text);
  while (!text.empty() && is_pad(text.front())) text.remove_prefix(1);
  return text;
}

std::string format_date(std::string_view ccyymmdd) {
  const std::string_view trimmed = trim(ccyymmdd);
  if (trimmed.size() != 8 || !all_digits(trimmed)) return std::string(trimmed);
  std::string out;
  out.reserve(10);
  out.append(trimmed.substr(0, 4)).append("-");
  out.append(trimmed.substr(4, 2)).append("-");
  out.append(trimmed.substr(6, 2));
  return out;
}

std::string format_date_time(std::string_view text) {
  if (text.size() < 8) return std::string(trim(text));
  const std::string_view date = text.substr(0, 8);
  if (trim(date).empty() || date == "00000000") return {};
  std::string out = format_date(date);
  const std::string_view time = trim(text.substr(8));
  if (!time.empty()) out.append(" ").append(time);
  return out;
}

std::string format_number_text(std::string_view text) { return std::string(trim(text)); }

std::string format_double(double value, int decimals) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  if (value == 0.0) value = 0.0;  // no "-0"
  if (decimals > 0) {
    char buf[400];
    const int n = std::snprintf(buf, sizeof buf, "%.*f", decimals > 30 ? 30 : decimals, value);
    if (n > 0 && n < static_cast<int>(sizeof buf)) return std::string(buf, static_cast<size_t>(n));
    return {};
  }
  char buf[64];
  const auto res = std::to_chars(buf, buf + sizeof buf, value);
  return std::string(buf, res.ptr);
}

std::string format_hex(std::string_view bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char c : bytes) {
    out.push_back(digits[c >> 4]);
    out.push_back(digits[c & 0x0F]);
  }
  return out;
}

std::string plain_cell(std::string_view text, std::size_t max_width) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default: out.push_back(static_cast<unsigned char>(c) < 0x20 ? '?' : c);
    }
  }
  if (max_width > 0 && out.size() > max_width) {
    const std::size_t keep = max_width > 3 ? max_width - 3 : 0;
    out.resize(keep);
    out.append(std::string_view("...").substr(0, max_width - keep));
  }
  return out;
}

std::string group_thousands(long long value) {
  const bool negative = value < 0;
  unsigned long long magnitude = static_cast<unsigned long long>(value);
  if (negative) magnitude = 0ULL - magnitude;
  const std::string digits = std::to_string(magnitude);
  std::string out;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out.push_back(',');
    out.push_back(digits[i]);
  }
  return negative ? "-" + out : out;
}

}  // namespace vgx
