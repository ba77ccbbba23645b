// Shared tables across processes, in every table format: concurrent appends
// and updates, lock conflicts, exclusive opens, visibility of other
// processes' writes, and the exact lock bytes each format uses.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "formats.h"
#include "helpers/worker_table.h"
#include "process_util.h"
#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using process_util::HeldLock;
using process_util::Peer;
using test_files::Context;

class SharedTable : public ::testing::Test {
 protected:
  virtual const formats::Table& table_format() const = 0;
  int format() const { return table_format().format; }
  std::unique_ptr<Context> context() const {
    return std::make_unique<Context>(format(), table_format().compatibility);
  }
  // Creates the shared table with `records` records (COUNTER 0).
  void create_table(int records = 0) {
    auto ctx = context();
    code4safety(ctx->c4, 0);
    DATA4* d = d4create(ctx->c4, table_.c_str(), worker_table::fields(), nullptr);
    ASSERT_NE(d, nullptr) << ctx->error();
    for (int i = 1; i <= records; ++i) {
      ASSERT_EQ(d4appendStart(d, 0), 0);
      d4blank(d);
      f4assignLong(d4field(d, "SEQ"), i);
      f4assign(d4field(d, "TXT"), ("rec" + std::to_string(i)).c_str());
      ASSERT_EQ(d4append(d), 0);
    }
    ASSERT_EQ(d4close(d), 0);
  }
  // Starts `n` table_workers running `command` with `args` and worker=1..n;
  // they begin together once all have started, and must all end well.
  void run_workers(int n, const char* command, std::vector<std::string> args) {
    const std::string start = tmp_.at("start");
    args.insert(args.begin(), {process_util::worker_path(), command, "table=" + table_,
                               "format=" + std::to_string(format()), "start=" + start});
    std::vector<pid_t> pids;
    for (int w = 1; w <= n; ++w) {
      args.push_back("worker=" + std::to_string(w));
      pids.push_back(process_util::spawn(args, false).pid);
      args.pop_back();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    test_files::spit(start, "go\n");
    for (pid_t pid : pids) EXPECT_EQ(process_util::wait_exit(pid), 0);
  }

  test_files::TempDir tmp_{"vgx-mp"};
  const std::string table_ = tmp_.at("shared.dbf");
};

class SharedTableFormat : public SharedTable, public ::testing::WithParamInterface<formats::Table> {
 protected:
  const formats::Table& table_format() const override { return GetParam(); }
};

// ---- concurrent appends and updates ---------------------------------------------

TEST_P(SharedTableFormat, FourProcessesAppendEveryRecordExactlyOnce) {
  constexpr int kWorkers = 4, kEach = 500, kMemoEvery = 3;
  create_table();
  run_workers(kWorkers, "append", {"count=" + std::to_string(kEach),
                         "memo_every=" + std::to_string(kMemoEvery)});
  auto ctx = context();
  DATA4* d = d4open(ctx->c4, table_.c_str());
  ASSERT_NE(d, nullptr) << ctx->error();
  ASSERT_EQ(d4recCount(d), kWorkers * kEach);
  FIELD4 *worker = d4field(d, "WORKER"), *seq = d4field(d, "SEQ"), *txt = d4field(d, "TXT"),
         *note = d4field(d, "NOTE");
  std::map<std::pair<int, int>, int> seen;
  int bad_memos = 0, bad_text = 0;
  for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) {
    const int w = f4long(worker), s = f4long(seq);
    ++seen[{w, s}];
    const std::string want_txt = "w" + std::to_string(w) + "s" + std::to_string(s);
    bad_text += std::string(f4str(txt)).substr(0, want_txt.size()) != want_txt;
    const std::string want_memo = s % kMemoEvery == 0 ? worker_table::memo_text(w, s) : "";
    bad_memos += std::string(f4memoStr(note), f4memoLen(note)) != want_memo;
  }
  EXPECT_EQ(ctx->error(), 0);
  EXPECT_EQ(bad_text + bad_memos, 0);
  ASSERT_EQ(seen.size(), size_t(kWorkers * kEach));
  for (const auto& [key, n] : seen) {
    EXPECT_EQ(n, 1) << "worker " << key.first << " seq " << key.second;
    EXPECT_TRUE(key.first >= 1 && key.first <= kWorkers && key.second >= 1 && key.second <= kEach);
  }
  // Nothing lies past the last record but the end mark.
  const test_files::TableWords w = test_files::table_words(table_);
  EXPECT_EQ(w.size, w.header_len + w.record_len * kWorkers * kEach + 1);
}

