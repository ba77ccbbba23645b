// Date-time values: days since 30 December 1899 in the integer part, the time
// of day as the fraction. Negative values count back from that day; their
// fraction is still the time of day (-1.25 is 29 December 1899, 6:00).
#pragma once

#include <functional>
#include <string>

namespace vg {

using TDateTime = double;

inline constexpr int kHoursPerDay = 24;
inline constexpr int kMinsPerDay = kHoursPerDay * 60;
inline constexpr int kSecsPerDay = kMinsPerDay * 60;
inline constexpr int kMSecsPerDay = kSecsPerDay * 1000;
// Days from 1 January of year 1 to 30 December 1899, both in the Gregorian calendar.
inline constexpr int kDateDelta = 693594;

bool IsLeapYear(int year);
// Days of `month` in `year`; 0 for a month outside 1..12.
int DaysInAMonth(int year, int month);

// Encode a calendar date (years 1 to 9999) or a time of day; the Try forms
// answer false for impossible ones, the others raise EConvertError.
bool TryEncodeDate(int year, int month, int day, TDateTime& date);
TDateTime EncodeDate(int year, int month, int day);
bool TryEncodeTime(int hour, int min, int sec, int msec, TDateTime& time);
TDateTime EncodeTime(int hour, int min, int sec, int msec);

// Parts of a value. The value is first rounded to the millisecond; a value
// before 1 January of year 1 gives year, month and day 0.
void DecodeDate(TDateTime value, int& year, int& month, int& day);
void DecodeTime(TDateTime value, int& hour, int& min, int& sec, int& msec);
void DecodeDateTime(TDateTime value, int& year, int& month, int& day, int& hour, int& min,
                    int& sec, int& msec);
// 1 for Sunday to 7 for Saturday.
int DayOfWeek(TDateTime value);

// The clock: Now is the local date and time, Date its day, Time its fraction.
TDateTime Now();
TDateTime Date();
TDateTime Time();
// Replaces the clock (for tests that need a given "today"); an empty
// function restores the system clock.
void SetNowFunction(std::function<TDateTime()> now);

// Formats a value with a picture: d dd ddd dddd ddddd dddddd, m mm mmm mmmm
// (minutes right after an hour), yy yyyy, h hh, n nn, s ss, z zzz, t tt, c,
// am/pm a/p ampm (12-hour clock for the hours before them), / and : (the
// locale's separators), text in single or double quotes, anything else
// copied. An empty picture is "c".
std::string FormatDateTime(const std::string& format, TDateTime value);
std::string DateToStr(TDateTime value);
std::string TimeToStr(TDateTime value);
std::string DateTimeToStr(TDateTime value);

// Reads text in the locale's short date order with its date separator (a
// missing year is this year; a two-digit year follows the century window), a
// time as h:mm[:ss[.zzz]] with an optional AM/PM word, or a date followed by a
// time. The Try forms answer false, the others raise EConvertError.
bool TryStrToDate(const std::string& text, TDateTime& value);
bool TryStrToTime(const std::string& text, TDateTime& value);
bool TryStrToDateTime(const std::string& text, TDateTime& value);
TDateTime StrToDate(const std::string& text);
TDateTime StrToTime(const std::string& text);
TDateTime StrToDateTime(const std::string& text);

}  // namespace vg
