#include "framework/date_time.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/time.h>

#include "framework/exceptions.h"
#include "framework/format_settings.h"

namespace vg {

namespace {

constexpr int kDaysBeforeMonth[2][13] = {
    {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
    {0, 0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335}};

std::function<TDateTime()>& now_function() {
  static std::function<TDateTime()> now;
  return now;
}

TDateTime system_now() {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  time_t seconds = tv.tv_sec;
  tm local{};
  localtime_r(&seconds, &local);
  TDateTime date = 0;
  TDateTime time = 0;
  TryEncodeDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, date);
  TryEncodeTime(local.tm_hour, local.tm_min, local.tm_sec > 59 ? 59 : local.tm_sec,
                static_cast<int>(tv.tv_usec / 1000), time);
  return date + time;
}

// Splits a value into whole days counted from 1 January of year 1 (= 1) and
// milliseconds of the day, rounding to the millisecond first.
void to_time_stamp(TDateTime value, long long& days, long long& msecs) {
  double scaled = std::nearbyint(value * kMSecsPerDay);
  if (!std::isfinite(scaled) || std::fabs(scaled) > 9.0e17) {
    days = 0;
    msecs = 0;
    return;
  }
  long long ms = static_cast<long long>(scaled);
  days = ms / kMSecsPerDay + kDateDelta;
  msecs = std::llabs(ms % kMSecsPerDay);
}

void decode_days(long long days, int& year, int& month, int& day) {
  if (days <= 0 || days > 3652059) {  // before year 1 or after 9999
    year = month = day = 0;
    return;
  }
  constexpr long long d1 = 365, d4 = d1 * 4 + 1, d100 = d4 * 25 - 1, d400 = d100 * 4 + 1;
  long long t = days - 1;
  long long y = 1;
  y += (t / d400) * 400;
  t %= d400;
  long long i = t / d100;
  long long d = t % d100;
  if (i == 4) {
    --i;
    d += d100;
  }
  y += i * 100;
  y += (d / d4) * 4;
  d %= d4;
  i = d / d1;
  d %= d1;
  if (i == 4) {
    --i;
    d += d1;
  }
  y += i;
  year = static_cast<int>(y);
  const int leap = IsLeapYear(year) ? 1 : 0;
  int m = 1;
  while (m < 12 && d >= kDaysBeforeMonth[leap][m + 1]) ++m;
  month = m;
  day = static_cast<int>(d - kDaysBeforeMonth[leap][m]) + 1;
}

// --- formatting -------------------------------------------------------------

class DateTimeFormatter {
 public:
  explicit DateTimeFormatter(TDateTime value) : value_(value) {
    DecodeDateTime(value, year_, month_, day_, hour_, min_, sec_, msec_);
  }

  std::string run(const std::string& format) {
    append_format(format.empty() ? std::string("C") : format, 0);
    return out_;
  }

 private:
  void number(int n, int digits) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*d", digits, n);
    out_ += buf;
  }

  static bool starts_with_ci(const std::string& s, size_t pos, const char* word) {
    for (size_t k = 0; word[k] != '\0'; ++k) {
      if (pos + k >= s.size()) return false;
      if (std::toupper(static_cast<unsigned char>(s[pos + k])) != word[k]) return false;
    }
    return true;
  }

  // Whether the hour at `pos` is shown on a 12-hour clock: an AM/PM picture
  // comes before the next hour picture.
  static bool twelve_hour_clock(const std::string& f, size_t pos) {
    bool quoted = false;
    for (size_t p = pos; p < f.size(); ++p) {
      char c = f[p];
      if (c == '\'' || c == '"') {
        quoted = !quoted;
      } else if (!quoted && (c == 'A' || c == 'a')) {
        return starts_with_ci(f, p, "AM/PM") || starts_with_ci(f, p, "A/P") ||
               starts_with_ci(f, p, "AMPM");
      } else if (!quoted && (c == 'H' || c == 'h')) {
        return false;
      }
    }
    return false;
  }

