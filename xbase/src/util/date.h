// Calendar arithmetic shared by fields, the date4 functions and (later)
// expressions. Day numbers are Julian Day Numbers of the proleptic
// Gregorian calendar: 1 January 2000 is 2451545; 0 stands for "no date".
#pragma once

#include <cstdint>

namespace xbase::date {

inline constexpr int32_t kJdn2000 = 2451545;
inline constexpr int64_t kMsPerDay = 86400000;
// The calendar covers what eight CCYYMMDD digits can hold: 0001-01-01 to
// 9999-12-31. Day numbers outside this range mean "no date".
inline constexpr int32_t kFirstDay = 1721426;
inline constexpr int32_t kLastDay = 5373484;

// Exact for real dates. Other input is carried over (month 13 is January of
// the next year, day 0 the last day of the previous month); a result outside
// kFirstDay..kLastDay answers 0.
int32_t jdn_from_ymd(int year, int month, int day);
// Sets 0/0/0 for a day outside kFirstDay..kLastDay. Null pointers are skipped.
void ymd_from_jdn(int32_t jdn, int* year, int* month, int* day);
// True for real dates of years 1 to 9999.
bool is_valid_ymd(int year, int month, int day);
bool is_leap_year(int year);
// 0 for a month outside 1..12.
int days_in_month(int year, int month);
// 1 for Sunday to 7 for Saturday, as xBase counts weekdays; 0 for no date.
int day_of_week(int32_t jdn);
// English names; null outside 1..12 and 1..7.
const char* month_name(int month);
const char* weekday_name(int day_of_week);

// Reads eight CCYYMMDD characters, stopping early at a NUL. Answers the day
// number, 0 for a blank (all spaces or all NUL) value or a null pointer, and
// -1 for anything that is not a real date.
int32_t day_from_ccyymmdd(const char* s);
// Writes eight CCYYMMDD characters (no NUL) for a day number; blanks for a
// day outside kFirstDay..kLastDay.
void ccyymmdd_from_day(int32_t day, char* out);

}  // namespace xbase::date
