// Records through the C interface in one process: moving, appending,
// changing and writing records, memo updates, maintenance (pack, zap, memo
// compression), access modes, handles and clones, context settings and the
// locks handles of one context take against each other.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes slurp(const std::string& path) { return test_files::slurp_bytes(path); }

uint32_t u32le(const uint8_t* b) {
  return b[0] | b[1] << 8 | b[2] << 16 | uint32_t(b[3]) << 24;
}

using test_files::fields;
using test_files::fld;

// Field text with trailing blanks removed.
std::string str(DATA4* d, const char* name) {
  std::string s = f4str(d4field(d, name));
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}
std::string memo(DATA4* d, const char* name = "NOTE") {
  FIELD4* f = d4field(d, name);
  return std::string(f4memoStr(f), f4memoLen(f));
}
// The memo block a record refers to, in either reference form.
uint32_t memo_ref(DATA4* d, const char* name = "NOTE") {
  FIELD4* f = d4field(d, name);
  const char* s = f4str(f);
  if (f4len(f) == 4) return u32le(reinterpret_cast<const uint8_t*>(s));
  return static_cast<uint32_t>(std::strtoul(s, nullptr, 10));
}

class TableRecords : public ::testing::Test {
 protected:
  void SetUp() override {
    c4_ = new_context();
    ASSERT_NE(c4_, nullptr);
  }
  void TearDown() override {
    for (CODE4* c : contexts_) code4initUndo(c);
  }

  CODE4* new_context() {
    CODE4* c = code4initP();
    if (c == nullptr) return nullptr;
    code4errOff(c, 1);
    code4indexFormat(c, 1);
    contexts_.push_back(c);
    return c;
  }
  std::string at(const std::string& name) const { return dir_ + "/" + name; }

  // NAME C(10), NUM N(5), NOTE M; record i holds "R<i>", i and "memo <i>".
  DATA4* make(const std::string& name, int records) {
    auto f = fields({fld("NAME", 'C', 10), fld("NUM", 'N', 5), fld("NOTE", 'M', 10)});
    DATA4* d = d4create(c4_, at(name).c_str(), f.data(), nullptr);
    if (d == nullptr) return nullptr;
    for (int i = 1; i <= records; ++i) {
      if (d4appendStart(d, 0) != 0 || d4blank(d) != 0) return nullptr;
      f4assign(d4field(d, "NAME"), ("R" + std::to_string(i)).c_str());
      f4assignLong(d4field(d, "NUM"), i);
      f4memoAssign(d4field(d, "NOTE"), ("memo " + std::to_string(i)).c_str());
      if (d4append(d) != 0) return nullptr;
    }
    return d;
  }
  // Names of every record in record order, read through a fresh move.
  std::vector<std::string> names(DATA4* d) {
    std::vector<std::string> out;
    for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) out.push_back(str(d, "NAME"));
    return out;
  }
  int error() { return code4errorCode(c4_, 0); }

  CODE4* c4_ = nullptr;
  std::vector<CODE4*> contexts_;
  test_files::TempDir tmp_{"vgx-records"};
  const std::string dir_ = tmp_.path().string();
};

TEST_F(TableRecords, EmptyTableStandsAtEndOfFile) {
  DATA4* d = make("EMPTY", 0);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4top(d), r4eof);
  EXPECT_EQ(d4eof(d), 1);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(d4bottom(d), r4eof);
  EXPECT_EQ(d4skip(d, 1), r4eof);
  EXPECT_EQ(d4go(d, 1), e4parm);
  EXPECT_EQ(d4recCount(d), 0);
}

