// The date4 family and c4atol: eight-character CCYYMMDD dates laid out by
// pictures. Picture letters: C century, Y year, M month, D day digit; any
// other character is literal. A run of three or more M's is a month name.
// Every function reads a date text only up to its first NUL and accepts null
// pointers.
#include <climits>
#include <cstdint>
#include <cstring>

#include "util/date.h"
#include "vgxbase/xbase.h"

namespace {

constexpr int kDateLen = 8;

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_picture_letter(char c) { return c == 'C' || c == 'Y' || c == 'M' || c == 'D'; }

char to_lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// A CCYYMMDD text copied into a fixed buffer: short texts are padded with
// blanks so later reads never leave the buffer.
struct Date8 {
  char c[kDateLen];
  bool blank;
};

Date8 read_date8(const char* s) {
  Date8 d{};
  d.blank = true;
  int i = 0;
  for (; s && i < kDateLen && s[i] != '\0'; ++i) {
    d.c[i] = s[i];
    if (s[i] != ' ') d.blank = false;
  }
  for (; i < kDateLen; ++i) d.c[i] = ' ';
  return d;
}

// The number in `width` digits at `p`; 0 when any of them is not a digit.
int read_part(const char* p, int width) {
  int value = 0;
  for (int i = 0; i < width; ++i) {
    if (!is_digit(p[i])) return 0;
    value = value * 10 + (p[i] - '0');
  }
  return value;
}

size_t run_length(const char* picture, size_t at) {
  size_t n = 1;
  while (picture[at + n] == picture[at]) ++n;
  return n;
}

// Digits gathered from the value for one picture letter. Only the last four
// matter (a four-digit year at most); positions never filled stay '0'.
struct DigitRun {
  char last[4] = {'0', '0', '0', '0'};
  int count = 0;

  void push(char c) {
    std::memmove(last, last + 1, 3);
    last[3] = c;
    ++count;
  }
  void push_number(int value) {
    push(static_cast<char>('0' + value / 10 % 10));
    push(static_cast<char>('0' + value % 10));
  }
};

// The month (1..12) whose name begins with the value's text under a month name
// run, or 0. Three letters decide, in any letter case.
int month_from_name(const char* text, size_t len) {
  if (len < 3) return 0;
  for (int m = 1; m <= 12; ++m) {
    const char* name = xbase::date::month_name(m);
    if (to_lower(text[0]) == to_lower(name[0]) && to_lower(text[1]) == to_lower(name[1]) &&
        to_lower(text[2]) == to_lower(name[2])) {
      return m;
    }
  }
  return 0;
}

// Writes `n` characters of `digits` (of width `width`) right-aligned: the last
// n digits, or leading zeros when the run is longer.
void put_run(const char* digits, size_t width, size_t n, char* out) {
  const size_t lead = n > width ? n - width : 0;
  for (size_t i = 0; i < lead; ++i) out[i] = '0';
  for (size_t i = lead; i < n; ++i) out[i] = digits[width - n + i];
}

void put_month_name(int month, size_t n, char* out) {
  const char* name = xbase::date::month_name(month);
  const size_t len = name ? std::strlen(name) : 0;
  const size_t shown = n == 3 ? 3 : len;
  for (size_t i = 0; i < n; ++i) out[i] = (i < shown && i < len) ? name[i] : ' ';
}

}  // namespace

void date4init(char* result, const char* value, const char* picture) {
  if (!result) return;
  std::memset(result, ' ', kDateLen);
  if (!value || !picture) return;

  DigitRun cent, year, month, day;
  const size_t vlen = std::strlen(value);
  bool any = false;
  for (size_t i = 0; picture[i] != '\0';) {
    const char letter = picture[i];
    if (!is_picture_letter(letter)) {
      ++i;
      continue;
    }
    const size_t n = run_length(picture, i);
    if (i + n > vlen) return;  // the value ends before the picture
    if (letter == 'M' && n >= 3) {
      const int m = month_from_name(value + i, n);
      if (m != 0) any = true;
      month.push_number(m);
    } else {
      DigitRun& run = letter == 'C' ? cent : letter == 'Y' ? year : letter == 'M' ? month : day;
      for (size_t k = 0; k < n; ++k) {
        const char c = value[i + k];
        if (is_digit(c)) any = true;
        run.push(is_digit(c) ? c : '0');
      }
    }
    i += n;
  }
  if (!any) return;

  if (cent.count == 0 && year.count >= 4) {
    std::memcpy(result, year.last, 4);
  } else {
    // Without century digits a two-digit year is taken as 19YY; callers that
    // want another epoch move it themselves.
    result[0] = cent.count == 0 ? '1' : cent.last[2];
    result[1] = cent.count == 0 ? '9' : cent.last[3];
    result[2] = year.last[2];
    result[3] = year.last[3];
  }
  std::memcpy(result + 4, month.last + 2, 2);
  std::memcpy(result + 6, day.last + 2, 2);
}

int date4year(const char* ccyymmdd) {
  const Date8 d = read_date8(ccyymmdd);
  return d.blank ? 0 : read_part(d.c, 4);
}

int date4month(const char* ccyymmdd) {
  const Date8 d = read_date8(ccyymmdd);
  return d.blank ? 0 : read_part(d.c + 4, 2);
}

int date4day(const char* ccyymmdd) {
  const Date8 d = read_date8(ccyymmdd);
  return d.blank ? 0 : read_part(d.c + 6, 2);
}

int32_t date4long(const char* ccyymmdd) { return xbase::date::day_from_ccyymmdd(ccyymmdd); }

void date4assign(char* result, int32_t day) { xbase::date::ccyymmdd_from_day(day, result); }

void date4format(const char* ccyymmdd, char* result, const char* picture) {
  if (!result) return;
  if (!picture) {
    result[0] = '\0';
    return;
  }
  const Date8 d = read_date8(ccyymmdd);
  const bool has_century = std::strchr(picture, 'C') != nullptr;
  size_t i = 0;
  while (picture[i] != '\0') {
    const char letter = picture[i];
    if (!is_picture_letter(letter)) {
      result[i] = letter;
      ++i;
      continue;
    }
    const size_t n = run_length(picture, i);
    char* out = result + i;
    if (d.blank) {
      std::memset(out, ' ', n);
    } else if (letter == 'M' && n >= 3) {
      put_month_name(read_part(d.c + 4, 2), n, out);
    } else if (letter == 'C') {
      put_run(d.c, 2, n, out);
    } else if (letter == 'Y') {
      // Without C positions the year positions show the whole year.
      if (has_century) {
        put_run(d.c + 2, 2, n, out);
      } else {
        put_run(d.c, 4, n, out);
      }
    } else {
      put_run(d.c + (letter == 'M' ? 4 : 6), 2, n, out);
    }
    i += n;
  }
  result[i] = '\0';
}

long c4atol(const char* text, int len) {
  if (!text || len <= 0) return 0;
  int i = 0;
  while (i < len && text[i] == ' ') ++i;
  bool negative = false;
  if (i < len && (text[i] == '-' || text[i] == '+')) {
    negative = text[i] == '-';
    ++i;
    while (i < len && text[i] == ' ') ++i;
  }
  // The interface's long carries 32 bits: larger values saturate.
  int64_t value = 0;
  for (; i < len && is_digit(text[i]); ++i) {
    value = value * 10 + (text[i] - '0');
    if (value > int64_t{INT32_MAX} + 1) value = int64_t{INT32_MAX} + 1;
  }
  if (negative) value = -value;
  if (value > INT32_MAX) value = INT32_MAX;
  return static_cast<long>(value);
}
