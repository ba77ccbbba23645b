// Index files through the C interface, in every index format: creation with
// tables, tag order in both directions, seeks, keys kept right by every kind
// of change, unique modes, filters, maintenance, clones and reopening.
#include <filesystem>

#include "index/cdx/cdx_file.h"  // the compound file's page cache, shrunk by one test
#include "index_fixture.h"

using index_test::IndexTest;
using index_test::tag;
using index_test::tags;

namespace {

class IndexApi : public IndexTest {
 protected:
  DATA4* standard(int n = 300) {
    auto list = tags({tag("NAME", "UPPER(NAME)"), tag("AGE", "AGE"), tag("BIRTH", "BIRTH"),
                      tag("BIRTHS", "DTOS(BIRTH)", "", 0, true),
                      tag("ACTIVE", "NAME", "ACTIVE .AND. AGE > 20"), tag("FLAG", "ACTIVE")});
    return make_people("people", list, n);
  }
};

TEST_P(IndexApi, TagsWalkInTheirOrderBothWays) {
  DATA4* d = standard();
  ASSERT_NE(d, nullptr);
  struct {
    const char* tag;
    const char* expr;
    const char* filter;
    bool descending;
  } cases[] = {{"NAME", "UPPER(NAME)", nullptr, false},
               {"AGE", "AGE", nullptr, false},
               {"BIRTH", "BIRTH", nullptr, false},
               {"BIRTHS", "DTOS(BIRTH)", nullptr, true},
               {"ACTIVE", "NAME", "ACTIVE .AND. AGE > 20", false},
               {"FLAG", "IIF(ACTIVE,'T','F')", nullptr, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.tag);
    std::vector<int32_t> want = order_by(d, c.expr, c.filter, c.descending);
    ASSERT_EQ(select(d, c.tag), 0);
    EXPECT_EQ(walk(d), want);
    std::reverse(want.begin(), want.end());
    EXPECT_EQ(walk_back(d), want);
  }
  ASSERT_EQ(d4tagSelectP(d, nullptr), 0);
  EXPECT_EQ(walk(d).size(), 300u);
  verify(d);
}

TEST_P(IndexApi, ReopenFindsTheProductionIndex) {
  DATA4* d = standard(50);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(test_files::slurp(path("people.DBF"))[28] & 0x01, 0x01)
      << "the table says it has a production index";
  d = d4open(c4_, path("people").c_str());
  ASSERT_NE(d, nullptr);
  INDEX4* ix = d4index(d, "");
  ASSERT_NE(ix, nullptr);
  EXPECT_EQ(d4index(d, "PEOPLE"), ix);
  EXPECT_EQ(d4index(d, "other"), nullptr);
  TAG4INFO* info = i4tagInfo(ix);
  ASSERT_NE(info, nullptr);
  std::vector<std::string> names;
  for (TAG4INFO* t = info; t->name; ++t) names.push_back(t->name);
  EXPECT_EQ(names, (std::vector<std::string>{"NAME", "AGE", "BIRTH", "BIRTHS", "ACTIVE", "FLAG"}));
  EXPECT_STREQ(info[4].filter, "ACTIVE .AND. AGE > 20");
  EXPECT_STREQ(info[0].filter, "");
  EXPECT_EQ(info[3].descending, r4descending);
  u4freeDefault(info);
  ASSERT_EQ(select(d, "AGE"), 0);
  EXPECT_EQ(walk(d), order_by(d, "AGE"));
  // Without auto-open the index stays closed.
  ASSERT_EQ(d4close(d), 0);
  code4autoOpen(c4_, 0);
  d = d4open(c4_, path("people").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4index(d, nullptr), nullptr);
}

TEST_P(IndexApi, SeeksAnswerFoundAfterOrEof) {
  DATA4* d = standard();
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(select(d, "NAME"), 0);
  EXPECT_EQ(d4seek(d, "DORA"), r4success);
  EXPECT_EQ(std::string(f4str(d4field(d, "NAME"))).substr(0, 4), "Dora");
  // A partial key finds the first key that starts with it.
  ASSERT_EQ(d4seek(d, "AN"), r4success);
  const int32_t first_an = d4recNoLow(d);
  EXPECT_EQ(first_an, order_by(d, "UPPER(NAME)")[0]);
  EXPECT_EQ(d4seek(d, "CAT"), r4after);
  EXPECT_EQ(std::string(f4str(d4field(d, "NAME"))).substr(0, 2), "Do");
  EXPECT_EQ(d4seek(d, "ZZZ"), r4eof);
  EXPECT_EQ(d4eof(d), 1);
  // Binary-safe keys: NUL bytes take part.
  EXPECT_EQ(d4seekN(d, "AN\0", 3), r4after);

  ASSERT_EQ(select(d, "AGE"), 0);
  EXPECT_EQ(d4seek(d, "-5"), r4success);
  EXPECT_EQ(f4long(d4field(d, "AGE")), -5);
  EXPECT_EQ(d4seek(d, "84.5"), r4eof);
  ASSERT_EQ(d4seek(d, "10.5"), r4after);
  EXPECT_EQ(f4long(d4field(d, "AGE")), 11);

  ASSERT_EQ(select(d, "BIRTH"), 0);
  ASSERT_EQ(d4seek(d, "19800101"), r4after);
  EXPECT_GE(std::string(f4str(d4field(d, "BIRTH"))), "19800101");
  EXPECT_EQ(d4seek(d, "        "), r4success);  // blank dates sort first
  EXPECT_EQ(std::string(f4str(d4field(d, "BIRTH"))), "        ");

  // Descending: the first key in tag order at or below the one sought.
  ASSERT_EQ(select(d, "BIRTHS"), 0);
  ASSERT_EQ(d4seek(d, "1980"), r4success);  // the latest 1980 date comes first
  EXPECT_EQ(std::string(f4str(d4field(d, "BIRTH"))).substr(0, 4), "1980");
  ASSERT_EQ(d4seek(d, "19800000"), r4after);
  EXPECT_LT(std::string(f4str(d4field(d, "BIRTH"))), "1980");
  ASSERT_EQ(d4skip(d, -1), 0);
  EXPECT_GE(std::string(f4str(d4field(d, "BIRTH"))), "1980");
}

TEST_P(IndexApi, TagSyncAliasAndCountedSeekNext) {
  DATA4* d = standard();
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(select(d, "NAME"), 0);
  TAG4* tag = d4tagSelected(d);
  ASSERT_NE(tag, nullptr);
  EXPECT_STREQ(t4alias(tag), "NAME");
  // A move by record number, then the tag follows that record: the next
  // skip goes to its successor in tag order.
  const std::vector<int32_t> order = order_by(d, "UPPER(NAME)");
  for (size_t at : {size_t{0}, order.size() / 2, order.size() - 2}) {
    ASSERT_EQ(d4go(d, order[at]), 0);
    ASSERT_EQ(d4tagSync(d, tag), 0);
    ASSERT_EQ(d4skip(d, 1), 0);
    EXPECT_EQ(d4recNoLow(d), order[at + 1]) << at;
  }
  // Seek-next runs through the equal keys in tag order and then stands after
  // them; the counted form runs the same, and a key with a NUL is another key.
  std::vector<int32_t> want;
  for (int32_t r : order) {
    d4go(d, r);
    std::string name = f4str(d4field(d, "NAME"));
    if (name.substr(0, 5) == "Anna " || name.substr(0, 5) == "anna ") want.push_back(r);
  }
  ASSERT_GT(want.size(), 1u);
  std::vector<int32_t> by_text, by_count;
  int rc = d4seekNext(d, "ANNA        ");
  for (; rc == r4success; rc = d4seekNext(d, "ANNA        ")) by_text.push_back(d4recNoLow(d));
  EXPECT_EQ(rc, r4after);
  for (rc = d4seekNextN(d, "ANNA        ", 12); rc == r4success; rc = d4seekNextN(d, "ANNA        ", 12))
    by_count.push_back(d4recNoLow(d));
  EXPECT_EQ(by_text, want);
  EXPECT_EQ(by_count, want);
  EXPECT_NE(d4seekN(d, "ANNA\0", 5), r4success);
}

TEST_P(IndexApi, ChangesMoveKeysAndDeletedRecordsStay) {
  DATA4* d = standard();
  ASSERT_NE(d, nullptr);
  DATA4* clone = d4openClone(d);
  ASSERT_NE(clone, nullptr);
  ASSERT_EQ(select(d, "NAME"), 0);
  for (int32_t r = 1; r <= 300; r += 7) {
    ASSERT_EQ(d4go(clone, r), 0);
    f4assign(d4field(clone, "NAME"), ("X" + std::to_string(1000 - r)).c_str());
    if (r % 2) f4assignLong(d4field(clone, "AGE"), r);
    if (r % 3 == 0) d4delete(clone);
    if (r % 5 == 0) f4assign(d4field(clone, "ACTIVE"), "T");
  }
  ASSERT_EQ(d4flush(clone), 0);
  EXPECT_EQ(walk(d), order_by(d, "UPPER(NAME)"));
  ASSERT_EQ(select(d, "ACTIVE"), 0);
  EXPECT_EQ(walk(d), order_by(d, "NAME", "ACTIVE .AND. AGE > 20"));
  // Skipping follows the record after its key moved.
  ASSERT_EQ(select(d, "NAME"), 0);
  ASSERT_EQ(d4seek(d, "X9"), r4success);
  f4assign(d4field(d, "NAME"), "AAAA");
  ASSERT_EQ(d4skip(d, 1), 0);
  const std::vector<int32_t> order = walk(d);
  ASSERT_EQ(d4seek(d, "AAAA"), r4success);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(d4recNoLow(d), order[1]);
  verify(d);
}

TEST_P(IndexApi, UniqueErrorModeRefusesAndWritesNothing) {
  auto list = tags({tag("NAME", "NAME", "", r4unique), tag("AGE", "AGE")});
  DATA4* d = make_people("uniq", list, 0);
  ASSERT_NE(d, nullptr);
  index_test::Person a{"alpha", 1, "20000101", true}, b{"beta", 2, "20000101", true};
  append(d, a);
  append(d, b);
  d4appendStart(d, 0);
  f4assign(d4field(d, "NAME"), "alpha");
  EXPECT_EQ(d4append(d), r4unique);
  EXPECT_EQ(d4recCount(d), 2);
  // A rewrite that would duplicate a key leaves the file as it was.
  ASSERT_EQ(d4go(d, 2), 0);
  f4assign(d4field(d, "NAME"), "alpha");
  EXPECT_EQ(d4write(d, 2), r4unique);
  ASSERT_EQ(d4changed(d, 0), 1);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(std::string(f4str(d4field(d, "NAME"))).substr(0, 4), "beta");
  EXPECT_EQ(t4unique(i4tag(d4index(d, nullptr), "NAME")), r4unique);
  verify(d);
}

TEST_P(IndexApi, UniqueContinueModeLeavesRecordsOut) {
  auto list = tags({tag("NAME", "NAME", "", r4uniqueContinue)});
  DATA4* d = make_people("uniqc", list, 0);
  ASSERT_NE(d, nullptr);
  append(d, {"alpha", 1, "", true});
  append(d, {"beta", 2, "", true});
  append(d, {"alpha", 3, "", true});  // d4append answers 0 and the record is out
  EXPECT_EQ(d4recCount(d), 3);
  ASSERT_EQ(d4go(d, 2), 0);
  f4assign(d4field(d, "NAME"), "alpha");
  EXPECT_EQ(d4write(d, 2), r4uniqueContinue);
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "NAME")), 0);
  EXPECT_EQ(walk(d), (std::vector<int32_t>{1}));
  // The mode can be switched for the session.
  TAG4* t = i4tag(d4index(d, nullptr), "NAME");
  EXPECT_EQ(t4uniqueSet(t, r4unique), r4uniqueContinue);
  ASSERT_EQ(d4go(d, 3), 0);
  f4assign(d4field(d, "NAME"), "alpha ");
  f4assign(d4field(d, "NAME"), "gamma");
  EXPECT_EQ(d4write(d, 3), 0);
  EXPECT_EQ(walk(d), (std::vector<int32_t>{1, 3}));
  // Reindex keeps the first record of each key.
  ASSERT_EQ(d4reindex(d), 0);
  EXPECT_EQ(walk(d), (std::vector<int32_t>{1, 3}));
  verify(d);
}