TEST_F(TableRecords, MovesFlagsAndResults) {
  DATA4* d = make("NAV", 3);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4top(d), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(d4bof(d) + d4eof(d), 0);
  EXPECT_EQ(d4skip(d, -1), r4bof);
  EXPECT_EQ(d4bof(d), 1);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(str(d, "NAME"), "R1");
  EXPECT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(d4bof(d), 0);
  EXPECT_EQ(str(d, "NAME"), "R2");

  EXPECT_EQ(d4skip(d, 5), r4eof);
  EXPECT_EQ(d4eof(d), 1);
  EXPECT_EQ(d4recNoLow(d), 4);
  EXPECT_EQ(str(d, "NAME"), "") << "a blank buffer at end of file";
  EXPECT_EQ(memo(d), "");
  EXPECT_EQ(d4skip(d, 1), r4eof);
  EXPECT_EQ(d4skip(d, -1), 0);
  EXPECT_EQ(d4recNoLow(d), 3);
  EXPECT_EQ(d4skip(d, -10), r4bof);
  EXPECT_EQ(d4recNoLow(d), 1);

  EXPECT_EQ(d4bottom(d), 0);
  EXPECT_EQ(str(d, "NAME"), "R3");
  EXPECT_EQ(memo(d), "memo 3");
  EXPECT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(memo(d), "memo 2");
  EXPECT_EQ(d4go(d, 0), e4parm);
  EXPECT_EQ(d4go(d, 4), e4parm);
  EXPECT_EQ(error(), e4parm);
  EXPECT_EQ(d4goEof(d), 0);
  EXPECT_EQ(d4eof(d), 1);
  EXPECT_EQ(d4recNoLow(d), 4);
  EXPECT_EQ(d4skip(d, -3), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(d4recCount(d), 3);
  EXPECT_EQ(d4recCountDo(d), 3);

  // d4skip(0) neither reads nor writes: the change stays pending.
  f4assign(d4field(d, "NAME"), "X");
  EXPECT_EQ(d4skip(d, 0), 0);
  EXPECT_EQ(str(d, "NAME"), "X");
  EXPECT_EQ(d4changed(d, -1), 1);
  DATA4* other = d4openClone(d);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(str(other, "NAME"), "R1");
}

TEST_F(TableRecords, AppendBlankAndStartedAppends) {
  DATA4* d = make("APP", 2);
  ASSERT_NE(d, nullptr);
  FIELD4 *name = d4field(d, "NAME"), *note = d4field(d, "NOTE");
  ASSERT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(d4recNoLow(d), 3);
  EXPECT_EQ(d4recCount(d), 3);
  EXPECT_EQ(str(d, "NAME"), "");
  EXPECT_EQ(str(d, "NUM"), "");

  // Without memos: the buffer keeps its values, memos start empty.
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4appendStart(d, 0), 0);
  EXPECT_EQ(d4recNoLow(d), 0);
  EXPECT_EQ(d4eof(d) + d4bof(d), 0);
  EXPECT_EQ(str(d, "NAME"), "R1");
  EXPECT_EQ(f4memoLen(note), 0u);
  f4assign(name, "R4");
  ASSERT_EQ(d4append(d), 0);
  EXPECT_EQ(d4recNoLow(d), 4);

  // With memos: the values are carried over as copies of their own.
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4appendStart(d, 1), 0);
  f4assign(name, "R5");
  ASSERT_EQ(d4append(d), 0);
  EXPECT_EQ(d4recNoLow(d), 5);
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
  EXPECT_EQ(names(d), (std::vector<std::string>{"R1", "R2", "", "R4", "R5"}));
  ASSERT_EQ(d4go(d, 4), 0);
  EXPECT_EQ(memo(d), "");
  ASSERT_EQ(d4go(d, 5), 0);
  EXPECT_EQ(memo(d), "changed in 5");
}

TEST_F(TableRecords, BlankClearsEveryKindOfField) {
  code4compatibility(c4_, 30);
  auto f = fields({fld("C", 'C', 4), fld("I", 'I', 4), fld("N", 'N', 4, 0, r4null),
                   fld("NOTE", 'M', 4)});
  DATA4* d = d4create(c4_, at("BL").c_str(), f.data(), nullptr);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4appendStart(d, 0), 0);
  f4assign(d4field(d, "C"), "abcd");
  f4assignLong(d4field(d, "I"), -1);
  f4assignNull(d4field(d, "N"));
  f4memoAssign(d4field(d, "NOTE"), "text");
  ASSERT_EQ(d4append(d), 0);
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4blank(d), 0);
  EXPECT_EQ(d4changed(d, -1), 1);
  EXPECT_EQ(std::string(f4str(d4field(d, "C"))), "    ");
  EXPECT_EQ(f4long(d4field(d, "I")), 0);
  EXPECT_EQ(f4null(d4field(d, "N")), 0);
  EXPECT_EQ(memo(d), "");
  ASSERT_EQ(d4go(d, 1), 0);
  EXPECT_EQ(memo_ref(d), 0u);
  EXPECT_EQ(f4null(d4field(d, "N")), 0);
  EXPECT_EQ(memo(d), "");
}

TEST_F(TableRecords, DeleteRecallAndTheChangedFlag) {
  DATA4* d = make("DEL", 3);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(d4deleted(d), 0);
  EXPECT_EQ(d4changed(d, -1), 0);
  ASSERT_EQ(d4delete(d), 0);
  EXPECT_EQ(d4deleted(d), 1);
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
}

