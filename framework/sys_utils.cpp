#include "framework/sys_utils.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "framework/exceptions.h"
#include "framework/format_settings.h"

namespace vg {

namespace {

// Significant digits of |value| rounded to `precision` of them, trailing zeros
// dropped, and the decimal exponent of the first one (value = 0.d1d2... * 10^(exp)).
struct Decimal {
  std::string digits;  // empty for zero
  int exponent = 0;    // digits before the point
  bool negative = false;
};

// The value is read to 18 significant digits, then rounded to `precision`
// half away from zero.
Decimal to_decimal(double value, int precision) {
  Decimal d;
  d.negative = std::signbit(value) && value != 0;
  if (value == 0 || !std::isfinite(value)) return d;
  if (precision < 1) precision = 1;
  if (precision > 18) precision = 18;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.17e", std::fabs(value));
  const char* e = std::strchr(buf, 'e');
  for (const char* p = buf; p != e; ++p)
    if (*p >= '0' && *p <= '9') d.digits += *p;
  d.exponent = std::atoi(e + 1) + 1;
  if (precision < static_cast<int>(d.digits.size())) {
    const bool up = d.digits[static_cast<size_t>(precision)] >= '5';
    d.digits.resize(static_cast<size_t>(precision));
    if (up) {
      int i = precision - 1;
      while (i >= 0 && d.digits[static_cast<size_t>(i)] == '9')
        d.digits[static_cast<size_t>(i--)] = '0';
      if (i >= 0) {
        ++d.digits[static_cast<size_t>(i)];
      } else {
        d.digits.insert(d.digits.begin(), '1');
        d.digits.pop_back();
        ++d.exponent;
      }
    }
  }
  while (!d.digits.empty() && d.digits.back() == '0') d.digits.pop_back();
  return d;
}

// Fixed-point text of `value` with `decimals` decimals and "." as the point:
// the value is first taken to `significant` significant digits, then rounded
// half away from zero, as the framework's float formatting does (so 2.5 shows
// as 3 with no decimals, and 0.125 as 0.13 with two).
std::string fixed_decimal(double value, int significant, int decimals) {
  if (decimals < 0) decimals = 0;
  if (decimals > 18) decimals = 18;
  Decimal d = to_decimal(value, significant);
  std::string digits = d.digits;  // value = 0.digits * 10^exponent
  int exponent = d.exponent;
  const int keep = exponent + decimals;  // digits that stay
  if (digits.empty() || keep < 0) {
    digits.clear();
  } else if (keep < static_cast<int>(digits.size())) {
    const bool up = digits[static_cast<size_t>(keep)] >= '5';
    digits.resize(static_cast<size_t>(keep));
    if (up) {
      int i = keep - 1;
      while (i >= 0 && digits[static_cast<size_t>(i)] == '9')
        digits[static_cast<size_t>(i--)] = '0';
      if (i >= 0) {
        ++digits[static_cast<size_t>(i)];
      } else {
        digits.insert(digits.begin(), '1');
        ++exponent;
      }
    }
  }
  if (digits.find_first_not_of('0') == std::string::npos) digits.clear();
  std::string integer, fraction;
  if (digits.empty()) {
    integer = "0";
  } else {
    if (exponent <= 0) {
      integer = "0";
      fraction.assign(static_cast<size_t>(-exponent), '0');
      fraction += digits;
    } else if (static_cast<int>(digits.size()) <= exponent) {
      integer = digits;
      integer.append(static_cast<size_t>(exponent) - digits.size(), '0');
    } else {
      integer = digits.substr(0, static_cast<size_t>(exponent));
      fraction = digits.substr(static_cast<size_t>(exponent));
    }
  }
  fraction.resize(static_cast<size_t>(decimals), '0');
  std::string out = d.negative && !digits.empty() ? "-" : "";
  out += integer;
  if (decimals > 0) out += "." + fraction;
  return out;
}

std::string exponent_text(int exponent, int min_digits, bool plus) {
  char buf[32];
  const char* sign = exponent < 0 ? "-" : (plus ? "+" : "");
  std::snprintf(buf, sizeof buf, "%s%.*d", sign, min_digits < 0 ? 0 : min_digits,
                exponent < 0 ? -exponent : exponent);
  return buf;
}

std::string with_separator(std::string text) {
  const char sep = FormatSettings().DecimalSeparator;
  for (char& c : text)
    if (c == '.') c = sep;
  return text;
}

std::string group_thousands(const std::string& integer) {
  const char sep = FormatSettings().ThousandSeparator;
  std::string out;
  const size_t n = integer.size();
  for (size_t i = 0; i < n; ++i) {
    out += integer[i];
    if (sep != '\0' && (n - i - 1) % 3 == 0 && i + 1 < n) out += sep;
  }
  return out;
}

// Unsigned fixed text of |value| with `digits` decimals, thousands grouped.
std::string number_text(double value, int digits) {
  std::string s = fixed_decimal(std::fabs(value), 18, digits);
  const size_t point = s.find('.');
  std::string integer = point == std::string::npos ? s : s.substr(0, point);
  std::string fraction = point == std::string::npos ? "" : s.substr(point + 1);
  std::string out = group_thousands(integer);
  if (!fraction.empty()) out += FormatSettings().DecimalSeparator + fraction;
  return out;
}

std::string exponent_format(double value, int precision, int digits) {
  Decimal d = to_decimal(value, precision);
  if (precision < 1) precision = 1;
  if (precision > 18) precision = 18;
  std::string mantissa = d.digits.empty() ? std::string("0") : d.digits;
  while (static_cast<int>(mantissa.size()) < precision) mantissa += '0';
  std::string out = d.negative ? "-" : "";
  out += mantissa[0];
  if (mantissa.size() > 1) out += FormatSettings().DecimalSeparator + mantissa.substr(1);
  out += 'E';
  out += exponent_text(d.digits.empty() ? 0 : d.exponent - 1, digits, true);
  return out;
}

std::string general_format(double value, int precision, int digits) {
  if (std::isnan(value)) return "NAN";
  if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
  if (precision > 15 || precision < 1) precision = 15;
  Decimal d = to_decimal(value, precision);
  if (d.digits.empty()) return "0";
  std::string out = d.negative ? "-" : "";
  const char sep = FormatSettings().DecimalSeparator;
  // Fixed notation from 0.0001 up to `precision` integer digits.
  if (d.exponent <= precision && d.exponent >= -3) {
    if (d.exponent <= 0) {
      out += '0';
      out += sep;
      out.append(static_cast<size_t>(-d.exponent), '0');
      out += d.digits;
    } else if (static_cast<int>(d.digits.size()) <= d.exponent) {
      out += d.digits;
      out.append(static_cast<size_t>(d.exponent) - d.digits.size(), '0');
    } else {
      out += d.digits.substr(0, static_cast<size_t>(d.exponent));
      out += sep;
      out += d.digits.substr(static_cast<size_t>(d.exponent));
    }
    return out;
  }
  out += d.digits[0];
  if (d.digits.size() > 1) out += sep + d.digits.substr(1);
  out += 'E';
  out += exponent_text(d.exponent - 1, digits, false);
  return out;
}

bool parse_int64(const std::string& text, int64_t& value) {
  size_t p = 0;
  while (p < text.size() && text[p] == ' ') ++p;
  bool negative = false;
  if (p < text.size() && (text[p] == '+' || text[p] == '-')) negative = text[p++] == '-';
  int base = 10;
  if (p < text.size() && text[p] == '$') {
    base = 16;
    ++p;
  } else if (p + 1 < text.size() && text[p] == '0' && (text[p + 1] == 'x' || text[p + 1] == 'X')) {
    base = 16;
    p += 2;
  }
  if (p >= text.size()) return false;
  unsigned long long magnitude = 0;
  auto [end, ec] = std::from_chars(text.data() + p, text.data() + text.size(), magnitude, base);
  if (ec != std::errc() || end != text.data() + text.size()) return false;
  if (negative) {
    if (magnitude > static_cast<unsigned long long>(INT64_MAX) + 1ULL) return false;
    value = magnitude == static_cast<unsigned long long>(INT64_MAX) + 1ULL
                ? INT64_MIN
                : -static_cast<int64_t>(magnitude);
  } else {
    if (magnitude > static_cast<unsigned long long>(INT64_MAX)) return false;
    value = static_cast<int64_t>(magnitude);
  }
  return true;
}

int compare_bytes(const std::string& a, const std::string& b) {
  const int r = a.compare(b);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

}  // namespace

// --- numbers -----------------------------------------------------------------

std::string IntToStr(int64_t value) { return std::to_string(value); }

bool TryStrToInt64(const std::string& text, int64_t& value) { return parse_int64(text, value); }

bool TryStrToInt(const std::string& text, int32_t& value) {
  int64_t v = 0;
  if (!parse_int64(text, v) || v < INT32_MIN || v > INT32_MAX) return false;
  value = static_cast<int32_t>(v);
  return true;
}

int32_t StrToInt(const std::string& text) {
  int32_t v = 0;
  if (!TryStrToInt(text, v)) throw EConvertError("'" + text + "' is not a valid integer value");
  return v;
}

int64_t StrToInt64(const std::string& text) {
  int64_t v = 0;
  if (!TryStrToInt64(text, v)) throw EConvertError("'" + text + "' is not a valid integer value");
  return v;
}

int32_t StrToIntDef(const std::string& text, int32_t fallback) {
  int32_t v = 0;
  return TryStrToInt(text, v) ? v : fallback;
}

std::string FloatToStr(double value) { return general_format(value, 15, 0); }

bool TryStrToFloat(const std::string& text, double& value) {
  const char sep = FormatSettings().DecimalSeparator;
  size_t p = 0;
  const size_t n = text.size();
  while (p < n && text[p] == ' ') ++p;
  std::string plain;
  if (p < n && (text[p] == '+' || text[p] == '-')) plain += text[p++];
  size_t digits = 0;
  while (p < n && text[p] >= '0' && text[p] <= '9') plain += text[p++], ++digits;
  if (p < n && text[p] == sep) {
    plain += '.';
    ++p;
    while (p < n && text[p] >= '0' && text[p] <= '9') plain += text[p++], ++digits;
  }
  if (digits == 0) return false;
  if (p < n && (text[p] == 'e' || text[p] == 'E')) {
    plain += 'e';
    ++p;
    if (p < n && (text[p] == '+' || text[p] == '-')) plain += text[p++];
    size_t exp_digits = 0;
    while (p < n && text[p] >= '0' && text[p] <= '9') plain += text[p++], ++exp_digits;
    if (exp_digits == 0) return false;
  }
  while (p < n && text[p] == ' ') ++p;
  if (p != n) return false;
  const char* begin = plain.c_str();
  if (*begin == '+') ++begin;
  double v = 0;
  auto [end, ec] = std::from_chars(begin, plain.c_str() + plain.size(), v);
  if (ec != std::errc() || end != plain.c_str() + plain.size()) return false;
  value = v;
  return true;
}

double StrToFloat(const std::string& text) {
  double v = 0;
  if (!TryStrToFloat(text, v))
    throw EConvertError("'" + text + "' is not a valid floating point value");
  return v;
}

double StrToFloatDef(const std::string& text, double fallback) {
  double v = 0;
  return TryStrToFloat(text, v) ? v : fallback;
}

std::string FloatToStrF(double value, TFloatFormat format, int precision, int digits) {
  if (std::isnan(value) || std::isinf(value)) return general_format(value, precision, digits);
  if (precision < 1) precision = 1;
  if (precision > 18) precision = 18;
  const bool too_wide = std::fabs(value) >= std::pow(10.0, precision);
  switch (format) {
    case ffExponent:
      return exponent_format(value, precision, digits);
    case ffFixed:
    case ffNumber: {
      if (too_wide) return general_format(value, precision, 0);
      const std::string fixed = fixed_decimal(value, precision, digits);
      if (format == ffFixed) return with_separator(fixed);
      const bool negative = fixed[0] == '-';
      const std::string body = number_text(value, digits);
      return negative ? "-" + body : body;
    }
    case ffCurrency: {
      if (too_wide) return general_format(value, precision, 0);
      const TFormatSettings& fs = FormatSettings();
      const std::string body = number_text(value, digits < 0 ? 0 : (digits > 18 ? 18 : digits));
      const std::string& cur = fs.CurrencyString;
      // A value that rounds to zero shows no sign.
      if (value >= 0 || body.find_first_of("123456789") == std::string::npos) {
        switch (fs.CurrencyFormat) {
          case 1: return body + cur;
          case 2: return cur + " " + body;
          case 3: return body + " " + cur;
          default: return cur + body;
        }
      }
      switch (fs.NegCurrFormat) {
        case 1: return "-" + cur + body;
        case 2: return cur + "-" + body;
        case 3: return cur + body + "-";
        case 4: return "(" + body + cur + ")";
        case 5: return "-" + body + cur;
        case 6: return body + "-" + cur;
        case 7: return body + cur + "-";
        case 8: return "-" + body + " " + cur;
        default: return "(" + cur + body + ")";
      }
    }
    case ffGeneral:
    default:
      return general_format(value, precision, digits);
  }
}

std::string Format(const char* format, ...) {
  std::string out;
  if (format == nullptr) return out;
  va_list args;
  va_start(args, format);
  const char* p = format;
  while (*p != '\0') {
    if (*p != '%') {
      out += *p++;
      continue;
    }
    if (p[1] == '%') {
      out += '%';
      p += 2;
      continue;
    }
    // One conversion: copy its flags, width and precision, then format it alone.
    std::string piece = "%";
    ++p;
    while (*p != '\0' && std::strchr("-+ #0", *p) != nullptr) piece += *p++;
    auto width_or_precision = [&]() {
      if (*p == '*') {
        piece += std::to_string(va_arg(args, int));
        ++p;
      } else {
        while (*p >= '0' && *p <= '9') piece += *p++;
      }
    };
    width_or_precision();
    if (*p == '.') {
      piece += *p++;
      width_or_precision();
    }
    std::string length;
    while (*p != '\0' && std::strchr("hlLqjzt", *p) != nullptr) length += *p++;
    const char conv = *p;
    if (conv == '\0') break;
    ++p;
    piece += length;
    piece += conv;
    std::vector<char> buf(64);
    auto emit = [&](auto value) {
      int n = std::snprintf(buf.data(), buf.size(), piece.c_str(), value);
      if (n < 0) return;
      if (static_cast<size_t>(n) >= buf.size()) {
        buf.resize(static_cast<size_t>(n) + 1);
        std::snprintf(buf.data(), buf.size(), piece.c_str(), value);
      }
      out.append(buf.data(), static_cast<size_t>(n));
    };
    switch (conv) {
      case 'd': case 'i': case 'u': case 'x': case 'X': case 'o': case 'c':
        if (length == "ll" || length == "q" || length == "j") emit(va_arg(args, long long));
        else if (length == "l" || length == "z" || length == "t") emit(va_arg(args, long));
        else emit(va_arg(args, int));
        break;
      case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': {
        // The framework's own float layouts: f rounds half away from zero,
        // e has at least three exponent digits, g is the shortest form; the
        // width pads with blanks (on the right after "-").
        const double value =
            length == "L" ? static_cast<double>(va_arg(args, long double)) : va_arg(args, double);
        const size_t point = piece.find('.');
        const bool left = piece.find('-') != std::string::npos;
        int width = 0, precision = -1;
        for (size_t k = 1; k < piece.size() && (point == std::string::npos || k < point); ++k)
          if (piece[k] >= '0' && piece[k] <= '9') width = width * 10 + (piece[k] - '0');
        if (point != std::string::npos) {
          precision = 0;
          for (size_t k = point + 1; k < piece.size() && piece[k] >= '0' && piece[k] <= '9'; ++k)
            precision = precision * 10 + (piece[k] - '0');
        }
        std::string body;
        if (conv == 'f' || conv == 'F') {
          body = std::isfinite(value)
                     ? with_separator(fixed_decimal(value, 18, precision < 0 ? 2 : precision))
                     : general_format(value, 15, 0);
        } else if (conv == 'e' || conv == 'E') {
          body = std::isfinite(value) ? exponent_format(value, precision < 0 ? 15 : precision, 3)
                                      : general_format(value, 15, 0);
        } else {
          body = general_format(value, precision < 0 ? 15 : precision, 0);
        }
        if (static_cast<int>(body.size()) < width) {
          const std::string pad(static_cast<size_t>(width) - body.size(), ' ');
          body = left ? body + pad : pad + body;
        }
        out += body;
        break;
      }
      case 's': {
        const char* s = va_arg(args, const char*);
        emit(s == nullptr ? "" : s);
        break;
      }
      case 'p':
        emit(va_arg(args, void*));
        break;
      default:
        out += piece;  // unknown conversions are shown as written
        break;
    }
  }
  va_end(args);
  return out;
}

// --- text --------------------------------------------------------------------

std::string UpperCase(const std::string& text) {
  std::string s = text;
  for (char& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  return s;
}

std::string LowerCase(const std::string& text) {
  std::string s = text;
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return s;
}

char AnsiUpperChar(char c) {
  const auto u = static_cast<unsigned char>(c);
  if (u >= 'a' && u <= 'z') return static_cast<char>(u - 32);
  if (u >= 0xE0 && u <= 0xFE && u != 0xF7) return static_cast<char>(u - 32);
  switch (u) {
    case 0x9A: return static_cast<char>(0x8A);
    case 0x9C: return static_cast<char>(0x8C);
    case 0x9E: return static_cast<char>(0x8E);
    case 0xFF: return static_cast<char>(0x9F);
    default: return c;
  }
}

char AnsiLowerChar(char c) {
  const auto u = static_cast<unsigned char>(c);
  if (u >= 'A' && u <= 'Z') return static_cast<char>(u + 32);
  if (u >= 0xC0 && u <= 0xDE && u != 0xD7) return static_cast<char>(u + 32);
  switch (u) {
    case 0x8A: return static_cast<char>(0x9A);
    case 0x8C: return static_cast<char>(0x9C);
    case 0x8E: return static_cast<char>(0x9E);
    case 0x9F: return static_cast<char>(0xFF);
    default: return c;
  }
}

std::string AnsiUpperCase(const std::string& text) {
  std::string s = text;
  for (char& c : s) c = AnsiUpperChar(c);
  return s;
}

std::string AnsiLowerCase(const std::string& text) {
  std::string s = text;
  for (char& c : s) c = AnsiLowerChar(c);
  return s;
}

int CompareStr(const std::string& a, const std::string& b) { return compare_bytes(a, b); }
int CompareText(const std::string& a, const std::string& b) {
  return compare_bytes(UpperCase(a), UpperCase(b));
}
bool SameText(const std::string& a, const std::string& b) { return CompareText(a, b) == 0; }
int AnsiCompareStr(const std::string& a, const std::string& b) { return compare_bytes(a, b); }
int AnsiCompareText(const std::string& a, const std::string& b) {
  return compare_bytes(AnsiUpperCase(a), AnsiUpperCase(b));
}
bool AnsiSameText(const std::string& a, const std::string& b) {
  return AnsiCompareText(a, b) == 0;
}

std::string TrimLeftWhite(const std::string& text) {
  size_t p = 0;
  while (p < text.size() && static_cast<unsigned char>(text[p]) <= ' ') ++p;
  return text.substr(p);
}

std::string TrimRightWhite(const std::string& text) {
  size_t n = text.size();
  while (n > 0 && static_cast<unsigned char>(text[n - 1]) <= ' ') --n;
  return text.substr(0, n);
}

std::string TrimWhite(const std::string& text) { return TrimLeftWhite(TrimRightWhite(text)); }

std::string AnsiQuotedStr(const std::string& text, char quote) {
  std::string out(1, quote);
  for (char c : text) {
    out += c;
    if (c == quote) out += c;
  }
  out += quote;
  return out;
}

std::string QuotedStr(const std::string& text) { return AnsiQuotedStr(text, '\''); }

std::string AnsiExtractQuotedStr(const std::string& text, size_t& pos, char quote) {
  std::string out;
  if (pos >= text.size() || text[pos] != quote) return out;
  ++pos;
  while (pos < text.size()) {
    if (text[pos] == quote) {
      if (pos + 1 < text.size() && text[pos + 1] == quote) {
        out += quote;
        pos += 2;
        continue;
      }
      ++pos;
      return out;
    }
    out += text[pos++];
  }
  return out;
}

std::string StringReplace(const std::string& text, const std::string& old_pattern,
                          const std::string& new_pattern, unsigned flags) {
  if (old_pattern.empty()) return text;
  const bool ignore_case = (flags & rfIgnoreCase) != 0;
  const std::string haystack = ignore_case ? AnsiUpperCase(text) : text;
  const std::string needle = ignore_case ? AnsiUpperCase(old_pattern) : old_pattern;
  std::string out;
  size_t from = 0;
  while (true) {
    const size_t at = haystack.find(needle, from);
    if (at == std::string::npos) break;
    out.append(text, from, at - from);
    out += new_pattern;
    from = at + needle.size();
    if ((flags & rfReplaceAll) == 0) break;
  }
  out.append(text, from, std::string::npos);
  return out;
}

// --- file names --------------------------------------------------------------

std::string ExtractFileName(const std::string& file_name) {
  const size_t slash = file_name.rfind(kPathDelim);
  return slash == std::string::npos ? file_name : file_name.substr(slash + 1);
}

std::string ExtractFilePath(const std::string& file_name) {
  const size_t slash = file_name.rfind(kPathDelim);
  return slash == std::string::npos ? std::string() : file_name.substr(0, slash + 1);
}

std::string ExtractFileDir(const std::string& file_name) {
  const size_t slash = file_name.rfind(kPathDelim);
  if (slash == std::string::npos) return std::string();
  if (slash == 0) return "/";
  return file_name.substr(0, slash);
}

std::string ExtractFileExt(const std::string& file_name) {
  const std::string name = ExtractFileName(file_name);
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? std::string() : name.substr(dot);
}

std::string ChangeFileExt(const std::string& file_name, const std::string& extension) {
  const std::string ext = ExtractFileExt(file_name);
  return file_name.substr(0, file_name.size() - ext.size()) + extension;
}

std::string IncludeTrailingPathDelimiter(const std::string& path) {
  if (!path.empty() && path.back() == kPathDelim) return path;
  return path + kPathDelim;
}

std::string ExcludeTrailingPathDelimiter(const std::string& path) {
  if (path.size() > 1 && path.back() == kPathDelim) return path.substr(0, path.size() - 1);
  return path;
}

std::string GetCurrentDir() {
  std::vector<char> buf(4096);
  while (getcwd(buf.data(), buf.size()) == nullptr) {
    if (errno != ERANGE || buf.size() > (1u << 20)) return std::string();
    buf.resize(buf.size() * 2);
  }
  return buf.data();
}

std::string ExpandFileName(const std::string& file_name) {
  std::string full = file_name;
  if (full.empty() || full[0] != kPathDelim)
    full = IncludeTrailingPathDelimiter(GetCurrentDir()) + full;
  std::vector<std::string> parts;
  size_t p = 0;
  while (p <= full.size()) {
    size_t slash = full.find(kPathDelim, p);
    if (slash == std::string::npos) slash = full.size();
    const std::string part = full.substr(p, slash - p);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    p = slash + 1;
  }
  std::string out;
  for (const auto& part : parts) out += kPathDelim + part;
  if (out.empty()) return std::string(1, kPathDelim);
  if (!file_name.empty() && file_name.back() == kPathDelim) out += kPathDelim;
  return out;
}

bool FileExists(const std::string& file_name) {
  struct stat st {};
  return stat(file_name.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

bool DirectoryExists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool DeleteFile(const std::string& file_name) { return unlink(file_name.c_str()) == 0; }

bool RenameFile(const std::string& old_name, const std::string& new_name) {
  return std::rename(old_name.c_str(), new_name.c_str()) == 0;
}

std::string ExecutableFileName() {
  std::vector<char> buf(4096);
  while (true) {
    const ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size());
    if (n < 0) return std::string();
    if (static_cast<size_t>(n) < buf.size()) return std::string(buf.data(), static_cast<size_t>(n));
    if (buf.size() > (1u << 20)) return std::string();
    buf.resize(buf.size() * 2);
  }
}

std::string ExecutableFolder() { return ExtractFilePath(ExecutableFileName()); }

}  // namespace vg
