// Shared setup of the index tests: a context, a scratch folder, a people
// table, walks in tag order and the engine's own verifier.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "index/table_indexes.h"
#include "index/verify.h"
#include "table/handles.h"
#include "vgxbase/xbase.h"
#include "test_files.h"

namespace index_test {

inline TAG4INFO tag(const char* name, const char* expr, const char* filter = "", int unique = 0,
                    bool descending = false) {
  return {const_cast<char*>(name), const_cast<char*>(expr), const_cast<char*>(filter),
          static_cast<int16_t>(unique), static_cast<uint16_t>(descending ? r4descending : 0)};
}

inline std::vector<TAG4INFO> tags(std::initializer_list<TAG4INFO> list) {
  std::vector<TAG4INFO> v(list);
  v.push_back(TAG4INFO{});
  return v;
}

struct Person {
  std::string name;
  int age;
  std::string birth;  // CCYYMMDD or blanks
  bool active;
};

// Names that repeat, differ in case and share prefixes.
inline std::vector<Person> people(int n) {
  static const char* first[] = {"anna", "Bob", "carl", "Dora", "emil",
                                "Anna", "bo",  "Zoe",  "eva",  "Ann"};
  std::vector<Person> out;
  unsigned seed = 7;
  for (int i = 0; i < n; ++i) {
    seed = seed * 1103515245u + 12345u;
    Person p;
    p.name = std::string(first[(seed >> 8) % 10]) +
             (((seed >> 16) % 3) ? std::to_string((seed >> 4) % 50) : "");
    p.age = static_cast<int>((seed >> 12) % 90) - 5;
    const int year = 1950 + static_cast<int>((seed >> 5) % 60);
    const int month = 1 + static_cast<int>((seed >> 9) % 12);
    const int day = 1 + static_cast<int>((seed >> 13) % 28);
    char b[9];
    std::snprintf(b, sizeof b, "%04d%02d%02d", year, month, day);
    p.birth = (seed >> 20) % 7 == 0 ? "        " : b;
    p.active = (seed >> 3) % 2 == 0;
    out.push_back(p);
  }
  return out;
}

class IndexTest : public ::testing::Test {
 protected:
  void SetUp() override {
    c4_ = code4initP();
    ASSERT_NE(c4_, nullptr);
    code4errOff(c4_, 1);
    code4accessMode(c4_, 1);
  }
  void TearDown() override {
    code4initUndo(c4_);
  }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }

  // NAME C(12), AGE N(4), BIRTH D, ACTIVE L, NOTE M; filled with people(n).
  DATA4* make_people(const std::string& name, const std::vector<TAG4INFO>& tag_list, int n) {
    FIELD4INFO fields[] = {
        {const_cast<char*>("NAME"), 'C', 12, 0, 0}, {const_cast<char*>("AGE"), 'N', 4, 0, 0},
        {const_cast<char*>("BIRTH"), 'D', 8, 0, 0}, {const_cast<char*>("ACTIVE"), 'L', 1, 0, 0},
        {const_cast<char*>("NOTE"), 'M', 10, 0, 0}, {}};
    DATA4* d =
        d4create(c4_, path(name).c_str(), fields, tag_list.empty() ? nullptr : tag_list.data());
    if (d == nullptr) return nullptr;
    for (const Person& p : people(n)) append(d, p);
    return d;
  }

  void append(DATA4* d, const Person& p) {
    d4appendStart(d, 0);
    f4assign(d4field(d, "NAME"), p.name.c_str());
    f4assignLong(d4field(d, "AGE"), p.age);
    f4assign(d4field(d, "BIRTH"), p.birth.c_str());
    f4assign(d4field(d, "ACTIVE"), p.active ? "T" : "F");
    EXPECT_EQ(d4append(d), 0);
  }

  // Record numbers from top to end of file, and from bottom back.
  static std::vector<int32_t> walk(DATA4* d) {
    std::vector<int32_t> out;
    for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) out.push_back(d4recNoLow(d));
    return out;
  }
  static std::vector<int32_t> walk_back(DATA4* d) {
    std::vector<int32_t> out;
    for (int rc = d4bottom(d); rc == 0; rc = d4skip(d, -1)) out.push_back(d4recNoLow(d));
    return out;
  }

  // Record order an expression gives, computed through expr4 on each record:
  // sorted by its text (by value for numbers), ties by record number.
  static std::vector<int32_t> order_by(DATA4* d, const char* expr, const char* filter = nullptr,
                                       bool descending = false) {
    EXPR4* e = expr4parse(d, expr);
    EXPR4* f = filter ? expr4parse(d, filter) : nullptr;
    std::vector<std::pair<std::pair<double, std::string>, int32_t>> rows;
    for (int32_t r = 1; r <= d4recCount(d); ++r) {
      d4go(d, r);
      if (f && expr4true(f) != 1) continue;
      const int t = expr4type(e);
      const bool number = t == 'n' || t == 'N' || t == 'd';
      rows.push_back(
          {{number ? expr4double(e) : 0.0, number ? std::string() : std::string(expr4str(e))}, r});
    }
    expr4free(e);
    if (f) expr4free(f);
    std::sort(rows.begin(), rows.end());
    if (descending) std::reverse(rows.begin(), rows.end());
    std::vector<int32_t> out;
    for (auto& r : rows) out.push_back(r.second);
    return out;
  }

  // The engine's verifier over every index open on the table.
  static void verify(DATA4* d) {
    auto* set = d->table->indexes();
    ASSERT_NE(set, nullptr);
    for (auto& f : set->files()) {
      xbase::index::FileVerdict v;
      xbase::Status st = xbase::index::verify_file(*set, *f, &v);
      ASSERT_TRUE(st) << st.message();
      EXPECT_TRUE(v.ok()) << v.first_problem();
    }
  }

  CODE4* c4_ = nullptr;
  test_files::TempDir tmp_{"vgx-index"};
  const std::string dir_ = tmp_.path().string();
};

}  // namespace index_test