TEST_F(TableRecords, PendingRecordIsWrittenByEveryMoveAndByClose) {
  DATA4* d = make("PEND", 3);
  ASSERT_NE(d, nullptr);
  DATA4* reader = d4openClone(d);
  ASSERT_NE(reader, nullptr);
  struct Move {
    const char* name;
    int (*fn)(DATA4*);
  };
  const Move moves[] = {{"top", d4top},
                        {"bottom", d4bottom},
                        {"goEof", d4goEof},
                        {"skip", [](DATA4* x) { return d4skip(x, 1); }},
                        {"go", [](DATA4* x) { return d4go(x, 1); }},
                        {"appendStart", [](DATA4* x) { return d4appendStart(x, 0); }},
                        {"flush", d4flush},
                        {"unlock", d4unlock}};
  for (const Move& m : moves) {
    ASSERT_EQ(d4go(d, 2), 0);
    f4assign(d4field(d, "NAME"), m.name);
    f4memoAssign(d4field(d, "NOTE"), m.name);
    ASSERT_EQ(m.fn(d), 0) << m.name;
    ASSERT_EQ(d4go(reader, 2), 0);
    EXPECT_EQ(str(reader, "NAME"), std::string(m.name).substr(0, 10));
    EXPECT_EQ(memo(reader), m.name);
  }
  ASSERT_EQ(d4go(d, 3), 0);
  f4assign(d4field(d, "NAME"), "at close");
  ASSERT_EQ(d4close(d), 0);
  ASSERT_EQ(d4close(reader), 0);
  CODE4* other = new_context();
  ASSERT_NE(other, nullptr);
  DATA4* x = d4open(other, at("PEND").c_str());
  ASSERT_NE(x, nullptr);
  f4assign(d4field(x, "NAME"), "at undo");
  ASSERT_EQ(code4close(other), 0);
  d = d4open(c4_, at("PEND").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(names(d), (std::vector<std::string>{"at undo", "unlock", "at close"}));
}

TEST_F(TableRecords, WriteToAnotherRecordCopiesMemos) {
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
  EXPECT_EQ(str(d, "NAME"), "R1");
  EXPECT_EQ(memo(d), "memo 1");
  const uint32_t copy = memo_ref(d);
  ASSERT_EQ(d4go(d, 1), 0);
  EXPECT_EQ(memo(d), "one");
  EXPECT_NE(memo_ref(d), copy);
  EXPECT_EQ(d4write(d, 0), e4parm);
  EXPECT_EQ(d4write(d, 4), e4parm);
}

TEST_F(TableRecords, RefreshRecordDropsChanges) {
  DATA4* d = make("REF", 2);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 1), 0);
  f4assign(d4field(d, "NAME"), "zzz");
  f4memoAssign(d4field(d, "NOTE"), "zzz");
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4refreshRecord(d), 0);
  EXPECT_EQ(d4changed(d, -1), 0);
  EXPECT_EQ(str(d, "NAME"), "R1");
  EXPECT_EQ(memo(d), "memo 1");
  EXPECT_EQ(d4deleted(d), 0);
  ASSERT_EQ(d4skip(d, 1), 0);
  ASSERT_EQ(d4go(d, 1), 0);
  EXPECT_EQ(str(d, "NAME"), "R1");
}

TEST_F(TableRecords, FlushPutsCachedWritesInTheFile) {
  code4accessMode(c4_, 1);  // exclusive: writes may stay cached until a flush
  DATA4* d = make("FL", 2);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 1), 0);
  f4assign(d4field(d, "NAME"), "flushed");
  ASSERT_EQ(d4appendBlank(d), 0);
  f4assign(d4field(d, "NAME"), "third");
  ASSERT_EQ(d4flush(d), 0);
  EXPECT_EQ(d4changed(d, -1), 0);
  Bytes b = slurp(at("FL.DBF"));
  ASSERT_GT(b.size(), 12u);
  const size_t first = b[8] | b[9] << 8, len = b[10] | b[11] << 8;
  EXPECT_EQ(u32le(&b[4]), 3u);
  ASSERT_EQ(b.size(), first + 3 * len + 1);
  EXPECT_EQ(std::string(b.begin() + first + 1, b.begin() + first + 8), "flushed");
  EXPECT_EQ(std::string(b.begin() + first + 2 * len + 1, b.begin() + first + 2 * len + 6), "third");
  EXPECT_EQ(b.back(), 0x1A);
}

struct Layout {
  const char* name;
  int format, compatibility;
  const char* memo_ext;
  uint32_t block_size, first_block, overhead;
};

void PrintTo(const Layout& l, std::ostream* os) { *os << l.name; }

class MemoLayouts : public TableRecords, public ::testing::WithParamInterface<Layout> {
 protected:
  void SetUp() override {
    TableRecords::SetUp();
    code4indexFormat(c4_, GetParam().format);
    code4compatibility(c4_, GetParam().compatibility);
  }
  uint32_t next_free() {
    Bytes m = slurp(at(std::string("M.") + GetParam().memo_ext));
    if (m.size() < 4) return 0;
    return GetParam().format == 1 ? uint32_t(m[0]) << 24 | m[1] << 16 | m[2] << 8 | m[3]
                                  : u32le(m.data());
  }
  uint64_t memo_size() { return fs::file_size(at(std::string("M.") + GetParam().memo_ext)); }
  void set_memo(DATA4* d, int rec, const std::string& value) {
    ASSERT_EQ(d4go(d, rec), 0);
    ASSERT_EQ(f4memoAssignN(d4field(d, "NOTE"), value.data(), unsigned(value.size())), 0);
    ASSERT_EQ(d4flush(d), 0);
  }
};

TEST_P(MemoLayouts, UpdatesInPlaceWhileTheValueFitsElseMoves) {
  const Layout& l = GetParam();
  const uint32_t fb = l.first_block, bs = l.block_size;
  DATA4* d = make("M", 1);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4flush(d), 0);
  EXPECT_EQ(memo_ref(d), fb);
  EXPECT_EQ(next_free(), fb + 1);

  struct Step {
    std::string value;
    uint32_t block, next_free;
  };
  const Step steps[] = {{std::string(bs - l.overhead, 'b'), fb, fb + 1},  // fills its block
                        {std::string(bs - l.overhead + 1, 'c'), fb + 1, fb + 3},
                        {"d", fb + 1, fb + 3},
                        {"", 0, fb + 3}};
  for (const Step& s : steps) {
    SCOPED_TRACE(s.value.size());
    set_memo(d, 1, s.value);
    EXPECT_EQ(memo_ref(d), s.block);
    EXPECT_EQ(next_free(), s.next_free);
    EXPECT_EQ(memo_size(), uint64_t(s.next_free) * bs);
    ASSERT_EQ(d4refreshRecord(d), 0);
    EXPECT_EQ(memo(d), s.value);
  }
}

