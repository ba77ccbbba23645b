#include "io/cached_file.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace xbase::io {
namespace {

namespace fs = std::filesystem;
constexpr size_t kPage = CachedFile::kPageSize;

class CachedFileTest : public ::testing::Test {
 protected:

  // A file of `pages` pages where every byte tells its own offset.
  void make_file(size_t pages) {
    std::unique_ptr<File> f;
    ASSERT_TRUE(FileSystem::posix().open(path_, OpenMode::kCreate, &f));
    std::vector<uint8_t> bytes(pages * kPage);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = pattern(i);
    ASSERT_TRUE(f->write_at(0, bytes.data(), bytes.size()));
  }
  static uint8_t pattern(uint64_t offset) { return static_cast<uint8_t>(offset * 7 + offset / kPage); }

  CachedFile open_cached(bool write_cache) {
    std::unique_ptr<File> f;
    EXPECT_TRUE(FileSystem::posix().open(path_, OpenMode::kReadWrite, &f));
    CachedFile c(std::move(f));
    c.set_caching(true, write_cache);
    return c;
  }

  test_files::TempDir tmp_{"vgx-cache"};
  const std::string path_ = tmp_.at("DATA.BIN");
};

TEST_F(CachedFileTest, AScanHoldsAWindowOfPagesAndReadsEveryByte) {
  constexpr size_t kPages = 300;
  make_file(kPages);
  CachedFile c = open_cached(false);
  uint8_t rec[100];
  for (uint64_t at = 0; at + sizeof rec <= kPages * kPage; at += sizeof rec) {
    ASSERT_TRUE(c.read_exact(at, rec, sizeof rec));
    for (size_t i = 0; i < sizeof rec; ++i) ASSERT_EQ(rec[i], pattern(at + i)) << at + i;
  }
  EXPECT_LT(c.pages_held(), 64u);
  // Random reads after the scan keep what they load.
  for (uint64_t page = 0; page < kPages; page += 3) ASSERT_TRUE(c.read_exact(page * kPage, rec, 1));
  EXPECT_GE(c.pages_held(), kPages / 3);
}

TEST_F(CachedFileTest, AScanNeverDropsUnwrittenChanges) {
  constexpr size_t kPages = 200;
  make_file(kPages);
  CachedFile c = open_cached(true);
  // Dirty pages ahead of the scan: it must pass them and keep them.
  const uint8_t mark[4] = {0xDE, 0xAD, 0xBE, 0xEF};
  for (uint64_t page : {5u, 40u, 41u, 150u}) ASSERT_TRUE(c.write(page * kPage + 10, mark, 4));
  uint8_t b[1];
  for (uint64_t page = 0; page < kPages; ++page) ASSERT_TRUE(c.read_exact(page * kPage, b, 1));
  uint8_t got[4];
  for (uint64_t page : {5u, 40u, 41u, 150u}) {
    ASSERT_TRUE(c.read_exact(page * kPage + 10, got, 4));
    EXPECT_EQ(std::memcmp(got, mark, 4), 0) << page;
  }
  ASSERT_TRUE(c.flush());
  std::unique_ptr<File> f;
  ASSERT_TRUE(FileSystem::posix().open(path_, OpenMode::kReadOnly, &f));
  for (uint64_t page : {5u, 40u, 41u, 150u}) {
    ASSERT_TRUE(f->read_exact(page * kPage + 10, got, 4));
    EXPECT_EQ(std::memcmp(got, mark, 4), 0) << page;
    ASSERT_TRUE(f->read_exact(page * kPage + 14, got, 1));
    EXPECT_EQ(got[0], pattern(page * kPage + 14));
  }
}

TEST_F(CachedFileTest, ABudgetOfFewPagesStillGivesTheSameBytes) {
  constexpr size_t kPages = 40;
  make_file(kPages);
  CachedFile c = open_cached(true);
  c.set_budget(4 * kPage);
  // Writes all over the file, more pages than the budget holds: eviction
  // writes them back and a later read finds them.
  for (uint64_t page = kPages; page-- > 0;) {
    const uint8_t v = static_cast<uint8_t>(page);
    ASSERT_TRUE(c.write(page * kPage + kPage - 1, &v, 1));  // the last byte of each page
  }
  EXPECT_LE(c.pages_held(), 4u);
  uint8_t two[2];
  for (uint64_t page = 0; page + 1 < kPages; ++page) {
    ASSERT_TRUE(c.read_exact(page * kPage + kPage - 1, two, 2));  // straddles two pages
    EXPECT_EQ(two[0], static_cast<uint8_t>(page));
    EXPECT_EQ(two[1], pattern((page + 1) * kPage));
  }
  ASSERT_TRUE(c.truncate(3 * kPage + 5));
  uint64_t size = 0;
  ASSERT_TRUE(c.size(&size));
  EXPECT_EQ(size, 3 * kPage + 5);
  size_t got = 0;
  uint8_t tail[16];
  ASSERT_TRUE(c.read(3 * kPage, tail, sizeof tail, &got));
  EXPECT_EQ(got, 5u);
}

}  // namespace
}  // namespace xbase::io
