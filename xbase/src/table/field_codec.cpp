#include "table/field_codec.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/endian.h"
#include "util/date.h"

namespace xbase::table {

namespace {

// Day 1 of the dBASE 7 timestamp is 0001-01-01.
constexpr int64_t kTimestampEpochJdn = 1721425;

void set_record_digits(const char* ccyymmdd, int32_t ms, char* out) {
  std::memcpy(out, ccyymmdd, 8);
  int32_t secs = ms / 1000;
  const int parts[3] = {(secs / 3600) % 100, (secs / 60) % 60, secs % 60};
  for (int i = 0; i < 3; ++i) {
    out[8 + i * 3] = static_cast<char>('0' + parts[i] / 10);
    out[9 + i * 3] = static_cast<char>('0' + parts[i] % 10);
    if (i < 2) out[10 + i * 3] = ':';
  }
}

void datetime_from_jdn_ms(int64_t jdn, int64_t ms, char* out) {
  if (jdn <= 0 || jdn > 0x7FFFFFFF || ms < 0 || ms >= date::kMsPerDay) {
    std::memset(out, ' ', 16);
    return;
  }
  char d[8];
  date::ccyymmdd_from_day(static_cast<int32_t>(jdn), d);
  set_record_digits(d, static_cast<int32_t>(ms), out);
}

// Reads "CCYYMMDDhh:mm:ss" (the time part optional) into a day number and
// milliseconds. False when the date part is blank or impossible.
bool parse_datetime(const char* text, size_t len, int32_t* jdn, int32_t* ms) {
  char d[8];
  if (len < 8) return false;
  std::memcpy(d, text, 8);
  int32_t day = date::day_from_ccyymmdd(d);
  if (day <= 0) return false;
  int h = 0, m = 0, s = 0;
  auto two = [&](size_t at, int* v) {
    if (len >= at + 2 && text[at] >= '0' && text[at] <= '9' && text[at + 1] >= '0' && text[at + 1] <= '9')
      *v = (text[at] - '0') * 10 + (text[at + 1] - '0');
  };
  two(8, &h);
  two(11, &m);
  two(14, &s);
  if (h > 23 || m > 59 || s > 59) return false;
  *jdn = day;
  *ms = ((h * 60 + m) * 60 + s) * 1000;
  return true;
}

uint64_t double_bits(double v) {
  uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

double bits_double(uint64_t u) {
  double v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}

}  // namespace

double field_double(const FieldDesc& f, const uint8_t* rec) {
  const uint8_t* p = rec + f.offset;
  switch (f.storage) {
    case Storage::kInt32: return static_cast<int32_t>(io::load_u32le(p));
    case Storage::kDouble: return io::load_f64le(p);
    case Storage::kCurrency: return static_cast<double>(static_cast<int64_t>(io::load_u64le(p))) / 10000.0;
    case Storage::kLong7: return static_cast<int32_t>(io::load_u32be(p) ^ 0x80000000u);
    case Storage::kDouble7: {
      uint64_t u = io::load_u64be(p);
      if (u == 0) return 0;
      return bits_double((u & 0x8000000000000000ull) ? (u & 0x7FFFFFFFFFFFFFFFull) : ~u);
    }
    case Storage::kDateTime: {
      int32_t jdn = static_cast<int32_t>(io::load_u32le(p));
      int32_t ms = static_cast<int32_t>(io::load_u32le(p + 4));
      return jdn + ms / double(date::kMsPerDay);
    }
    case Storage::kTimestamp7: {
      double ms = io::load_f64be(p);
      if (!std::isfinite(ms) || ms == 0) return 0;
      return ms / double(date::kMsPerDay) + double(kTimestampEpochJdn);
    }
    case Storage::kDate: {
      int32_t d = date::day_from_ccyymmdd(reinterpret_cast<const char*>(p));
      return d > 0 ? d : 0;
    }
    case Storage::kLogical: return field_true(f, rec) ? 1 : 0;
    case Storage::kMemoBinary: case Storage::kNullFlags: case Storage::kRaw: return 0;
    case Storage::kMemoText: return field_memo_block(f, rec);
    case Storage::kText: case Storage::kNumber: break;
  }
  return parse_number(reinterpret_cast<const char*>(p), f.len);
}

int32_t field_long(const FieldDesc& f, const uint8_t* rec) {
  const uint8_t* p = rec + f.offset;
  switch (f.storage) {
    case Storage::kInt32: return static_cast<int32_t>(io::load_u32le(p));
    case Storage::kLong7: return static_cast<int32_t>(io::load_u32be(p) ^ 0x80000000u);
    case Storage::kText: case Storage::kNumber: return parse_long(reinterpret_cast<const char*>(p), f.len);
    default: break;
  }
  double v = field_double(f, rec);
  if (std::isnan(v)) return 0;  // stored doubles can hold any bit pattern
  if (v >= 2147483647.0) return 2147483647;
  if (v <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int32_t>(v);
}

bool field_true(const FieldDesc& f, const uint8_t* rec) {
  if (f.storage != Storage::kLogical) return field_double(f, rec) != 0;
  char c = static_cast<char>(rec[f.offset]);
  return c == 'T' || c == 't' || c == 'Y' || c == 'y';
}

void field_datetime(const FieldDesc& f, const uint8_t* rec, char* out) {
  const uint8_t* p = rec + f.offset;
  switch (f.storage) {
    case Storage::kDateTime:
      datetime_from_jdn_ms(static_cast<int32_t>(io::load_u32le(p)), static_cast<int32_t>(io::load_u32le(p + 4)), out);
      return;
    case Storage::kTimestamp7: {
      double ms = io::load_f64be(p);
      if (!std::isfinite(ms) || ms <= 0 || ms > 4e14) {
        std::memset(out, ' ', 16);
        return;
      }
      auto total = static_cast<int64_t>(ms);
      datetime_from_jdn_ms(total / date::kMsPerDay + kTimestampEpochJdn, total % date::kMsPerDay, out);
      return;
    }
    case Storage::kDate:
      if (date::day_from_ccyymmdd(reinterpret_cast<const char*>(p)) > 0) {
        set_record_digits(reinterpret_cast<const char*>(p), 0, out);
        return;
      }
      break;
    default: break;
  }
  std::memset(out, ' ', 16);
}

uint32_t field_memo_block(const FieldDesc& f, const uint8_t* rec) {
  const uint8_t* p = rec + f.offset;
  if (f.storage == Storage::kMemoBinary) return io::load_u32le(p);
  if (f.storage != Storage::kMemoText) return 0;
  uint64_t v = 0;
  for (uint32_t i = 0; i < f.len; ++i) {
    if (p[i] >= '0' && p[i] <= '9') {
      v = v * 10 + (p[i] - '0');
      if (v > 0xFFFFFFFFu) return 0;
    } else if (p[i] != ' ' && p[i] != 0) {
      return 0;
    }
  }
  return static_cast<uint32_t>(v);
}

bool null_bit(const TableHeader& h, int bit, const uint8_t* rec) {
  if (bit < 0 || h.null_flags_field < 0) return false;
  const FieldDesc& nf = h.fields[static_cast<size_t>(h.null_flags_field)];
  return (rec[nf.offset + static_cast<uint32_t>(bit >> 3)] >> (bit & 7)) & 1;
}

void set_null_bit(const TableHeader& h, int bit, uint8_t* rec, bool on) {
  if (bit < 0 || h.null_flags_field < 0) return;
  const FieldDesc& nf = h.fields[static_cast<size_t>(h.null_flags_field)];
  uint8_t& b = rec[nf.offset + static_cast<uint32_t>(bit >> 3)];
  auto mask = static_cast<uint8_t>(1u << (bit & 7));
  b = on ? static_cast<uint8_t>(b | mask) : static_cast<uint8_t>(b & ~mask);
}

uint32_t field_data_len(const TableHeader& h, const FieldDesc& f, const uint8_t* rec) {
  if (f.varlen_bit >= 0 && null_bit(h, f.varlen_bit, rec)) {
    uint32_t n = rec[f.offset + f.len - 1];
    return n < f.len ? n : f.len;
  }
  return f.len;
}

void blank_field(const FieldDesc& f, uint8_t* rec) {
  std::memset(rec + f.offset, f.is_binary() ? 0 : ' ', f.len);
}

void blank_record(const TableHeader& h, uint8_t* rec) {
  rec[0] = ' ';
  for (const FieldDesc& f : h.fields) blank_field(f, rec);
}

void store_memo_block(const FieldDesc& f, uint8_t* rec, uint32_t block) {
  uint8_t* p = rec + f.offset;
  if (f.storage == Storage::kMemoBinary) {
    io::store_u32le(p, block);
  } else if (block == 0) {
    std::memset(p, ' ', f.len);
  } else {
    char tmp[16];
    int n = std::snprintf(tmp, sizeof tmp, "%u", block);
    if (static_cast<uint32_t>(n) > f.len) n = static_cast<int>(f.len);
    std::memset(p, ' ', f.len);
    std::memcpy(p + f.len - static_cast<uint32_t>(n), tmp, static_cast<size_t>(n));
  }
}

void store_datetime(const FieldDesc& f, uint8_t* rec, const char* text, size_t len) {
  uint8_t* p = rec + f.offset;
  int32_t jdn = 0, ms = 0;
  bool ok = parse_datetime(text, len, &jdn, &ms);
  switch (f.storage) {
    case Storage::kDateTime:
      io::store_u32le(p, ok ? static_cast<uint32_t>(jdn) : 0);
      io::store_u32le(p + 4, ok ? static_cast<uint32_t>(ms) : 0);
      return;
    case Storage::kTimestamp7: {
      double v = ok ? double((int64_t(jdn) - kTimestampEpochJdn) * date::kMsPerDay + ms) : 0.0;
      io::store_u64be(p, double_bits(v));
      return;
    }
    case Storage::kDate:
      if (ok) std::memcpy(p, text, 8);
      else std::memset(p, ' ', 8);
      return;
    default: break;
  }
}

void store_double(const TableHeader& h, const FieldDesc& f, uint8_t* rec, double value) {
  uint8_t* p = rec + f.offset;
  switch (f.storage) {
    case Storage::kNumber:
      format_number(value, f.len, f.dec, reinterpret_cast<char*>(p));
      return;
    case Storage::kInt32: {
      double r = std::round(value);
      io::store_u32le(p, static_cast<uint32_t>(r >= 2147483647.0 ? 2147483647 : r <= -2147483648.0 ? INT32_MIN : int32_t(r)));
      return;
    }
    case Storage::kLong7: {
      double r = std::round(value);
      int32_t v = r >= 2147483647.0 ? 2147483647 : r <= -2147483648.0 ? INT32_MIN : int32_t(r);
      io::store_u32be(p, static_cast<uint32_t>(v) ^ 0x80000000u);
      return;
    }
    case Storage::kDouble: io::store_f64le(p, value); return;
    case Storage::kDouble7: {
      uint64_t u = double_bits(value == 0 ? 0.0 : value);
      u = (u & 0x8000000000000000ull) ? ~u : (u | 0x8000000000000000ull);
      io::store_u64be(p, u);
      return;
    }
    case Storage::kCurrency: {
      double r = std::round(value * 10000.0);
      int64_t v = r >= 9.2e18 ? INT64_MAX : r <= -9.2e18 ? INT64_MIN : static_cast<int64_t>(r);
      io::store_u64le(p, static_cast<uint64_t>(v));
      return;
    }
    case Storage::kDate: {
      char d[8];
      date::ccyymmdd_from_day(static_cast<int32_t>(value), d);
      std::memcpy(p, d, 8);
      return;
    }
    case Storage::kDateTime: {
      double day = std::floor(value);
      auto ms = static_cast<int64_t>(std::llround((value - day) * double(date::kMsPerDay)));
      if (ms >= date::kMsPerDay) ms = date::kMsPerDay - 1;
      io::store_u32le(p, value > 0 && day < 2147483647.0 ? static_cast<uint32_t>(day) : 0);
      io::store_u32le(p + 4, value > 0 ? static_cast<uint32_t>(ms) : 0);
      return;
    }
    case Storage::kLogical: *p = value != 0 ? 'T' : 'F'; return;
    default: break;
  }
  char tmp[40];
  uint32_t w = f.dec ? 20 : 19;
  format_number(value, w, f.dec, tmp);
  size_t s = 0;
  while (s < w && tmp[s] == ' ') ++s;
  store_text(h, f, rec, tmp + s, w - s);
}

void store_long(const TableHeader& h, const FieldDesc& f, uint8_t* rec, int32_t value) {
  uint8_t* p = rec + f.offset;
  if (f.storage == Storage::kInt32) {
    io::store_u32le(p, static_cast<uint32_t>(value));
    return;
  }
  if (f.storage == Storage::kNumber && f.dec == 0) {
    // Integer fast path: digits from the right.
    char* out = reinterpret_cast<char*>(p);
    int64_t v = value;
    bool neg = v < 0;
    uint64_t u = static_cast<uint64_t>(neg ? -v : v);
    int64_t i = static_cast<int64_t>(f.len) - 1;
    do {
      if (i < 0) break;
      out[i--] = static_cast<char>('0' + u % 10);
      u /= 10;
    } while (u);
    if (u != 0 || (neg && i < 0)) {
      std::memset(out, '*', f.len);
      return;
    }
    if (neg) out[i--] = '-';
    while (i >= 0) out[i--] = ' ';
    return;
  }
  store_double(h, f, rec, static_cast<double>(value));
}

void store_text(const TableHeader& h, const FieldDesc& f, uint8_t* rec, const char* text, size_t len) {
  uint8_t* p = rec + f.offset;
  if (f.storage == Storage::kText && f.varlen_bit < 0) {  // the common case first
    size_t n = len < f.len ? len : f.len;
    std::memcpy(p, text, n);
    std::memset(p + n, ' ', f.len - n);
    return;
  }
  switch (f.storage) {
    case Storage::kNumber: {
      // Right-align the trimmed number so the field stays a valid number.
      size_t s = 0, e = len;
      while (s < e && text[s] == ' ') ++s;
      while (e > s && (text[e - 1] == ' ' || text[e - 1] == '\0')) --e;
      size_t n = e - s;
      if (n <= f.len) {
        std::memset(p, ' ', f.len - n);
        std::memcpy(p + f.len - n, text + s, n);
      } else {
        std::memcpy(p, text + s, f.len);
      }
      return;
    }
    case Storage::kInt32: case Storage::kDouble: case Storage::kCurrency: case Storage::kLong7:
    case Storage::kDouble7:
      store_double(h, f, rec, parse_number(text, len));
      return;
    case Storage::kDateTime: case Storage::kTimestamp7:
      store_datetime(f, rec, text, len);
      return;
    default: break;
  }
  size_t n = len < f.len ? len : f.len;
  std::memcpy(p, text, n);
  std::memset(p + n, f.is_binary() ? 0 : ' ', f.len - n);
  if (f.varlen_bit >= 0) {
    // Shorter values keep their length in the field's last byte.
    bool shorter = n < f.len;
    set_null_bit(h, f.varlen_bit, rec, shorter);
    if (shorter) p[f.len - 1] = static_cast<uint8_t>(n);
  }
}

}  // namespace xbase::table
