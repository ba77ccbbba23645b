// Shared setup of the index tests, which run over the index formats: a
// context of the format, a scratch folder, a people table, walks in tag
// order and the engine's own verifier, all through the C interface.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "formats.h"
#include "test_files.h"
#include "vgxbase/xbase.h"

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
    char birth[9];
    std::snprintf(birth, sizeof birth, "%04d%02d%02d", 1950 + int((seed >> 5) % 60),
                  1 + int((seed >> 9) % 12), 1 + int((seed >> 13) % 28));
    out.push_back({std::string(first[(seed >> 8) % 10]) +
                       (((seed >> 16) % 3) ? std::to_string((seed >> 4) % 50) : ""),
                   int((seed >> 12) % 90) - 5, (seed >> 20) % 7 == 0 ? "        " : birth,
                   (seed >> 3) % 2 == 0});
  }
  return out;
}

// The verifier's report on an index file: "" when the file and every tag
// are right, else the first problem it names.
inline std::string first_problem(INDEX4* index) {
  INDEX4CHECK* report = i4verify(index);
  if (report == nullptr) return "the verifier could not run";
  std::string problem = report->problem;
  for (int32_t i = 0; i < report->numTags && problem.empty(); ++i)
    if (*report->tags[i].problem) problem = std::string(report->tags[i].name) + ": " + report->tags[i].problem;
  u4freeDefault(report);
  return problem;
}

class IndexTest : public ::testing::TestWithParam<formats::Index> {
 protected:
  void SetUp() override {
    code4errOff(c4_, 1);
    code4accessMode(c4_, 1);
    code4indexFormat(c4_, GetParam().format);
  }
  void TearDown() override { code4initUndo(c4_); }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  // The file of an index named `base`, in the format's extension.
  std::string index_path(const std::string& base) const { return path(base + "." + GetParam().ext); }

  // NAME C(12), AGE N(4), BIRTH D, ACTIVE L, NOTE M; filled with people(n).
  DATA4* make_people(const std::string& name, const std::vector<TAG4INFO>& tag_list, int n) {
    const auto f = test_files::fields({test_files::fld("NAME", 'C', 12), test_files::fld("AGE", 'N', 4),
                                       test_files::fld("BIRTH", 'D', 8), test_files::fld("ACTIVE", 'L', 1),
                                       test_files::fld("NOTE", 'M', 10)});
    DATA4* d = d4create(c4_, path(name).c_str(), f.data(), tag_list.empty() ? nullptr : tag_list.data());
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

  // Selects the production index's tag `name`.
  static int select(DATA4* d, const char* name) {
    TAG4* t = i4tag(d4index(d, nullptr), name);
    return t ? d4tagSelectP(d, t) : -1;
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
      rows.push_back({{number ? expr4double(e) : 0.0, number ? std::string() : std::string(expr4str(e))}, r});
    }
    expr4free(e);
    if (f) expr4free(f);
    std::sort(rows.begin(), rows.end());
    if (descending) std::reverse(rows.begin(), rows.end());
    std::vector<int32_t> out;
    for (auto& r : rows) out.push_back(r.second);
    return out;
  }

  // The engine's verifier passes the index file (the table's production
  // index unless told).
  static void verify(DATA4* d, INDEX4* index = nullptr) {
    index = index ? index : d4index(d, nullptr);
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(first_problem(index), "");
  }

  CODE4* c4_ = code4initP();
  test_files::TempDir tmp_{"vgx-index"};
  const std::string dir_ = tmp_.path().string();
};

}  // namespace index_test
