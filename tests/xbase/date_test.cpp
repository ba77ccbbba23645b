#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <string>

#include "util/date.h"
#include "vgxbase/xbase.h"

namespace xbase::date {
namespace {

struct Ymd {
  int y, m, d;
  bool operator==(const Ymd&) const = default;
};

Ymd ymd_of(int32_t jdn) {
  Ymd r{-1, -1, -1};
  ymd_from_jdn(jdn, &r.y, &r.m, &r.d);
  return r;
}

std::string init(const char* value, const char* picture) {
  char out[9] = "########";
  date4init(out, value, picture);
  return out;
}

std::string format(const char* date, const char* picture) {
  char out[64];
  std::memset(out, '#', sizeof out);
  date4format(date, out, picture);
  EXPECT_EQ(out[std::strlen(picture)], '\0');
  return out;
}

// Known day numbers, both ways, and the leap rule at its edges.
TEST(Calendar, AnchorsAndLeapYears) {
  const struct { int y, m, d; int32_t jdn; } anchors[] = {
      {1, 1, 1, 1721426},           {1899, 12, 30, 2415019}, {1900, 1, 1, 2415021},
      {1900, 3, 1, 2415080},        {1970, 1, 1, 2440588},   {2000, 1, 1, 2451545},
      {2000, 3, 1, 2451605},        {9999, 12, 31, 5373484}};
  for (const auto& a : anchors) {
    EXPECT_EQ(jdn_from_ymd(a.y, a.m, a.d), a.jdn) << a.y << "-" << a.m << "-" << a.d;
    EXPECT_EQ(ymd_of(a.jdn), (Ymd{a.y, a.m, a.d}));
  }
  EXPECT_EQ(jdn_from_ymd(1, 1, 1), kFirstDay);
  EXPECT_EQ(jdn_from_ymd(9999, 12, 31), kLastDay);
  EXPECT_EQ(day_of_week(2451545), 7);  // a Saturday
  EXPECT_STREQ(weekday_name(day_of_week(2440588)), "Thursday");
  for (const auto& [year, leap] : {std::pair{1900, false}, {2000, true}, {2024, true}, {2100, false}}) {
    EXPECT_EQ(is_leap_year(year), leap) << year;
    EXPECT_EQ(is_valid_ymd(year, 2, 29), leap) << year;
  }
}

// Walks every day from 1600 to 2400 against a plain day-by-day counter, in
// numbers and in CCYYMMDD text.
TEST(Calendar, EveryDayFrom1600To2400RoundTrips) {
  Ymd expect{1600, 1, 1};
  int32_t jdn = jdn_from_ymd(1600, 1, 1);
  char text[8];
  for (; expect.y <= 2400; ++jdn) {
    ASSERT_EQ(ymd_of(jdn), expect) << jdn;
    ASSERT_EQ(jdn_from_ymd(expect.y, expect.m, expect.d), jdn);
    ccyymmdd_from_day(jdn, text);
    ASSERT_EQ(day_from_ccyymmdd(text), jdn);
    if (++expect.d > days_in_month(expect.y, expect.m)) {
      expect.d = 1;
      if (++expect.m > 12) {
        expect.m = 1;
        ++expect.y;
      }
    }
  }
  EXPECT_EQ(jdn - 1, jdn_from_ymd(2400, 12, 31));
}

TEST(Calendar, TotalOnAnyInput) {
  for (int32_t bad : {0, -1, INT32_MIN, kFirstDay - 1, kLastDay + 1, INT32_MAX}) {
    EXPECT_EQ(ymd_of(bad), (Ymd{0, 0, 0})) << bad;
    EXPECT_EQ(day_of_week(bad), 0);
  }
  ymd_from_jdn(kJdn2000, nullptr, nullptr, nullptr);
  EXPECT_EQ(jdn_from_ymd(INT_MAX, INT_MAX, INT_MAX), 0);
  EXPECT_EQ(jdn_from_ymd(INT_MIN, INT_MIN, INT_MIN), 0);
  EXPECT_EQ(jdn_from_ymd(10000, 1, 1), 0);
  EXPECT_EQ(jdn_from_ymd(1, 1, 0), 0);
  EXPECT_EQ(jdn_from_ymd(0, 12, 31), 0);
  // Out-of-range parts carry into their neighbours.
  EXPECT_EQ(jdn_from_ymd(2023, 13, 1), jdn_from_ymd(2024, 1, 1));
  EXPECT_EQ(jdn_from_ymd(2024, 0, 1), jdn_from_ymd(2023, 12, 1));
  EXPECT_EQ(jdn_from_ymd(2024, 3, 0), jdn_from_ymd(2024, 2, 29));
  EXPECT_EQ(jdn_from_ymd(2000, -23, 1), jdn_from_ymd(1998, 1, 1));
  EXPECT_FALSE(is_valid_ymd(0, 1, 1));
  EXPECT_FALSE(is_valid_ymd(2023, 13, 1));
  EXPECT_EQ(month_name(0), nullptr);
  EXPECT_EQ(month_name(13), nullptr);
}

TEST(DateText, LongAndAssign) {
  EXPECT_EQ(date4long("20000101"), kJdn2000);
  EXPECT_EQ(date4long("00010101"), kFirstDay);
  EXPECT_EQ(date4long("        "), 0);
  EXPECT_EQ(date4long(""), 0);
  EXPECT_EQ(date4long(nullptr), 0);
  EXPECT_EQ(date4long(std::string(8, '\0').c_str()), 0);
  for (const char* bad : {"20230230", "19000229", "00000000", "20231301", "2023010",
                          "2023AB01", " 2023011", "2023-1-1"}) {
    EXPECT_LT(date4long(bad), 0) << bad;
  }

  char out[10] = "#########";
  date4assign(out, kJdn2000);
  EXPECT_STREQ(out, "20000101#");  // eight characters, no NUL
  date4assign(out, 0);
  EXPECT_STREQ(out, "        #");
  for (int32_t bad : {-1, INT32_MIN, kLastDay + 1}) {
    date4assign(out, bad);
    EXPECT_STREQ(out, "        #");
  }
  date4assign(nullptr, kJdn2000);
}

TEST(DateText, PartsIgnoreWhetherTheDateIsReal) {
  EXPECT_EQ(date4year("20230230"), 2023);
  EXPECT_EQ(date4month("20230230"), 2);
  EXPECT_EQ(date4day("20230230"), 30);
  EXPECT_EQ(date4month("2023AB01"), 0);
  EXPECT_EQ(date4day("2023AB01"), 1);
  EXPECT_EQ(date4year("        "), 0);
  EXPECT_EQ(date4day("202301"), 0);
  EXPECT_EQ(date4year(nullptr), 0);
  EXPECT_EQ(date4month(nullptr), 0);
  EXPECT_EQ(date4day(nullptr), 0);
}

TEST(DatePicture, InitAndFormat) {
  // Blank, placeholder-only and short values give the blank date.
  const struct { const char *value, *picture, *date; } inits[] = {
      {"12/31/1999", "MM/DD/CCYY", "19991231"}, {"31.12.99", "DD.MM.YY", "19991231"},
      {"20240229", "CCYYMMDD", "20240229"},     {"2024-02-29", "YYYY-MM-DD", "20240229"},
      {"05-mar-2001", "DD-MMM-CCYY", "20010305"}, {" 3/ 5/2020", "MM/DD/CCYY", "20200305"},
      {"00/00/0000", "MM/DD/CCYY", "00000000"}, {"  /  /    ", "MM/DD/CCYY", "        "},
      {"__/__/____", "MM/DD/CCYY", "        "}, {"12/31/19", "MM/DD/CCYY", "        "},
      {"", "CCYYMMDD", "        "},             {nullptr, "CCYYMMDD", "        "},
      {"20240229", nullptr, "        "}};
  for (const auto& c : inits) EXPECT_EQ(init(c.value, c.picture), c.date) << c.value << " " << c.picture;
  date4init(nullptr, "20240229", "CCYYMMDD");
  const struct { const char *date, *picture, *text; } formats[] = {
      {"19991231", "MM/DD/CCYY", "12/31/1999"},  {"19991231", "DD.MM.YY", "31.12.99"},
      {"19991231", "YYYY-MM-DD", "1999-12-31"},  {"20010305", "CCYYMMDD", "20010305"},
      {"20010305", "DD MMM CCYY", "05 Mar 2001"}, {"20010305", "MMMMMMMM DD", "March    05"},
      {"20011205", "MMMM", "Dece"},              {"20011305", "MMM/DD", "   /05"},
      {"        ", "DD MMM CCYY!", "           !"}, {nullptr, "MM/DD/YY", "  /  /  "},
      {"19991231", "", ""}};
  for (const auto& c : formats) EXPECT_EQ(format(c.date, c.picture), c.text) << c.picture;
  date4format("19991231", nullptr, "MM/DD/CCYY");
  char out[4] = "###";
  date4format("19991231", out, nullptr);
  EXPECT_STREQ(out, "");
}

TEST(DatePicture, FormatThenInitRoundTrips) {
  for (const char* picture : {"MM/DD/CCYY", "DD.MM.CCYY", "CCYY-MM-DD", "YYYYMMDD",
                              "DD MMM CCYY", "MMMMMMMMM DD, CCYY"}) {
    for (int32_t day = jdn_from_ymd(1999, 12, 20); day < jdn_from_ymd(2001, 1, 10); ++day) {
      char date[9] = {};
      date4assign(date, day);
      ASSERT_EQ(date4long(init(format(date, picture).c_str(), picture).c_str()), day)
          << picture << " " << date;
    }
  }
}

TEST(Convert, C4atol) {
  const struct { const char* text; int len; long value; } cases[] = {
      {"  123", 5, 123},  {"-45", 3, -45},         {"+7", 2, 7},       {"  - 5", 5, -5},
      {"12ab34", 6, 12},  {"12345", 3, 123},       {"12\0" "34", 5, 12}, {"   ", 3, 0},
      {"-", 1, 0},        {"123", 0, 0},           {"123", -1, 0},     {nullptr, 5, 0},
      {"2147483647", 10, INT32_MAX},               {"-2147483648", 11, INT32_MIN},
      {"99999999999999999999", 20, INT32_MAX},     {"-99999999999999999999", 21, INT32_MIN}};
  for (const auto& c : cases) EXPECT_EQ(c4atol(c.text, c.len), c.value) << (c.text ? c.text : "null");
}

TEST(Convert, ErrorText) {
  EXPECT_STREQ(error4text(nullptr, e4open), "File could not be opened");
  std::set<std::string> texts;
  const int codes[] = {r4success, r4bof,   r4after,      r4eof,          r4unique,
                       r4uniqueContinue,   r4locked,     r4check,        e4close,
                       e4create,  e4open,  e4read,       e4lock,         e4write,
                       e4memory,  e4data,  e4fieldName,  e4tagName,      e4expr,
                       e4type,    e4index, e4unique,     e4access,       e4parm,
                       e4instance,         e4relate,     e4notSupported};
  for (int code : codes) {
    const char* text = error4text(nullptr, code);
    ASSERT_NE(text, nullptr) << code;
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), std::size(codes));
  EXPECT_EQ(error4text(nullptr, -1), nullptr);
  EXPECT_EQ(error4text(nullptr, 12345), nullptr);
}

}  // namespace
}  // namespace xbase::date