TEST_P(IndexApi, PackZapReindexAndCreateKeepTagsRight) {
  DATA4* d = standard(200);
  ASSERT_NE(d, nullptr);
  for (int32_t r = 1; r <= 200; r += 3) {
    d4go(d, r);
    d4delete(d);
  }
  ASSERT_EQ(d4pack(d), 0);
  EXPECT_EQ(d4recCount(d), 133);
  verify(d);
  ASSERT_EQ(d4zap(d, 10, 60), 0);
  EXPECT_EQ(d4recCount(d), 82);
  verify(d);
  ASSERT_EQ(select(d, "BIRTHS"), 0);
  EXPECT_EQ(walk(d), order_by(d, "DTOS(BIRTH)", nullptr, true));
  ASSERT_EQ(d4reindex(d), 0);
  verify(d);
  // A second index file on the same table, kept up to date alongside.
  auto extra =
      tags({tag("BYAGE", "STR(AGE,4)+UPPER(NAME)"), tag("YOUNG", "NAME", "AGE < 18", 0, true)});
  INDEX4* ix = i4create(d, path("extra").c_str(), extra.data());
  ASSERT_NE(ix, nullptr);
  append(d, {"newbie", 3, "20200202", false});
  ASSERT_EQ(d4tagSelectP(d, i4tag(ix, "YOUNG")), 0);
  EXPECT_EQ(walk(d), order_by(d, "NAME", "AGE < 18", true));
  verify(d);
  verify(d, ix);
  ASSERT_EQ(i4close(ix), 0);
  EXPECT_EQ(d4tagSelected(d), nullptr);
  append(d, {"late", 4, "20200202", false});
  ix = i4open(d, path("extra").c_str());
  ASSERT_NE(ix, nullptr);
  // The file missed the last append: the verifier says so, a reindex mends it.
  EXPECT_NE(index_test::first_problem(ix), "");
  ASSERT_EQ(d4reindex(d), 0);
  verify(d, ix);
}

