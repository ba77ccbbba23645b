#include "table/number_text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "io/endian.h"

namespace xbase::table {

namespace {

constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                             1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

double parse_number(const char* text, size_t len) {
  const char* p = text;
  const char* const e = text + len;
  // Right-aligned numbers start with as many blanks as the value is short,
  // and signs vary from record to record: blanks are skipped eight at a
  // time and the sign taken without a branch, so neither costs a
  // mispredicted jump per value.
  if (len >= 8) {
    const uint64_t w = io::load_u64le(p) ^ 0x2020202020202020ull;  // blanks become zero bytes
    p += w ? std::countr_zero(w) / 8 : 8;
  }
  while (p < e && (*p == ' ' || *p == '\0')) ++p;
  const char* const start = p;
  const bool neg = p < e && *p == '-';
  p += p < e && (*p == '-' || *p == '+');
  uint64_t mant = 0;
  const char* digits = p;
  while (p < e && static_cast<unsigned>(*p - '0') < 10) mant = mant * 10 + static_cast<unsigned>(*p++ - '0');
  size_t count = static_cast<size_t>(p - digits);
  size_t frac = 0;
  if (p < e && *p == '.') {
    const char* f = ++p;
    while (p < e && static_cast<unsigned>(*p - '0') < 10) mant = mant * 10 + static_cast<unsigned>(*p++ - '0');
    frac = static_cast<size_t>(p - f);
    count += frac;
  }
  while (p < e && (*p == ' ' || *p == '\0')) ++p;
  if (p == e && count <= 15) {
    // Exact: both operands are exact doubles and the division rounds once.
    double v = static_cast<double>(mant) / kPow10[frac];
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits ^= uint64_t{neg} << 63;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }
  // Exponents, long mantissas and other oddities: the library parser on a
  // bounded copy.
  char buf[64];
  size_t n = std::min<size_t>(static_cast<size_t>(e - start), sizeof buf - 1);
  std::memcpy(buf, start, n);
  buf[n] = 0;
  double v = std::strtod(buf, nullptr);
  return std::isfinite(v) ? v : 0;
}

int32_t parse_long(const char* text, size_t len) {
  double v = parse_number(text, len);
  if (v >= 2147483647.0) return 2147483647;
  if (v <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int32_t>(v);
}

bool format_number(double value, uint32_t width, uint32_t dec, char* out) {
  if (width == 0) return true;
  if (dec > 0 && dec + 2 > width) dec = width >= 2 ? width - 2 : 0;
  auto overflow = [&] {
    std::memset(out, '*', width);
    if (dec && width > dec) out[width - dec - 1] = '.';
    return false;
  };
  if (!std::isfinite(value)) return overflow();
  const double scaled = std::fabs(value) * (dec < 23 ? kPow10[dec] : 1e22);
  if (scaled >= 9.0e15) {
    // Beyond exact integers: the library formatter, then the same fitting.
    char tmp[400];
    int r = std::snprintf(tmp, sizeof tmp, "%.*f", static_cast<int>(dec), value);
    auto n = static_cast<size_t>(r < 0 ? 0 : r);
    if (r < 0 || n >= sizeof tmp || n > width) return overflow();
    std::memset(out, ' ', width - n);
    std::memcpy(out + (width - n), tmp, n);
    return true;
  }
  // Round half away from zero on the scaled integer, as xBase does; the
  // nudge makes values such as 2.675 (stored as 2.67499999...) round up as
  // their decimal text says. Digits go straight into the field, right to left.
  auto u = static_cast<uint64_t>(scaled + 0.5 + 1e-9 + scaled * 4e-16);
  const bool neg = value < 0 && u != 0;
  int64_t i = static_cast<int64_t>(width) - 1;
  for (uint32_t d = 0; d < dec; ++d) {
    out[i--] = static_cast<char>('0' + u % 10);
    u /= 10;
  }
  if (dec) out[i--] = '.';
  do {
    if (i < 0) return overflow();
    out[i--] = static_cast<char>('0' + u % 10);
    u /= 10;
  } while (u);
  if (neg) {
    if (i < 0) return overflow();
    out[i--] = '-';
  }
  while (i >= 0) out[i--] = ' ';
  return true;
}


}  // namespace xbase::table