class CounterTest : public SharedTable,
                    public ::testing::WithParamInterface<std::tuple<formats::Table, const char*>> {
 protected:
  const formats::Table& table_format() const override { return std::get<0>(GetParam()); }
};

TEST_P(CounterTest, ConcurrentIncrementsLoseNoUpdate) {
  constexpr int kWorkers = 4, kIterations = 1000, kRecords = 5;
  create_table(kRecords);
  run_workers(kWorkers, "update", {std::string("lock=") + std::get<1>(GetParam()),
                         "iterations=" + std::to_string(kIterations),
                         "records=" + std::to_string(kRecords)});
  auto ctx = context();
  DATA4* d = d4open(ctx->c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4recCount(d), kRecords);
  for (int rec = 1; rec <= kRecords; ++rec) {
    ASSERT_EQ(d4go(d, rec), 0);
    // Each worker visits the records in turn, so each gets the same share
    // (the iterations are a multiple of 4 visits times the records).
    EXPECT_EQ(f4long(d4field(d, "COUNTER")), kWorkers * kIterations / kRecords) << "record " << rec;
    EXPECT_EQ(f4long(d4field(d, "SEQ")), rec);
  }
}

INSTANTIATE_TEST_SUITE_P(Locks, CounterTest,
                         ::testing::Combine(::testing::ValuesIn(formats::tables()),
                                            ::testing::Values("record", "file")),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) + "_" +
                                  std::get<1>(info.param);
                         });

// ---- lock conflicts ----------------------------------------------------------------

// Sets the short retry the conflict tests use: three attempts 10 ms apart.
void short_retry(CODE4* c4) {
  code4lockAttempts(c4, 3);
  code4lockDelay(c4, 10);
}

// A lock call that must be refused after the two delays between three
// attempts, and not hang.
template <class F>
void expect_refused_in_time(F call, const char* what) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(call(), r4locked) << what;
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - start).count();
  EXPECT_GE(ms, 20) << what << ": fewer attempts than configured";
  EXPECT_LT(ms, 2000) << what << ": waited instead of giving up";
}

