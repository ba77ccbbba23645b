// Shared tables across processes, contexts and clones: concurrent appends and
// updates, lock conflicts, exclusive opens, lock enforcement, visibility of
// other processes' writes, and the exact lock bytes each format uses.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "helpers/worker_table.h"
#include "process_util.h"
#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using process_util::HeldLock;
using process_util::Peer;

using test_files::Context;

std::string format_name(int format) {
  return format == 1 ? "FoxPro" : format == 2 ? "Clipper" : "dBASE";
}

class SharedTable : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    for (char& c : name)
      if (c == '/') c = '_';
    dir_ = fs::temp_directory_path() / ("vgx_mp_" + std::to_string(getpid()) + "_" + name);
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    table_ = (dir_ / "shared.dbf").string();
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Creates the shared table with `records` records (COUNTER 0).
  void create_table(int format, int records = 0) {
    Context ctx(format);
    code4safety(ctx.c4, 0);
    DATA4* d = d4create(ctx.c4, table_.c_str(), worker_table::fields(), nullptr);
    ASSERT_NE(d, nullptr) << ctx.error();
    for (int i = 1; i <= records; ++i) {
      ASSERT_EQ(d4appendStart(d, 0), 0);
      d4blank(d);
      f4assignLong(d4field(d, "SEQ"), i);
      f4assignLong(d4field(d, "COUNTER"), 0);
      f4assign(d4field(d, "TXT"), ("rec" + std::to_string(i)).c_str());
      ASSERT_EQ(d4append(d), 0);
    }
    ASSERT_EQ(d4close(d), 0);
  }

  // Workers wait for this file, so that they run at the same time.
  std::string start_file() const { return (dir_ / "start").string(); }
  void start_workers() const {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::ofstream(start_file()) << "go\n";
  }

  fs::path dir_;
  std::string table_;
};

// ---- concurrent appends and updates ------------------------------------------

class SharedTableFormat : public SharedTable, public ::testing::WithParamInterface<int> {};

TEST_P(SharedTableFormat, FourProcessesAppendEveryRecordExactlyOnce) {
  const int format = GetParam();
  constexpr int kWorkers = 4, kEach = 500, kMemoEvery = 3;
  create_table(format);
  std::vector<pid_t> pids;
  for (int w = 1; w <= kWorkers; ++w) {
    pids.push_back(
        process_util::spawn({process_util::worker_path(), "append", "table=" + table_,
                             "format=" + std::to_string(format), "worker=" + std::to_string(w),
                             "count=" + std::to_string(kEach),
                             "memo_every=" + std::to_string(kMemoEvery), "start=" + start_file()},
                            false)
            .pid);
  }
  start_workers();
  for (pid_t pid : pids) EXPECT_EQ(process_util::wait_exit(pid), 0);

  Context ctx(format);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr) << ctx.error();
  ASSERT_EQ(d4recCount(d), kWorkers * kEach);
  FIELD4* worker = d4field(d, "WORKER");
  FIELD4* seq = d4field(d, "SEQ");
  FIELD4* txt = d4field(d, "TXT");
  FIELD4* note = d4field(d, "NOTE");
  std::map<std::pair<int, int>, int> seen;
  int bad_memos = 0, bad_text = 0;
  for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) {
    const int w = f4long(worker), s = f4long(seq);
    ++seen[{w, s}];
    const std::string want_txt = "w" + std::to_string(w) + "s" + std::to_string(s);
    if (std::string(f4str(txt)).substr(0, want_txt.size()) != want_txt) ++bad_text;
    const std::string want_memo = s % kMemoEvery == 0 ? worker_table::memo_text(w, s) : "";
    if (std::string(f4memoStr(note), f4memoLen(note)) != want_memo) ++bad_memos;
  }
  EXPECT_EQ(ctx.error(), 0);
  EXPECT_EQ(bad_text, 0);
  EXPECT_EQ(bad_memos, 0);
  ASSERT_EQ(seen.size(), size_t(kWorkers * kEach));
  for (const auto& [key, n] : seen) {
    EXPECT_EQ(n, 1) << "worker " << key.first << " seq " << key.second;
    EXPECT_TRUE(key.first >= 1 && key.first <= kWorkers && key.second >= 1 && key.second <= kEach);
  }
  // Nothing lies past the last record but the end mark.
  std::ifstream in(table_, std::ios::binary);
  uint8_t h[12] = {};
  in.read(reinterpret_cast<char*>(h), sizeof h);
  const uint64_t header_len = h[8] | (h[9] << 8), record_len = h[10] | (h[11] << 8);
  EXPECT_EQ(fs::file_size(table_), header_len + record_len * kWorkers * kEach + 1);
}

