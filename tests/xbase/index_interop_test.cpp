// Index files the engine writes, read by an independent reader: a perl
// module of the system's packages that reads xBase files, run as a black
// box. Each tag must list the records in the engine's own order, after
// bulk builds and after the tree has been changed entry by entry.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "index_fixture.h"
#include "python_oracle.h"

namespace {

using index_test::IndexTest;
using index_test::tag;
using index_test::tags;

bool perl_has_xbase() { return vgx_test::run_command("perl -MXBase -e 1 2>/dev/null").status == 0; }

std::vector<std::string> oracle_order(const std::string& dbf, const std::string& index,
                                      const char* tag_name, const char* field) {
  const std::string cmd =
      "perl " + vgx_test::shell_quote(vgx_test::interop_script("xbase_index_order.pl").string()) +
      " " + vgx_test::shell_quote(dbf) + " " + vgx_test::shell_quote(index) + " " + tag_name + " " +
      field + " 2>&1";
  vgx_test::RunResult r = vgx_test::run_command(cmd);
  EXPECT_EQ(r.status, 0) << r.out;
  std::vector<std::string> lines;
  size_t at = 0;
  while (at < r.out.size()) {
    size_t end = r.out.find('\n', at);
    if (end == std::string::npos) end = r.out.size();
    lines.push_back(r.out.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

std::string trimmed(std::string s) {
  while (!s.empty() && s.back() == ' ') s.pop_back();
  while (!s.empty() && s.front() == ' ') s.erase(s.begin());
  return s;
}

class IndexInterop : public IndexTest {};

TEST_P(IndexInterop, PerlReadsTheEngineTagsInTheSameOrder) {
  if (!perl_has_xbase()) GTEST_SKIP() << "the perl reader of xBase files is not installed";
  auto list = tags({tag("NAME", "NAME"), tag("AGE", "AGE")});
  DATA4* d = make_people("interop", list, 3000);
  ASSERT_NE(d, nullptr);
  // Entry-by-entry changes after the bulk-built start: splits, merges.
  for (int32_t r = 1; r <= 3000; r += 3) {
    ASSERT_EQ(d4go(d, r), 0);
    f4assign(d4field(d, "NAME"), ("Q" + std::to_string(r * 7919 % 3001)).c_str());
    f4assignLong(d4field(d, "AGE"), r % 97);
  }
  for (int i = 0; i < 500; ++i)
    append(d, {"M" + std::to_string(i * 31 % 500), i % 50, "20010101", true});
  ASSERT_EQ(d4flush(d), 0);
  for (const char* name : {"NAME", "AGE"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(select(d, name), 0);
    std::vector<std::string> ours;
    for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1))
      ours.push_back(trimmed(f4str(d4field(d, name))));
    std::vector<std::string> theirs =
        oracle_order(path("interop.DBF"), index_path("interop"), name, name);
    if (std::string(name) == "AGE")
      for (auto& v : theirs) v = std::to_string(std::atoi(v.c_str()));
    ASSERT_EQ(theirs.size(), ours.size());
    EXPECT_EQ(theirs, ours);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, IndexInterop, ::testing::ValuesIn(formats::indexes()),
                         formats::Named());

}  // namespace
