// Damaged index files opened and walked through the C interface: every
// damage ends in e4data or e4index, never a crash or an endless walk, and
// the verifier names the damage. Each damage is a row of its format's list.
#include <map>
#include <string>

#include "index_fixture.h"
#include "io/endian.h"

using index_test::IndexTest;
using index_test::tag;
using index_test::tags;

namespace {

constexpr int kRecords = 2000;

// A compound index file's bytes and where its NAME tag lies: its header page
// (the page before the expression pool that holds its key) and its root.
struct CdxBytes {
  static constexpr size_t kPage = 512;
  std::string bytes;
  size_t header = 0;
  uint32_t root = 0;

  uint8_t* at(size_t offset) { return reinterpret_cast<uint8_t*>(bytes.data() + offset); }
  uint32_t u32(size_t offset) { return xbase::io::load_u32le(at(offset)); }
  uint16_t u16(size_t offset) { return xbase::io::load_u16le(at(offset)); }
  // The child page of interior entry `i` of the node at `node`.
  size_t child_at(size_t node, size_t i) const { return node + 12 + i * (12 + 8) + 12 + 4; }
  bool find_tag() {
    const size_t pool = bytes.find("UPPER(NAME)");
    if (pool == std::string::npos) return false;
    header = pool / kPage * kPage - kPage;
    root = u32(header);
    // The root of a 2000-key tag of 12-byte keys is an interior node.
    return u16(header + 12) == 12 && root % kPage == 0 && (u16(root) & 2) == 0;
  }
};

// One damage: what it changes, and whether reads may meet no error at all
// (the damage then reads as wrong keys, which the verifier names).
struct Damage {
  const char* what;
  void (*apply)(CdxBytes&);
  bool may_read;
};

const std::map<std::string, std::vector<Damage>>& damages() {
  static const std::map<std::string, std::vector<Damage>> all = {
      {"Cdx",
       {{"a child that points back at its parent",
         [](CdxBytes& c) { xbase::io::store_u32be(c.at(c.child_at(c.root, 0)), c.root); }, false},
        {"a child outside the file",
         [](CdxBytes& c) {
           xbase::io::store_u32be(c.at(c.child_at(c.root, 0)), uint32_t(c.bytes.size() + 10 * c.kPage));
         }, false},
        {"more interior entries than a page holds",
         [](CdxBytes& c) { xbase::io::store_u16le(c.at(c.root + 2), 0xFFFF); }, false},
        {"a key longer than any page holds", [](CdxBytes& c) { xbase::io::store_u16le(c.at(c.header + 12), 600); },
         false},
        {"keys one byte longer than the leaves hold",
         [](CdxBytes& c) { xbase::io::store_u16le(c.at(c.header + 12), 13); }, true},
        {"a root outside the file", [](CdxBytes& c) { xbase::io::store_u32le(c.at(c.header), 0x7FFFFE00u); }, false},
        {"a directory whose root is the file header", [](CdxBytes& c) { xbase::io::store_u32le(c.at(0), 0); },
         false}}}};
  return all;
}

class IndexDamage : public IndexTest {
 protected:
  void SetUp() override {
    IndexTest::SetUp();
    DATA4* d = make_people("people", tags({tag("NAME", "UPPER(NAME)")}), kRecords);
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(d4close(d), 0);
    pristine_.bytes = test_files::slurp(index_path("people"));
    ASSERT_TRUE(pristine_.find_tag()) << "the NAME tag is not where the layout says";
    code4autoOpen(c4_, 1);
  }

  // Writes the damaged bytes, opens the table with its index and walks the
  // tag both ways and seeks: answers the first error code met (0: none).
  int open_and_walk(const CdxBytes& damaged) {
    test_files::spit(index_path("people"), damaged.bytes);
    DATA4* d = d4open(c4_, path("people").c_str());
    if (d == nullptr) return code4errorCode(c4_, 0);
    int err = select(d, "NAME") == 0 ? 0 : code4errorCode(c4_, 0);
    for (int dir : {1, -1}) {
      int steps = 0;
      int rc = err ? err : dir > 0 ? d4top(d) : d4bottom(d);
      while (rc == 0 && steps++ < kRecords + 10) rc = d4skip(d, dir);
      EXPECT_LE(steps, kRecords + 1) << "a walk longer than the table";
      if (rc < 0 && err == 0) err = rc;
    }
    if (const int rc = err ? 0 : d4seek(d, "ZOE"); rc < 0) err = rc;
    if (err == 0) err = code4errorCode(c4_, 0);
    code4errorCode(c4_, 0);
    d4close(d);
    code4errorCode(c4_, 0);
    return err;
  }

  CdxBytes pristine_;
};

TEST_P(IndexDamage, EveryDamageEndsInAnErrorCode) {
  auto rows = damages().find(GetParam().name);
  ASSERT_NE(rows, damages().end()) << "no damages listed for " << GetParam().name;
  for (const Damage& damage : rows->second) {
    SCOPED_TRACE(damage.what);
    CdxBytes damaged = pristine_;
    damage.apply(damaged);
    const int err = open_and_walk(damaged);
    EXPECT_TRUE(err == e4data || err == e4index || (damage.may_read && err == 0)) << err;
  }
}

TEST_P(IndexDamage, TheVerifierNamesALoopAndReindexRepairsIt) {
  CdxBytes damaged = pristine_;
  damages().at(GetParam().name).front().apply(damaged);
  test_files::spit(index_path("people"), damaged.bytes);
  DATA4* d = d4open(c4_, path("people").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_NE(index_test::first_problem(d4index(d, nullptr)), "");
  code4errorCode(c4_, 0);
  ASSERT_EQ(d4reindex(d), 0);
  verify(d);
  ASSERT_EQ(d4close(d), 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, IndexDamage, ::testing::ValuesIn(formats::indexes()),
                         formats::Named());

}  // namespace
