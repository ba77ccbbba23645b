// A writer killed at any instant leaves a table that opens, counts no record
// it has not written, resolves every memo reference, and keeps every change
// it had reported as flushed. A pack killed half-way loses no live record.
//
// The writer is a forked child that reports through a pipe: "I" before an
// operation, "C" once it is flushed. The parent kills it with SIGKILL after a
// random (seeded) delay and then checks the files against what was reported.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kSeed = 20240611;

// ID N(8), VER N(8), TXT C(24), NOTE M.
const FIELD4INFO* crash_fields() {
  static char id[] = "ID", ver[] = "VER", txt[] = "TXT", note[] = "NOTE";
  static const FIELD4INFO info[] = {{id, 'N', 8, 0, 0},
                                    {ver, 'N', 8, 0, 0},
                                    {txt, 'C', 24, 0, 0},
                                    {note, 'M', 10, 0, 0},
                                    {nullptr, 0, 0, 0, 0}};
  return info;
}

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
  size_t len = static_cast<size_t>((id * 53 + ver * 211) % 900 + (ver % 3) * 600);
  if ((id + ver) % 11 == 0) len += 30000;
  std::string s = "<" + std::to_string(id) + "/" + std::to_string(ver) + ">";
  while (s.size() < len)
    s += static_cast<char>('A' + (s.size() * 7 + static_cast<size_t>(id + ver)) % 26);
  return s;
}

using test_files::Context;

// How the writer opens the table.
struct WriterMode {
  int access;          // 0 shared, 1 exclusive
  int optimize_write;  // -1 default (cached when exclusive), 0 off
};

void report(int fd, const std::string& line) {
  std::string msg = line + "\n";
  if (write(fd, msg.data(), msg.size()) < 0) _exit(5);
}

[[noreturn]] void child_fail(int fd, CODE4* c4, const char* what) {
  report(fd, std::string("E ") + what + " " + std::to_string(code4errorCode(c4, r4check)));
  _exit(4);
}

// The writer: appends and rewrites records until it is killed.
[[noreturn]] void run_writer(const std::string& table, int format, WriterMode mode, uint32_t seed,
                             int fd) {
  CODE4* c4 = code4initP();
  code4indexFormat(c4, format);
  code4autoOpen(c4, 0);
  code4errOff(c4, 1);
  code4accessMode(c4, mode.access);
  code4optimizeWrite(c4, mode.optimize_write);
  DATA4* d = d4open(c4, table.c_str());
  if (d == nullptr) child_fail(fd, c4, "open");
  FIELD4* f_id = d4field(d, "ID");
  FIELD4* f_ver = d4field(d, "VER");
  FIELD4* f_txt = d4field(d, "TXT");
  FIELD4* f_note = d4field(d, "NOTE");
  std::mt19937 rng(seed);
  for (;;) {
    const int32_t n = d4recCount(d);
    if (n < 8 || rng() % 3 == 0) {
      const int id = n + 1;
      report(fd, "I " + std::to_string(id) + " 0");
      if (d4appendStart(d, 0) != 0) child_fail(fd, c4, "appendStart");
      d4blank(d);
      f4assignLong(f_id, id);
      f4assignLong(f_ver, 0);
      f4assign(f_txt, txt_of(id, 0).c_str());
      f4memoAssign(f_note, memo_of(id, 0).c_str());
      if (d4append(d) != 0 || d4recNoLow(d) != id) child_fail(fd, c4, "append");
      if (d4flush(d) != 0) child_fail(fd, c4, "flush");
      report(fd, "C " + std::to_string(id) + " 0");
    } else {
      const int32_t rec = 1 + static_cast<int32_t>(rng() % static_cast<uint32_t>(n));
      if (d4go(d, rec) != 0) child_fail(fd, c4, "go");
      if (mode.access == 0 && (d4lock(d, rec) != 0 || d4refreshRecord(d) != 0))
        child_fail(fd, c4, "lock");
      const int ver = f4long(f_ver) + 1;
      report(fd, "I " + std::to_string(rec) + " " + std::to_string(ver));
      f4assignLong(f_ver, ver);
      f4assign(f_txt, txt_of(rec, ver).c_str());
      f4memoAssign(f_note, memo_of(rec, ver).c_str());
      // Half the rewrites are explicit, the others the pending write of the flush.
      if (rng() % 2 == 0 && d4write(d, rec) != 0) child_fail(fd, c4, "write");
      if (d4flush(d) != 0) child_fail(fd, c4, "flush");
      if (mode.access == 0 && d4unlock(d) != 0) child_fail(fd, c4, "unlock");
      report(fd, "C " + std::to_string(rec) + " " + std::to_string(ver));
    }
  }
}