class CounterTest : public SharedTable, public ::testing::WithParamInterface<const char*> {};

TEST_P(CounterTest, ConcurrentIncrementsLoseNoUpdate) {
  constexpr int kWorkers = 4, kIterations = 1000, kRecords = 5;
  create_table(1, kRecords);
  std::vector<pid_t> pids;
  for (int w = 0; w < kWorkers; ++w) {
    pids.push_back(
        process_util::spawn(
            {process_util::worker_path(), "update", "table=" + table_, "format=1",
             std::string("lock=") + GetParam(), "iterations=" + std::to_string(kIterations),
             "records=" + std::to_string(kRecords), "start=" + start_file()},
            false)
            .pid);
  }
  start_workers();
  for (pid_t pid : pids) EXPECT_EQ(process_util::wait_exit(pid), 0);

  Context ctx(1);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4recCount(d), kRecords);
  long total = 0;
  for (int rec = 1; rec <= kRecords; ++rec) {
    ASSERT_EQ(d4go(d, rec), 0);
    // Each worker visits the records in turn, so each gets the same share
    // (the iterations are a multiple of 4 visits times the records).
    EXPECT_EQ(f4long(d4field(d, "COUNTER")), kWorkers * kIterations / kRecords) << "record " << rec;
    EXPECT_EQ(f4long(d4field(d, "SEQ")), rec);
    total += f4long(d4field(d, "COUNTER"));
  }
  EXPECT_EQ(total, kWorkers * kIterations);
}

INSTANTIATE_TEST_SUITE_P(Locks, CounterTest, ::testing::Values("record", "file"),
                         [](const auto& info) { return std::string(info.param); });

// ---- lock conflicts ------------------------------------------------------------

// Sets the short retry the conflict tests use: three attempts 10 ms apart.
void short_retry(CODE4* c4) {
  code4lockAttempts(c4, 3);
  code4lockDelay(c4, 10);
}

// d4lock / d4lockFile through `call`, which must be refused after the two
// delays between three attempts, and not hang.
template <class F>
void expect_refused_in_time(F call, const char* what) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(call(), r4locked) << what;
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - start)
                      .count();
  EXPECT_GE(ms, 20) << what << ": fewer attempts than configured";
  EXPECT_LT(ms, 2000) << what << ": waited instead of giving up";
}

