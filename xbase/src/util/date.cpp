#include "util/date.h"

namespace xbase::date {

namespace {

// Rounds towards minus infinity, so carried months and years before 4800 BC
// still land on the right side.
constexpr int64_t floor_div(int64_t a, int64_t b) {
  const int64_t q = a / b;
  return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

constexpr const char* kMonthNames[12] = {"January", "February", "March",     "April",
                                         "May",     "June",     "July",      "August",
                                         "September", "October", "November", "December"};
constexpr const char* kWeekdayNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

void put_digits(int value, int width, char* out) {
  for (int i = width - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
}

}  // namespace

bool is_leap_year(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int days_in_month(int year, int month) {
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  if (month == 2 && is_leap_year(year)) return 29;
  return kDays[month - 1];
}

bool is_valid_ymd(int year, int month, int day) {
  return year >= 1 && year <= 9999 && day >= 1 && day <= days_in_month(year, month);
}

int32_t jdn_from_ymd(int year, int month, int day) {
  // 64-bit throughout: any int input stays far from overflow.
  const int64_t carry = floor_div(int64_t{month} - 1, 12);
  const int64_t m = int64_t{month} - 12 * carry;  // 1..12
  const int64_t a = (14 - m) / 12;
  const int64_t y = int64_t{year} + carry + 4800 - a;
  const int64_t mm = m + 12 * a - 3;
  const int64_t jdn = int64_t{day} + (153 * mm + 2) / 5 + 365 * y + floor_div(y, 4) -
                      floor_div(y, 100) + floor_div(y, 400) - 32045;
  if (jdn < kFirstDay || jdn > kLastDay) return 0;
  return static_cast<int32_t>(jdn);
}

void ymd_from_jdn(int32_t jdn, int* year, int* month, int* day) {
  int y = 0;
  int m = 0;
  int d = 0;
  if (jdn >= kFirstDay && jdn <= kLastDay) {
    // Inverse of the formula above; every term is positive in this range.
    const int64_t a = int64_t{jdn} + 32044;
    const int64_t b = (4 * a + 3) / 146097;
    const int64_t c = a - 146097 * b / 4;
    const int64_t e = (4 * c + 3) / 1461;
    const int64_t f = c - 1461 * e / 4;
    const int64_t g = (5 * f + 2) / 153;
    d = static_cast<int>(f - (153 * g + 2) / 5 + 1);
    m = static_cast<int>(g + 3 - 12 * (g / 10));
    y = static_cast<int>(100 * b + e - 4800 + g / 10);
  }
  if (year) *year = y;
  if (month) *month = m;
  if (day) *day = d;
}

int day_of_week(int32_t jdn) {
  if (jdn < kFirstDay || jdn > kLastDay) return 0;
  return (jdn + 1) % 7 + 1;  // day 0 of the count was a Monday
}

const char* month_name(int month) {
  return (month >= 1 && month <= 12) ? kMonthNames[month - 1] : nullptr;
}

const char* weekday_name(int day_of_week) {
  return (day_of_week >= 1 && day_of_week <= 7) ? kWeekdayNames[day_of_week - 1] : nullptr;
}

int32_t day_from_ccyymmdd(const char* s) {
  if (!s) return 0;
  int n = 0;
  bool blank = true;
  for (; n < 8 && s[n] != '\0'; ++n) {
    if (s[n] != ' ') blank = false;
  }
  if (blank) return 0;
  if (n < 8) return -1;
  int value[3] = {0, 0, 0};
  static constexpr int kStart[3] = {0, 4, 6};
  static constexpr int kWidth[3] = {4, 2, 2};
  for (int part = 0; part < 3; ++part) {
    for (int i = kStart[part]; i < kStart[part] + kWidth[part]; ++i) {
      if (!is_digit(s[i])) return -1;
      value[part] = value[part] * 10 + (s[i] - '0');
    }
  }
  if (!is_valid_ymd(value[0], value[1], value[2])) return -1;
  return jdn_from_ymd(value[0], value[1], value[2]);
}

void ccyymmdd_from_day(int32_t day, char* out) {
  if (!out) return;
  int y = 0;
  int m = 0;
  int d = 0;
  ymd_from_jdn(day, &y, &m, &d);
  if (y == 0) {
    for (int i = 0; i < 8; ++i) out[i] = ' ';
    return;
  }
  put_digits(y, 4, out);
  put_digits(m, 2, out + 4);
  put_digits(d, 2, out + 6);
}

}  // namespace xbase::date
