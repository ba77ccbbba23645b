// Records through the C interface in one process, in every table format:
// moving, appending, changing and writing records, memo updates,
// maintenance (pack, zap, memo compression), access modes, handles and
// clones, and the locks handles of one context take against each other.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "formats.h"
#include "test_files.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;
using test_files::fields;
using test_files::fld;
using test_files::slurp;
using Names = std::vector<std::string>;

// Field text with trailing blanks removed.
std::string str(DATA4* d, const char* name) {
  std::string s = f4str(d4field(d, name));
  return s.erase(s.find_last_not_of(' ') + 1);
}
std::string memo(DATA4* d) {
  FIELD4* f = d4field(d, "NOTE");
  return std::string(f4memoStr(f), f4memoLen(f));
}
// Where a handle stands: record number, "b" at the beginning, "e" at the
// end of file, then NAME and the memo.
std::string state(DATA4* d) {
  return std::to_string(d4recNoLow(d)) + (d4bof(d) ? "b" : "") + (d4eof(d) ? "e" : "") + " " +
         str(d, "NAME") + "|" + memo(d);
}
// The memo block a record refers to, in either reference form.
uint32_t memo_ref(DATA4* d) {
  FIELD4* f = d4field(d, "NOTE");
  if (f4len(f) == 4) return test_files::le32(std::string(f4str(f), 4), 0);
  return uint32_t(std::strtoul(f4str(f), nullptr, 10));
}

class TableRecords : public ::testing::TestWithParam<formats::Table> {
 protected:
  void SetUp() override { c4_ = new_context(); }
  void TearDown() override {
    for (CODE4* c : contexts_) code4initUndo(c);
  }

  CODE4* new_context() {
    CODE4* c = contexts_.emplace_back(code4initP());
    code4errOff(c, 1);
    formats::use(c, GetParam());
    return c;
  }
  std::string at(const std::string& name) const { return tmp_.at(name); }
  std::string memo_file(const std::string& table) const { return at(table + "." + GetParam().memo_ext); }

  // NAME C(10), NUM N(5), NOTE M; record i holds "R<i>", i and "memo <i>".
  DATA4* make(const std::string& name, int records) {
    auto f = fields({fld("NAME", 'C', 10), fld("NUM", 'N', 5), fld("NOTE", 'M', 10)});
    DATA4* d = d4create(c4_, at(name).c_str(), f.data(), nullptr);
    for (int i = 1; d != nullptr && i <= records; ++i) {
      if (d4appendStart(d, 0) != 0 || d4blank(d) != 0) return nullptr;
      f4assign(d4field(d, "NAME"), ("R" + std::to_string(i)).c_str());
      f4assignLong(d4field(d, "NUM"), i);
      f4memoAssign(d4field(d, "NOTE"), ("memo " + std::to_string(i)).c_str());
      if (d4append(d) != 0) return nullptr;
    }
    return d;
  }
  // Names of every record in record order.
  static Names names(DATA4* d) {
    Names out;
    for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) out.push_back(str(d, "NAME"));
    return out;
  }
  // The table file holds `count` records and nothing after them but the end mark.
  void expect_file_holds(const std::string& table, uint32_t count) {
    const test_files::TableWords w = test_files::table_words(at(table + ".DBF"));
    EXPECT_EQ(w.count, count);
    EXPECT_EQ(w.size, w.header_len + count * w.record_len + 1);
    EXPECT_EQ(slurp(at(table + ".DBF")).back(), 0x1A);
  }
  int error() { return code4errorCode(c4_, 0); }

  CODE4* c4_ = nullptr;
  std::vector<CODE4*> contexts_;
  test_files::TempDir tmp_{"vgx-records"};
};