TEST_P(MemoLayouts, CompressDropsDeadBlocksAndKeepsEveryValue) {
  const Layout& l = GetParam();
  const uint32_t fb = l.first_block, bs = l.block_size;
  DATA4* d = make("M", 3);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4memoCompress(d), e4access) << "shared use";
  ASSERT_EQ(d4close(d), 0);
  code4accessMode(c4_, 1);
  d = d4open(c4_, at("M").c_str());
  ASSERT_NE(d, nullptr);
  // Records 1 and 2 grow to three blocks each and leave their first blocks dead.
  const std::string big1(3 * bs - l.overhead - 10, '1'), big2(3 * bs - l.overhead, '2');
  set_memo(d, 1, big1);
  set_memo(d, 2, big2);
  ASSERT_EQ(d4go(d, 3), 0);
  ASSERT_EQ(d4delete(d), 0);  // deleted records keep their memos
  ASSERT_EQ(d4flush(d), 0);
  EXPECT_EQ(next_free(), fb + 9);

  ASSERT_EQ(d4memoCompress(d), 0);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(next_free(), fb + 7);
  EXPECT_EQ(memo_size(), uint64_t(fb + 7) * bs);
  d = d4open(c4_, at("M").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(memo(d), big1);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(memo(d), big2);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(memo(d), "memo 3");
  EXPECT_EQ(d4deleted(d), 1);
}

INSTANTIATE_TEST_SUITE_P(Formats, MemoLayouts,
                         ::testing::Values(Layout{"FoxPro2", 1, 26, "FPT", 64, 8, 8},
                                           Layout{"LaterFoxPro", 1, 30, "FPT", 64, 8, 8},
                                           Layout{"Clipper", 2, 26, "DBT", 512, 1, 2},
                                           Layout{"DbaseIV", 4, 26, "DBT", 512, 1, 8}),
                         [](const testing::TestParamInfo<Layout>& info) {
                           return std::string(info.param.name);
                         });

TEST_F(TableRecords, PackKeepsLiveRecordsInOrderAndCutsTheFile) {
  DATA4* d = make("PK", 5);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 2), 0);
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4go(d, 4), 0);
  ASSERT_EQ(d4delete(d), 0);
  EXPECT_EQ(d4pack(d), e4access) << "shared use";
  EXPECT_EQ(d4zap(d, 1, 1), e4access);
  EXPECT_EQ(d4recCount(d), 5);
  ASSERT_EQ(d4close(d), 0);

  code4accessMode(c4_, 1);
  d = d4open(c4_, at("PK").c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 5), 0);
  ASSERT_EQ(d4delete(d), 0);  // pending when the pack starts
  ASSERT_EQ(d4recall(d), 0);
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4recall(d), 0);
  ASSERT_EQ(d4go(d, 3), 0);
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4pack(d), 0);
  EXPECT_EQ(d4recCount(d), 2);
  EXPECT_EQ(d4recNoLow(d), 1);
  EXPECT_EQ(names(d), (std::vector<std::string>{"R1", "R5"}));
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_EQ(memo(d), "memo 5");
  ASSERT_EQ(d4close(d), 0);

  Bytes b = slurp(at("PK.DBF"));
  ASSERT_GT(b.size(), 12u);
  const size_t first = b[8] | b[9] << 8, len = b[10] | b[11] << 8;
  EXPECT_EQ(u32le(&b[4]), 2u);
  EXPECT_EQ(b.size(), first + 2 * len + 1);
  EXPECT_EQ(b.back(), 0x1A);
}

TEST_F(TableRecords, ZapRemovesRanges) {
  code4accessMode(c4_, 1);
  DATA4* d = make("ZP", 6);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4zap(d, 2, 3), 0);
  EXPECT_EQ(names(d), (std::vector<std::string>{"R1", "R4", "R5", "R6"}));
  ASSERT_EQ(d4zap(d, 3, 2), 0);  // an empty range removes nothing
  EXPECT_EQ(d4recCount(d), 4);
  ASSERT_EQ(d4zap(d, 4, 100), 0);  // clipped to the table
  EXPECT_EQ(names(d), (std::vector<std::string>{"R1", "R4", "R5"}));
  ASSERT_EQ(d4go(d, 3), 0);
  EXPECT_EQ(memo(d), "memo 5");
  ASSERT_EQ(d4zap(d, 1, d4recCount(d)), 0);
  EXPECT_EQ(d4recCount(d), 0);
  EXPECT_EQ(d4eof(d), 1);
  ASSERT_EQ(d4close(d), 0);
  Bytes b = slurp(at("ZP.DBF"));
  ASSERT_GT(b.size(), 12u);
  EXPECT_EQ(u32le(&b[4]), 0u);
  EXPECT_EQ(b.size(), size_t(b[8] | b[9] << 8) + 1);
}

