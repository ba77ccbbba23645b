// Damaged index files opened and walked through the C interface: every
// damage ends in e4data or e4index, never a crash or an endless walk, and
// the verifier names the damage.
#include <cstring>
#include <string>

#include "index_fixture.h"
#include "io/endian.h"

using index_test::IndexTest;
using index_test::tag;
using index_test::tags;

namespace {

constexpr size_t kPage = 512;

class IndexDamage : public IndexTest {
 protected:
  void SetUp() override {
    IndexTest::SetUp();
    DATA4* d = make_people("people", tags({tag("NAME", "UPPER(NAME)")}), kRecords);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(d4close(d), 0);
    for (const auto& e : std::filesystem::directory_iterator(dir_))
      if (e.path().extension() == ".cdx" || e.path().extension() == ".CDX") cdx_ = e.path();
    bytes_ = test_files::slurp(cdx_);
    ASSERT_GT(bytes_.size(), 4 * kPage) << cdx_;
    // The tag header is the page before the expression pool that holds its key.
    const size_t pool = bytes_.find("UPPER(NAME)");
    ASSERT_NE(pool, std::string::npos);
    header_ = pool / kPage * kPage - kPage;
    ASSERT_EQ(u16(header_ + 12), 12u) << "the NAME tag's key length";
    root_ = u32(header_);
    ASSERT_EQ(root_ % kPage, 0u);
    ASSERT_EQ(u16(root_) & 2, 0u) << "the root of a 2000-key tag is an interior node";
  }

  uint32_t u32(size_t at) const {
    return xbase::io::load_u32le(reinterpret_cast<const uint8_t*>(bytes_.data() + at));
  }
  uint16_t u16(size_t at) const {
    return xbase::io::load_u16le(reinterpret_cast<const uint8_t*>(bytes_.data() + at));
  }
  void put32le(size_t at, uint32_t v) {
    xbase::io::store_u32le(reinterpret_cast<uint8_t*>(bytes_.data() + at), v);
  }
  void put32be(size_t at, uint32_t v) {
    xbase::io::store_u32be(reinterpret_cast<uint8_t*>(bytes_.data() + at), v);
  }
  void put16le(size_t at, uint16_t v) {
    xbase::io::store_u16le(reinterpret_cast<uint8_t*>(bytes_.data() + at), v);
  }
  // The child page of interior entry `i` of the node at `node`.
  size_t child_at(size_t node, size_t i) const { return node + 12 + i * (12 + 8) + 12 + 4; }

  // Writes the damaged bytes, opens the table with its index and walks the
  // tag both ways and seeks: answers the first error code met (0: none).
  int open_and_walk() {
    test_files::spit(cdx_, bytes_);
    code4autoOpen(c4_, 1);
    DATA4* d = d4open(c4_, path("people").c_str());
    if (d == nullptr) return code4errorCode(c4_, 0);
    int err = 0;
    TAG4* t = i4tag(d4index(d, nullptr), "NAME");
    if (t != nullptr && d4tagSelectP(d, t) == 0) {
      int steps = 0;
      int rc = d4top(d);
      while (rc == 0 && steps++ < kRecords + 10) rc = d4skip(d, 1);
      EXPECT_LE(steps, kRecords + 1) << "a walk longer than the table";
      if (rc < 0) err = rc;
      steps = 0;
      rc = d4bottom(d);
      while (rc == 0 && steps++ < kRecords + 10) rc = d4skip(d, -1);
      if (rc < 0 && err == 0) err = rc;
      rc = d4seek(d, "ZOE");
      if (rc < 0 && err == 0) err = rc;
    } else {
      err = code4errorCode(c4_, 0);
    }
    if (err == 0) err = code4errorCode(c4_, 0);
    code4errorCode(c4_, 0);
    d4close(d);
    code4errorCode(c4_, 0);
    return err;
  }

  static constexpr int kRecords = 2000;
  std::string cdx_, bytes_;
  size_t header_ = 0;
  uint32_t root_ = 0;
};

TEST_F(IndexDamage, AChildThatPointsBackAtItsParentIsALoop) {
  put32be(child_at(root_, 0), root_);
  const int err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, AChildOutsideTheFile) {
  put32be(child_at(root_, 0), static_cast<uint32_t>(bytes_.size() + 10 * kPage));
  const int err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, CountsThatLie) {
  put16le(root_ + 2, 0xFFFF);  // more interior entries than a page holds
  const int err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, AKeyLongerThanAnyPageHolds) {
  put16le(header_ + 12, 600);
  const int err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, ALeafWhoseKeysDisagreeWithTheHeader) {
  // The tag's key length grows by one: every leaf decodes to keys of the
  // wrong length and content.
  put16le(header_ + 12, 13);
  const int err = open_and_walk();
  EXPECT_TRUE(err == 0 || err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, ARootOutsideTheFileAndADirectoryThatLoops) {
  put32le(header_, 0x7FFFFE00u);
  int err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
  bytes_ = test_files::slurp(cdx_);
  put32le(header_, root_);
  put32le(0, 0);  // the directory's root is the file header itself
  err = open_and_walk();
  EXPECT_TRUE(err == e4data || err == e4index) << err;
}

TEST_F(IndexDamage, TheVerifierNamesALoopAndReindexRepairsIt) {
  put32be(child_at(root_, 0), root_);
  test_files::spit(cdx_, bytes_);
  code4autoOpen(c4_, 1);
  DATA4* d = d4open(c4_, path("people").c_str());
  ASSERT_NE(d, nullptr);
  auto* set = d->table->indexes();
  ASSERT_NE(set, nullptr);
  xbase::index::FileVerdict verdict;
  ASSERT_TRUE(xbase::index::verify_file(*set, *set->files().front(), &verdict));
  EXPECT_FALSE(verdict.ok());
  EXPECT_FALSE(verdict.first_problem().empty());
  code4errorCode(c4_, 0);
  ASSERT_EQ(d4reindex(d), 0);
  verify(d);
  ASSERT_EQ(d4close(d), 0);
}

}  // namespace
