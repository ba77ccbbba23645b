// Tables the expression tests evaluate against, made in a private folder:
//
// PEOPLE (FoxPro, with the later field types and a memo file)
//   rec NAME      CITY      AMOUNT   QTY BIRTH    ACTIVE STAMP             CODE
//   1   Alice     Paris     1234.56    3 19700315 T      20240229 13:45:30 PAR
//   2   bob       "  London"  -0.50    0 (blank)  F      (blank)           LON  (deleted)
//   3   Charlotte Paris      500.00   12 20000229 T      19991231 23:59:59 XXX
//   COUNT (I) 42, -7, 0; PRICE (B, 2 decimals) 9.99, 0, 1.5; CASH (Y) 12.3456, 0, -1.
//   NOTES: 1 "First memo line\nsecond line", 2 none, 3 5000 'x' then "needle".
// CITIES: CODE CNAME POP: PAR Paris 2100000, LON London 8900000.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "vgxbase/xbase.h"
#include "test_files.h"

namespace expr_test {

inline FIELD4INFO fld(const char* name, int type, int len, int dec = 0) {
  return {const_cast<char*>(name), static_cast<int16_t>(type), static_cast<uint16_t>(len),
          static_cast<uint16_t>(dec), 0};
}

inline const std::string kLongMemo = std::string(5000, 'x') + "needle";

class ExprTest : public ::testing::Test {
 protected:
  void SetUp() override {
    c4_ = code4initP();
    ASSERT_NE(c4_, nullptr);
    code4errOff(c4_, 1);
    code4indexFormat(c4_, 1);
    code4compatibility(c4_, 30);
    make_people();
    make_cities();
    ASSERT_EQ(d4go(people_, 1), 0);
  }

  void TearDown() override {
    for (EXPR4* e : parsed_) expr4free(e);
    code4initUndo(c4_);
  }

  void make_people() {
    std::vector<FIELD4INFO> f = {fld("NAME", 'C', 10),
                                 fld("CITY", 'C', 12),
                                 fld("AMOUNT", 'N', 10, 2),
                                 fld("QTY", 'N', 5),
                                 fld("BIRTH", 'D', 8),
                                 fld("ACTIVE", 'L', 1),
                                 fld("NOTES", 'M', 4),
                                 fld("STAMP", 'T', 8),
                                 fld("COUNT", 'I', 4),
                                 fld("PRICE", 'B', 8, 2),
                                 fld("CASH", 'Y', 8),
                                 fld("CODE", 'C', 3),
                                 FIELD4INFO{}};
    people_ = d4create(c4_, (dir_ + "/people").c_str(), f.data(), nullptr);
    ASSERT_NE(people_, nullptr);
    add_person("Alice", "Paris", 1234.56, 3, "19700315", "T", "First memo line\nsecond line",
               "2024022913:45:30", 42, 9.99, 12.3456, "PAR");
    add_person("bob", "  London", -0.5, 0, "", "F", "", "", -7, 0, 0, "LON");
    add_person("Charlotte", "Paris", 500, 12, "20000229", "T", kLongMemo, "1999123123:59:59", 0,
               1.5, -1, "XXX");
    ASSERT_EQ(d4go(people_, 2), 0);
    ASSERT_EQ(d4delete(people_), 0);
    ASSERT_EQ(d4flush(people_), 0);
  }

  void add_person(const char* name, const char* city, double amount, int qty, const char* birth,
                  const char* active, const std::string& notes, const char* stamp, int count,
                  double price, double cash, const char* code) {
    ASSERT_EQ(d4appendStart(people_, 0), 0);
    ASSERT_EQ(d4blank(people_), 0);
    f4assign(d4field(people_, "NAME"), name);
    f4assign(d4field(people_, "CITY"), city);
    f4assignDouble(d4field(people_, "AMOUNT"), amount);
    f4assignLong(d4field(people_, "QTY"), qty);
    f4assign(d4field(people_, "BIRTH"), birth);
    f4assign(d4field(people_, "ACTIVE"), active);
    if (!notes.empty())
      f4memoAssignN(d4field(people_, "NOTES"), notes.data(), static_cast<unsigned>(notes.size()));
    if (*stamp) f4assignDateTime(d4field(people_, "STAMP"), stamp);
    f4assignLong(d4field(people_, "COUNT"), count);
    f4assignDouble(d4field(people_, "PRICE"), price);
    f4assignDouble(d4field(people_, "CASH"), cash);
    f4assign(d4field(people_, "CODE"), code);
    ASSERT_EQ(d4append(people_), 0);
  }

  void make_cities() {
    std::vector<FIELD4INFO> f = {fld("CODE", 'C', 3), fld("CNAME", 'C', 15), fld("POP", 'N', 8),
                                 FIELD4INFO{}};
    cities_ = d4create(c4_, (dir_ + "/cities").c_str(), f.data(), nullptr);
    ASSERT_NE(cities_, nullptr);
    const char* rows[][3] = {{"PAR", "Paris", "2100000"}, {"LON", "London", "8900000"}};
    for (const auto& r : rows) {
      ASSERT_EQ(d4appendStart(cities_, 0), 0);
      ASSERT_EQ(d4blank(cities_), 0);
      f4assign(d4field(cities_, "CODE"), r[0]);
      f4assign(d4field(cities_, "CNAME"), r[1]);
      f4assign(d4field(cities_, "POP"), r[2]);
      ASSERT_EQ(d4append(cities_), 0);
    }
    ASSERT_EQ(d4go(cities_, 1), 0);
  }

  // Parsed against PEOPLE unless told; freed at the end of the test.
  EXPR4* parse(const std::string& text, DATA4* d = nullptr) {
    EXPR4* e = expr4parse(d ? d : people_, text.c_str());
    if (e) parsed_.push_back(e);
    return e;
  }

  std::string str(EXPR4* e) { return std::string(expr4str(e), static_cast<size_t>(expr4len(e))); }

  test_files::TempDir tmp_{"vgx-expr"};
  const std::string dir_ = tmp_.path().string();
  CODE4* c4_ = nullptr;
  DATA4* people_ = nullptr;
  DATA4* cities_ = nullptr;
  std::vector<EXPR4*> parsed_;
};

}  // namespace expr_test
