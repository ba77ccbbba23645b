// A writer killed at any instant leaves a table that opens, counts no record
// it has not written, resolves every memo reference, and keeps every change
// it had reported as flushed. A pack killed half-way loses no live record.
//
// The writer is a forked child that reports through a pipe: "I" before an
// operation, "C" once it is flushed. The parent kills it with SIGKILL after a
// random (seeded) delay and then checks the files against what was reported.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "formats.h"
#include "process_util.h"
#include "test_files.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using process_util::report;
using test_files::Context;

constexpr uint32_t kSeed = 20240611;

std::string txt_of(int id, int ver) {
  std::string s = "i" + std::to_string(id) + "v" + std::to_string(ver);
  s.resize(24, ' ');
  return s;
}

// Memo values grow and shrink from version to version, are sometimes empty
// and now and then span many blocks, so rewrites happen in place as well as
// in fresh blocks.
std::string memo_of(int id, int ver) {
  if (ver % 7 == 6) return "";
  size_t len = size_t((id * 53 + ver * 211) % 900 + (ver % 3) * 600);
  if ((id + ver) % 11 == 0) len += 30000;
  std::string s = "<" + std::to_string(id) + "/" + std::to_string(ver) + ">";
  while (s.size() < len) s += char('A' + (s.size() * 7 + size_t(id + ver)) % 26);
  return s;
}

// How the writer opens the table.
struct WriterMode {
  int access;          // 0 shared, 1 exclusive
  int optimize_write;  // -1 default (cached when exclusive), 0 off
};

class CrashTest : public ::testing::TestWithParam<formats::Table> {
 protected:
  // An engine context of the format, exclusive unless told.
  std::unique_ptr<Context> context(int access = 1, int optimize_write = -1) const {
    auto ctx = std::make_unique<Context>(GetParam().format, GetParam().compatibility);
    code4accessMode(ctx->c4, access);
    code4optimizeWrite(ctx->c4, optimize_write);
    return ctx;
  }
  // ID N(8), VER N(8), TXT C(24), NOTE M.
  DATA4* create(const Context& ctx, const std::string& path) const {
    auto f = test_files::fields({test_files::fld("ID", 'N', 8), test_files::fld("VER", 'N', 8),
                                 test_files::fld("TXT", 'C', 24), test_files::fld("NOTE", 'M', 10)});
    DATA4* d = d4create(ctx.c4, path.c_str(), f.data(), nullptr);
    EXPECT_NE(d, nullptr) << ctx.error();
    return d;
  }
  // The writer: appends and rewrites records until it is killed.
  [[noreturn]] void run_writer(const std::string& table, WriterMode mode, uint32_t seed, int fd) {
    auto ctx = context(mode.access, mode.optimize_write);
    CODE4* c4 = ctx->c4;
    auto fail = [&](const char* what) {
      report(fd, std::string("E ") + what + " " + std::to_string(ctx->error()));
      _exit(4);
    };
    DATA4* d = d4open(c4, table.c_str());
    if (d == nullptr) fail("open");
    FIELD4 *f_id = d4field(d, "ID"), *f_ver = d4field(d, "VER"), *f_txt = d4field(d, "TXT"),
           *f_note = d4field(d, "NOTE");
    std::mt19937 rng(seed);
    for (;;) {
      const int32_t n = d4recCount(d);
      const bool append = n < 8 || rng() % 3 == 0;
      const int32_t rec = append ? n + 1 : 1 + int32_t(rng() % uint32_t(n));
      if (append) {
        if (d4appendStart(d, 0) != 0) fail("appendStart");
        d4blank(d);
        f4assignLong(f_id, rec);
      } else {
        if (d4go(d, rec) != 0) fail("go");
        if (mode.access == 0 && (d4lock(d, rec) != 0 || d4refreshRecord(d) != 0)) fail("lock");
      }
      const int ver = append ? 0 : f4long(f_ver) + 1;
      report(fd, "I " + std::to_string(rec) + " " + std::to_string(ver));
      f4assignLong(f_ver, ver);
      f4assign(f_txt, txt_of(rec, ver).c_str());
      f4memoAssign(f_note, memo_of(rec, ver).c_str());
      if (append && (d4append(d) != 0 || d4recNoLow(d) != rec)) fail("append");
      // Half the rewrites are explicit, the others the pending write of the flush.
      if (!append && rng() % 2 == 0 && d4write(d, rec) != 0) fail("write");
      if (d4flush(d) != 0) fail("flush");
      if (!append && mode.access == 0 && d4unlock(d) != 0) fail("unlock");
      report(fd, "C " + std::to_string(rec) + " " + std::to_string(ver));
    }
  }

  test_files::TempDir tmp_{"vgx-crash"};
};

// What the parent knows a record holds.
struct Expected {
  int ver = 0;
  std::string txt, memo;
};