TEST_P(TableRecords, MovesFlagsAndResults) {
  DATA4* empty = make("EMPTY", 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(d4top(empty), r4eof);
  EXPECT_EQ(d4bottom(empty), r4eof);
  EXPECT_EQ(d4skip(empty, 1), r4eof);
  EXPECT_EQ(d4go(empty, 1), e4parm);
  EXPECT_EQ(state(empty), "1e |");

  DATA4* d = make("NAV", 3);
  ASSERT_NE(d, nullptr);
  const struct { const char* what; int (*move)(DATA4*); int rc; const char* state; } moves[] = {
      {"top", d4top, 0, "1 R1|memo 1"},
      {"before the first", [](DATA4* x) { return d4skip(x, -1); }, r4bof, "1b R1|memo 1"},
      {"next", [](DATA4* x) { return d4skip(x, 1); }, 0, "2 R2|memo 2"},
      {"past the end: a blank buffer", [](DATA4* x) { return d4skip(x, 5); }, r4eof, "4e |"},
      {"again", [](DATA4* x) { return d4skip(x, 1); }, r4eof, "4e |"},
      {"back from the end", [](DATA4* x) { return d4skip(x, -1); }, 0, "3 R3|memo 3"},
      {"far back", [](DATA4* x) { return d4skip(x, -10); }, r4bof, "1b R1|memo 1"},
      {"bottom", d4bottom, 0, "3 R3|memo 3"},
      {"go 2", [](DATA4* x) { return d4go(x, 2); }, 0, "2 R2|memo 2"},
      {"go 0", [](DATA4* x) { return d4go(x, 0); }, e4parm, "2 R2|memo 2"},
      {"go past", [](DATA4* x) { return d4go(x, 4); }, e4parm, "2 R2|memo 2"},
      {"end of file", d4goEof, 0, "4e |"},
      {"back to the first", [](DATA4* x) { return d4skip(x, -3); }, 0, "1 R1|memo 1"}};
  for (const auto& m : moves) {
    EXPECT_EQ(m.move(d), m.rc) << m.what;
    EXPECT_EQ(state(d), m.state) << m.what;
  }
  EXPECT_EQ(d4recCount(d) + d4recCountDo(d), 6);
  // d4skip(0) neither reads nor writes: the change stays pending.
  f4assign(d4field(d, "NAME"), "X");
  EXPECT_EQ(d4skip(d, 0), 0);
  EXPECT_EQ(str(d, "NAME"), "X");
  EXPECT_EQ(d4changed(d, -1), 1);
  EXPECT_EQ(str(d4openClone(d), "NAME"), "R1");
}

TEST_P(TableRecords, AppendBlankAndStartedAppends) {
  DATA4* d = make("APP", 2);
  ASSERT_NE(d, nullptr);
  FIELD4 *name = d4field(d, "NAME"), *note = d4field(d, "NOTE");
  ASSERT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(state(d) + str(d, "NUM"), "3 |");
  // Without memos: the buffer keeps its values, memos start empty.
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4appendStart(d, 0), 0);
  EXPECT_EQ(state(d), "0 R1|");
  f4assign(name, "R4");
  ASSERT_EQ(d4append(d), 0);
  EXPECT_EQ(d4recNoLow(d), 4);
  // With memos: the values are carried over as copies of their own.
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4appendStart(d, 1), 0);
  f4assign(name, "R5");
  ASSERT_EQ(d4append(d), 0);
  const uint32_t copy = memo_ref(d);
  ASSERT_EQ(f4memoAssign(note, "changed in 5"), 0);
  ASSERT_EQ(d4go(d, 1), 0);
  EXPECT_NE(memo_ref(d), copy);
  EXPECT_EQ(memo(d), "memo 1");
  // A move abandons a started append.
  ASSERT_EQ(d4appendStart(d, 0), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(d4recCount(d), 5);
  ASSERT_EQ(d4close(d), 0);
  d = d4open(c4_, at("APP").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(names(d), (Names{"R1", "R2", "", "R4", "R5"}));
  ASSERT_EQ(d4go(d, 4), 0);
  EXPECT_EQ(memo(d), "");
  ASSERT_EQ(d4go(d, 5), 0);
  EXPECT_EQ(memo(d), "changed in 5");
}

TEST_P(TableRecords, DeleteRecallBlankAndTheChangedFlag) {
  DATA4* d = make("DEL", 3);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(d4deleted(d) + d4changed(d, -1), 0);
  ASSERT_EQ(d4delete(d), 0);
  EXPECT_EQ(d4recordLow(d)[0], '*');
  EXPECT_EQ(d4changed(d, -1), 1);
  ASSERT_EQ(d4top(d), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(d4deleted(d), 1);
  ASSERT_EQ(d4recall(d), 0);
  ASSERT_EQ(d4go(d, 3), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(d4deleted(d), 0);
  // 0 clears the flag and the change is dropped at the next read.
  f4assign(d4field(d, "NAME"), "lost");
  EXPECT_EQ(d4changed(d, 0), 1);
  EXPECT_EQ(d4changed(d, -1), 0);
  ASSERT_EQ(d4skip(d, 1), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(str(d, "NAME"), "R2");
  // 1 makes a move write the buffer, even one changed behind the engine's back.
  std::memcpy(d4recordLow(d) + 1, "RAW", 3);
  EXPECT_EQ(d4changed(d, 1), 0);
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(str(d, "NAME"), "RAW");
  // A blank record loses its memo reference too, and is a change.
  ASSERT_EQ(d4blank(d), 0);
  EXPECT_EQ(d4changed(d, -1), 1);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(state(d) + str(d, "NUM"), "2 |");
  EXPECT_EQ(memo_ref(d), 0u);
}

TEST_P(TableRecords, PendingRecordIsWrittenByEveryMoveAndByClose) {
  DATA4* d = make("PEND", 3);
  ASSERT_NE(d, nullptr);
  DATA4* reader = d4openClone(d);
  ASSERT_NE(reader, nullptr);
  const struct { const char* name; int (*fn)(DATA4*); } moves[] = {
      {"top", d4top},
      {"bottom", d4bottom},
      {"goEof", d4goEof},
      {"skip", [](DATA4* x) { return d4skip(x, 1); }},
      {"go", [](DATA4* x) { return d4go(x, 1); }},
      {"appendStart", [](DATA4* x) { return d4appendStart(x, 0); }},
      {"flush", d4flush},
      {"unlock", d4unlock}};
  for (const auto& m : moves) {
    ASSERT_EQ(d4go(d, 2), 0);
    f4assign(d4field(d, "NAME"), m.name);
    f4memoAssign(d4field(d, "NOTE"), m.name);
    ASSERT_EQ(m.fn(d), 0) << m.name;
    ASSERT_EQ(d4go(reader, 2), 0);
    EXPECT_EQ(state(reader), "2 " + std::string(m.name).substr(0, 10) + "|" + m.name);
  }
  ASSERT_EQ(d4go(d, 3), 0);
  f4assign(d4field(d, "NAME"), "at close");
  ASSERT_EQ(d4close(d), 0);
  ASSERT_EQ(d4close(reader), 0);
  CODE4* other = new_context();
  DATA4* x = d4open(other, at("PEND").c_str());
  ASSERT_NE(x, nullptr);
  f4assign(d4field(x, "NAME"), "at undo");
  ASSERT_EQ(code4close(other), 0);
  EXPECT_EQ(names(d4open(c4_, at("PEND").c_str())), (Names{"at undo", "unlock", "at close"}));
}

TEST_P(TableRecords, WriteToAnotherRecordCopiesMemosAndRefreshDropsChanges) {
  DATA4* d = make("COPY", 3);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 1), 0);
  const uint32_t original = memo_ref(d);
  ASSERT_EQ(d4write(d, 2), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(memo_ref(d), original) << "the buffer still describes record 1";
  // Record 1 changes afterwards; record 2 keeps the copy it was given.
  ASSERT_EQ(f4memoAssign(d4field(d, "NOTE"), "one"), 0);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(state(d), "2 R1|memo 1");
  const uint32_t copy = memo_ref(d);
  ASSERT_EQ(d4go(d, 1), 0);
  EXPECT_EQ(memo(d), "one");
  EXPECT_NE(memo_ref(d), copy);
  EXPECT_EQ(d4write(d, 0), e4parm);
  EXPECT_EQ(d4write(d, 4), e4parm);
  f4assign(d4field(d, "NAME"), "zzz");
  f4memoAssign(d4field(d, "NOTE"), "zzz");
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4refreshRecord(d), 0);
  EXPECT_EQ(d4changed(d, -1) + d4deleted(d), 0);
  EXPECT_EQ(state(d), "1 R1|one");
}

TEST_P(TableRecords, MemoUpdatesInPlaceWhileTheValueFitsElseMoves) {
  const formats::Table& t = GetParam();
  const uint32_t fb = t.first_block, bs = t.block_size;
  DATA4* d = make("M", 1);
  ASSERT_NE(d, nullptr);
  auto next_free = [&] {
    const std::string m = slurp(memo_file("M"));
    return t.memo_big_endian() ? test_files::be32(m, 0) : test_files::le32(m, 0);
  };
  const struct { std::string value; uint32_t block, next_free; } steps[] = {
      {"memo 1", fb, fb + 1},
      {std::string(bs - t.block_extra, 'b'), fb, fb + 1},  // fills its block
      {std::string(bs - t.block_extra + 1, 'c'), fb + 1, fb + 3},
      {"d", fb + 1, fb + 3},
      {"", 0, fb + 3}};
  for (const auto& s : steps) {
    SCOPED_TRACE(s.value.size());
    ASSERT_EQ(f4memoAssignN(d4field(d, "NOTE"), s.value.data(), unsigned(s.value.size())), 0);
    ASSERT_EQ(d4flush(d), 0);
    EXPECT_EQ(memo_ref(d), s.block);
    EXPECT_EQ(next_free(), s.next_free);
    EXPECT_EQ(fs::file_size(memo_file("M")), uint64_t(s.next_free) * bs);
    ASSERT_EQ(d4refreshRecord(d), 0);
    EXPECT_EQ(memo(d), s.value);
  }
}

TEST_P(TableRecords, PackAndZapKeepLiveRecordsInOrderAndCutTheFile) {
  code4accessMode(c4_, 1);
  DATA4* d = make("PK", 5);
  ASSERT_NE(d, nullptr);
  for (int32_t rec : {2, 4, 5, 1, 3}) {
    ASSERT_EQ(d4go(d, rec), 0);
    ASSERT_EQ(d4delete(d), 0);
    if (rec == 5 || rec == 1) {
      ASSERT_EQ(d4recall(d), 0);
    }
  }  // the last deletion is still pending when the pack starts
  ASSERT_EQ(d4pack(d), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(names(d), (Names{"R1", "R5"}));
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(memo(d), "memo 5");
  ASSERT_EQ(d4close(d), 0);
  expect_file_holds("PK", 2);

  d = make("ZP", 6);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4zap(d, 2, 3), 0);
  EXPECT_EQ(names(d), (Names{"R1", "R4", "R5", "R6"}));
  ASSERT_EQ(d4zap(d, 3, 2), 0);  // an empty range removes nothing
  ASSERT_EQ(d4zap(d, 4, 100), 0);  // clipped to the table
  EXPECT_EQ(names(d), (Names{"R1", "R4", "R5"}));
  ASSERT_EQ(d4go(d, 3), 0);
  EXPECT_EQ(memo(d), "memo 5");
  ASSERT_EQ(d4zap(d, 1, d4recCount(d)), 0);
  EXPECT_EQ(d4eof(d), 1);
  ASSERT_EQ(d4close(d), 0);
  expect_file_holds("ZP", 0);
}

TEST_P(TableRecords, CompressDropsDeadBlocksAndKeepsEveryValue) {
  const formats::Table& t = GetParam();
  const uint32_t bs = t.block_size;
  code4accessMode(c4_, 1);
  DATA4* d = make("M", 3);
  ASSERT_NE(d, nullptr);
  // Records 1 and 2 grow to three blocks each and leave their first blocks dead.
  const std::string big1(3 * bs - t.block_extra - 10, '1'), big2(3 * bs - t.block_extra, '2');
  for (const auto& [rec, value] : {std::pair<int, std::string>{1, big1}, {2, big2}}) {
    ASSERT_EQ(d4go(d, rec), 0);
    ASSERT_EQ(f4memoAssign(d4field(d, "NOTE"), value.c_str()), 0);
  }
  ASSERT_EQ(d4go(d, 3), 0);
  ASSERT_EQ(d4delete(d), 0);  // deleted records keep their memos
  ASSERT_EQ(d4memoCompress(d), 0);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(fs::file_size(memo_file("M")), uint64_t(t.first_block + 7) * bs);
  d = d4open(c4_, at("M").c_str());
  ASSERT_NE(d, nullptr);
  for (const std::string& want : {big1, big2, std::string("memo 3")}) {
    EXPECT_EQ(memo(d), want);
    d4skip(d, 1);
  }
}

TEST_P(TableRecords, SharedAndReadOnlyUseRefuseChanges) {
  DATA4* d = make("RO", 2);
  ASSERT_NE(d, nullptr);
  for (int (*maintain)(DATA4*) : {d4pack, d4memoCompress, +[](DATA4* x) { return d4zap(x, 1, 1); }})
    EXPECT_EQ(maintain(d), e4access) << "maintenance needs exclusive use";
  ASSERT_EQ(d4close(d), 0);
  const std::string dbf = slurp(at("RO.DBF")), memo_bytes = slurp(memo_file("RO"));
  EXPECT_EQ(code4readOnly(c4_, 1), 0);
  d = d4open(c4_, at("RO").c_str());
  ASSERT_NE(d, nullptr);
  DATA4* clone = d4openClone(d);
  ASSERT_NE(clone, nullptr);
  for (DATA4* h : {d, clone}) {
    f4assign(d4field(h, "NAME"), "X");
    EXPECT_EQ(error(), e4access);
    f4assignLong(d4field(h, "NUM"), 9);
    EXPECT_EQ(error(), e4access);
    f4assignDouble(d4field(h, "NUM"), 9);
    EXPECT_EQ(error(), e4access);
    EXPECT_EQ(f4memoAssign(d4field(h, "NOTE"), "X"), e4access);
    EXPECT_EQ(state(h) + str(h, "NUM"), "1 R1|memo 1    1");
    EXPECT_EQ(d4changed(h, -1), 0);
  }
  for (int (*change)(DATA4*) :
       {d4delete, d4blank, d4appendBlank, d4pack, d4memoCompress,
        +[](DATA4* x) { return d4appendStart(x, 0); }, +[](DATA4* x) { return d4write(x, 1); },
        +[](DATA4* x) { return d4zap(x, 1, 1); }})
    EXPECT_EQ(change(d), e4access);
  EXPECT_EQ(d4deleted(d), 0);
  EXPECT_EQ(d4recCount(d), 2);
  ASSERT_EQ(code4close(c4_), 0);
  EXPECT_EQ(slurp(at("RO.DBF")), dbf);
  EXPECT_EQ(slurp(memo_file("RO")), memo_bytes);
}

TEST_P(TableRecords, FileNamesMatchIgnoringCase) {
  ASSERT_EQ(d4close(make("MiXeD.dbf", 1)), 0);
  const std::string ext = GetParam().memo_ext;
  std::string lower = ext;
  for (char& c : lower) c = char(std::tolower(c));
  for (const std::string& memo_name : {"MiXeD." + lower, "MIXED." + ext, "mixed." + ext.substr(0, 1) + lower.substr(1)}) {
    for (const auto& e : fs::directory_iterator(tmp_.path()))
      if (e.path().extension() != ".dbf") fs::rename(e.path(), at(memo_name));
    for (const char* open_name : {"mixed", "MIXED.DBF", "Mixed.Dbf"}) {
      DATA4* d = d4open(c4_, at(open_name).c_str());
      ASSERT_NE(d, nullptr) << open_name << " with " << memo_name;
      EXPECT_STREQ(d4alias(d), "MIXED");
      EXPECT_EQ(memo(d), "memo 1") << memo_name;
      ASSERT_EQ(d4close(d), 0);
    }
  }
  EXPECT_EQ(d4open(c4_, at("absent").c_str()), nullptr);
  EXPECT_EQ(error(), e4open);
}

TEST_P(TableRecords, SingleOpenAndClones) {
  DATA4* d = make("ONE", 3);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4open(c4_, at("one.dbf").c_str()), nullptr);
  EXPECT_EQ(error(), e4instance);
  DATA4* c = d4openClone(d);
  ASSERT_NE(c, nullptr);
  EXPECT_STREQ(d4alias(c), "ONE");
  EXPECT_EQ(d4recNoLow(c), 1) << "a clone starts on the first record";
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4go(c, 3), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  f4assign(d4field(d, "NAME"), "mine");
  ASSERT_EQ(d4go(c, 1), 0);
  EXPECT_EQ(str(c, "NAME"), "R1") << "buffers are private";
  ASSERT_EQ(d4skip(d, 1), 0);
  ASSERT_EQ(d4go(c, 1), 0);
  EXPECT_EQ(str(c, "NAME"), "mine") << "written records are shared";
  ASSERT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(d4recCount(c), 4);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(d4go(c, 4), 0) << "a clone outlives the handle it came from";
  EXPECT_EQ(code4singleOpen(c4_, 0), 1);
  DATA4* again = d4open(c4_, at("ONE").c_str());
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(d4recCount(again), 4);
}

INSTANTIATE_TEST_SUITE_P(Formats, TableRecords, ::testing::ValuesIn(formats::tables()), formats::Named());

// Fields, aliases and context settings: the same in every format.
class TableHandles : public ::testing::Test {
 protected:
  test_files::Context cx_{1, 30};
  CODE4* c_ = cx_.c4;
  test_files::TempDir tmp_{"vgx-handles"};
};

TEST_F(TableHandles, FieldLookupAndFieldInfo) {
  auto f = fields({fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2, r4null), fld("NOTE", 'M', 4)});
  DATA4* d = d4create(c_, tmp_.at("FI").c_str(), f.data(), nullptr);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4numFields(d), 3);
  EXPECT_EQ(d4fieldJ(d, 0), nullptr);
  EXPECT_EQ(d4fieldJ(d, 4), nullptr);
  FIELD4* amt = d4fieldJ(d, 2);
  EXPECT_EQ(d4field(d, "amt"), amt);
  EXPECT_EQ(std::string(f4name(amt)) + char(f4type(amt)) + std::to_string(f4len(amt) * 10 + f4decimals(amt)), "AMTN82");
  EXPECT_EQ(d4fieldNumber(d, "Note"), 3);
  FIELD4INFO* info = d4fieldInfo(d);
  for (size_t i = 0; i < f.size(); ++i) {
    EXPECT_STREQ(info[i].name, f[i].name);
    EXPECT_EQ(info[i].type * 1000000 + info[i].len * 10000 + info[i].dec * 1000 + info[i].nulls,
              f[i].type * 1000000 + f[i].len * 10000 + f[i].dec * 1000 + f[i].nulls) << i;
  }
  u4freeDefault(info);
  // Unknown names, including the hidden null-flags field.
  for (const char* absent : {"NOPE", "_NULLFLAGS"}) {
    EXPECT_EQ(d4field(d, absent), nullptr);
    EXPECT_EQ(code4errorCode(c_, 0), e4fieldName);
    EXPECT_LT(d4fieldNumber(d, absent), 1);
  }
  EXPECT_EQ(code4errFieldName(c_, 0), 1);
  code4errorCode(c_, 0);
  EXPECT_EQ(d4field(d, "NOPE"), nullptr);
  EXPECT_EQ(code4errorCode(c_, 0), 0);
}