TEST_P(SharedTableFormat, LocksOfAnotherProcessAreRefusedAfterTheAttempts) {
  create_table(6);
  Peer peer(format());
  ASSERT_EQ(peer.rc("open " + table_), 0);
  auto ctx = context();
  short_retry(ctx->c4);
  DATA4* d = d4open(ctx->c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  // The peer holds record 3.
  ASSERT_EQ(peer.rc("lock 3"), 0);
  expect_refused_in_time([&] { return d4lock(d, 3); }, "record lock against a record lock");
  expect_refused_in_time([&] { return d4lockFile(d); }, "file lock against a record lock");
  EXPECT_EQ(d4lock(d, 4), 0) << "another record is free";
  EXPECT_EQ(d4appendBlank(d), 0) << "appends take no record lock the peer holds";
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

TEST_P(SharedTableFormat, WriteOfARecordLockedElsewhereIsRefused) {
  create_table(3);
  Peer peer(format());
  ASSERT_EQ(peer.rc("open " + table_), 0);
  ASSERT_EQ(peer.rc("lock 2"), 0);
  auto ctx = context();
  short_retry(ctx->c4);
  DATA4* d = d4open(ctx->c4, table_.c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4go(d, 2), 0);
  f4assign(d4field(d, "TXT"), "not allowed yet");
  // Without lock enforcement the write locks for itself, and cannot.
  expect_refused_in_time([&] { return d4write(d, 2); }, "write of a record held elsewhere");
  EXPECT_EQ(d4changed(d, -1), 1) << "the change stays pending";
  EXPECT_EQ(peer.rc("unlock"), 0);
  EXPECT_EQ(d4write(d, 2), 0);
  EXPECT_EQ(peer.rc("lock 2"), 0) << "the write's own lock was released";
}

// ---- exclusive opens ---------------------------------------------------------------

TEST_P(SharedTableFormat, ExclusiveOpenShutsOutEveryOtherOpen) {
  create_table(2);
  // Opens the table in a fresh context of this process; answers 0 or the error.
  auto open_here = [&](int access, int read_only) {
    auto ctx = context();
    code4accessMode(ctx->c4, access);
    code4readOnly(ctx->c4, read_only);
    return d4open(ctx->c4, table_.c_str()) ? 0 : ctx->error();
  };
  {
    Peer peer(format());
    ASSERT_EQ(peer.rc("set access 1"), 0);
    ASSERT_EQ(peer.rc("open " + table_), 0);
    for (int access : {0, 1})
      for (int read_only : {0, 1}) EXPECT_EQ(open_here(access, read_only), e4access);
    ASSERT_EQ(peer.rc("close"), 0);
    EXPECT_EQ(open_here(1, 0), 0) << "the exclusive use ended with the close";
  }
  {
    // This process exclusive, the peer shut out; nor may a create replace the table.
    auto ctx = context();
    code4accessMode(ctx->c4, 1);
    DATA4* d = d4open(ctx->c4, table_.c_str());
    ASSERT_NE(d, nullptr);
    Peer peer(format());
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    ASSERT_EQ(peer.rc("set access 1"), 0);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    ASSERT_EQ(peer.rc("set access 0"), 1);
    ASSERT_EQ(peer.rc("set readonly 1"), 0);
    EXPECT_EQ(peer.rc("open " + table_), e4access);
    auto creator = context();
    code4safety(creator->c4, 0);
    EXPECT_EQ(d4create(creator->c4, table_.c_str(), worker_table::fields(), nullptr), nullptr);
    EXPECT_EQ(creator->error(), e4access);
    EXPECT_EQ(d4recCount(d), 2);
  }
  // A shared user keeps an exclusive opener out, in either process.
  Peer peer(format());
  ASSERT_EQ(peer.rc("open " + table_), 0);
  EXPECT_EQ(open_here(1, 0), e4access);
  EXPECT_EQ(open_here(0, 0), 0);
  EXPECT_EQ(open_here(0, 1), 0);
  ASSERT_EQ(peer.rc("close"), 0);
  auto ctx = context();
  ASSERT_NE(d4open(ctx->c4, table_.c_str()), nullptr);
  ASSERT_EQ(peer.rc("set access 1"), 0);
  EXPECT_EQ(peer.rc("open " + table_), e4access);
}

// ---- visibility of other processes' writes -----------------------------------------

TEST_P(SharedTableFormat, ReaderSeesAnotherProcessesCommittedWrites) {
  for (int cached : {0, 1}) {
    SCOPED_TRACE(cached ? "reads cached" : "reads from the file");
    create_table(3);
    auto ctx = context();
    code4optimize(ctx->c4, cached);
    DATA4* d = d4open(ctx->c4, table_.c_str());
    ASSERT_NE(d, nullptr);
    FIELD4 *txt = d4field(d, "TXT"), *note = d4field(d, "NOTE");
    ASSERT_EQ(d4go(d, 3), 0);
    ASSERT_EQ(d4recCount(d), 3);
    // Records another process appends are counted and readable at once.
    Peer peer(format());
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
    // values until it reads the record again (a cached reader after a refresh).
    ASSERT_EQ(d4go(d, 1), 0);
    ASSERT_EQ(peer.rc("go 1"), 0);
    ASSERT_EQ(peer.rc("lock 1"), 0);
    ASSERT_EQ(peer.rc("assign TXT rewritten"), 0);
    ASSERT_EQ(peer.rc("assign NOTE a new memo"), 0);
    ASSERT_EQ(peer.rc("write 1"), 0);
    ASSERT_EQ(peer.rc("unlock"), 0);
    EXPECT_STREQ(f4str(txt), "rec1                ");
    if (cached) {
      ASSERT_EQ(d4refresh(d), 0);
    }
    ASSERT_EQ(d4refreshRecord(d), 0);
    EXPECT_STREQ(f4str(txt), "rewritten           ");
    EXPECT_STREQ(f4memoStr(note), "a new memo");
    EXPECT_EQ(ctx->error(), 0);
    ASSERT_EQ(d4close(d), 0);
    ASSERT_EQ(peer.rc("close"), 0);
  }
}

// ---- the lock bytes ----------------------------------------------------------------

// Where each format locks: record 1's byte, which way later records go, the
// file lock's range (inclusive).
struct Scheme {
  uint64_t record_1;
  bool descending;
  uint64_t file_first, file_last;
};

Scheme scheme_of(int format) {
  switch (format) {
    case 2: return {1000000000ull + 1, false, 1000000001ull, 2000000000ull};
    case 4: return {0xEFFFFFFEull - 1, true, 0xEFFFFFFEull - 1000000000ull, 0xEFFFFFFFull};
    default: return {0x7FFFFFFEull - 1, true, 0x7FFFFFFEull - 0x07FFFFFFull, 0x7FFFFFFEull};
  }
}

TEST_P(SharedTableFormat, LockBytesFollowTheFormatsScheme) {
  const Scheme s = scheme_of(format());
  create_table(40);
  Peer peer(format());
  ASSERT_EQ(peer.rc("open " + table_), 0);
  const int fd = process_util::fd_of(peer.pid(), table_);
  ASSERT_GE(fd, 0);
  // The byte-range locks the peer holds, and the kind of its whole-file lock.
  auto byte_locks = [&] {
    std::vector<HeldLock> out;
    for (const HeldLock& l : process_util::locks_of(peer.pid(), fd))
      if (l.kind != "FLOCK") out.push_back(l);
    return out;
  };
  auto open_mode_lock = [&](int at) {
    for (const HeldLock& l : process_util::locks_of(peer.pid(), at))
      if (l.kind == "FLOCK") return l.type;
    return std::string("none");
  };
  EXPECT_EQ(open_mode_lock(fd), "READ") << "a shared open holds a shared whole-file lock";
  EXPECT_TRUE(byte_locks().empty());
  for (int32_t rec : {1, 2, 37}) {
    ASSERT_EQ(peer.rc("lock " + std::to_string(rec)), 0);
    const uint64_t want = s.descending ? s.record_1 - uint64_t(rec - 1) : s.record_1 + uint64_t(rec - 1);
    const auto held = byte_locks();
    ASSERT_EQ(held.size(), 1u) << "record " << rec;
    EXPECT_EQ(held[0].kind + " " + held[0].type, "OFDLCK WRITE");
    EXPECT_EQ(held[0].start, want) << "record " << rec;
    EXPECT_EQ(held[0].end, want) << "record " << rec;
    ASSERT_EQ(peer.rc("unlock"), 0);
    EXPECT_TRUE(byte_locks().empty()) << "record " << rec << " stays locked";
  }
  ASSERT_EQ(peer.rc("lockfile"), 0);
  const auto held = byte_locks();
  ASSERT_EQ(held.size(), 1u);
  EXPECT_EQ(held[0].type, "WRITE");
  EXPECT_EQ(held[0].start, s.file_first);
  EXPECT_EQ(held[0].end, s.file_last);
  ASSERT_EQ(peer.rc("unlock"), 0);
  ASSERT_EQ(peer.ask("append 1 1 memo"), "0 41");
  EXPECT_TRUE(byte_locks().empty()) << "an append leaves no lock behind";
  ASSERT_EQ(peer.rc("close"), 0);
  ASSERT_EQ(peer.rc("set access 1"), 0);
  ASSERT_EQ(peer.rc("open " + table_), 0);
  EXPECT_EQ(open_mode_lock(process_util::fd_of(peer.pid(), table_)), "WRITE")
      << "an exclusive open holds an exclusive whole-file lock";
}

INSTANTIATE_TEST_SUITE_P(Formats, SharedTableFormat, ::testing::ValuesIn(formats::tables()),
                         formats::Named());

}  // namespace
