// The file interface the engine's layers share: lock guards, exact reads,
// and a file system handed in through the open options.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "index/table_indexes.h"
#include "io/file.h"
#include "io/range_lock.h"
#include "table/table_file.h"
#include "test_files.h"

namespace xbase {
namespace {

std::unique_ptr<io::File> open_file(const std::string& path, io::OpenMode mode) {
  std::unique_ptr<io::File> f;
  Status st = io::FileSystem::posix().open(path, mode, &f);
  EXPECT_TRUE(st) << st.message();
  return f;
}

TEST(RangeLock, HoldsTheBytesUntilItsLastOwnerGoesAndReleasesOnce) {
  test_files::TempDir tmp;
  const std::string path = tmp.at("LOCKS.BIN");
  auto a = open_file(path, io::OpenMode::kCreate);
  auto b = open_file(path, io::OpenMode::kReadWrite);
  // Counts its releases and passes them on to the file.
  struct Counter {
    io::File* file;
    int releases = 0;
    void release(uint64_t at, uint64_t len) {
      ++releases;
      file->unlock(at, len);
    }
  } counter{a.get()};
  int& releases = counter.releases;
  {
    io::RangeLock outer;
    {
      ASSERT_TRUE(a->try_lock(10, 1, true));
      io::RangeLock inner = io::RangeLock::through<Counter, &Counter::release>(&counter, 10, 1);
      EXPECT_FALSE(b->try_lock(10, 1, true));
      outer = std::move(inner);
    }
    EXPECT_EQ(releases, 0);
    EXPECT_FALSE(b->try_lock(10, 1, true));
    outer.reset();
    EXPECT_EQ(releases, 1);
    EXPECT_FALSE(outer.held());
  }
  EXPECT_EQ(releases, 1);
  EXPECT_TRUE(b->try_lock(10, 1, true));
}

TEST(File, AnExactReadPastTheEndNamesTheFileAndTheOffset) {
  test_files::TempDir tmp;
  const std::string path = tmp.at("SHORT.BIN");
  auto f = open_file(path, io::OpenMode::kCreate);
  ASSERT_TRUE(f->write_at(0, "abcdef", 6));
  char buf[4];
  EXPECT_TRUE(f->read_exact(2, buf, 4));
  Status st = f->read_exact(4, buf, 4);
  EXPECT_EQ(st.code(), e4read);
  EXPECT_NE(st.message().find(path), std::string::npos) << st.message();
  EXPECT_NE(st.message().find("offset 4"), std::string::npos) << st.message();
}

// The operating system's files, with every open recorded and opens of one
// extension refused.
class RecordingFileSystem final : public io::FileSystem {
 public:
  Status open(const std::string& path, io::OpenMode mode, std::unique_ptr<io::File>* out) override {
    opened.push_back(io::path_extension(path));
    if (!refused.empty() && io::path_extension(path) == refused)
      return Status(e4create, "refused: " + path);
    return posix().open(path, mode, out);
  }
  bool exists(const std::string& path) override { return posix().exists(path); }
  std::string resolve_case(const std::string& path) override { return posix().resolve_case(path); }
  Status remove(const std::string& path) override {
    removed.push_back(io::path_extension(path));
    return posix().remove(path);
  }

  std::vector<std::string> opened, removed;
  std::string refused;
};

table::TableHeader header_with_memo() {
  table::TableHeader h;
  table::FieldDesc name, notes;
  name.name = "NAME";
  name.len = 10;
  notes.name = "NOTES";
  notes.type = 'M';
  Status st = table::build_header({name, notes}, table::CreateOptions{}, &h);
  EXPECT_TRUE(st) << st.message();
  return h;
}

// PEOPLE.DBF with a memo field, made and opened exclusively through a recording file system.
class FileSystemTest : public ::testing::Test {
 protected:
  FileSystemTest() {
    options.exclusive = true;
    options.fs = &fs;
  }
  Status create() { return table::TableFile::create(tmp.at("PEOPLE.DBF"), header_with_memo(), true, options, &t); }

  test_files::TempDir tmp;
  RecordingFileSystem fs;
  table::OpenOptions options;
  std::unique_ptr<table::TableFile> t;
};

TEST_F(FileSystemTest, ATableAndItsMemoFileOpenThroughTheGivenFileSystem) {
  ASSERT_TRUE(create());
  t.reset();
  ASSERT_TRUE(table::TableFile::open(tmp.at("PEOPLE.DBF"), options, &t));
  EXPECT_EQ(fs.opened, (std::vector<std::string>{"DBF", "FPT", "DBF", "FPT"}));
}

TEST_F(FileSystemTest, ATableWhoseMemoFileCannotBeMadeIsRemovedAgain) {
  fs.refused = "FPT";
  EXPECT_EQ(create().code(), e4create);
  EXPECT_EQ(fs.removed, std::vector<std::string>{"DBF"});
  EXPECT_FALSE(fs.exists(tmp.at("PEOPLE.DBF")));
}

TEST_F(FileSystemTest, IndexFilesLiveWhereTheirTableLives) {
  // A context that reports nothing and names no other table.
  struct Quiet final : Context {
    int fail(const Status& st) override { return st.code(); }
    expr::RecordSource* source_named(std::string_view) override { return nullptr; }
  } context;
  ASSERT_TRUE(create());
  index::TableIndexes set(context, *t);
  index::TagDefinition name;
  name.name = "NAME";
  name.key_expr = "NAME";
  index::IndexFile* file = nullptr;
  Status st = set.create(tmp.at("PEOPLE.CDX"), {name}, true, &file);
  ASSERT_TRUE(st) << st.message();
  ASSERT_TRUE(set.close(file));
  ASSERT_TRUE(set.open(tmp.at("PEOPLE.CDX"), &file));
  EXPECT_EQ(fs.opened, (std::vector<std::string>{"DBF", "FPT", "CDX", "CDX"}));
}

}  // namespace
}  // namespace xbase