TEST_F(TableHandles, AliasLookup) {
  auto f = fields({fld("NAME", 'C', 10)});
  DATA4* one = d4create(c_, tmp_.at("ONE").c_str(), f.data(), nullptr);
  DATA4* two = d4create(c_, tmp_.at("two.dbf").c_str(), f.data(), nullptr);
  ASSERT_TRUE(one && two);
  EXPECT_STREQ(d4alias(two), "TWO");
  EXPECT_EQ(code4data(c_, "one"), one);
  EXPECT_EQ(code4data(c_, "Two"), two);
  EXPECT_EQ(code4data(c_, "three"), nullptr);
  EXPECT_EQ(code4data(c_, nullptr), nullptr);
  d4aliasSet(two, "Other");
  EXPECT_EQ(code4data(c_, "OTHER"), two);
  EXPECT_EQ(code4data(c_, "TWO"), nullptr);
  ASSERT_EQ(d4close(one), 0);
  EXPECT_EQ(code4data(c_, "ONE"), nullptr);
}

TEST_F(TableHandles, SettersAnswerThePreviousValueAndErrorCodesStay) {
  EXPECT_EQ(code4lockDelay(c_, 10), 100);
  EXPECT_EQ(code4lockDelay(c_, r4check), 10);
  for (const auto& [format, ext] : {std::pair<int, const char*>{2, "NTX"}, {4, "MDX"}, {1, "CDX"}}) {
    code4indexFormat(c_, format);
    EXPECT_STREQ(code4indexExtension(c_), ext);
  }
  EXPECT_EQ(code4indexFormat(c_, 3), e4parm);
  EXPECT_EQ(code4connect(c_, "", "", "", "", ""), e4notSupported);
  // Reading the code keeps it; setting answers the old one.
  code4errorCode(c_, 0);
  EXPECT_EQ(d4open(c_, tmp_.at("absent").c_str()), nullptr);
  EXPECT_EQ(code4errorCode(c_, r4check), e4open);
  EXPECT_EQ(code4errorCode(c_, e4data), e4open);
  EXPECT_EQ(code4errorCode(c_, 0), e4data);
  EXPECT_EQ(code4errorCode(c_, r4check), 0);
}