TEST_P(SharedTableFormat, LocksOfAnotherProcessAreRefusedAfterTheAttempts) {
  const int format = GetParam();
  create_table(format, 6);
  Peer peer(format);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  Context ctx(format);
  short_retry(ctx.c4);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);

  // The peer holds record 3.
  ASSERT_EQ(peer.rc("lock 3"), 0);
  expect_refused_in_time([&] { return d4lock(d, 3); }, "record lock against a record lock");
  expect_refused_in_time([&] { return d4lockFile(d); }, "file lock against a record lock");
  EXPECT_EQ(d4lock(d, 4), 0) << "another record is free";
  // Appends take no record lock the peer holds.
  EXPECT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(d4unlock(d), 0);

  // The peer holds the file: no record, no file lock, no append here.
  ASSERT_EQ(peer.rc("unlock"), 0);
  ASSERT_EQ(peer.rc("lockfile"), 0);
  expect_refused_in_time([&] { return d4lock(d, 5); }, "record lock against a file lock");
  expect_refused_in_time([&] { return d4lockFile(d); }, "file lock against a file lock");
  const int32_t before = d4recCount(d);
  EXPECT_EQ(d4appendBlank(d), r4locked) << "an append while another process holds the file lock";
  EXPECT_EQ(d4recCount(d), before);
  ASSERT_EQ(peer.rc("unlock"), 0);
  EXPECT_EQ(d4lock(d, 5), 0);

  // And the other way round: this process holds, the peer is refused.
  EXPECT_EQ(peer.rc("set attempts 3"), 1);
  EXPECT_EQ(peer.rc("set delay 10"), 100);
  EXPECT_EQ(peer.rc("lock 5"), r4locked);
  EXPECT_EQ(peer.rc("lockfile"), r4locked);
  EXPECT_EQ(peer.rc("lock 2"), 0);
  EXPECT_EQ(d4lockFile(d), r4locked) << "the peer's record 2";
  EXPECT_EQ(peer.rc("unlock"), 0);
  EXPECT_EQ(d4lockFile(d), 0);
  EXPECT_EQ(peer.rc("lock 1"), r4locked);
  EXPECT_EQ(peer.value("count"), before) << "no append got past the file lock";
  EXPECT_EQ(d4unlock(d), 0);
  EXPECT_EQ(peer.rc("lock 1"), 0);
}

TEST_F(SharedTable, GroupLockTakesAllOrNothing) {
  create_table(1, 6);
  Peer peer(1);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  ASSERT_EQ(peer.rc("lock 3"), 0);
  Context ctx(1);
  short_retry(ctx.c4);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4lockAdd(d, 2), 0);
  ASSERT_EQ(d4lockAdd(d, 3), 0);
  expect_refused_in_time([&] { return code4lock(ctx.c4); }, "group with a record held elsewhere");
  // Record 2 was given back with the refusal.
  ASSERT_EQ(peer.rc("set attempts 1"), 1);
  EXPECT_EQ(peer.rc("lock 2"), 0);
  ASSERT_EQ(peer.rc("unlock"), 0);
  ASSERT_EQ(d4lockAdd(d, 2), 0);
  ASSERT_EQ(d4lockAdd(d, 3), 0);
  EXPECT_EQ(code4lock(ctx.c4), 0);
  EXPECT_EQ(peer.rc("lock 2"), r4locked);
  EXPECT_EQ(peer.rc("lock 3"), r4locked);
}

TEST_F(SharedTable, WriteOfARecordLockedElsewhereIsRefused) {
  create_table(1, 3);
  Peer peer(1);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  ASSERT_EQ(peer.rc("lock 2"), 0);
  Context ctx(1);
  short_retry(ctx.c4);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 2), 0);
  f4assign(d4field(d, "TXT"), "not allowed yet");
  // Without lock enforcement the write locks for itself, and cannot.
  expect_refused_in_time([&] { return d4write(d, 2); }, "write of a record held elsewhere");
  EXPECT_EQ(d4changed(d, -1), 1) << "the change stays pending";
  ASSERT_EQ(peer.rc("go 2"), 0);
  EXPECT_EQ(peer.rc("unlock"), 0);
  EXPECT_EQ(d4write(d, 2), 0);
  ASSERT_EQ(peer.rc("go 2"), 0);
  EXPECT_EQ(peer.rc("lock 2"), 0) << "the write's own lock was released";
}

TEST_F(SharedTable, TwoContextsOfOneProcessConflictLikeTwoProcesses) {
  create_table(1, 6);
  Context a(1), b(1);
  short_retry(a.c4);
  short_retry(b.c4);
  DATA4* da = d4open(a.c4, table_.c_str());
  DATA4* db = d4open(b.c4, table_.c_str());
  ASSERT_TRUE(da && db);
  ASSERT_EQ(d4lock(da, 3), 0);
  expect_refused_in_time([&] { return d4lock(db, 3); }, "second context, same record");
  expect_refused_in_time([&] { return d4lockFile(db); }, "second context, file lock");
  EXPECT_EQ(d4lock(db, 4), 0);
  // The first context's new request gives up its record 3 first (automatic
  // unlocking), then meets the second context's record 4.
  EXPECT_EQ(d4lockFile(da), r4locked);
  EXPECT_EQ(d4unlock(db), 0);
  EXPECT_EQ(d4lockFile(da), 0);
  expect_refused_in_time([&] { return d4lock(db, 5); }, "second context against a file lock");
  EXPECT_EQ(d4appendBlank(db), r4locked);
  EXPECT_EQ(d4unlock(da), 0);
  EXPECT_EQ(d4lock(db, 5), 0);
}