TEST_P(IndexApi, MemoKeysFollowMemoChanges) {
  auto list = tags({tag("NOTE", "LEFT(NOTE, 8)")});
  DATA4* d = make_people("memo", list, 5);
  ASSERT_NE(d, nullptr);
  const char* notes[] = {"delta", "alpha", "echo", "charlie", "bravo"};
  for (int r = 1; r <= 5; ++r) {
    d4go(d, r);
    f4memoAssign(d4field(d, "NOTE"), notes[r - 1]);
  }
  d4go(d, 1);
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "NOTE")), 0);
  EXPECT_EQ(walk(d), (std::vector<int32_t>{2, 5, 4, 1, 3}));
  ASSERT_EQ(d4seek(d, "echo"), r4success);
  f4memoAssign(d4field(d, "NOTE"), "aaa");
  ASSERT_EQ(d4flush(d), 0);
  EXPECT_EQ(walk(d), (std::vector<int32_t>{3, 2, 5, 4, 1}));
  verify(d);
}

TEST_P(IndexApi, GeneralCollationFoldsCaseAndAccents) {
  code4collatingSequence(c4_, 1);
  auto list = tags({tag("NAME", "NAME")});
  DATA4* d = make_people("general", list, 0);
  ASSERT_NE(d, nullptr);
  const char* names[] = {"\xC9mile", "zo\xEB", "Anna", "anna b", "ANNA", "eric", "Zed", "\xE9ric"};
  for (const char* n : names) append(d, {n, 1, "", true});
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "NAME")), 0);
  // Case and accents fold; equal weights keep record order; a blank sorts
  // before every letter.
  EXPECT_EQ(walk(d), (std::vector<int32_t>{3, 5, 4, 1, 6, 8, 7, 2}));
  EXPECT_EQ(d4seek(d, "EMILE"), r4success);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(d4seek(d, "ERIC "), r4success);
  EXPECT_EQ(d4recNoLow(d), 6);
  EXPECT_EQ(d4seek(d, "zoe"), r4success);
  EXPECT_EQ(d4seek(d, "ANNAB"), r4after);
  verify(d);
}