// Two handles of one context on table T, a handle on table U, and a probe in
// a second context (its own open of the files) that sees the locks as
// another process would.
class TableLocks : public TableRecords {
 protected:
  void SetUp() override {
    TableRecords::SetUp();
    ASSERT_NE(a_ = make("T", 3), nullptr);
    ASSERT_NE(u_ = make("U", 3), nullptr);
    ASSERT_NE(b_ = d4openClone(a_), nullptr);
    CODE4* other = new_context();
    ASSERT_NE(probe_t_ = d4open(other, at("T").c_str()), nullptr);
    ASSERT_NE(probe_u_ = d4open(other, at("U").c_str()), nullptr);
  }
  // Which records of T, then of U, the probe finds locked: "x" locked, "." free.
  std::string held() {
    std::string out;
    for (DATA4* probe : {probe_t_, probe_u_}) {
      for (int rec = 1; rec <= 3; ++rec) {
        out += d4lock(probe, rec) == 0 ? "." : "x";
        d4unlock(probe);
      }
      out += probe == probe_t_ ? "|" : "";
    }
    return out;
  }
  // One step of a lock script: who ('a', 'b' its clone, 'u' on U, 'c' the
  // context), what ('l' lock record `arg`, 'f' lock the file, 'u' unlock,
  // 'x' close, 'q' queue record `arg`, 'Q' queue the file, 'A' queue all, 'g'
  // take the queue, 'm' automatic unlock mode `arg`), the result, and the
  // records the probe then finds locked (null: not looked at).
  struct Step {
    char who, what;
    int arg, rc;
    const char* held;
  };
  void run(const std::vector<Step>& script) {
    for (size_t i = 0; i < script.size(); ++i) {
      const Step& s = script[i];
      DATA4* d = s.who == 'a' ? a_ : s.who == 'b' ? b_ : u_;
      int rc = 0;
      switch (s.what) {
        case 'l': rc = d4lock(d, s.arg); break;
        case 'f': rc = d4lockFile(d); break;
        case 'u': rc = d4unlock(d); break;
        case 'x': rc = d4close(d); break;
        case 'q': rc = d4lockAdd(d, s.arg); break;
        case 'Q': rc = d4lockAddFile(d); break;
        case 'A': rc = d4lockAddAll(d); break;
        case 'g': rc = code4lock(c4_); break;
        case 'm': code4unlockAutoSetCB(c4_, s.arg); break;
      }
      EXPECT_EQ(rc, s.rc) << "step " << i + 1 << ": " << s.who << s.what << s.arg;
      if (s.held) {
        EXPECT_EQ(held(), s.held) << "after step " << i + 1;
      }
    }
  }