TEST_F(TableRecords, ReadOnlyRefusesEveryChange) {
  DATA4* d = make("RO", 2);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  const Bytes dbf = slurp(at("RO.DBF")), fpt = slurp(at("RO.FPT"));
  EXPECT_EQ(code4readOnly(c4_, 1), 0);
  d = d4open(c4_, at("RO").c_str());
  ASSERT_NE(d, nullptr);
  FIELD4 *name = d4field(d, "NAME"), *num = d4field(d, "NUM"), *note = d4field(d, "NOTE");

  f4assign(name, "X");
  EXPECT_EQ(error(), e4access);
  f4assignLong(num, 9);
  EXPECT_EQ(error(), e4access);
  f4assignDouble(num, 9);
  EXPECT_EQ(error(), e4access);
  EXPECT_EQ(str(d, "NAME"), "R1");
  EXPECT_EQ(str(d, "NUM"), "    1");
  EXPECT_EQ(f4memoAssign(note, "X"), e4access);
  EXPECT_EQ(memo(d), "memo 1");
  EXPECT_EQ(d4changed(d, -1), 0);
  EXPECT_EQ(d4delete(d), e4access);
  EXPECT_EQ(d4deleted(d), 0);
  EXPECT_EQ(d4blank(d), e4access);
  EXPECT_EQ(d4appendBlank(d), e4access);
  EXPECT_EQ(d4appendStart(d, 0), e4access);
  EXPECT_EQ(d4write(d, 1), e4access);
  EXPECT_EQ(d4pack(d), e4access);
  EXPECT_EQ(d4zap(d, 1, 1), e4access);
  EXPECT_EQ(d4memoCompress(d), e4access);
  EXPECT_EQ(d4recCount(d), 2);
  DATA4* clone = d4openClone(d);
  ASSERT_NE(clone, nullptr);
  f4assign(d4field(clone, "NAME"), "X");
  EXPECT_EQ(error(), e4access);
  ASSERT_EQ(code4close(c4_), 0);
  EXPECT_EQ(slurp(at("RO.DBF")), dbf);
  EXPECT_EQ(slurp(at("RO.FPT")), fpt);
}

TEST_F(TableRecords, FileNamesMatchIgnoringCase) {
  DATA4* d = make("MiXeD.dbf", 1);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  ASSERT_TRUE(fs::exists(at("MiXeD.fpt")));
  for (const char* memo_name : {"MiXeD.fpt", "MIXED.FPT", "mixed.Fpt"}) {
    SCOPED_TRACE(memo_name);
    for (const auto& e : fs::directory_iterator(dir_))
      if (e.path().extension() != ".dbf") fs::rename(e.path(), at(memo_name));
    for (const char* open_name : {"mixed", "MIXED.DBF", "Mixed.Dbf"}) {
      d = d4open(c4_, at(open_name).c_str());
      ASSERT_NE(d, nullptr) << open_name;
      EXPECT_STREQ(d4alias(d), "MIXED");
      EXPECT_EQ(memo(d), "memo 1");
      ASSERT_EQ(d4close(d), 0);
    }
  }
  EXPECT_EQ(d4open(c4_, at("absent").c_str()), nullptr);
  EXPECT_EQ(error(), e4open);
}

TEST_F(TableRecords, SingleOpenAndClones) {
  DATA4* d = make("ONE", 3);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4open(c4_, at("one.dbf").c_str()), nullptr);
  EXPECT_EQ(error(), e4instance);

  DATA4* c = d4openClone(d);
  ASSERT_NE(c, nullptr);
  EXPECT_STREQ(d4alias(c), "ONE");
  EXPECT_EQ(d4recNoLow(c), 1) << "a clone starts on the first record";
  ASSERT_EQ(d4top(d), 0);
  ASSERT_EQ(d4go(c, 3), 0);
  EXPECT_EQ(d4recNoLow(d), 1);
  ASSERT_EQ(d4go(d, 1), 0);
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

TEST_F(TableRecords, ExclusiveOpenConflictsAcrossContexts) {
  ASSERT_NE(make("EX", 1), nullptr);
  ASSERT_EQ(code4close(c4_), 0);
  CODE4* other = new_context();
  ASSERT_NE(other, nullptr);

  code4accessMode(c4_, 1);
  DATA4* d = d4open(c4_, at("EX").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4open(other, at("EX").c_str()), nullptr);
  EXPECT_EQ(code4errorCode(other, 0), e4access);
  ASSERT_EQ(d4close(d), 0);

  code4accessMode(c4_, 0);
  d = d4open(c4_, at("EX").c_str());
  ASSERT_NE(d, nullptr);
  code4accessMode(other, 1);
  EXPECT_EQ(d4open(other, at("EX").c_str()), nullptr);
  EXPECT_EQ(code4errorCode(other, 0), e4access);
  code4safety(other, 0);
  auto f = fields({fld("A", 'C', 1)});
  EXPECT_EQ(d4create(other, at("EX").c_str(), f.data(), nullptr), nullptr)
      << "never replaced while open elsewhere";
  EXPECT_EQ(code4errorCode(other, 0), e4access);
  code4accessMode(other, 0);
  DATA4* shared = d4open(other, at("EX").c_str());
  ASSERT_NE(shared, nullptr);
  EXPECT_EQ(str(shared, "NAME"), "R1");
}