TEST_P(IndexApi, TinyNodeCacheGivesTheSameResults) {
  DATA4* d = standard(400);
  ASSERT_NE(d, nullptr);
  // Every read or change starts from an empty cache of decoded pages.
  auto* file = dynamic_cast<xbase::index::cdx::CdxFile*>(
      static_cast<xbase::index::IndexFile*>(d4index(d, nullptr)));
  if (file == nullptr) GTEST_SKIP() << "no page cache to shrink in this format";
  file->set_cache_budget(0);
  ASSERT_EQ(select(d, "NAME"), 0);
  for (int32_t r = 1; r <= 400; r += 3) {
    ASSERT_EQ(d4go(d, r), 0);
    f4assign(d4field(d, "NAME"), ("M" + std::to_string(r % 37)).c_str());
    ASSERT_EQ(d4skip(d, 1), 0);
  }
  for (int i = 0; i < 100; ++i) append(d, {"Q" + std::to_string(i % 7), i, "20000101", i % 2 == 0});
  EXPECT_EQ(walk(d), order_by(d, "UPPER(NAME)"));
  std::vector<int32_t> back = order_by(d, "UPPER(NAME)");
  std::reverse(back.begin(), back.end());
  EXPECT_EQ(walk_back(d), back);
  verify(d);
}