  DATA4 *a_ = nullptr, *b_ = nullptr, *u_ = nullptr, *probe_t_ = nullptr, *probe_u_ = nullptr;
};

TEST_P(TableLocks, ClonesConflictOnRecordsAndFile) {
  run({{'c', 'm', 0, 0, nullptr},
       {'a', 'l', 1, 0, nullptr},
       {'a', 'l', 1, 0, "x..|..."},  // a lock already held
       {'b', 'l', 1, r4locked, nullptr},
       {'b', 'l', 2, 0, "xx.|..."},
       {'b', 'f', 0, r4locked, nullptr},
       {'a', 'f', 0, r4locked, nullptr},
       {'b', 'u', 0, 0, "x..|..."},
       {'a', 'f', 0, 0, "xxx|..."},
       {'b', 'l', 3, r4locked, nullptr},
       {'a', 'l', 3, 0, nullptr},  // covered by the file lock
       {'a', 'u', 0, 0, "...|..."},
       {'b', 'l', 3, 0, nullptr},
       {'b', 'l', 0, e4parm, nullptr},
       {'b', 'x', 0, 0, "...|..."}});  // closing releases the handle's locks
}

TEST_P(TableLocks, GroupLockIsAllOrNothing) {
  run({{'c', 'm', 0, 0, nullptr},
       {'a', 'l', 3, 0, nullptr},
       {'b', 'q', 1, 0, nullptr},
       {'b', 'q', 3, 0, nullptr},
       {'c', 'g', 0, r4locked, "..x|..."},  // record 1 was given back
       {'a', 'u', 0, 0, nullptr},
       {'c', 'g', 0, 0, "...|..."},  // the queue was used up
       {'b', 'q', 1, 0, nullptr},
       {'b', 'q', 3, 0, nullptr},
       {'u', 'q', 2, 0, nullptr},
       {'c', 'g', 0, 0, "x.x|.x."},
       {'a', 'Q', 0, 0, nullptr},
       {'c', 'g', 0, r4locked, nullptr},  // records held by the clone
       {'b', 'u', 0, 0, nullptr},
       {'a', 'A', 0, 0, nullptr},
       {'c', 'g', 0, 0, "xxx|.x."}});
}