  void append_format(const std::string& f, int level) {
    if (level >= 2) return;  // pictures naming pictures stop here
    const TFormatSettings& fs = FormatSettings();
    char last_token = ' ';
    size_t p = 0;
    while (p < f.size()) {
      const char starter = f[p];
      char token = static_cast<char>(std::toupper(static_cast<unsigned char>(starter)));
      if (token >= 'A' && token <= 'Z') {
        if (token == 'M' && last_token == 'H') token = 'N';
        last_token = token;
      }
      const size_t start = p;
      auto count_run = [&]() {
        while (p < f.size() && f[p] == starter) ++p;
        return static_cast<int>(p - start);
      };
      switch (token) {
        case 'Y': {
          int n = count_run();
          if (n <= 2) number(year_ % 100, 2);
          else number(year_, 4);
          break;
        }
        case 'M': {
          int n = count_run();
          if (n <= 2) number(month_, n);
          else if (month_ >= 1 && month_ <= 12)
            out_ += n == 3 ? fs.ShortMonthNames[month_ - 1] : fs.LongMonthNames[month_ - 1];
          break;
        }
        case 'D': {
          int n = count_run();
          int dow = DayOfWeek(value_) - 1;
          if (n <= 2) number(day_, n);
          else if (n == 3) out_ += fs.ShortDayNames[static_cast<size_t>(dow)];
          else if (n == 4) out_ += fs.LongDayNames[static_cast<size_t>(dow)];
          else if (n == 5) append_format(fs.ShortDateFormat, level + 1);
          else append_format(fs.LongDateFormat, level + 1);
          break;
        }
        case 'H': {
          int n = count_run();
          int h = hour_;
          if (twelve_hour_clock(f, p)) {
            if (h == 0) h = 12;
            else if (h > 12) h -= 12;
          }
          number(h, n > 2 ? 2 : n);
          break;
        }
        case 'N': {
          int n = count_run();
          number(min_, n > 2 ? 2 : n);
          break;
        }
        case 'S': {
          int n = count_run();
          number(sec_, n > 2 ? 2 : n);
          break;
        }
        case 'Z': {
          int n = count_run();
          number(msec_, n > 1 ? 3 : 1);
          break;
        }
        case 'T': {
          int n = count_run();
          append_format(n == 1 ? fs.ShortTimeFormat : fs.LongTimeFormat, level + 1);
          break;
        }
        case 'C': {
          count_run();
          append_format(fs.ShortDateFormat, level + 1);
          if (hour_ != 0 || min_ != 0 || sec_ != 0) {
            out_ += ' ';
            append_format(fs.LongTimeFormat, level + 1);
          }
          break;
        }
        case 'A': {
          if (starts_with_ci(f, p, "AM/PM")) {
            out_ += hour_ >= 12 ? f.substr(p + 3, 2) : f.substr(p, 2);
            p += 5;
          } else if (starts_with_ci(f, p, "A/P")) {
            out_ += hour_ >= 12 ? f[p + 2] : f[p];
            p += 3;
          } else if (starts_with_ci(f, p, "AMPM")) {
            out_ += hour_ >= 12 ? fs.TimePMString : fs.TimeAMString;
            p += 4;
          } else {
            out_ += starter;
            ++p;
          }
          break;
        }
        case '/':
          out_ += fs.DateSeparator;
          ++p;
          break;
        case ':':
          out_ += fs.TimeSeparator;
          ++p;
          break;
        case '\'':
        case '"': {
          ++p;
          size_t close = f.find(starter, p);
          if (close == std::string::npos) close = f.size();
          out_ += f.substr(p, close - p);
          p = close < f.size() ? close + 1 : close;
          break;
        }
        default:
          out_ += starter;
          ++p;
          break;
      }
    }
  }

  TDateTime value_;
  int year_ = 0, month_ = 0, day_ = 0, hour_ = 0, min_ = 0, sec_ = 0, msec_ = 0;
  std::string out_;
};

// --- reading ----------------------------------------------------------------

struct Scanner {
  const std::string& s;
  size_t p = 0;

