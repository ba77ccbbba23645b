// The engine's own extensions, through the C header alone: the files behind open handles, tags
// added to an open index file, and the verifier's report (what the tool's tests do not see).
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "test_files.h"
#include "vgxbase/xbase.h"

namespace {

using test_files::fields;
using test_files::fld;

TAG4INFO tag(const char* name, const char* key, uint16_t descending = 0) {
  return {const_cast<char*>(name), const_cast<char*>(key), nullptr, 0, descending};
}

class IndexCheck : public ::testing::Test {
 protected:
  // People.DBF (and its People.FPT) with `n` records and an index NAME tag, opened again under
  // a lower-case name.
  DATA4* people(int n) {
    const auto list = fields({fld("NAME", 'C', 10), fld("NOTE", 'M', 10)});
    const TAG4INFO tags[] = {tag("NAME", "NAME"), {}};
    DATA4* d = d4create(cx_.c4, dir_.at("People.DBF").c_str(), list.data(), tags);
    if (d == nullptr) return nullptr;
    for (int k = 0; k < n; ++k) {
      char name[11];
      std::snprintf(name, sizeof name, "name%04d", (k * 7919) % n);
      d4appendStart(d, 0);
      f4assign(d4field(d, "NAME"), name);
      EXPECT_EQ(d4append(d), 0);
    }
    EXPECT_EQ(d4close(d), 0);
    return d4open(cx_.c4, dir_.at("people.dbf").c_str());
  }

  test_files::TempDir dir_{"vgx-check"};
  test_files::Context cx_{1};
};

TEST_F(IndexCheck, NamesAreTheFilesFoundOnDisk) {
  DATA4* d = people(3);
  ASSERT_NE(d, nullptr) << cx_.error();
  INDEX4* i = i4open(d, dir_.at("PEOPLE").c_str());
  ASSERT_NE(i, nullptr) << cx_.error();
  EXPECT_EQ(std::string(d4fileName(d)), dir_.at("People.DBF"));
  EXPECT_EQ(std::string(d4memoFileName(d)), dir_.at("People.FPT"));
  EXPECT_EQ(std::string(i4fileName(i)), dir_.at("People.CDX"));
  EXPECT_EQ(std::string(t4unusableReason(i4tag(i, "name"))), "");
  EXPECT_EQ(d4fileName(nullptr), nullptr);
  EXPECT_EQ(d4memoFileName(nullptr), nullptr);
  EXPECT_EQ(i4fileName(nullptr), nullptr);
  EXPECT_EQ(t4unusableReason(nullptr), nullptr);
  EXPECT_EQ(i4verify(nullptr), nullptr);
  EXPECT_EQ(i4tagAdd(nullptr, nullptr), e4parm);
  EXPECT_EQ(i4tagAdd(i, nullptr), e4parm);
}

// New companions take the letter case of the table's extension, as other programs derive them;
// existing ones are found whatever their case (above).
TEST_F(IndexCheck, NewCompanionFilesFollowTheTablesExtensionCase) {
  const struct {
    const char *table, *memo, *index;
  } cases[] = {{"lower.dbf", "lower.fpt", "lower.cdx"}, {"UPPER.DBF", "UPPER.FPT", "UPPER.CDX"}};
  for (const auto& c : cases) {
    const auto list = fields({fld("NAME", 'C', 10), fld("NOTE", 'M', 10)});
    const TAG4INFO tags[] = {tag("NAME", "NAME"), {}};
    DATA4* d = d4create(cx_.c4, dir_.at(c.table).c_str(), list.data(), tags);
    ASSERT_NE(d, nullptr) << cx_.error();
    EXPECT_EQ(std::string(d4memoFileName(d)), dir_.at(c.memo));
    EXPECT_EQ(std::string(i4fileName(d4index(d, nullptr))), dir_.at(c.index));
    EXPECT_EQ(d4close(d), 0);
  }
}

TEST_F(IndexCheck, AddedTagsAreVerifiedAndARefusedOneChangesNothing) {
  DATA4* d = people(2000);
  ASSERT_NE(d, nullptr) << cx_.error();
  INDEX4* i = i4open(d, "people");
  ASSERT_NE(i, nullptr) << cx_.error();
  const TAG4INFO added[] = {tag("BACK", "NAME", r4descending), {}};
  ASSERT_EQ(i4tagAdd(i, added), 0) << cx_.error();
  const TAG4INFO refused[] = {tag("BAD", "NAME +"), {}};
  EXPECT_EQ(i4tagAdd(i, refused), e4expr);
  EXPECT_EQ(i4tag(i, "BAD"), nullptr);

  INDEX4CHECK* report = i4verify(i);
  ASSERT_NE(report, nullptr) << cx_.error();
  EXPECT_STREQ(report->problem, "");
  ASSERT_EQ(report->numTags, 2);
  for (int k = 0; k < report->numTags; ++k) {
    const TAG4CHECK& t = report->tags[k];
    EXPECT_STREQ(t.name, k == 0 ? "NAME" : "BACK");
    EXPECT_EQ(t.entries, 2000u);
    EXPECT_EQ(t.keysChecked, 1);
    EXPECT_STREQ(t.problem, "");
    EXPECT_STREQ(t.note, "");
    // 2000 keys need more than one leaf, so some interior page above them.
    EXPECT_GE(t.depth, 2);
    EXPECT_GE(t.leaves, 2u);
    EXPECT_GE(t.interiors, 1u);
  }
  u4freeDefault(report);
}

}  // namespace