TEST_P(IndexApi, SkipsFromRecordsOutsideTheTagAndFromTheEnds) {
  DATA4* d = standard(60);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(select(d, "ACTIVE"), 0);
  const std::vector<int32_t> order = walk(d);
  ASSERT_GT(order.size(), 3u);
  // A record the filter leaves out: skips go to its neighbours by key.
  int32_t outside = 0;
  for (int32_t r = 1; r <= 60 && outside == 0; ++r)
    if (std::find(order.begin(), order.end(), r) == order.end()) outside = r;
  ASSERT_NE(outside, 0);
  auto name_of = [&](int32_t r) {
    d4go(d, r);
    return std::string(f4str(d4field(d, "NAME")));
  };
  const std::pair<std::string, int32_t> here{name_of(outside), outside};
  int32_t after = 0, before = 0;
  for (int32_t r : order) {
    const std::pair<std::string, int32_t> e{name_of(r), r};
    if (e < here) before = r;
    if (e > here && after == 0) after = r;
  }
  ASSERT_EQ(d4go(d, outside), 0);
  EXPECT_EQ(d4skip(d, 1), after ? 0 : r4eof);
  if (after) {
    EXPECT_EQ(d4recNoLow(d), after);
  }
  ASSERT_EQ(d4go(d, outside), 0);
  EXPECT_EQ(d4skip(d, -1), before ? 0 : r4bof);
  if (before) {
    EXPECT_EQ(d4recNoLow(d), before);
  }
  // From end of file back onto the last; past the first: BOF on the first.
  ASSERT_EQ(d4goEof(d), 0);
  ASSERT_EQ(d4skip(d, -1), 0);
  EXPECT_EQ(d4recNoLow(d), order.back());
  ASSERT_EQ(d4top(d), 0);
  EXPECT_EQ(d4skip(d, -1), r4bof);
  EXPECT_EQ(d4bof(d), 1);
  EXPECT_EQ(d4recNoLow(d), order.front());
  EXPECT_EQ(d4skip(d, 2), 0);
  EXPECT_EQ(d4recNoLow(d), order[2]);
  EXPECT_EQ(d4skip(d, 1000), r4eof);
  EXPECT_EQ(d4eof(d), 1);
  EXPECT_EQ(d4skip(d, 1), r4eof);
}

TEST_P(IndexApi, RefusalsAndErrors) {
  auto bad = tags({tag("BAD", "NOSUCHFIELD")});
  EXPECT_EQ(make_people("bad", bad, 0), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4expr);
  EXPECT_FALSE(std::filesystem::exists(path("bad.DBF")));
  auto toolong = tags({tag("LONG", "REPLICATE(NAME, 30)")});
  EXPECT_EQ(make_people("long", toolong, 0), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4index);

  DATA4* d = standard(10);
  ASSERT_NE(d, nullptr);
  EXPECT_LT(d4seek(nullptr, "x"), 0);
  ASSERT_EQ(d4tagSelectP(d, nullptr), 0);
  EXPECT_LT(d4seek(d, "x"), 0);
  code4errorCode(c4_, 0);
  EXPECT_EQ(i4tag(d4index(d, nullptr), "NOPE"), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4tagName);
  code4errTagName(c4_, 0);
  EXPECT_EQ(i4tag(d4index(d, nullptr), "NOPE"), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), 0);
  // The same file name again with safety on.
  auto again = tags({tag("AGE", "AGE")});
  EXPECT_EQ(i4create(d, nullptr, again.data()), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4index);  // it is open
  EXPECT_EQ(i4open(d, path("missing").c_str()), nullptr);
  EXPECT_LT(code4errorCode(c4_, 0), 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, IndexApi, ::testing::ValuesIn(formats::indexes()),
                         formats::Named());

}  // namespace