  void blanks() {
    while (p < s.size() && s[p] == ' ') ++p;
  }
  bool at_end() {
    blanks();
    return p >= s.size();
  }
  bool number(int& value, int& digits) {
    blanks();
    size_t start = p;
    long long v = 0;
    while (p < s.size() && std::isdigit(static_cast<unsigned char>(s[p])) && p - start < 9)
      v = v * 10 + (s[p++] - '0');
    digits = static_cast<int>(p - start);
    value = static_cast<int>(v);
    return digits > 0;
  }
  bool separator(char c) {
    blanks();
    if (p < s.size() && s[p] == c) {
      ++p;
      return true;
    }
    return false;
  }
};

// Order of day, month and year in the short date picture: 0 MDY, 1 DMY, 2 YMD.
int date_order(const std::string& picture) {
  for (char c : picture) {
    switch (std::toupper(static_cast<unsigned char>(c))) {
      case 'D': return 1;
      case 'Y': return 2;
      case 'M': return 0;
      default: break;
    }
  }
  return 0;
}

bool scan_date(Scanner& sc, TDateTime& value) {
  const TFormatSettings& fs = FormatSettings();
  int n1 = 0, n2 = 0, n3 = 0, l1 = 0, l2 = 0, l3 = 0;
  if (!sc.number(n1, l1) || !sc.separator(fs.DateSeparator) || !sc.number(n2, l2)) return false;
  const bool three = sc.separator(fs.DateSeparator);
  if (three && !sc.number(n3, l3)) return false;
  int y = 0, m = 0, d = 0, year_digits = 0;
  int today_year = 0, today_month = 0, today_day = 0;
  DecodeDate(Date(), today_year, today_month, today_day);
  const int order = date_order(fs.ShortDateFormat);
  if (!three) {
    y = today_year;
    year_digits = 4;
    if (order == 1) {
      d = n1;
      m = n2;
    } else {
      m = n1;
      d = n2;
    }
  } else if (order == 0) {
    m = n1, d = n2, y = n3, year_digits = l3;
  } else if (order == 1) {
    d = n1, m = n2, y = n3, year_digits = l3;
  } else {
    y = n1, m = n2, d = n3, year_digits = l1;
  }
  if (year_digits <= 2 && y <= 99) {
    int window_start = today_year - fs.TwoDigitYearCenturyWindow;
    y += window_start - window_start % 100;
    if (fs.TwoDigitYearCenturyWindow > 0 && y < window_start) y += 100;
  }
  return TryEncodeDate(y, m, d, value);
}

bool scan_time(Scanner& sc, TDateTime& value) {
  const TFormatSettings& fs = FormatSettings();
  int h = 0, m = 0, s = 0, ms = 0, len = 0;
  if (!sc.number(h, len)) return false;
  if (sc.separator(fs.TimeSeparator)) {
    if (!sc.number(m, len)) return false;
    if (sc.separator(fs.TimeSeparator)) {
      if (!sc.number(s, len)) return false;
      if (sc.separator(fs.DecimalSeparator) && !sc.number(ms, len)) return false;
    }
  }
  sc.blanks();
  auto word = [&](const std::string& w) {
    if (w.empty() || sc.p + w.size() > sc.s.size()) return false;
    for (size_t k = 0; k < w.size(); ++k)
      if (std::toupper(static_cast<unsigned char>(sc.s[sc.p + k])) !=
          std::toupper(static_cast<unsigned char>(w[k])))
        return false;
    sc.p += w.size();
    return true;
  };
  if (word(fs.TimeAMString) || word("AM")) {
    if (h < 1 || h > 12) return false;
    if (h == 12) h = 0;
  } else if (word(fs.TimePMString) || word("PM")) {
    if (h < 1 || h > 12) return false;
    if (h != 12) h += 12;
  }
  return TryEncodeTime(h, m, s, ms, value);
}

[[noreturn]] void not_valid(const std::string& text, const char* what) {
  throw EConvertError("'" + text + "' is not a valid " + what);
}

}  // namespace

bool IsLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysInAMonth(int year, int month) {
  if (month < 1 || month > 12) return 0;
  static constexpr int days[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : days[month];
}

bool TryEncodeDate(int year, int month, int day, TDateTime& date) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInAMonth(year, month))
    return false;
  const long long i = year - 1;
  const long long days = i * 365 + i / 4 - i / 100 + i / 400 +
                         kDaysBeforeMonth[IsLeapYear(year) ? 1 : 0][month] + day;
  date = static_cast<TDateTime>(days - kDateDelta);
  return true;
}