TEST_P(CrashTest, KilledWriterLeavesAConsistentTable) {
  const std::string table = tmp_.at("crash.dbf");
  { auto ctx = context(); ASSERT_NE(create(*ctx, table), nullptr); }
  std::map<int, Expected> known;
  std::mt19937 rng(kSeed + uint32_t(GetParam().format * 2 + GetParam().later_types));
  int in_flight_seen = 0;
  for (int iteration = 0; iteration < 6; ++iteration) {
    const WriterMode mode = std::vector<WriterMode>{{0, -1}, {1, -1}, {1, 0}}[iteration % 3];
    const uint32_t child_seed = uint32_t(rng());
    const int delay_ms = 2 + int(rng() % 60);
    SCOPED_TRACE(testing::Message() << "iteration " << iteration << ", access " << mode.access
                                    << ", optimizeWrite " << mode.optimize_write << ", kill after "
                                    << delay_ms << " ms");
    auto child = process_util::fork_child([&](int fd) { run_writer(table, mode, child_seed, fd); });
    ASSERT_GT(child.pid, 0);
    std::string out;
    process_util::drain(child.from_child, &out, Clock::now() + std::chrono::milliseconds(delay_ms));
    process_util::kill_and_collect(child, &out);

    // Replay the reports: committed values, and the one operation under way.
    std::optional<std::pair<int, int>> in_flight;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
      std::istringstream w(line);
      char kind = 0;
      int id = 0, ver = 0;
      w >> kind;
      ASSERT_NE(kind, 'E') << "the writer failed: " << line;
      if (!(w >> id >> ver)) continue;  // the last line may be cut short
      if (kind == 'I') {
        in_flight = std::make_pair(id, ver);
      } else if (kind == 'C') {
        known[id] = {ver, txt_of(id, ver), memo_of(id, ver)};
        in_flight.reset();
      }
    }
    in_flight_seen += in_flight.has_value();

    auto ctx = context(0);
    DATA4* d = d4open(ctx->c4, table.c_str());
    ASSERT_NE(d, nullptr) << "error " << ctx->error();
    const int32_t count = d4recCount(d);
    ASSERT_LE(uint64_t(count), test_files::table_words(table).present())
        << "the count includes records that are not there";
    const bool appending = in_flight && in_flight->second == 0 && !known.count(in_flight->first);
    ASSERT_GE(count, int32_t(known.size())) << "a flushed append is missing";
    ASSERT_LE(count, int32_t(known.size()) + (appending ? 1 : 0));
    for (int32_t rec = 1; rec <= count; ++rec) {
      ASSERT_EQ(d4go(d, rec), 0) << "record " << rec;
      EXPECT_EQ(f4long(d4field(d, "ID")), rec);
      FIELD4* note = d4field(d, "NOTE");
      const std::string memo(f4memoStr(note), f4memoLen(note));
      ASSERT_EQ(ctx->error(), 0) << "the memo of record " << rec << " does not resolve";
      const int ver = f4long(d4field(d, "VER"));
      const std::string txt = f4str(d4field(d, "TXT"));
      if (in_flight && in_flight->first == rec) {
        // Old or new: a rewrite in place may even have reached the memo only.
        const int old_ver = known.count(rec) ? known[rec].ver : 0;
        EXPECT_TRUE(ver == old_ver || ver == in_flight->second) << "record " << rec << " version " << ver;
        known[rec] = {ver, txt, memo};
        continue;
      }
      ASSERT_TRUE(known.count(rec)) << "record " << rec << " was never reported";
      EXPECT_EQ(ver, known[rec].ver) << "record " << rec;
      EXPECT_EQ(txt, known[rec].txt) << "record " << rec;
      EXPECT_TRUE(memo == known[rec].memo) << "record " << rec << ": memo of " << memo.size()
                                           << " bytes, " << known[rec].memo.size() << " expected";
    }
  }
  EXPECT_GT(in_flight_seen, 0) << "no kill landed inside an operation";
}

struct Original {
  bool deleted = false;
  std::string txt, memo;
};

// Checks a table after a pack that may have stopped anywhere: every live
// original is there unchanged (a record moved towards the front may stand
// twice until the count shrinks, which the engine documents), and every
// record reads with its memo. A kill inside a write that spans pages can
// leave the one record across a page boundary half old, half new; that slot
// held a deleted record or one already copied forward, so it costs nothing
// live, but it need not equal any original.
void check_after_pack(const Context& ctx, const std::string& path,
                      const std::map<int, Original>& originals, bool completed) {
  DATA4* d = d4open(ctx.c4, path.c_str());
  ASSERT_NE(d, nullptr) << "error " << ctx.error();
  const int32_t count = d4recCount(d);
  ASSERT_LE(uint64_t(count), test_files::table_words(path).present());
  std::map<int, int> intact;
  std::vector<int32_t> torn;
  for (int32_t rec = 1; rec <= count; ++rec) {
    ASSERT_EQ(d4go(d, rec), 0);
    const int id = f4long(d4field(d, "ID"));
    const std::string memo = f4memoStr(d4field(d, "NOTE"));
    ASSERT_EQ(ctx.error(), 0) << "the memo of record " << rec << " does not resolve";
    auto it = originals.find(id);
    if (it != originals.end() && (d4deleted(d) == 1) == it->second.deleted &&
        std::string(f4str(d4field(d, "TXT"))) == it->second.txt && memo == it->second.memo)
      ++intact[id];
    else
      torn.push_back(rec);
  }
  EXPECT_LE(torn.size(), completed ? 0u : 1u) << "first such record: " << (torn.empty() ? 0 : torn[0]);
  int live = 0;
  for (const auto& [id, o] : originals) {
    if (o.deleted) continue;
    ++live;
    EXPECT_GE(intact[id], 1) << "live record " << id << " is lost";
    if (completed) {
      EXPECT_EQ(intact[id], 1) << "record " << id;
    }
  }
  if (completed) {
    EXPECT_EQ(count, live);
  }
  d4close(d);
}