TEST_F(TableRecords, FieldLookupAndFieldInfo) {
  code4compatibility(c4_, 30);
  auto f = fields({fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2, r4null), fld("NOTE", 'M', 4)});
  DATA4* d = d4create(c4_, at("FI").c_str(), f.data(), nullptr);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4numFields(d), 3);
  EXPECT_EQ(d4fieldJ(d, 0), nullptr);
  EXPECT_EQ(d4fieldJ(d, 4), nullptr);
  FIELD4* amt = d4fieldJ(d, 2);
  ASSERT_NE(amt, nullptr);
  EXPECT_EQ(d4field(d, "amt"), amt);
  EXPECT_STREQ(f4name(amt), "AMT");
  EXPECT_EQ(f4type(amt), 'N');
  EXPECT_EQ(f4len(amt), 8);
  EXPECT_EQ(f4decimals(amt), 2);
  EXPECT_EQ(d4fieldNumber(d, "Note"), 3);

  FIELD4INFO* info = d4fieldInfo(d);
  ASSERT_NE(info, nullptr);
  struct Want {
    const char* name;
    int type, len, dec, nulls;
  };
  const Want want[] = {{"NAME", 'C', 10, 0, 0}, {"AMT", 'N', 8, 2, r4null}, {"NOTE", 'M', 4, 0, 0}};
  for (int i = 0; i < 3; ++i) {
    ASSERT_NE(info[i].name, nullptr);
    EXPECT_STREQ(info[i].name, want[i].name);
    EXPECT_EQ(info[i].type, want[i].type);
    EXPECT_EQ(info[i].len, want[i].len);
    EXPECT_EQ(info[i].dec, want[i].dec);
    EXPECT_EQ(info[i].nulls, want[i].nulls);
  }
  EXPECT_EQ(info[3].name, nullptr);
  EXPECT_EQ(info[3].type | info[3].len | info[3].dec | info[3].nulls, 0);
  u4freeDefault(info);

  // Unknown names, including the hidden null-flags field.
  for (const char* absent : {"NOPE", "_NULLFLAGS"}) {
    EXPECT_EQ(d4field(d, absent), nullptr);
    EXPECT_EQ(error(), e4fieldName);
    EXPECT_LT(d4fieldNumber(d, absent), 1);
  }
  EXPECT_EQ(code4errFieldName(c4_, 0), 1);
  error();
  EXPECT_EQ(d4field(d, "NOPE"), nullptr);
  EXPECT_LT(d4fieldNumber(d, "NOPE"), 1);
  EXPECT_EQ(error(), 0);
}

TEST_F(TableRecords, AliasLookup) {
  DATA4* one = make("ONE", 0);
  DATA4* two = make("two.dbf", 0);
  ASSERT_NE(one, nullptr);
  ASSERT_NE(two, nullptr);
  EXPECT_STREQ(d4alias(two), "TWO");
  EXPECT_EQ(code4data(c4_, "one"), one);
  EXPECT_EQ(code4data(c4_, "Two"), two);
  EXPECT_EQ(code4data(c4_, "three"), nullptr);
  EXPECT_EQ(code4data(c4_, nullptr), nullptr);
  d4aliasSet(two, "Other");
  EXPECT_EQ(code4data(c4_, "OTHER"), two);
  EXPECT_EQ(code4data(c4_, "TWO"), nullptr);
  ASSERT_EQ(d4close(one), 0);
  EXPECT_EQ(code4data(c4_, "ONE"), nullptr);
}

