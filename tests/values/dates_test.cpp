#include <gtest/gtest.h>

#include "settings_guard.h"
#include "values/Vgfunc.h"

namespace vg {
namespace {

using Dates = SettingsGuard;

TEST_F(Dates, DtosAndStod) {
  EXPECT_EQ(DTOS(0), "        ");
  EXPECT_EQ(DTOS(EncodeDate(2001, 3, 5)), "20010305");
  EXPECT_EQ(DTOS(EncodeDate(2001, 3, 5) + 0.99), "20010305");
  EXPECT_EQ(DTOS(-1), "18991229");  // only exactly 0 is blank
  EXPECT_EQ(STOD("20010305"), EncodeDate(2001, 3, 5));
  EXPECT_EQ(STOD("00000000"), 0);
  EXPECT_EQ(STOD("        "), 0);
  EXPECT_EQ(STOD("20011305"), 0);  // month 13
  EXPECT_EQ(STOD("20010230"), 0);
  EXPECT_EQ(STOD("2001"), 0);
  EXPECT_EQ(STOD("2001 3 5"), EncodeDate(2001, 3, 5));  // each part read leniently
  EXPECT_EQ(STOD(DTOS(EncodeDate(1, 1, 1))), EncodeDate(1, 1, 1));
}

TEST_F(Dates, DtocUsesTheEnginePicture) {
  EXPECT_EQ(DTOC(EncodeDate(2001, 3, 5)), "03/05/2001");
  EXPECT_EQ(DTOC(0), "  /  /    ");
  VGEnv->SetDateFormat("DD.MM.YY");
  EXPECT_EQ(DTOC(EncodeDate(2001, 3, 5)), "05.03.01");
  VGEnv->SetDateFormat("CCYY-MMM-DD");
  EXPECT_EQ(DTOC(EncodeDate(2001, 3, 5)), "2001-Mar-05");
}

TEST_F(Dates, IsOfDateFormat) {
  EXPECT_TRUE(IsOfDateFormat("03/05/2001"));
  EXPECT_TRUE(IsOfDateFormat("  /  /    "));  // blank
  EXPECT_TRUE(IsOfDateFormat("00/00/0000"));
  EXPECT_TRUE(IsOfDateFormat("__/__/____"));
  EXPECT_FALSE(IsOfDateFormat("3/5/2001"));      // length
  EXPECT_FALSE(IsOfDateFormat("03-05-2001"));    // literal
  EXPECT_FALSE(IsOfDateFormat("03/05/20x1"));    // not a digit
  EXPECT_FALSE(IsOfDateFormat("02/30/2001"));    // no such day
  EXPECT_FALSE(IsOfDateFormat("03/_5/2001"));    // half typed
  EXPECT_FALSE(IsOfDateFormat("00/00/0001"));    // a digit, so it must be a date
  VGEnv->SetDateFormat("MM/DD/YYYY");
  EXPECT_FALSE(IsOfDateFormat("03/05/2001"));  // four year positions never fit
  EXPECT_TRUE(IsOfDateFormat("  /  /    "));
  VGEnv->SetDateFormat("MM/DD/YY");
  EXPECT_TRUE(IsOfDateFormat("02/29/16"));   // 1916, inside the window: a leap year
  EXPECT_FALSE(IsOfDateFormat("02/29/14"));  // 2014: not a leap year
  VGEnv->SetEpochStart(1900);
  EXPECT_FALSE(IsOfDateFormat("02/29/00"));  // 1900 is no leap year
  VGEnv->SetEpochStart(1901);
  EXPECT_TRUE(IsOfDateFormat("02/29/00"));   // 2000 is
}

TEST_F(Dates, CtodCenturyWindow) {
  SetToday(2024, 6, 1);
  EXPECT_EQ(CTOD("03/05/2001"), EncodeDate(2001, 3, 5));
  EXPECT_EQ(CTOD("03/05/1820"), EncodeDate(1820, 3, 5));  // a century typed is kept
  EXPECT_EQ(CTOD("  /  /    "), 0);
  EXPECT_EQ(CTOD("3/5/2001"), 0);
  EXPECT_EQ(CTOD("13/05/2001"), 0);
  VGEnv->SetDateFormat("MM/DD/YY");
  EXPECT_EQ(CTOD("03/05/20"), EncodeDate(1920, 3, 5));
  EXPECT_EQ(CTOD("03/05/10"), EncodeDate(2010, 3, 5));
  EXPECT_EQ(CTOD("03/05/15"), EncodeDate(1915, 3, 5));
  EXPECT_EQ(CTOD("03/05/14"), EncodeDate(2014, 3, 5));
  VGEnv->SetEpochStart(1950);
  EXPECT_EQ(CTOD("03/05/49"), EncodeDate(2049, 3, 5));
  EXPECT_EQ(CTOD("03/05/50"), EncodeDate(1950, 3, 5));
  // Before 2000 the same window holds.
  SetToday(1998, 12, 31);
  EXPECT_EQ(CTOD("03/05/49"), EncodeDate(2049, 3, 5));
  EXPECT_EQ(CTOD("03/05/99"), EncodeDate(1999, 3, 5));
  VGEnv->SetDateFormat("DD.MM.YY");
  EXPECT_EQ(CTOD("05.03.99"), EncodeDate(1999, 3, 5));
}

TEST_F(Dates, FoxDateTimes) {
  const TDateTime t = EncodeDate(1999, 12, 31) + EncodeTime(23, 59, 7, 0);
  EXPECT_EQ(HostDateTimeToFoxDateTime(t), "1999123123:59:07");
  EXPECT_EQ(HostDateTimeToFoxDateTime(0), "        00:00:00");
  EXPECT_DOUBLE_EQ(FoxDateTimeToHostDateTime("1999123123:59:07"), t);
  EXPECT_EQ(FoxDateTimeToHostDateTime("        00:00:00"), 0);
  EXPECT_EQ(FoxDateTimeToHostDateTime("19991331"), 0);  // impossible: no exception
  EXPECT_DOUBLE_EQ(FoxDateTimeToHostDateTime("19991231"), EncodeDate(1999, 12, 31));

  EXPECT_EQ(DateTimeToDateLong(EncodeDate(2000, 1, 1)), 2451545);
  EXPECT_EQ(DateTimeToDateLong(0), 0);
  EXPECT_EQ(DateTimeToTimeLong(EncodeDate(2000, 1, 1) + 0.75), 64800000);
  EXPECT_EQ(DateTimeToTimeLong(-1.25), -21600000);  // the fraction keeps its sign
  EXPECT_DOUBLE_EQ(DTLongToDateTime(2451545, 3723004),
                   EncodeDate(2000, 1, 1) + EncodeTime(1, 2, 3, 4));
  EXPECT_EQ(DTLongToDateTime(0, 3723004), 0);
  EXPECT_EQ(DTLongToDateTime(2451545, 86400000), 0);  // hour 24: no time of day
  EXPECT_EQ(DateTimeToSec(1.5), 129600);
  EXPECT_EQ(DateTimeToSec(-0.5), -43200);
}

TEST_F(Dates, ClockTimes) {
  EXPECT_EQ(DateTimeToMTime(EncodeTime(9, 30, 59, 0)), "0930");
  EXPECT_EQ(MTimeToString("0030"), " 0:30 AM");  // midnight is not 12
  EXPECT_EQ(MTimeToString("1200"), "12:00 PM");
  EXPECT_EQ(MTimeToString("1345"), " 1:45 PM");
  EXPECT_EQ(MTimeToString(""), " 0: AM");
  EXPECT_EQ(DateTimeToTimeString(EncodeDate(2001, 1, 1) + EncodeTime(13, 45, 0, 0)), " 1:45 PM");
  EXPECT_EQ(MinutesToHourMin(605), "10:05");
  EXPECT_EQ(MinutesToHourMin(65), " 1:05");
  EXPECT_EQ(HourMinToMinutes("10:05"), 605);
  EXPECT_EQ(HourMinToMinutes(" 1:5x"), 65);
  EXPECT_EQ(HourMinToMinutes("4567"), 45);  // no colon: the first two characters
}

}  // namespace
}  // namespace vg