TEST_P(TableLocks, AutomaticUnlockModes) {
  run({{'c', 'm', 0, 0, nullptr},  // 0: locks accumulate
       {'a', 'l', 1, 0, nullptr},
       {'a', 'l', 2, 0, nullptr},
       {'u', 'l', 1, 0, "xx.|x.."},
       {'a', 'u', 0, 0, nullptr},
       {'u', 'u', 0, 0, nullptr},
       {'c', 'm', 1, 0, nullptr},  // 1: a new lock first releases every lock of the context
       {'a', 'l', 1, 0, nullptr},
       {'b', 'l', 1, 0, "x..|..."},
       {'u', 'l', 2, 0, "...|.x."},
       {'c', 'm', 2, 0, nullptr},  // 2: only the locks on the same table
       {'a', 'l', 3, 0, "..x|.x."},
       {'b', 'l', 2, 0, ".x.|.x."}});
}

// With lock enforcement a shared table's record changes only under a lock on
// it (or on the file); the unlock writes the change.
TEST_P(TableLocks, EnforcementRefusesChangesWithoutTheLock) {
  code4lockEnforce(c4_, 1);
  code4unlockAutoSetCB(c4_, 0);
  ASSERT_EQ(d4go(a_, 2), 0);
  const std::string before(d4recordLow(a_), 1 + 10 + 5 + f4len(d4field(a_, "NOTE")));
  for (int lock : {0, 1}) {  // none, then one on another record
    if (lock) {
      ASSERT_EQ(d4lock(a_, 1), 0);
    }
    f4assign(d4field(a_, "NAME"), "changed");
    EXPECT_EQ(error(), e4lock);
    f4assignLong(d4field(a_, "NUM"), 7);
    EXPECT_EQ(error(), e4lock);
    EXPECT_EQ(f4memoAssign(d4field(a_, "NOTE"), "x"), e4lock);
    EXPECT_EQ(d4delete(a_), e4lock);
    EXPECT_EQ(std::string(d4recordLow(a_), before.size()), before);
    EXPECT_EQ(memo(a_), "memo 2");
    EXPECT_EQ(d4changed(a_, -1), 0);
    error();
  }
  ASSERT_EQ(d4lock(a_, 2), 0);
  f4assign(d4field(a_, "NAME"), "locked");
  EXPECT_EQ(error(), 0);
  ASSERT_EQ(d4unlock(a_), 0);
  EXPECT_EQ(d4changed(a_, -1), 0);
  ASSERT_EQ(d4go(probe_t_, 2), 0);
  EXPECT_EQ(str(probe_t_, "NAME"), "locked");
  ASSERT_EQ(d4go(a_, 3), 0);
  ASSERT_EQ(d4lockFile(a_), 0);
  f4assignLong(d4field(a_, "NUM"), 9);
  EXPECT_EQ(error(), 0) << "the file lock covers every record";
  ASSERT_EQ(d4unlock(a_), 0);
  // A record being appended is no one else's yet; an exclusive table is no
  // one else's at all.
  ASSERT_EQ(d4appendStart(a_, 0), 0);
  f4assign(d4field(a_, "NAME"), "new");
  EXPECT_EQ(error(), 0);
  ASSERT_EQ(d4append(a_), 0);
  ASSERT_EQ(code4close(c4_), 0);
  code4accessMode(c4_, 1);
  DATA4* d = make("X", 1);
  ASSERT_NE(d, nullptr);
  f4assign(d4field(d, "NAME"), "mine alone");
  EXPECT_EQ(error(), 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, TableLocks, ::testing::ValuesIn(formats::tables()), formats::Named());

}  // namespace