TEST_F(TableRecords, SettersAnswerThePreviousValue) {
  struct Setter {
    const char* name;
    int (*fn)(CODE4*, int);
    int initial, other;
  };
  const Setter setters[] = {{"accessMode", code4accessMode, 0, 1},
                            {"readOnly", code4readOnly, 0, 1},
                            {"errDefaultUnique", code4errDefaultUnique, r4uniqueContinue, r4unique},
                            {"autoOpen", code4autoOpen, 1, 0},
                            {"safety", code4safety, 1, 0},
                            {"lockAttempts", code4lockAttempts, 1, -1},
                            {"lockAttemptsSingle", code4lockAttemptsSingle, 1, 5},
                            {"lockDelay", code4lockDelay, 100, 10},
                            {"lockEnforce", code4lockEnforce, 0, 1},
                            {"unlockAuto", code4unlockAutoSetCB, 1, 2},
                            {"singleOpen", code4singleOpen, 1, 0},
                            {"compatibility", code4compatibility, 26, 30},
                            {"codePage", code4codePage, 0, 3},
                            {"collatingSequence", code4collatingSequence, 0, 1},
                            {"errFieldName", code4errFieldName, 1, 0},
                            {"errTagName", code4errTagName, 1, 0},
                            {"optimize", code4optimize, -1, 1},
                            {"optimizeWrite", code4optimizeWrite, -1, 0}};
  CODE4* c = code4initP();  // defaults untouched by the fixture
  ASSERT_NE(c, nullptr);
  for (const Setter& s : setters) {
    SCOPED_TRACE(s.name);
    EXPECT_EQ(s.fn(c, r4check), s.initial);
    EXPECT_EQ(s.fn(c, s.other), s.initial);
    EXPECT_EQ(s.fn(c, r4check), s.other);
    EXPECT_EQ(s.fn(c, s.initial), s.other);
  }
  EXPECT_EQ(code4errOff(c, r4check), 0);
  EXPECT_EQ(code4errOff(c, 1), 0);

  const long build = u4switch();
  EXPECT_EQ(build & u4desktop, u4desktop);
  const int format = static_cast<int>(build & 7);
  EXPECT_TRUE(format == 1 || format == 2 || format == 4);
  EXPECT_EQ(code4indexFormat(c, r4check), format);
  EXPECT_EQ(code4indexFormat(c, 2), format);
  EXPECT_STREQ(code4indexExtension(c), "NTX");
  EXPECT_EQ(code4indexFormat(c, 4), 2);
  EXPECT_STREQ(code4indexExtension(c), "MDX");
  EXPECT_EQ(code4indexFormat(c, 3), e4parm);
  EXPECT_EQ(code4indexFormat(c, 1), 4);
  EXPECT_STREQ(code4indexExtension(c), "CDX");
  EXPECT_EQ(code4dateFormatSet(c, "DD.MM.CCYY"), 0);
  EXPECT_EQ(code4connect(c, "", "", "", "", ""), e4notSupported);
  EXPECT_EQ(code4initUndo(c), 0);
}

TEST_F(TableRecords, ErrorCodesAndTexts) {
  const std::initializer_list<int> codes = {
      e4close,     e4create,  e4open, e4read, e4lock,  e4write,  e4memory, e4data,
      e4fieldName, e4tagName, e4expr, e4type, e4index, e4unique, e4access, e4parm,
      e4instance,  e4relate,  e4notSupported, r4success, r4bof, r4eof, r4locked};
  for (int code : codes) {
    const char* t = error4text(c4_, code);
    ASSERT_NE(t, nullptr) << code;
    EXPECT_GT(std::strlen(t), 0u) << code;
  }
  EXPECT_EQ(error4text(c4_, -12345), nullptr);
  EXPECT_EQ(error4text(nullptr, 12345), nullptr);

  EXPECT_EQ(code4errorCode(c4_, r4check), 0);
  EXPECT_EQ(d4open(c4_, at("absent").c_str()), nullptr);
  EXPECT_EQ(code4errorCode(c4_, r4check), e4open);
  EXPECT_EQ(code4errorCode(c4_, r4check), e4open) << "reading keeps the code";
  EXPECT_EQ(code4errorCode(c4_, 0), e4open);
  EXPECT_EQ(code4errorCode(c4_, r4check), 0);
  EXPECT_EQ(code4errorCode(c4_, e4data), 0);
  EXPECT_EQ(code4errorCode(c4_, r4check), e4data);
}

// Two handles of one context on one table, and a probe in a second context
// (its own open of the file) that sees the locks as another process would.
class TableLocks : public TableRecords {
 protected:
  void SetUp() override {
    TableRecords::SetUp();
    ASSERT_NE(a_ = make("T", 3), nullptr);
    ASSERT_NE(u_ = make("U", 3), nullptr);
    ASSERT_NE(b_ = d4openClone(a_), nullptr);
    CODE4* other = new_context();
    ASSERT_NE(other, nullptr);
    code4unlockAutoSetCB(other, 0);
    ASSERT_NE(probe_t_ = d4open(other, at("T").c_str()), nullptr);
    ASSERT_NE(probe_u_ = d4open(other, at("U").c_str()), nullptr);
  }
  // Whether record `rec` (0: the whole file) of the probe's table is free.
  static bool free_in(DATA4* probe, int rec) {
    int rc = rec == 0 ? d4lockFile(probe) : d4lock(probe, rec);
    d4unlock(probe);
    return rc == 0;
  }
  bool free_t(int rec) { return free_in(probe_t_, rec); }
  bool free_u(int rec) { return free_in(probe_u_, rec); }

  DATA4 *a_ = nullptr, *b_ = nullptr, *u_ = nullptr, *probe_t_ = nullptr, *probe_u_ = nullptr;
};