TEST_P(CrashTest, PackKilledHalfWayLosesNoLiveRecord) {
  constexpr int kRecords = 6000;
  std::mt19937 rng(kSeed + 1 + uint32_t(GetParam().format * 2 + GetParam().later_types));
  const std::string pristine = tmp_.at("pristine.dbf"), table = tmp_.at("pack.dbf");
  std::map<int, Original> originals;  // about a third of them deleted
  {
    auto ctx = context();
    DATA4* d = create(*ctx, pristine);
    ASSERT_NE(d, nullptr);
    for (int id = 1; id <= kRecords; ++id) {
      Original o{rng() % 3 == 0, txt_of(id, 0), id % 4 == 0 ? memo_of(id, 1).substr(0, 200) : ""};
      ASSERT_EQ(d4appendStart(d, 0), 0);
      d4blank(d);
      f4assignLong(d4field(d, "ID"), id);
      f4assign(d4field(d, "TXT"), o.txt.c_str());
      f4memoAssign(d4field(d, "NOTE"), o.memo.c_str());
      if (o.deleted) d4delete(d);
      ASSERT_EQ(d4append(d), 0);
      originals[id] = o;
    }
    ASSERT_EQ(d4close(d), 0);
  }
  std::string memo_ext = std::string(".") + GetParam().memo_ext;  // the table name's case
  for (char& c : memo_ext) c = char(std::tolower(c));
  auto restore = [&] {
    for (const std::string ext : {".dbf", memo_ext.c_str()})
      fs::copy_file(fs::path(pristine).replace_extension(ext), fs::path(table).replace_extension(ext),
                    fs::copy_options::overwrite_existing);
  };
  // Answers the pack's result and its length in microseconds, after `delay_us`
  // (-1: never) or when it ends.
  auto pack = [&](int optimize_write, long delay_us, long* full_us) {
    auto child = process_util::fork_child([&](int fd) {
      auto ctx = context(1, optimize_write);
      DATA4* d = d4open(ctx->c4, table.c_str());
      report(fd, "P");
      const auto start = Clock::now();
      const int rc = d ? d4pack(d) : -1;
      const auto us = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
      report(fd, "D " + std::to_string(rc) + " " + std::to_string(us.count()));
    });
    std::string out;
    process_util::drain(child.from_child, &out, Clock::now() + std::chrono::seconds(20),
                        delay_us < 0 ? nullptr : "P\n");
    if (delay_us >= 0) std::this_thread::sleep_for(std::chrono::microseconds(delay_us));
    process_util::kill_and_collect(child, &out);
    const size_t done = out.find("D ");
    if (done == std::string::npos) return false;
    std::istringstream in(out.substr(done + 2));
    int rc = -1;
    in >> rc >> *full_us;
    return rc == 0;
  };
  int killed_early = 0;
  for (int optimize_write : {0, -1}) {
    // How long a whole pack takes here, so that the kills land inside it.
    restore();
    long full_us = 0;
    ASSERT_TRUE(pack(optimize_write, -1, &full_us)) << "the pack failed";
    auto ctx = context();
    check_after_pack(*ctx, table, originals, true);
    for (int round = 0; round < 4; ++round) {
      restore();
      const long delay_us = long(rng() % uint32_t(std::max(1L, full_us)));
      SCOPED_TRACE(testing::Message() << "optimizeWrite " << optimize_write << ", kill " << delay_us
                                      << " us into a pack of " << full_us << " us");
      long unused = 0;
      const bool completed = pack(optimize_write, delay_us, &unused);
      killed_early += !completed;
      check_after_pack(*ctx, table, originals, completed);
      // A pack run to its end afterwards leaves the live records only.
      DATA4* d = d4open(ctx->c4, table.c_str());
      ASSERT_NE(d, nullptr);
      ASSERT_EQ(d4pack(d), 0);
      for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) EXPECT_EQ(d4deleted(d), 0);
      d4close(d);
    }
  }
  EXPECT_GT(killed_early, 0) << "every pack finished before its kill";
}

INSTANTIATE_TEST_SUITE_P(Formats, CrashTest, ::testing::ValuesIn(formats::tables()),
                         formats::Named());

}  // namespace