TEST_F(SharedTable, ClonesOfOneContextConflict) {
  create_table(1, 6);
  Context ctx(1);
  short_retry(ctx.c4);
  code4unlockAutoSetCB(ctx.c4, 0);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  DATA4* clone = d4openClone(d);
  ASSERT_NE(clone, nullptr);
  ASSERT_EQ(d4lock(d, 3), 0);
  expect_refused_in_time([&] { return d4lock(clone, 3); }, "clone, same record");
  expect_refused_in_time([&] { return d4lockFile(clone); }, "clone, file lock");
  EXPECT_EQ(d4lock(clone, 4), 0);
  EXPECT_EQ(d4lockFile(d), r4locked);
  EXPECT_EQ(d4unlock(clone), 0);
  EXPECT_EQ(d4lockFile(d), 0);
  expect_refused_in_time([&] { return d4lock(clone, 5); }, "clone against a file lock");
  EXPECT_EQ(d4unlock(d), 0);
  EXPECT_EQ(d4lock(clone, 5), 0);
  ASSERT_EQ(d4lock(d, 2), 0);

  // With automatic unlocking of the whole context, a clone's request first
  // releases the other handle's locks, so it cannot conflict with them.
  code4unlockAutoSetCB(ctx.c4, 1);
  EXPECT_EQ(d4lock(clone, 2), 0);
  Context other(1);
  short_retry(other.c4);
  DATA4* o = d4open(other.c4, table_.c_str());
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(d4lock(o, 5), 0) << "the clone's record 5 went with the automatic unlock";
  EXPECT_EQ(d4lock(o, 2), r4locked) << "the clone holds record 2";
}

// ---- exclusive opens -----------------------------------------------------------

// Opens the table in a fresh context of this process with `access` (0 shared,
// 1 exclusive) and `read_only`; answers 0 or the error code.
int open_here(const std::string& table, int access, int read_only) {
  Context ctx(1);
  code4accessMode(ctx.c4, access);
  code4readOnly(ctx.c4, read_only);
  DATA4* d = d4open(ctx.c4, table.c_str());
  return d ? 0 : ctx.error();
}

TEST_F(SharedTable, ExclusiveOpenShutsOutEveryOtherOpen) {
  create_table(1, 2);
  {
    Peer peer(1);
    ASSERT_EQ(peer.rc("set access 1"), 0);
    ASSERT_EQ(peer.rc("open " + table_), 0);
    EXPECT_EQ(open_here(table_, 0, 0), e4access);
    EXPECT_EQ(open_here(table_, 1, 0), e4access);
    EXPECT_EQ(open_here(table_, 0, 1), e4access);
    EXPECT_EQ(open_here(table_, 1, 1), e4access);
    ASSERT_EQ(peer.rc("close"), 0);
    EXPECT_EQ(open_here(table_, 1, 0), 0) << "the exclusive use ended with the close";
  }
  {
    // This process exclusive, the peer shut out.
    Context ctx(1);
    code4accessMode(ctx.c4, 1);
    DATA4* d = d4open(ctx.c4, table_.c_str());
    ASSERT_NE(d, nullptr);
    Peer peer(1);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    ASSERT_EQ(peer.rc("set access 1"), 0);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    ASSERT_EQ(peer.rc("set access 0"), 1);
    ASSERT_EQ(peer.rc("set readonly 1"), 0);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    // Nor may a create replace the table under its user.
    Context creator(1);
    code4safety(creator.c4, 0);
    EXPECT_EQ(d4create(creator.c4, table_.c_str(), worker_table::fields(), nullptr), nullptr);
    EXPECT_EQ(creator.error(), e4access);
    EXPECT_EQ(d4recCount(d), 2);
  }
  {
    // A shared user keeps an exclusive opener out, in either process.
    Peer peer(1);
    ASSERT_EQ(peer.rc("open " + table_), 0);
    EXPECT_EQ(open_here(table_, 1, 0), e4access);
    EXPECT_EQ(open_here(table_, 0, 0), 0);
    EXPECT_EQ(open_here(table_, 0, 1), 0);
    ASSERT_EQ(peer.rc("close"), 0);
    Context ctx(1);
    DATA4* d = d4open(ctx.c4, table_.c_str());
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(peer.rc("set access 1"), 0);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
  }
}