TEST_F(TableLocks, ClonesConflictOnRecordsAndFile) {
  code4unlockAutoSetCB(c4_, 0);
  EXPECT_EQ(d4lock(a_, 1), 0);
  EXPECT_EQ(d4lock(a_, 1), 0) << "a lock already held";
  EXPECT_EQ(d4lock(b_, 1), r4locked);
  EXPECT_EQ(d4lock(b_, 2), 0);
  EXPECT_EQ(d4lockFile(b_), r4locked);
  EXPECT_EQ(d4lockFile(a_), r4locked);
  EXPECT_FALSE(free_t(1));
  EXPECT_FALSE(free_t(2));
  EXPECT_TRUE(free_t(3));
  ASSERT_EQ(d4unlock(b_), 0);
  EXPECT_TRUE(free_t(2));
  EXPECT_EQ(d4lockFile(a_), 0);
  EXPECT_EQ(d4lock(b_, 3), r4locked);
  EXPECT_EQ(d4lock(a_, 3), 0) << "covered by the file lock";
  EXPECT_FALSE(free_t(3));
  ASSERT_EQ(d4unlock(a_), 0);
  EXPECT_TRUE(free_t(0));
  EXPECT_EQ(d4lock(b_, 3), 0);
  EXPECT_EQ(d4lock(b_, 0), e4parm);
  ASSERT_EQ(d4close(b_), 0);
  EXPECT_TRUE(free_t(3)) << "closing releases the handle's locks";
}

TEST_F(TableLocks, GroupLockIsAllOrNothing) {
  code4unlockAutoSetCB(c4_, 0);
  ASSERT_EQ(d4lock(a_, 3), 0);
  ASSERT_EQ(d4lockAdd(b_, 1), 0);
  ASSERT_EQ(d4lockAdd(b_, 3), 0);
  EXPECT_EQ(code4lock(c4_), r4locked);
  EXPECT_TRUE(free_t(1)) << "the lock on record 1 was given back";
  ASSERT_EQ(d4unlock(a_), 0);
  EXPECT_EQ(code4lock(c4_), 0) << "the queue was used up";
  EXPECT_TRUE(free_t(1));

  ASSERT_EQ(d4lockAdd(b_, 1), 0);
  ASSERT_EQ(d4lockAdd(b_, 3), 0);
  ASSERT_EQ(d4lockAdd(u_, 2), 0);
  EXPECT_EQ(code4lock(c4_), 0);
  EXPECT_FALSE(free_t(1));
  EXPECT_FALSE(free_t(3));
  EXPECT_TRUE(free_t(2));
  EXPECT_FALSE(free_u(2));

  ASSERT_EQ(d4lockAddFile(a_), 0);
  EXPECT_EQ(code4lock(c4_), r4locked) << "records held by the clone";
  ASSERT_EQ(d4unlock(b_), 0);
  ASSERT_EQ(d4lockAddAll(a_), 0);
  EXPECT_EQ(code4lock(c4_), 0);
  EXPECT_FALSE(free_t(2));
  EXPECT_FALSE(free_u(2));
}

TEST_F(TableLocks, AutomaticUnlockModes) {
  // 0: locks accumulate.
  code4unlockAutoSetCB(c4_, 0);
  ASSERT_EQ(d4lock(a_, 1), 0);
  ASSERT_EQ(d4lock(a_, 2), 0);
  ASSERT_EQ(d4lock(u_, 1), 0);
  EXPECT_FALSE(free_t(1));
  EXPECT_FALSE(free_t(2));
  code4close(c4_);
  ASSERT_NE(a_ = d4open(c4_, at("T").c_str()), nullptr);
  ASSERT_NE(b_ = d4openClone(a_), nullptr);
  ASSERT_NE(u_ = d4open(c4_, at("U").c_str()), nullptr);

  // 1: a new lock first releases every lock of the context.
  code4unlockAutoSetCB(c4_, 1);
  ASSERT_EQ(d4lock(a_, 1), 0);
  ASSERT_EQ(d4lock(b_, 1), 0) << "the clone's lock went first";
  EXPECT_FALSE(free_t(1));
  ASSERT_EQ(d4lock(u_, 2), 0);
  EXPECT_TRUE(free_t(1));
  EXPECT_FALSE(free_u(2));

  // 2: only the locks on the same table.
  code4unlockAutoSetCB(c4_, 2);
  ASSERT_EQ(d4lock(a_, 3), 0);
  EXPECT_FALSE(free_u(2));
  ASSERT_EQ(d4lock(b_, 2), 0);
  EXPECT_TRUE(free_t(3));
  EXPECT_FALSE(free_t(2));
  EXPECT_FALSE(free_u(2));
}

TEST_F(TableLocks, UnlockWritesAndEnforcementNeedsALock) {
  code4lockEnforce(c4_, 1);
  ASSERT_EQ(d4go(a_, 1), 0);
  f4assign(d4field(a_, "NAME"), "nolock");
  EXPECT_EQ(error(), e4lock);
  EXPECT_EQ(str(a_, "NAME"), "R1");
  EXPECT_EQ(d4delete(a_), e4lock);
  EXPECT_EQ(f4memoAssign(d4field(a_, "NOTE"), "x"), e4lock);
  EXPECT_EQ(d4changed(a_, -1), 0);
  error();
  ASSERT_EQ(d4lock(a_, 1), 0);
  f4assign(d4field(a_, "NAME"), "locked");
  EXPECT_EQ(error(), 0);
  ASSERT_EQ(d4unlock(a_), 0);
  EXPECT_EQ(d4changed(a_, -1), 0);
  ASSERT_EQ(d4go(probe_t_, 1), 0);
  EXPECT_EQ(str(probe_t_, "NAME"), "locked");
  EXPECT_TRUE(free_t(1));
}

}  // namespace
