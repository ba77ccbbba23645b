// Shared index files, in every index format: processes appending and
// updating one table at once must leave every tag holding each record's key
// exactly once; a context sees another's changes; changes wait for the
// index file's lock byte.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>

#include "index_fixture.h"
#include "process_util.h"

namespace {

using index_test::tag;
using index_test::tags;

class SharedIndex : public index_test::IndexTest {
 protected:
  void SetUp() override {
    IndexTest::SetUp();
    code4accessMode(c4_, 0);
    code4lockAttemptsSingle(c4_, 1);
  }
  // KEY N(8) unique, NAME C(20), AGE N(3) with tags UNIQ, NAME, AGE.
  void make_table() {
    const auto fields = test_files::fields({test_files::fld("KEY", 'N', 8), test_files::fld("NAME", 'C', 20),
                                            test_files::fld("AGE", 'N', 3)});
    auto list = tags({tag("UNIQ", "KEY", "", r4unique), tag("NAME", "UPPER(NAME)"),
                      tag("AGE", "AGE", "AGE > 10")});
    DATA4* d = d4create(c4_, path("shared").c_str(), fields.data(), list.data());
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(d4close(d), 0);
  }
  process_util::Child worker(const char* command, int w, const std::string& count) {
    return process_util::spawn({std::string(VGX_HELPER_DIR) + "/index_worker", command,
                                "table=" + path("shared"), "format=" + std::to_string(GetParam().format),
                                "worker=" + std::to_string(w), count, "start=" + path("go")},
                               false);
  }
};

TEST_P(SharedIndex, ProcessesAppendingAndUpdatingKeepEveryTagRight) {
  make_table();
  std::vector<process_util::Child> children;
  for (int w = 1; w <= 3; ++w) children.push_back(worker("append", w, "count=500"));
  for (int w = 1; w <= 2; ++w) children.push_back(worker("update", w, "iterations=400"));
  test_files::spit(path("go"), "x");
  for (auto& c : children) EXPECT_EQ(process_util::wait_exit(c.pid), 0);

  DATA4* d = d4open(c4_, path("shared").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4recCount(d), 1500);
  verify(d);
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "UNIQ")), 0);
  std::set<int32_t> keys;
  for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) keys.insert(f4long(d4field(d, "KEY")));
  EXPECT_EQ(keys.size(), 1500u);
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "NAME")), 0);
  EXPECT_EQ(walk(d), order_by(d, "UPPER(NAME)"));
}

TEST_P(SharedIndex, AContextSeesAnotherContextsChanges) {
  make_table();
  DATA4* a = d4open(c4_, path("shared").c_str());
  ASSERT_NE(a, nullptr);
  CODE4* other = code4initP();
  code4errOff(other, 1);
  code4indexFormat(other, GetParam().format);
  // The file marks the tag unique; the mode is the opening context's.
  code4errDefaultUnique(other, r4unique);
  DATA4* b = d4open(other, path("shared").c_str());
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(d4tagSelectP(b, i4tag(d4index(b, nullptr), "NAME")), 0);
  EXPECT_EQ(d4seek(b, "ZED"), r4eof);
  for (int i = 0; i < 50; ++i) {
    d4appendStart(a, 0);
    f4assignLong(d4field(a, "KEY"), i);
    f4assign(d4field(a, "NAME"), ("zed" + std::to_string(i)).c_str());
    ASSERT_EQ(d4append(a), 0);
  }
  ASSERT_EQ(d4unlock(a), 0);
  EXPECT_EQ(d4seek(b, "ZED4"), r4success);
  EXPECT_EQ(std::string(f4str(d4field(b, "NAME"))).substr(0, 5), "zed4 ");
  // A unique key taken by the other context is refused here.
  ASSERT_EQ(d4tagSelectP(b, i4tag(d4index(b, nullptr), "UNIQ")), 0);
  d4appendStart(b, 0);
  f4assignLong(d4field(b, "KEY"), 7);
  EXPECT_EQ(d4append(b), r4unique);
  // A change of b's moves keys that a's walk then follows.
  ASSERT_EQ(d4seek(b, "7"), r4success);
  f4assign(d4field(b, "NAME"), "aaa");
  ASSERT_EQ(d4flush(b), 0);
  ASSERT_EQ(d4tagSelectP(a, i4tag(d4index(a, nullptr), "NAME")), 0);
  ASSERT_EQ(d4top(a), 0);
  EXPECT_EQ(std::string(f4str(d4field(a, "NAME"))).substr(0, 4), "aaa ");
  verify(a);
  code4initUndo(other);
}

TEST_P(SharedIndex, ChangesWaitForTheIndexLockByte) {
  make_table();
  DATA4* d = d4open(c4_, path("shared").c_str());
  ASSERT_NE(d, nullptr);
  // Another holder of the index file's lock byte.
  const int fd = ::open(index_path("shared").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = off_t(GetParam().lock_byte);
  lock.l_len = 1;
  ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
  d4appendStart(d, 0);
  f4assignLong(d4field(d, "KEY"), 1);
  EXPECT_EQ(d4append(d), r4locked);
  EXPECT_EQ(d4recCount(d), 0);  // nothing appended
  ASSERT_EQ(d4tagSelectP(d, i4tag(d4index(d, nullptr), "NAME")), 0);
  EXPECT_EQ(d4top(d), r4locked);  // readers wait for a writer too
  lock.l_type = F_UNLCK;
  ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
  ::close(fd);
  EXPECT_EQ(d4append(d), 0);
  EXPECT_EQ(d4recCount(d), 1);
  verify(d);
}

INSTANTIATE_TEST_SUITE_P(Formats, SharedIndex, ::testing::ValuesIn(formats::indexes()),
                         formats::Named());

}  // namespace