TDateTime EncodeDate(int year, int month, int day) {
  TDateTime date = 0;
  if (!TryEncodeDate(year, month, day, date))
    throw EConvertError("Invalid argument to date encode");
  return date;
}

bool TryEncodeTime(int hour, int min, int sec, int msec, TDateTime& time) {
  if (hour < 0 || hour >= 24 || min < 0 || min >= 60 || sec < 0 || sec >= 60 || msec < 0 ||
      msec >= 1000)
    return false;
  time = (hour * 3600000.0 + min * 60000.0 + sec * 1000.0 + msec) / kMSecsPerDay;
  return true;
}

TDateTime EncodeTime(int hour, int min, int sec, int msec) {
  TDateTime time = 0;
  if (!TryEncodeTime(hour, min, sec, msec, time))
    throw EConvertError("Invalid argument to time encode");
  return time;
}

void DecodeDate(TDateTime value, int& year, int& month, int& day) {
  long long days = 0, msecs = 0;
  to_time_stamp(value, days, msecs);
  decode_days(days, year, month, day);
}

void DecodeTime(TDateTime value, int& hour, int& min, int& sec, int& msec) {
  long long days = 0, msecs = 0;
  to_time_stamp(value, days, msecs);
  hour = static_cast<int>(msecs / 3600000);
  min = static_cast<int>(msecs / 60000 % 60);
  sec = static_cast<int>(msecs / 1000 % 60);
  msec = static_cast<int>(msecs % 1000);
}

void DecodeDateTime(TDateTime value, int& year, int& month, int& day, int& hour, int& min,
                    int& sec, int& msec) {
  DecodeDate(value, year, month, day);
  DecodeTime(value, hour, min, sec, msec);
}

int DayOfWeek(TDateTime value) {
  long long days = 0, msecs = 0;
  to_time_stamp(value, days, msecs);
  long long r = days % 7;
  if (r < 0) r += 7;
  return static_cast<int>(r) + 1;
}

TDateTime Now() {
  const auto& now = now_function();
  return now ? now() : system_now();
}

TDateTime Date() { return std::trunc(Now()); }

TDateTime Time() {
  TDateTime n = Now();
  return n - std::trunc(n);
}

void SetNowFunction(std::function<TDateTime()> now) { now_function() = std::move(now); }

std::string FormatDateTime(const std::string& format, TDateTime value) {
  return DateTimeFormatter(value).run(format);
}

std::string DateToStr(TDateTime value) { return FormatDateTime("ddddd", value); }
std::string TimeToStr(TDateTime value) { return FormatDateTime("tt", value); }
std::string DateTimeToStr(TDateTime value) { return FormatDateTime("c", value); }

bool TryStrToDate(const std::string& text, TDateTime& value) {
  Scanner sc{text};
  TDateTime date = 0;
  if (!scan_date(sc, date) || !sc.at_end()) return false;
  value = date;
  return true;
}

bool TryStrToTime(const std::string& text, TDateTime& value) {
  Scanner sc{text};
  TDateTime time = 0;
  if (!scan_time(sc, time) || !sc.at_end()) return false;
  value = time;
  return true;
}

bool TryStrToDateTime(const std::string& text, TDateTime& value) {
  Scanner sc{text};
  TDateTime date = 0, time = 0;
  if (!scan_date(sc, date)) {
    Scanner only_time{text};
    if (!scan_time(only_time, time) || !only_time.at_end()) return false;
    value = time;
    return true;
  }
  if (!sc.at_end() && !scan_time(sc, time)) return false;
  if (!sc.at_end()) return false;
  value = date < 0 ? date - time : date + time;
  return true;
}

TDateTime StrToDate(const std::string& text) {
  TDateTime v = 0;
  if (!TryStrToDate(text, v)) not_valid(text, "date");
  return v;
}

TDateTime StrToTime(const std::string& text) {
  TDateTime v = 0;
  if (!TryStrToTime(text, v)) not_valid(text, "time");
  return v;
}

TDateTime StrToDateTime(const std::string& text) {
  TDateTime v = 0;
  if (!TryStrToDateTime(text, v)) not_valid(text, "date and time");
  return v;
}

}  // namespace vg