// ---- lock enforcement ------------------------------------------------------------

// Deletion flag and fields: the record buffer's length.
size_t record_len(DATA4* d) {
  size_t n = 1;
  for (int j = 1; j <= d4numFields(d); ++j) n += static_cast<size_t>(f4len(d4fieldJ(d, j)));
  return n;
}

TEST_F(SharedTable, EnforcementRefusesChangesWithoutTheLock) {
  create_table(1, 3);
  Context ctx(1);
  code4lockEnforce(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  FIELD4* txt = d4field(d, "TXT");
  FIELD4* counter = d4field(d, "COUNTER");
  FIELD4* note = d4field(d, "NOTE");
  ASSERT_EQ(d4go(d, 2), 0);
  const std::string before(d4recordLow(d), record_len(d));

  f4assign(txt, "changed");
  EXPECT_EQ(code4errorCode(ctx.c4, 0), e4lock);
  f4assignLong(counter, 7);
  EXPECT_EQ(code4errorCode(ctx.c4, 0), e4lock);
  EXPECT_EQ(f4memoAssign(note, "memo"), e4lock);
  EXPECT_EQ(code4errorCode(ctx.c4, 0), e4lock);
  EXPECT_EQ(d4delete(d), e4lock);
  EXPECT_EQ(code4errorCode(ctx.c4, 0), e4lock);
  EXPECT_EQ(std::string(d4recordLow(d), record_len(d)), before);
  EXPECT_STREQ(f4str(txt), "rec2                ");
  EXPECT_EQ(d4changed(d, -1), 0);
  EXPECT_EQ(f4memoLen(note), 0u);

  // A lock on another record does not cover this one.
  ASSERT_EQ(d4lock(d, 1), 0);
  f4assign(txt, "changed");
  EXPECT_EQ(code4errorCode(ctx.c4, 0), e4lock);

  ASSERT_EQ(d4lock(d, 2), 0);
  f4assign(txt, "changed");
  EXPECT_EQ(code4errorCode(ctx.c4, 0), 0);
  EXPECT_EQ(d4changed(d, -1), 1);
  ASSERT_EQ(d4unlock(d), 0);

  ASSERT_EQ(d4go(d, 3), 0);
  ASSERT_EQ(d4lockFile(d), 0);
  f4assignLong(counter, 9);
  EXPECT_EQ(code4errorCode(ctx.c4, 0), 0);
  ASSERT_EQ(d4unlock(d), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_STREQ(f4str(txt), "changed             ");
  ASSERT_EQ(d4go(d, 3), 0);
  EXPECT_EQ(f4long(counter), 9);
}

TEST_F(SharedTable, EnforcementLeavesExclusiveTablesAndNewRecordsAlone) {
  create_table(1, 1);
  Context ctx(1);
  code4lockEnforce(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  // A record being appended is no one else's yet.
  ASSERT_EQ(d4appendStart(d, 0), 0);
  f4assign(d4field(d, "TXT"), "new");
  EXPECT_EQ(code4errorCode(ctx.c4, 0), 0);
  ASSERT_EQ(d4append(d), 0);
  ASSERT_EQ(d4close(d), 0);

  code4accessMode(ctx.c4, 1);
  d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 1), 0);
  f4assign(d4field(d, "TXT"), "mine alone");
  EXPECT_EQ(code4errorCode(ctx.c4, 0), 0);
}

// ---- visibility of other processes' writes -------------------------------------

TEST_P(SharedTableFormat, ReaderSeesAnotherProcessesCommittedWrites) {
  const int format = GetParam();
  create_table(format, 3);
  Context ctx(format);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  FIELD4* txt = d4field(d, "TXT");
  FIELD4* note = d4field(d, "NOTE");
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(d4recCount(d), 3);

  Peer peer(format);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  for (int i = 0; i < 3; ++i)
    ASSERT_EQ(peer.ask("append 9 " + std::to_string(i) + " memo " + std::to_string(i)),
              "0 " + std::to_string(4 + i));
  EXPECT_EQ(d4recCount(d), 6);
  EXPECT_EQ(d4recCountDo(d), 6);
  ASSERT_EQ(d4go(d, 6), 0);
  EXPECT_EQ(f4long(d4field(d, "WORKER")), 9);
  EXPECT_EQ(f4long(d4field(d, "SEQ")), 2);
  EXPECT_STREQ(f4memoStr(note), "memo 2");
  EXPECT_EQ(d4skip(d, 1), r4eof);

  // A rewrite of record 1, memo included; the reader's buffer keeps the old
  // values until it reads the record again.
  ASSERT_EQ(d4go(d, 1), 0);
  ASSERT_EQ(peer.rc("go 1"), 0);
  ASSERT_EQ(peer.rc("lock 1"), 0);
  ASSERT_EQ(peer.rc("assign TXT rewritten"), 0);
  ASSERT_EQ(peer.rc("assign NOTE a new memo"), 0);
  ASSERT_EQ(peer.rc("write 1"), 0);
  ASSERT_EQ(peer.rc("unlock"), 0);
  EXPECT_STREQ(f4str(txt), "rec1                ");
  ASSERT_EQ(d4refreshRecord(d), 0);
  EXPECT_STREQ(f4str(txt), "rewritten           ");
  EXPECT_STREQ(f4memoStr(note), "a new memo");
  EXPECT_EQ(ctx.error(), 0);
}

TEST_F(SharedTable, ReadCachingReaderSeesWritesAfterRefresh) {
  create_table(1, 3);
  Context ctx(1);
  code4optimize(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  FIELD4* txt = d4field(d, "TXT");
  ASSERT_EQ(d4go(d, 2), 0);

  Peer peer(1);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  ASSERT_EQ(peer.rc("go 2"), 0);
  ASSERT_EQ(peer.rc("assign TXT from the peer"), 0);
  ASSERT_EQ(peer.rc("flush"), 0);
  ASSERT_EQ(peer.ask("append 5 1"), "0 4");

  ASSERT_EQ(d4refresh(d), 0);
  ASSERT_EQ(d4go(d, 2), 0);
  EXPECT_STREQ(f4str(txt), "from the peer       ");
  ASSERT_EQ(d4recCount(d), 4);
  ASSERT_EQ(d4go(d, 4), 0);
  EXPECT_EQ(f4long(d4field(d, "WORKER")), 5);
  EXPECT_EQ(ctx.error(), 0);
}

TEST_F(SharedTable, ReadCachingReaderReachesRecordsAppendedElsewhere) {
  // d4recCount reports another process's append: the record must then be
  // readable, whatever the cache remembers of the file's size.
  create_table(1, 3);
  Context ctx(1);
  code4optimize(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 3), 0);
  Peer peer(1);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  ASSERT_EQ(peer.ask("append 5 1 a memo written elsewhere"), "0 4");
  ASSERT_EQ(d4recCount(d), 4);
  EXPECT_EQ(d4go(d, 4), 0);
  EXPECT_EQ(f4long(d4field(d, "WORKER")), 5);
  EXPECT_STREQ(f4memoStr(d4field(d, "NOTE")), "a memo written elsewhere");
  EXPECT_EQ(ctx.error(), 0);
}

// ---- the lock bytes ------------------------------------------------------------

struct Scheme {
  uint64_t record_1;    // byte locked for record 1
  bool descending;      // record N at record_1 - (N - 1), else + (N - 1)
  uint64_t file_first;  // file lock range, inclusive
  uint64_t file_last;
};

Scheme scheme_of(int format) {
  switch (format) {
    case 2:
      return {1000000000ull + 1, false, 1000000001ull, 2000000000ull};
    case 4:
      return {0xEFFFFFFEull - 1, true, 0xEFFFFFFEull - 1000000000ull, 0xEFFFFFFFull};
    default:
      return {0x7FFFFFFEull - 1, true, 0x7FFFFFFEull - 0x07FFFFFFull, 0x7FFFFFFEull};
  }
}

std::vector<HeldLock> byte_locks(const std::vector<HeldLock>& all) {
  std::vector<HeldLock> out;
  for (const HeldLock& l : all)
    if (l.kind != "FLOCK") out.push_back(l);
  return out;
}

std::string open_mode_lock(const std::vector<HeldLock>& all) {
  for (const HeldLock& l : all)
    if (l.kind == "FLOCK") return l.type;
  return "none";
}

TEST_P(SharedTableFormat, LockBytesFollowTheFormatsScheme) {
  const int format = GetParam();
  const Scheme s = scheme_of(format);
  create_table(format, 40);
  Peer peer(format);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  const int fd = process_util::fd_of(peer.pid(), table_);
  ASSERT_GE(fd, 0);
  auto locks = [&] { return process_util::locks_of(peer.pid(), fd); };
  EXPECT_EQ(open_mode_lock(locks()), "READ") << "a shared open holds a shared whole-file lock";
  EXPECT_TRUE(byte_locks(locks()).empty());

  for (int32_t rec : {1, 2, 37}) {
    ASSERT_EQ(peer.rc("lock " + std::to_string(rec)), 0);
    const uint64_t want =
        s.descending ? s.record_1 - uint64_t(rec - 1) : s.record_1 + uint64_t(rec - 1);
    auto held = byte_locks(locks());
    ASSERT_EQ(held.size(), 1u) << "record " << rec;
    EXPECT_EQ(held[0].kind, "OFDLCK");
    EXPECT_EQ(held[0].type, "WRITE");
    EXPECT_EQ(held[0].start, want) << "record " << rec;
    EXPECT_EQ(held[0].end, want) << "record " << rec;
    ASSERT_EQ(peer.rc("unlock"), 0);
    EXPECT_TRUE(byte_locks(locks()).empty()) << "record " << rec << " stays locked";
  }

  ASSERT_EQ(peer.rc("lockfile"), 0);
  auto held = byte_locks(locks());
  ASSERT_EQ(held.size(), 1u);
  EXPECT_EQ(held[0].type, "WRITE");
  EXPECT_EQ(held[0].start, s.file_first);
  EXPECT_EQ(held[0].end, s.file_last);
  ASSERT_EQ(peer.rc("unlock"), 0);
  EXPECT_TRUE(byte_locks(locks()).empty());

  // An append leaves no lock behind.
  ASSERT_EQ(peer.ask("append 1 1 memo"), "0 41");
  EXPECT_TRUE(byte_locks(locks()).empty());

  ASSERT_EQ(peer.rc("close"), 0);
  ASSERT_EQ(peer.rc("set access 1"), 0);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  const int fd2 = process_util::fd_of(peer.pid(), table_);
  ASSERT_GE(fd2, 0);
  EXPECT_EQ(open_mode_lock(process_util::locks_of(peer.pid(), fd2)), "WRITE")
      << "an exclusive open holds an exclusive whole-file lock";
}

INSTANTIATE_TEST_SUITE_P(Formats, SharedTableFormat, ::testing::Values(1, 2, 4),
                         [](const auto& info) { return format_name(info.param); });

}  // namespace
