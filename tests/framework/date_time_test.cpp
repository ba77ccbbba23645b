#include <gtest/gtest.h>

#include "framework/date_time.h"
#include "framework/exceptions.h"
#include "framework/format_settings.h"

namespace vg {
namespace {

TEST(DateTime, EncodeCountsDaysFromTheEpochDay) {
  EXPECT_EQ(EncodeDate(1899, 12, 30), 0);
  EXPECT_EQ(EncodeDate(1899, 12, 31), 1);
  EXPECT_EQ(EncodeDate(1900, 1, 1), 2);
  EXPECT_EQ(EncodeDate(2001, 3, 5), 36955);
  EXPECT_EQ(EncodeDate(2000, 2, 29), 36585);
  EXPECT_EQ(EncodeDate(1, 1, 1), -693593);
  EXPECT_DOUBLE_EQ(EncodeTime(6, 0, 0, 0), 0.25);
  EXPECT_DOUBLE_EQ(EncodeTime(23, 59, 59, 999), 86399999.0 / 86400000.0);
}

TEST(DateTime, ImpossibleDatesAndTimesAreRefused) {
  TDateTime v = 7;
  EXPECT_FALSE(TryEncodeDate(2001, 2, 29, v));
  EXPECT_FALSE(TryEncodeDate(1900, 2, 29, v));  // not a leap year
  EXPECT_FALSE(TryEncodeDate(2001, 13, 1, v));
  EXPECT_FALSE(TryEncodeDate(0, 1, 1, v));
  EXPECT_FALSE(TryEncodeDate(10000, 1, 1, v));
  EXPECT_FALSE(TryEncodeTime(24, 0, 0, 0, v));
  EXPECT_FALSE(TryEncodeTime(0, 60, 0, 0, v));
  EXPECT_EQ(v, 7);
  EXPECT_THROW(EncodeDate(2001, 0, 1), EConvertError);
  EXPECT_THROW(EncodeTime(1, 2, 3, 1000), EConvertError);
}

TEST(DateTime, DecodeRoundTripsAndHandlesNegativeAndEdgeValues) {
  for (TDateTime d : {EncodeDate(1, 1, 1), EncodeDate(1600, 2, 29), EncodeDate(1899, 12, 30),
                      EncodeDate(2000, 12, 31), EncodeDate(9999, 12, 31)}) {
    int y, m, day;
    DecodeDate(d, y, m, day);
    EXPECT_EQ(EncodeDate(y, m, day), d);
  }
  int y, m, d, h, n, s, ms;
  // Negative values count days back but keep the time of day as fraction.
  DecodeDateTime(-1.25, y, m, d, h, n, s, ms);
  EXPECT_EQ(y * 10000 + m * 100 + d, 18991229);
  EXPECT_EQ(h, 6);
  // A fraction a hair below the next day rounds to it at millisecond precision.
  DecodeDateTime(1.0 - 1e-10, y, m, d, h, n, s, ms);
  EXPECT_EQ(y * 10000 + m * 100 + d, 18991231);
  EXPECT_EQ(h + n + s + ms, 0);
  DecodeDate(-700000, y, m, d);
  EXPECT_EQ(y + m + d, 0);
  EXPECT_EQ(DayOfWeek(EncodeDate(2001, 3, 5)), 2);  // a Monday
  EXPECT_EQ(DayOfWeek(EncodeDate(1899, 12, 24)), 1);
}

TEST(DateTime, FormatPictures) {
  TFormatSettingsScope keep;
  const TDateTime v = EncodeDate(2001, 3, 5) + EncodeTime(14, 7, 9, 45);
  EXPECT_EQ(FormatDateTime("YYYYMMDD", v), "20010305");
  EXPECT_EQ(FormatDateTime("yy/m/d", v), "01/3/5");
  EXPECT_EQ(FormatDateTime("hh:mm:ss.zzz", v), "14:07:09.045");  // m after h is minutes
  EXPECT_EQ(FormatDateTime("h:nn am/pm", v), "2:07 pm");
  EXPECT_EQ(FormatDateTime("h:nn A/P", EncodeTime(0, 5, 0, 0)), "12:05 A");
  EXPECT_EQ(FormatDateTime("hh ampm", v), "02 PM");
  EXPECT_EQ(FormatDateTime("ddd dddd mmm mmmm", v), "Mon Monday Mar March");
  EXPECT_EQ(FormatDateTime("'d m y' \"h\" d", v), "d m y h 5");
  EXPECT_EQ(FormatDateTime("c", EncodeDate(2001, 3, 5)), "3/5/2001");
  EXPECT_EQ(FormatDateTime("", v), "3/5/2001 2:07:09 PM");
  FormatSettings().DateSeparator = '.';
  FormatSettings().TimeSeparator = '-';
  EXPECT_EQ(FormatDateTime("dd/mm/yyyy hh:nn", v), "05.03.2001 14-07");
}

TEST(DateTime, ReadDatesInTheLocaleOrder) {
  TFormatSettingsScope keep;
  SetNowFunction([] { return EncodeDate(2024, 6, 1); });
  EXPECT_EQ(StrToDate("3/5/2001"), EncodeDate(2001, 3, 5));
  EXPECT_EQ(StrToDate(" 3 / 5 "), EncodeDate(2024, 3, 5));  // no year: this year
  EXPECT_EQ(StrToDate("3/5/80"), EncodeDate(1980, 3, 5));   // window 1974..2073
  EXPECT_EQ(StrToDate("3/5/73"), EncodeDate(2073, 3, 5));
  EXPECT_EQ(StrToDate("3/5/0080"), EncodeDate(80, 3, 5));  // four digits typed: as is
  FormatSettings().ShortDateFormat = "dd.MM.yyyy";
  FormatSettings().DateSeparator = '.';
  EXPECT_EQ(StrToDate("5.3.2001"), EncodeDate(2001, 3, 5));
  EXPECT_THROW(StrToDate("31.2.2001"), EConvertError);
  EXPECT_THROW(StrToDate("5.3.2001x"), EConvertError);
  EXPECT_DOUBLE_EQ(StrToTime("2:07 PM"), EncodeTime(14, 7, 0, 0));
  EXPECT_DOUBLE_EQ(StrToDateTime("5.3.2001 12:00:30 am"),
                   EncodeDate(2001, 3, 5) + EncodeTime(0, 0, 30, 0));
  SetNowFunction(nullptr);
}

TEST(DateTime, ReplaceableClock) {
  SetNowFunction([] { return 36955.75; });
  EXPECT_EQ(Date(), 36955);
  EXPECT_DOUBLE_EQ(Time(), 0.75);
  SetNowFunction(nullptr);
  EXPECT_GT(Now(), EncodeDate(2020, 1, 1));
}

}  // namespace
}  // namespace vg
