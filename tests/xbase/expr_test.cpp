// Expressions through the C interface: type, width and value of every
// function and operator on known records, comparisons of texts of
// different lengths, dates at their edges, numeric formatting, memo fields,
// references to a second table, and refused input.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "expr_fixture.h"
#include "api/handles.h"

namespace expr_test {
namespace {

struct Case {
  const char* expr;
  char type;
  int len;
  std::string value;  // expr4str
};

struct NumberCase {
  const char* expr;
  double value;  // expr4double
};

struct TruthCase {
  const char* expr;
  bool value;
};

class Expr : public ExprTest {
 protected:
  void check(const Case& c) {
    SCOPED_TRACE(c.expr);
    EXPR4* e = parse(c.expr);
    ASSERT_NE(e, nullptr) << code4errorCode(c4_, 0);
    EXPECT_EQ(expr4type(e), c.type);
    EXPECT_EQ(expr4len(e), c.len);
    EXPECT_EQ(str(e), c.value);
  }
  void check(const NumberCase& c) {
    SCOPED_TRACE(c.expr);
    EXPR4* e = parse(c.expr);
    ASSERT_NE(e, nullptr) << code4errorCode(c4_, 0);
    EXPECT_NEAR(expr4double(e), c.value, 1e-9);
  }
  void check(const TruthCase& c) {
    SCOPED_TRACE(c.expr);
    EXPR4* e = parse(c.expr);
    ASSERT_NE(e, nullptr) << code4errorCode(c4_, 0);
    EXPECT_EQ(expr4type(e), 'L');
    EXPECT_EQ(expr4true(e), c.value ? 1 : 0);
  }
  template <class T, size_t N>
  void check_all(const T (&cases)[N]) {
    for (const T& c : cases) check(c);
  }
};

TEST_F(Expr, FieldsAloneKeepTheirStoredForm) {
  const Case cases[] = {
      {"NAME", 'C', 10, "Alice     "}, {"name", 'C', 10, "Alice     "},
      {"AMOUNT", 'N', 10, "   1234.56"}, {"BIRTH", 'D', 8, "19700315"}, {"ACTIVE", 'L', 1, "T"},
      {"STAMP", 'T', 16, "2024022913:45:30"}, {"(NAME)", 'C', 10, "Alice     "},
      {"COUNT", 'n', 20, "                  42"}, {"PRICE", 'n', 20, "                9.99"},
      {"CASH", 'n', 20, "             12.3456"}, {"AMOUNT+0", 'n', 20, "             1234.56"},
      {"BIRTH+0", 'd', 8, "19700315"},
  };
  check_all(cases);
  EXPECT_DOUBLE_EQ(expr4double(parse("AMOUNT")), 1234.56);
  EXPECT_DOUBLE_EQ(expr4double(parse("BIRTH")), 2440661);  // day number of 1970-03-15
  EXPECT_NEAR(expr4double(parse("STAMP")), 2460370 + (13 * 3600 + 45 * 60 + 30) / 86400.0, 1e-9);
}

TEST_F(Expr, TextFunctionsAndTheirStaticWidths) {
  const Case cases[] = {
      {"UPPER(NAME)", 'C', 10, "ALICE     "}, {"LOWER(NAME)", 'C', 10, "alice     "},
      {"TRIM(NAME)", 'C', 10, "Alice     "}, {"RTRIM(NAME)+'|'", 'C', 11, "Alice|     "},
      {"ALLTRIM(CITY)+'|'", 'C', 13, "Paris|       "}, {"LTRIM('  ab ')+'|'", 'C', 6, "ab |  "},
      {"NAME+CITY", 'C', 22, "Alice     Paris       "},
      {"NAME-CITY", 'C', 22, "AliceParis            "}, {"NAME-'x'-'y'", 'C', 12, "Alicexy     "},
      {"SUBSTR(NAME,3,5)", 'C', 5, "ice  "}, {"SUBSTR(NAME,2)", 'C', 9, "lice     "},
      {"SUBSTR(NAME,0,2)", 'C', 2, "Al"}, {"SUBSTR(NAME,-5,3)", 'C', 3, "Ali"},
      {"SUBSTR(NAME,11,3)", 'C', 3, "   "}, {"SUBSTR(NAME,3,-1)", 'C', 0, ""},
      {"SUBSTR(NAME,QTY,2)", 'C', 2, "ic"}, {"SUBSTR(NAME,2,QTY)", 'C', 10, "lic       "},
      {"SUBSTR(NAME,1,2+3)", 'C', 5, "Alice"}, {"LEFT(NAME,3)", 'C', 3, "Ali"},
      {"LEFT(NAME,12)", 'C', 12, "Alice       "}, {"RIGHT(TRIM(NAME),3)", 'C', 3, "ice"},
      {"RIGHT(NAME,0)", 'C', 0, ""}, {"SPACE(3)+'x'", 'C', 4, "   x"},
      {"SPACE(-3)+'x'", 'C', 1, "x"}, {"REPLICATE('ab',3)", 'C', 6, "ababab"},
      {"REPLICATE('ab',QTY)", 'C', 2, "ab"}, {"PADL(TRIM(NAME),8)", 'C', 8, "   Alice"},
      {"PADR(TRIM(NAME),8,'*')", 'C', 8, "Alice***"}, {"PADL('abcdef',3)", 'C', 3, "abc"},
      {"PADR(NAME,LEN(NAME)+2,'.')", 'C', 12, "Alice     .."},
      {"IIF(ACTIVE,'yes','no')", 'C', 3, "yes"},
      {"ALLT(CITY)", 'C', 12, "Paris       "},  // four-letter abbreviation
  };
  check_all(cases);
  const NumberCase numbers[] = {
      {"LEN(NAME)", 10},    {"LEN(TRIM(NAME))", 5},
      {"LEN('')", 0},       {"LEN(REPLICATE('ab',QTY))", 6},
      {"AT('li',NAME)", 2}, {"AT('z',NAME)", 0}, {"AT('',NAME)", 0},   {"LEN(SPACE(QTY*2))", 6},
  };
  check_all(numbers);
}

TEST_F(Expr, NumbersFormatAndRoundHalfAwayFromZero) {
  const Case cases[] = {
      {"STR(AMOUNT,10,2)", 'C', 10, "   1234.56"}, {"STR(AMOUNT)", 'C', 10, "      1235"},
      {"STR(AMOUNT,6,1)", 'C', 6, "1234.6"}, {"STR(123456,3)", 'C', 3, "***"},
      {"STR(123456.78,8,2)", 'C', 8, "********"}, {"STR(-1.5,4)", 'C', 4, "  -2"},
      {"STR(2.5,3)", 'C', 3, "  3"}, {"STR(-2.5,3)", 'C', 3, " -3"},
      {"STR(2.675,5,2)", 'C', 5, " 2.68"}, {"STR(1.005,4,2)", 'C', 4, "1.01"},
      {"STR(-0.4,3)", 'C', 3, "  0"}, {"STR(0,0)", 'C', 0, ""},
      {"STR(QTY,QTY)", 'C', 10, "  3       "}, {"STRZERO(QTY,5)", 'C', 5, "00003"},
      {"STRZERO(-5,4)", 'C', 4, "-005"}, {"STRZERO(AMOUNT,10,2)", 'C', 10, "0001234.56"},
      {"STRZERO(99999,3)", 'C', 3, "***"}, {"10/4", 'n', 20, "                2.50"},
      {"AMOUNT*QTY", 'n', 20, "             3703.68"},
      {"VAL('12.5')", 'n', 20, "               12.50"},
  };
  check_all(cases);
  const NumberCase numbers[] = {
      {"VAL('  12.5abc')", 12.5}, {"VAL('-3')", -3}, {"VAL('abc')", 0}, {"VAL('1e5')", 1},
      {"ABS(AMOUNT*-1)", 1234.56}, {"INT(-2.7)", -2}, {"INT(2.7)", 2}, {"ROUND(2.675,2)", 2.68},
      {"ROUND(1234.5,-2)", 1200}, {"ROUND(-2.5,0)", -3}, {"MIN(QTY,2)", 2}, {"MAX(QTY,2)", 3},
      {"MOD(7,3)", 1}, {"MOD(-7,3)", 2}, {"MOD(7,-3)", -2}, {"7%3", 1}, {"7%0", 0}, {"MOD(7,0)", 0},
      {"5/0", 0}, {"AMOUNT/(QTY-3)", 0}, {"2**10", 1024}, {"2^3^2", 64}, {"-2**2", 4},
      {"2+3*4", 14}, {"(2+3)*4", 20}, {"10-2-3", 5}, {"2*3%4", 2}, {"-QTY", -3}, {"+QTY", 3},
      {"10**400", 0}, {"RECNO()", 1}, {"RECCOUNT()", 3}, {"COUNT*2", 84}, {"IIF(QTY>5,1,2)", 2},
      {"'12'", 12}, {".T.", 1},
  };
  check_all(numbers);
}

TEST_F(Expr, DatesComputeWithDayNumbers) {
  const Case cases[] = {
      {"DTOS(BIRTH)", 'C', 8, "19700315"}, {"BIRTH+1", 'd', 8, "19700316"},
      {"1+BIRTH", 'd', 8, "19700316"}, {"BIRTH-15", 'd', 8, "19700228"},
      {"DTOC(BIRTH)", 'C', 10, "03/15/1970"}, {"DTOC(BIRTH,1)", 'C', 8, "19700315"},
      {"CTOD('02/29/2000')", 'd', 8, "20000229"}, {"CTOD('02/29/1900')", 'd', 8, "        "},
      {"CTOD('1/2/99')", 'd', 8, "19990102"}, {"CTOD('12/31/69')", 'd', 8, "19691231"},
      {"CTOD('12/31/2069')", 'd', 8, "20691231"}, {"CTOD('')", 'd', 8, "        "},
      {"CTOD('13/01/2000')", 'd', 8, "        "}, {"STOD('20240229')", 'd', 8, "20240229"},
      {"STOD('20230229')", 'd', 8, "        "}, {"STOD('2024')", 'd', 8, "        "},
      {"DTOS(STOD('20231231')+1)", 'C', 8, "20240101"},
      {"DTOS(STOD('20240228')+1)", 'C', 8, "20240229"},
      {"DTOS(STOD('21000228')+1)", 'C', 8, "21000301"}, {"CDOW(BIRTH)", 'C', 9, "Sunday   "},
      {"CMONTH(BIRTH)", 'C', 9, "March    "}, {"TTOS(STAMP)", 'C', 14, "20240229134530"},
      {"TTOC(STAMP)", 'C', 19, "02/29/2024 13:45:30"}, {"TTOC(STAMP,1)", 'C', 14, "20240229134530"},
      {"MIN(BIRTH,STOD('19600101'))", 'd', 8, "19600101"},
      {"IIF(ACTIVE,BIRTH,STOD('19600101'))", 'd', 8, "19700315"},
  };
  check_all(cases);
  const NumberCase numbers[] = {
      {"YEAR(BIRTH)", 1970}, {"MONTH(BIRTH)", 3}, {"DAY(BIRTH)", 15}, {"DOW(BIRTH)", 1},
      {"YEAR(BIRTH+365)", 1971}, {"BIRTH-BIRTH", 0}, {"BIRTH-CTOD('03/01/1970')", 14},
      {"STOD('20000301')-STOD('20000228')", 2}, {"STOD('19000301')-STOD('19000228')", 1},
      {"YEAR(DATE())>=2024", 1},
  };
  check_all(numbers);
}

TEST_F(Expr, BlankDatesStayBlank) {
  ASSERT_EQ(d4go(people_, 2), 0);
  const Case cases[] = {
      {"BIRTH", 'D', 8, "        "},          {"DTOS(BIRTH)", 'C', 8, "        "},
      {"BIRTH+1", 'd', 8, "        "},        {"DTOC(BIRTH)", 'C', 10, "  /  /    "},
      {"CDOW(BIRTH)", 'C', 9, "         "},   {"CMONTH(BIRTH)", 'C', 9, "         "},
      {"STAMP", 'T', 16, "                "}, {"TTOS(STAMP)", 'C', 14, "              "},
  };
  check_all(cases);
  const NumberCase numbers[] = {
      {"YEAR(BIRTH)", 0}, {"MONTH(BIRTH)", 0},           {"DAY(BIRTH)", 0}, {"DOW(BIRTH)", 0},
      {"BIRTH-BIRTH", 0}, {"BIRTH-STOD('20000101')", 0}, {"BIRTH", 0},      {"STAMP", 0},
  };
  check_all(numbers);
  const TruthCase truths[] = {
      {"EMPTY(BIRTH)", true}, {"BIRTH < STOD('00010101')", true}, {"EMPTY(STAMP)", true},
  };
  check_all(truths);
}

TEST_F(Expr, DatePictureOfTheContextAtParseTime) {
  ASSERT_EQ(code4dateFormatSet(c4_, "DD.MM.YY"), 0);
  EXPR4* dtoc = parse("DTOC(BIRTH)");
  const Case cases[] = {
      {"DTOC(BIRTH)", 'C', 8, "15.03.70"},
      {"CTOD('29.02.00')", 'd', 8, "        "},  // 1900 was no leap year
      {"CTOD('01.02.03')", 'd', 8, "19030201"}, {"CTOD('1.2.2003')", 'd', 8, "20030201"},
      {"TTOC(STAMP)", 'C', 17, "29.02.24 13:45:30"},
  };
  check_all(cases);
  ASSERT_EQ(code4dateFormatSet(c4_, "CCYY-MM-DD"), 0);
  EXPECT_EQ(str(dtoc), "15.03.70");
  EXPECT_EQ(str(parse("DTOC(BIRTH)")), "1970-03-15");
  EXPECT_EQ(str(parse("CTOD('2001-12-24')")), "20011224");
}

TEST_F(Expr, TextComparisonsOfDifferentLengths) {
  const TruthCase cases[] = {
      {"CITY = 'Paris'", true},   {"CITY = 'Par'", true},
      {"'Par' = CITY", false},    {"CITY = ''", true},
      {"'' = CITY", false},       {"'' = ''", true},
      {"'ab' = 'ab  '", true},    {"'ab' = 'ab c'", false},
      {"CITY == 'Paris'", false}, {"TRIM(CITY) == 'Paris'", true},
      {"'ab ' == 'ab'", false},   {"CITY <> 'London'", true},
      {"CITY # 'Paris'", false},  {"CITY != 'Par'", false},
      {"'ab' < 'abc'", true},     {"'abc' < 'ab'", false},
      {"'abc' > 'ab'", true},     {"'abc' <= 'ab'", false},
      {"'ab' <= 'ab   '", true},  {"'ab' >= 'ab   '", true},
      {"'ab' < 'ab   '", false},  {"'a' < 'B'", false}, {"'Z' < 'a'", true},
  };
  check_all(cases);
  // Bytes compare unsigned: a byte above 127 sorts after the letters.
  EXPECT_EQ(expr4true(parse("'\xe9' > 'z'")), 1);
}

TEST_F(Expr, RelationsOfOtherTypesAndLogic) {
  const TruthCase cases[] = {
      {"AMOUNT > 500", true}, {"AMOUNT = 1234.56", true}, {"AMOUNT >= 1234.56", true},
      {"AMOUNT < 1234.56", false}, {"0.1+0.2 = 0.3", true}, {"1/3*3 = 1", true},
      {"QTY <> 3", false}, {"QTY == 3", true}, {"BIRTH < CTOD('01/01/1971')", true},
      {"BIRTH = STOD('19700315')", true}, {"BIRTH >= BIRTH+1", false}, {"ACTIVE = .T.", true},
      {".F. < .T.", true}, {"ACTIVE <> TRUE", false}, {"false", false}, {".y. .AND. .N.", false},
      {"'ari' $ CITY", true}, {"'xyz' $ CITY", false}, {"'' $ CITY", false},
      {"'Paris  ' $ CITY", true}, {"CITY $ 'Paris'", false}, {".T. .OR. .F. .AND. .F.", true},
      {"(.T. .OR. .F.) .AND. .F.", false}, {".NOT. .T. .OR. .T.", true}, {".NOT. 1 = 2", true},
      {"!ACTIVE", false}, {"!!ACTIVE", true}, {"1 < 2 .AND. 'a' $ 'abc'", true},
      {"STAMP = STAMP", true}, {"EMPTY(NAME)", false}, {"EMPTY(0)", true}, {"EMPTY(ACTIVE)", false},
      {"EMPTY('   ')", true},
      {"AMOUNT > 500 .AND. UPPER(CITY) = 'PARIS' .AND. YEAR(BIRTH) >= 1970", true},
      {"DELETED()", false},
      // A near miss at every position: searched in linear time.
      {"REPLICATE('a',400000)+'b' $ REPLICATE('a',1000000)", false},
      {"AT(REPLICATE('a',400000)+'b', REPLICATE('a',1000000)+'b') = 600001", true},
  };
  check_all(cases);
  EXPECT_EQ(str(parse("1 = 1")), "T");
  EXPECT_EQ(str(parse("1 = 2")), "F");
}

TEST_F(Expr, RecordFunctionsFollowTheCursor) {
  EXPR4* filter = parse("AMOUNT > 500 .AND. UPPER(CITY) = 'PARIS' .AND. YEAR(BIRTH) >= 1970");
  EXPR4* deleted = parse("DELETED()");
  EXPR4* recno = parse("RECNO()");
  EXPR4* name = parse("UPPER(NAME)+DTOS(BIRTH)");
  const int want_filter[] = {1, 0, 0};
  for (int rec = 1; rec <= 3; ++rec) {
    ASSERT_EQ(d4go(people_, rec), 0);
    EXPECT_EQ(expr4true(filter), want_filter[rec - 1]) << rec;
    EXPECT_EQ(expr4true(deleted), rec == 2 ? 1 : 0);
    EXPECT_EQ(expr4double(recno), rec);
  }
  EXPECT_EQ(str(name), "CHARLOTTE 20000229");
  ASSERT_EQ(d4goEof(people_), 0);
  EXPECT_EQ(expr4double(recno), 4);
  EXPECT_EQ(str(name), std::string(18, ' '));
  EXPECT_EQ(expr4true(filter), 0);
  // A record appended meanwhile counts at once.
  ASSERT_EQ(d4appendBlank(people_), 0);
  EXPECT_EQ(expr4double(parse("RECCOUNT()")), 4);
}

TEST_F(Expr, MemoFieldsInTextFunctions) {
  const Case cases[] = {
      {"NOTES", 'C', 255, "First memo line\nsecond line" + std::string(228, ' ')},
      {"LEFT(NOTES,5)", 'C', 5, "First"}, {"UPPER(LEFT(NOTES,5))", 'C', 5, "FIRST"},
      {"SUBSTR(NOTES,17,6)", 'C', 6, "second"},
      {"TRIM(NOTES)+'|'", 'C', 256, "First memo line\nsecond line|" + std::string(228, ' ')},
  };
  for (const Case& c : cases) check(c);
  EXPECT_EQ(expr4true(parse("'second' $ NOTES")), 1);
  EXPECT_EQ(expr4double(parse("AT('memo',NOTES)")), 7);
  EXPR4* len = parse("LEN(NOTES)");
  EXPR4* found = parse("AT('needle',NOTES)");
  EXPECT_EQ(expr4double(len), 27);
  ASSERT_EQ(d4go(people_, 2), 0);
  EXPECT_EQ(expr4double(len), 0);
  ASSERT_EQ(d4go(people_, 3), 0);
  EXPECT_EQ(expr4double(len), kLongMemo.size());
  EXPECT_EQ(expr4double(found), 5001);
  // A value assigned and not yet written is what the expression sees.
  ASSERT_EQ(f4memoAssign(d4field(people_, "NOTES"), "fresh"), 0);
  EXPECT_EQ(expr4double(len), 5);
  ASSERT_EQ(d4go(people_, 1), 0);
  ASSERT_EQ(d4go(people_, 3), 0);
  EXPECT_EQ(expr4double(len), 5);
}

TEST_F(Expr, AliasReferencesReadTheOtherTablesCurrentRecord) {
  EXPR4* cname = parse("CITIES->CNAME");
  ASSERT_NE(cname, nullptr);
  EXPECT_EQ(expr4type(cname), 'C');
  EXPECT_EQ(expr4len(cname), 15);
  EXPECT_EQ(str(cname), "Paris          ");
  EXPR4* join = parse("TRIM(NAME)+' of '+TRIM(cities->CNAME)");
  EXPR4* match = parse("CODE = Cities->Code .AND. CITIES->POP > 5000000");
  EXPECT_EQ(std::string(expr4str(join)).substr(0, 14), "Alice of Paris");
  EXPECT_EQ(expr4true(match), 0);
  ASSERT_EQ(d4go(cities_, 2), 0);
  ASSERT_EQ(d4go(people_, 2), 0);
  EXPECT_EQ(str(cname), "London         ");
  EXPECT_EQ(expr4true(match), 1);
  EXPECT_EQ(expr4type(parse("CITIES->POP")), 'N');
  // The table's own alias names the table itself, even with a clone open.
  DATA4* clone = d4openClone(people_);
  ASSERT_NE(clone, nullptr);
  ASSERT_EQ(d4go(clone, 3), 0);
  EXPECT_EQ(str(parse("PEOPLE->NAME")), "bob       ");
  EXPECT_EQ(str(parse("PEOPLE->NAME", clone)), "Charlotte ");
}

TEST_F(Expr, NamesTrueAndFalseYieldToFields) {
  std::vector<FIELD4INFO> f = {fld("TRUE", 'C', 4), FIELD4INFO{}};
  DATA4* odd = d4create(c4_, (dir_ + "/odd").c_str(), f.data(), nullptr);
  ASSERT_NE(odd, nullptr);
  ASSERT_EQ(d4appendBlank(odd), 0);
  f4assign(d4field(odd, "TRUE"), "abc");
  EXPR4* e = parse("TRUE", odd);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(expr4type(e), 'C');
  EXPECT_EQ(str(e), "abc ");
  EXPECT_EQ(expr4type(parse("FALSE", odd)), 'L');
}

struct BadCase {
  std::string expr;
  int code;
};

TEST_F(Expr, RefusedInputLeavesANullHandleAndACode) {
  std::string long_sum = "1";
  for (int i = 0; i < 300; ++i) long_sum += "+1";
  const BadCase cases[] = {
      {"", e4expr}, {"   ", e4expr}, {"NAME +", e4expr}, {"(NAME", e4expr}, {"NAME)", e4expr},
      {"FOO(1)", e4expr}, {"NOFIELD", e4expr}, {"X->NAME", e4expr}, {"CITIES->NOPE", e4expr},
      {"SUBSTR(NAME)", e4expr}, {"LEFT(NAME,1,2)", e4expr}, {"DATE(1)", e4expr}, {"'abc", e4expr},
      {"[abc", e4expr}, {"1 +* 2", e4expr}, {".X.", e4expr}, {"NAME @ 1", e4expr},
      {"LEFT(NAME,2", e4expr}, {"NAME,", e4expr}, {"CITIES->", e4expr}, {"UPPER(,)", e4expr},
      {"1" + std::string(400, '0'), e4expr},
      {std::string(300, '(') + "1" + std::string(300, ')'), e4expr},
      {std::string(300, '-') + "1", e4expr}, {std::string(300, '!') + ".T.", e4expr},
      {long_sum, e4expr}, {"'" + std::string((1 << 20) + 1, 'a') + "'", e4expr},
      {"NAME + 1", e4type}, {"AMOUNT + 'x'", e4type}, {"UPPER(AMOUNT)", e4type},
      {"AMOUNT .AND. ACTIVE", e4type}, {".NOT. NAME", e4type}, {"IIF(ACTIVE,1,'x')", e4type},
      {"IIF(NAME,1,2)", e4type}, {"BIRTH + BIRTH", e4type}, {"BIRTH * 2", e4type},
      {"NAME $ AMOUNT", e4type}, {"-NAME", e4type}, {"MIN(1,'a')", e4type},
      {"DTOC(BIRTH,QTY)", e4type}, {"NAME = 1", e4type}, {"BIRTH = '19700315'", e4type},
      {"TTOS(BIRTH)", e4type}, {"YEAR(STAMP)", e4type}, {"MAX(ACTIVE,ACTIVE)", e4type},
      {"2 - BIRTH", e4type}, {"STAMP + 1", e4type}, {"SUBSTR(NAME,'1')", e4type},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.expr.substr(0, 40));
    code4errorCode(c4_, 0);
    EXPECT_EQ(expr4parse(people_, c.expr.c_str()), nullptr);
    EXPECT_EQ(code4errorCode(c4_, 0), c.code);
  }
  EXPECT_EQ(expr4parse(nullptr, "1"), nullptr);
  EXPECT_EQ(expr4parse(people_, nullptr), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4parm);
  EXPECT_EQ(expr4type(nullptr), e4parm);
  EXPECT_EQ(expr4str(nullptr), nullptr);
  expr4free(nullptr);
}

TEST_F(Expr, MessagesNameTheProblemAndWhereItIs) {
  const struct {
    const char* expr;
    const char* says;
  } cases[] = {
      {"QTY + FOO(1)", "unknown function FOO at column 7"},
      {"UPPER(NAME", "missing , or ) in the call of UPPER"},
      {"NAME + 1", "+: operand 2 is number where text is needed at column 6"},
      {"CITIES->NOPE", "no field NOPE in CITIES"},
      {"SUBSTR(NAME)", "SUBSTR takes 2 to 3 operands, not 1"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(expr4parse(people_, c.expr), nullptr);
    EXPECT_NE(c4_->error_message.find(c.says), std::string::npos) << c4_->error_message;
  }
}

TEST_F(Expr, NestingWithinTheLimitParses) {
  EXPR4* parens = parse(std::string(200, '(') + "QTY" + std::string(200, ')'));
  ASSERT_NE(parens, nullptr);
  EXPECT_EQ(expr4double(parens), 3);
  std::string sum = "QTY";
  for (int i = 0; i < 200; ++i) sum += "+1";
  EXPR4* chain = parse(sum);
  ASSERT_NE(chain, nullptr);
  EXPECT_EQ(expr4double(chain), 203);
}

TEST_F(Expr, TrueOfANonLogicalExpressionIsATypeError) {
  EXPR4* e = parse("NAME");
  code4errorCode(c4_, 0);
  EXPECT_EQ(expr4true(e), e4type);
  EXPECT_EQ(code4errorCode(c4_, 0), e4type);
}

}  // namespace
}  // namespace expr_test