struct Forked {
  pid_t pid = -1;
  int from_child = -1;
};

template <class F>
Forked fork_child(F body) {
  int p[2];
  if (pipe2(p, O_CLOEXEC) != 0) return {};
  pid_t pid = fork();
  if (pid == 0) {
    close(p[0]);
    body(p[1]);
    _exit(0);
  }
  close(p[1]);
  return {pid, p[0]};
}

// Collects what the child wrote until `deadline`, until its pipe closes or,
// when `until` is given, until that text has arrived.
void drain(int fd, std::string* out, Clock::time_point deadline, const char* until = nullptr) {
  for (;;) {
    if (until && out->find(until) != std::string::npos) return;
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return;
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left)) <= 0) return;
    char buf[4096];
    ssize_t n = read(fd, buf, sizeof buf);
    if (n <= 0) return;
    out->append(buf, static_cast<size_t>(n));
  }
}

// Kills the child, reaps it and collects the rest of its output.
void kill_and_collect(Forked& child, std::string* out) {
  kill(child.pid, SIGKILL);
  int status = 0;
  waitpid(child.pid, &status, 0);
  drain(child.from_child, out, Clock::now() + std::chrono::seconds(5));
  close(child.from_child);
}

struct Geometry {
  uint64_t header_len = 0, record_len = 0, size = 0;
  uint64_t present() const { return size > header_len ? (size - header_len) / record_len : 0; }
};

Geometry geometry_of(const std::string& path) {
  Geometry g;
  std::ifstream in(path, std::ios::binary);
  uint8_t h[12] = {};
  in.read(reinterpret_cast<char*>(h), sizeof h);
  g.header_len = h[8] | (h[9] << 8);
  g.record_len = h[10] | (h[11] << 8);
  g.size = fs::file_size(path);
  return g;
}

class CrashTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("vgx_crash_" + std::to_string(getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string create_table(int format, const std::string& name) {
    const std::string path = (dir_ / name).string();
    Context ctx(format);
    DATA4* d = d4create(ctx.c4, path.c_str(), crash_fields(), nullptr);
    EXPECT_NE(d, nullptr) << ctx.error();
    return path;
  }

  fs::path dir_;
};

// What the parent knows a record holds.
struct Expected {
  int ver = 0;
  std::string txt;
  std::string memo;
};

TEST_F(CrashTest, KilledWriterLeavesAConsistentTable) {
  const int formats[] = {1, 2, 4};
  const WriterMode modes[] = {{0, -1}, {1, -1}, {1, 0}};
  std::map<int, std::string> tables;
  std::map<int, std::map<int, Expected>> model;  // format -> id -> values
  for (int f : formats) tables[f] = create_table(f, "crash" + std::to_string(f) + ".dbf");

  std::mt19937 rng(kSeed);
  int in_flight_seen = 0;
  for (int iteration = 0; iteration < 18; ++iteration) {
    const int format = formats[iteration % 3];
    const WriterMode mode = modes[(iteration / 3) % 3];
    const std::string& table = tables[format];
    auto& known = model[format];
    const uint32_t child_seed = static_cast<uint32_t>(rng());
    const int delay_ms = 2 + static_cast<int>(rng() % 60);
    SCOPED_TRACE("iteration " + std::to_string(iteration) + ", format " + std::to_string(format) +
                 ", access " + std::to_string(mode.access) + ", optimizeWrite " +
                 std::to_string(mode.optimize_write) + ", kill after " + std::to_string(delay_ms) +
                 " ms");

    Forked child = fork_child([&](int fd) { run_writer(table, format, mode, child_seed, fd); });
    ASSERT_GT(child.pid, 0);
    std::string out;
    drain(child.from_child, &out, Clock::now() + std::chrono::milliseconds(delay_ms));
    kill_and_collect(child, &out);

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
    if (in_flight) ++in_flight_seen;

    Context ctx(format);
    DATA4* d = d4open(ctx.c4, table.c_str());
    ASSERT_NE(d, nullptr) << "error " << ctx.error();
    const int32_t count = d4recCount(d);
    const Geometry g = geometry_of(table);
    ASSERT_LE(uint64_t(count), g.present()) << "the count includes records that are not there";
    const bool appending = in_flight && in_flight->second == 0 && !known.count(in_flight->first);
    ASSERT_GE(count, int32_t(known.size())) << "a flushed append is missing";
    ASSERT_LE(count, int32_t(known.size()) + (appending ? 1 : 0));

    FIELD4* f_id = d4field(d, "ID");
    FIELD4* f_ver = d4field(d, "VER");
    FIELD4* f_txt = d4field(d, "TXT");
    FIELD4* f_note = d4field(d, "NOTE");
    for (int32_t rec = 1; rec <= count; ++rec) {
      ASSERT_EQ(d4go(d, rec), 0) << "record " << rec;
      EXPECT_EQ(f4long(f_id), rec);
      const std::string memo(f4memoStr(f_note), f4memoLen(f_note));
      ASSERT_EQ(ctx.error(), 0) << "the memo of record " << rec << " does not resolve";
      const int ver = f4long(f_ver);
      if (in_flight && in_flight->first == rec) {
        // Old or new: a rewrite in place may even have reached the memo only.
        const int old_ver = known.count(rec) ? known[rec].ver : 0;
        EXPECT_TRUE(ver == old_ver || ver == in_flight->second)
            << "record " << rec << " version " << ver;
        known[rec] = {ver, f4str(f_txt), memo};
        continue;
      }
      ASSERT_TRUE(known.count(rec)) << "record " << rec << " was never reported";
      const Expected& want = known[rec];
      EXPECT_EQ(ver, want.ver) << "record " << rec;
      EXPECT_EQ(std::string(f4str(f_txt)), want.txt) << "record " << rec;
      EXPECT_TRUE(memo == want.memo) << "record " << rec << ": memo of " << memo.size()
                                     << " bytes, " << want.memo.size() << " expected";
    }
  }
  EXPECT_GT(in_flight_seen, 0) << "no kill landed inside an operation";
}

// ---- pack ------------------------------------------------------------------------

struct Original {
  bool deleted = false;
  std::string txt, memo;
};

// Builds a table of `n` records, about a third of them deleted.
std::map<int, Original> build_pack_table(const std::string& path, int format, int n,
                                         std::mt19937& rng) {
  std::map<int, Original> originals;
  Context ctx(format);
  code4accessMode(ctx.c4, 1);
  DATA4* d = d4create(ctx.c4, path.c_str(), crash_fields(), nullptr);
  EXPECT_NE(d, nullptr);
  if (d == nullptr) return originals;
  for (int id = 1; id <= n; ++id) {
    Original o;
    o.deleted = rng() % 3 == 0;
    o.txt = txt_of(id, 0);
    o.memo = id % 4 == 0 ? memo_of(id, 1).substr(0, 200) : "";
    EXPECT_EQ(d4appendStart(d, 0), 0);
    d4blank(d);
    f4assignLong(d4field(d, "ID"), id);
    f4assign(d4field(d, "TXT"), o.txt.c_str());
    f4memoAssign(d4field(d, "NOTE"), o.memo.c_str());
    if (o.deleted) d4delete(d);
    EXPECT_EQ(d4append(d), 0);
    originals[id] = o;
  }
  EXPECT_EQ(d4close(d), 0);
  return originals;
}

// Checks a table after a pack that may have stopped anywhere: every live
// original is there unchanged (a record moved towards the front may stand
// twice until the count shrinks, which the engine documents), and every
// record reads with its memo. A kill inside a write that spans pages can
// leave the one record across a page boundary half old, half new; that slot
// held a deleted record or one already copied forward, so it costs nothing
// live, but it need not equal any original.
void check_after_pack(const std::string& path, int format, const std::map<int, Original>& originals,
                      bool completed) {
  Context ctx(format);
  code4accessMode(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, path.c_str());
  ASSERT_NE(d, nullptr) << "error " << ctx.error();
  const int32_t count = d4recCount(d);
  ASSERT_LE(uint64_t(count), geometry_of(path).present());
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
  EXPECT_LE(torn.size(), completed ? 0u : 1u)
      << "first such record: " << (torn.empty() ? 0 : torn[0]);
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
}

TEST_F(CrashTest, PackKilledHalfWayLosesNoLiveRecord) {
  constexpr int kRecords = 6000;
  std::mt19937 rng(kSeed + 1);
  int killed_early = 0;
  for (int format : {1, 2, 4}) {
    const std::string pristine = (dir_ / ("pristine" + std::to_string(format) + ".dbf")).string();
    const std::string memo_ext = format == 1 ? ".fpt" : ".dbt";
    const std::map<int, Original> originals = build_pack_table(pristine, format, kRecords, rng);
    const std::string table = (dir_ / ("pack" + std::to_string(format) + ".dbf")).string();
    auto restore = [&] {
      fs::copy_file(pristine, table, fs::copy_options::overwrite_existing);
      fs::copy_file(fs::path(pristine).replace_extension(memo_ext),
                    fs::path(table).replace_extension(memo_ext),
                    fs::copy_options::overwrite_existing);
    };
    for (int optimize_write : {0, -1}) {
      // How long a whole pack takes here, so that the kills land inside it.
      restore();
      long full_us = 0;
      {
        Forked child = fork_child([&](int fd) {
          Context ctx(format);
          code4accessMode(ctx.c4, 1);
          code4optimizeWrite(ctx.c4, optimize_write);
          DATA4* d = d4open(ctx.c4, table.c_str());
          const auto start = Clock::now();
          const int rc = d ? d4pack(d) : -1;
          const auto us =
              std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
          report(fd, std::to_string(rc) + " " + std::to_string(us.count()));
        });
        std::string out;
        drain(child.from_child, &out, Clock::now() + std::chrono::seconds(20));
        close(child.from_child);
        waitpid(child.pid, nullptr, 0);
        std::istringstream in(out);
        int rc = -1;
        in >> rc >> full_us;
        ASSERT_EQ(rc, 0) << "the pack failed";
        check_after_pack(table, format, originals, true);
      }
      for (int round = 0; round < 4; ++round) {
        restore();
        const long delay_us =
            static_cast<long>(rng() % static_cast<uint32_t>(std::max(1L, full_us)));
        SCOPED_TRACE("format " + std::to_string(format) + ", optimizeWrite " +
                     std::to_string(optimize_write) + ", kill " + std::to_string(delay_us) +
                     " us into a pack of " + std::to_string(full_us) + " us");
        Forked child = fork_child([&](int fd) {
          Context ctx(format);
          code4accessMode(ctx.c4, 1);
          code4optimizeWrite(ctx.c4, optimize_write);
          DATA4* d = d4open(ctx.c4, table.c_str());
          report(fd, "P");
          const int rc = d ? d4pack(d) : -1;
          report(fd, "D " + std::to_string(rc));
        });
        std::string out;
        drain(child.from_child, &out, Clock::now() + std::chrono::seconds(10), "P\n");
        std::this_thread::sleep_for(std::chrono::microseconds(delay_us));
        kill_and_collect(child, &out);
        const bool completed = out.find("D 0") != std::string::npos;
        if (!completed) ++killed_early;
        check_after_pack(table, format, originals, completed);

        // A pack run to its end afterwards leaves the live records only.
        Context ctx(format);
        code4accessMode(ctx.c4, 1);
        DATA4* d = d4open(ctx.c4, table.c_str());
        ASSERT_NE(d, nullptr);
        ASSERT_EQ(d4pack(d), 0);
        for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) EXPECT_EQ(d4deleted(d), 0);
      }
    }
  }
  EXPECT_GT(killed_early, 0) << "every pack finished before its kill";
}

}  // namespace
