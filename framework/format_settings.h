// The process's locale settings: separators, date and time pictures, month and
// day names, currency layout. One replaceable object: everything that formats
// or reads numbers and dates consults FormatSettings() at the moment of the
// call, so a test (or an application) may change a field, or swap the whole
// object, and see every conversion follow.
#pragma once

#include <array>
#include <string>

namespace vg {

struct TFormatSettings {
  char DecimalSeparator = '.';
  char ThousandSeparator = ',';
  char DateSeparator = '/';
  char TimeSeparator = ':';
  char ListSeparator = ',';
  std::string ShortDateFormat = "M/d/yyyy";
  std::string LongDateFormat = "dddd, MMMM d, yyyy";
  std::string ShortTimeFormat = "h:mm AMPM";
  std::string LongTimeFormat = "h:mm:ss AMPM";
  std::string TimeAMString = "AM";
  std::string TimePMString = "PM";
  std::string CurrencyString = "$";
  // 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $".
  int CurrencyFormat = 0;
  // 0 "($1)", 1 "-$1", 2 "$-1", 3 "$1-", 4 "(1$)", 5 "-1$", 6 "1-$", 7 "1$-", 8 "-1 $".
  int NegCurrFormat = 0;
  int CurrencyDecimals = 2;
  std::array<std::string, 12> ShortMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::array<std::string, 12> LongMonthNames = {"January", "February", "March",     "April",
                                                "May",     "June",     "July",      "August",
                                                "September", "October", "November", "December"};
  // Sunday first.
  std::array<std::string, 7> ShortDayNames = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  std::array<std::string, 7> LongDayNames = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                             "Thursday", "Friday", "Saturday"};
  // Two-digit years typed into StrToDate fall within this many years before
  // today's year and 100 minus it after; 0 puts them in the current century.
  int TwoDigitYearCenturyWindow = 50;
};

// The settings in force; callers may change them in place.
TFormatSettings& FormatSettings();
// Replaces the settings in force as a whole.
void SetFormatSettings(const TFormatSettings& settings);

// Restores the settings in force when it ends: for code (and tests) that
// change them for a while.
class TFormatSettingsScope {
 public:
  TFormatSettingsScope() : saved_(FormatSettings()) {}
  TFormatSettingsScope(const TFormatSettingsScope&) = delete;
  TFormatSettingsScope& operator=(const TFormatSettingsScope&) = delete;
  ~TFormatSettingsScope() { SetFormatSettings(saved_); }

 private:
  TFormatSettings saved_;
};

}  // namespace vg
