// The B-tree under random traffic, compared with a std::set model, over
// the CDX codec (long and short keys) and a plain fixed-entry codec with
// tiny pages, so that splits, merges and root changes happen constantly.
#include "index/btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <string>

#include "index/btree_cursor.h"
#include "index/cdx/cdx_node_codec.h"
#include "index/sorted_keys.h"
#include "io/endian.h"
#include "memory_node_store.h"

using xbase::index::BTree;
using xbase::index::BTreeCursor;
using xbase::index::Node;
using xbase::index::SeekTarget;

namespace {

// Entries of key_len + 8 bytes after a 12-byte header, in pages of any size.
class FixedCodec final : public xbase::index::PageCodec {
 public:
  FixedCodec(uint32_t key_len, uint32_t page) : key_len_(key_len), page_(page) {}
  uint32_t page_size() const override { return page_; }
  uint32_t key_len() const override { return key_len_; }
  xbase::Status decode(std::span<const uint8_t> p, uint64_t at, Node* out) const override {
    out->page = static_cast<uint32_t>(at);
    out->leaf = p[0] & 2;
    out->root = p[0] & 1;
    out->key_len = key_len_;
    size_t n = xbase::io::load_u16le(&p[2]);
    if (n * (key_len_ + 8) > page_ - 12) return xbase::Status(e4data, "too many entries");
    out->left = xbase::io::load_u32le(&p[4]);
    out->right = xbase::io::load_u32le(&p[8]);
    out->clear_entries();
    for (size_t i = 0; i < n; ++i) {
      const uint8_t* e = &p[12 + i * (key_len_ + 8)];
      out->append(e, xbase::io::load_u32le(e + key_len_), xbase::io::load_u32le(e + key_len_ + 4));
    }
    return {};
  }
  void encode(const Node& n, std::span<uint8_t> p) const override {
    std::fill(p.begin(), p.end(), 0);
    p[0] = static_cast<uint8_t>((n.leaf ? 2 : 0) | (n.root ? 1 : 0));
    xbase::io::store_u16le(&p[2], static_cast<uint16_t>(n.count()));
    xbase::io::store_u32le(&p[4], n.left);
    xbase::io::store_u32le(&p[8], n.right);
    for (size_t i = 0; i < n.count(); ++i) {
      uint8_t* e = &p[12 + i * (key_len_ + 8)];
      std::memcpy(e, n.key(i), key_len_);
      xbase::io::store_u32le(e + key_len_, n.recs[i]);
      xbase::io::store_u32le(e + key_len_ + 4, n.leaf ? 0 : n.children[i]);
    }
  }
  size_t space_used(const Node& n) const override { return n.count() * (key_len_ + 8); }
  size_t space_total(bool) const override { return page_ - 12; }
  bool pack(xbase::index::PackState& s, const uint8_t*, uint32_t, bool) const override {
    if ((s.count + 1) * (key_len_ + 8) > page_ - 12) return false;
    ++s.count;
    return true;
  }

 private:
  uint32_t key_len_, page_;
};

struct Case {
  const char* name;
  uint32_t key_len;
  bool fixed;  // FixedCodec instead of the CDX codec
  uint8_t pad;
  uint32_t max_rec;
};

using Entry = std::pair<std::string, uint32_t>;

class BTreeTraffic : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const Case& c = GetParam();
    if (c.fixed)
      codec_ = std::make_unique<FixedCodec>(c.key_len, 160);
    else
      codec_ = std::make_unique<xbase::index::cdx::CdxNodeCodec>(c.key_len, c.pad);
    store_ = std::make_unique<MemoryNodeStore>(*codec_);
    tree_ = std::make_unique<BTree>(*store_);
  }

  // Keys from a small alphabet with a varying used length, so that keys
  // repeat, share prefixes and end in pad bytes.
  std::string random_key() {
    const Case& c = GetParam();
    std::string k(c.key_len, static_cast<char>(c.pad));
    const size_t used = 1 + rng_() % std::min<uint32_t>(c.key_len, 6);
    for (size_t i = 0; i < used; ++i) k[i] = static_cast<char>("ABCD\x01\xFE"[rng_() % 6]);
    return k;
  }
  uint32_t random_rec() { return 1 + static_cast<uint32_t>(rng_() % GetParam().max_rec); }
  const uint8_t* bytes(const std::string& s) { return reinterpret_cast<const uint8_t*>(s.data()); }

  void expect_same_as_model() {
    ASSERT_TRUE(store_->round_trip());
    xbase::index::TreeStats stats;
    xbase::Status st = tree_->check(&stats);
    ASSERT_TRUE(st) << st.message();
    ASSERT_EQ(stats.entries, model_.size());
    max_depth_ = std::max(max_depth_, stats.depth);
    BTreeCursor cur(*tree_);
    ASSERT_TRUE(cur.first());
    for (const Entry& e : model_) {
      ASSERT_TRUE(cur.valid());
      ASSERT_EQ(std::string(reinterpret_cast<const char*>(cur.key()), GetParam().key_len), e.first);
      ASSERT_EQ(cur.rec(), e.second);
      ASSERT_TRUE(cur.next());
    }
    EXPECT_FALSE(cur.valid());
    ASSERT_TRUE(cur.last());
    for (auto it = model_.rbegin(); it != model_.rend(); ++it) {
      ASSERT_TRUE(cur.valid());
      ASSERT_EQ(cur.rec(), it->second);
      ASSERT_TRUE(cur.prev());
    }
    EXPECT_FALSE(cur.valid());
  }

  // A random entry into the tree and the model.
  void insert_random() {
    Entry e{random_key(), random_rec()};
    ASSERT_TRUE(tree_->insert(bytes(e.first), e.second));
    model_.insert(e);
  }
  // A random entry of the model out of both.
  void remove_random() {
    auto it = model_.begin();
    std::advance(it, static_cast<long>(rng_() % model_.size()));
    bool found = false;
    ASSERT_TRUE(tree_->remove(bytes(it->first), it->second, &found));
    ASSERT_TRUE(found);
    model_.erase(it);
  }

  void random_seek() {
    const std::string k = random_key();
    const size_t len = 1 + rng_() % GetParam().key_len;
    BTreeCursor cur(*tree_);
    bool exact = false;
    ASSERT_TRUE(cur.seek(SeekTarget{bytes(k), len, 0, false}, &exact));
    // Model: the first entry whose first len bytes are not below k's.
    auto it = std::find_if(model_.begin(), model_.end(),
                           [&](const Entry& e) { return e.first.compare(0, len, k, 0, len) >= 0; });
    if (it == model_.end()) {
      EXPECT_FALSE(cur.valid());
      return;
    }
    ASSERT_TRUE(cur.valid());
    EXPECT_EQ(cur.rec(), it->second);
    EXPECT_EQ(exact, it->first.compare(0, len, k, 0, len) == 0);
  }

  std::unique_ptr<xbase::index::PageCodec> codec_;
  std::unique_ptr<MemoryNodeStore> store_;
  std::unique_ptr<BTree> tree_;
  std::set<Entry> model_;
  std::mt19937_64 rng_{12345};
  int max_depth_ = 0;
};

TEST_P(BTreeTraffic, RandomInsertRemoveSeekMatchesModel) {
  for (int op = 1; op <= 6000; ++op) {
    const int dice = static_cast<int>(rng_() % 10);
    if (dice < 6 || model_.empty()) {
      insert_random();
    } else if (dice < 9) {
      remove_random();
    } else {
      const std::string k = random_key();
      bool found = false;
      ASSERT_TRUE(tree_->remove(bytes(k), GetParam().max_rec + 1, &found));
      EXPECT_FALSE(found);
      bool taken = false;
      ASSERT_TRUE(tree_->has_key(bytes(k), 0, &taken));
      EXPECT_EQ(taken, std::any_of(model_.begin(), model_.end(),
                                   [&](const Entry& e) { return e.first == k; }));
    }
    if (op % 97 == 0) random_seek();
    if (op % 600 == 0) expect_same_as_model();
    if (HasFatalFailure()) return;
  }
  // Drain: merges all the way down to an empty root leaf.
  while (!model_.empty()) {
    remove_random();
    if (model_.size() % 500 == 0) expect_same_as_model();
  }
  expect_same_as_model();
  EXPECT_EQ(store_->node_count(), 1u);
  EXPECT_GE(max_depth_, 2);  // the traffic did grow the tree
}

TEST_P(BTreeTraffic, BulkBuildThenTraffic) {
  xbase::index::SortedKeys keys(GetParam().key_len);
  for (int i = 0; i < 3000; ++i) {
    Entry e{random_key(), random_rec()};
    if (!model_.insert(e).second) continue;
    std::memcpy(keys.add(e.second), e.first.data(), e.first.size());
  }
  keys.sort(false);
  ASSERT_TRUE(tree_->build(keys));
  expect_same_as_model();
  for (int op = 0; op < 1500; ++op) insert_random();
  expect_same_as_model();
}

TEST_P(BTreeTraffic, CursorFindsItsWayAfterChanges) {
  for (int i = 0; i < 800; ++i) insert_random();
  BTreeCursor cur(*tree_);
  ASSERT_TRUE(cur.first());
  auto it = model_.begin();
  std::advance(it, 300);
  for (int i = 0; i < 300; ++i) ASSERT_TRUE(cur.next());
  ASSERT_EQ(cur.rec(), it->second);
  // Remove the entry the cursor stands on and its next neighbour: Next
  // gives the one after both, Prev the one before.
  auto victim = it;
  auto after = std::next(it, 2);
  auto before = std::prev(it);
  bool found = false;
  ASSERT_TRUE(tree_->remove(bytes(victim->first), victim->second, &found));
  ASSERT_TRUE(tree_->remove(bytes(std::next(victim)->first), std::next(victim)->second, &found));
  BTreeCursor back = cur;
  ASSERT_TRUE(cur.next());
  ASSERT_TRUE(cur.valid());
  EXPECT_EQ(cur.rec(), after->second);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(cur.key()), GetParam().key_len),
            after->first);
  ASSERT_TRUE(back.prev());
  ASSERT_TRUE(back.valid());
  EXPECT_EQ(back.rec(), before->second);
}

TEST_P(BTreeTraffic, EmptyTreeHasNoEntries) {
  BTreeCursor cur(*tree_);
  ASSERT_TRUE(cur.first());
  EXPECT_FALSE(cur.valid());
  ASSERT_TRUE(cur.last());
  EXPECT_FALSE(cur.valid());
  const std::string k = random_key();
  bool exact = true;
  ASSERT_TRUE(cur.seek(SeekTarget{bytes(k), k.size(), 0, false}, &exact));
  EXPECT_FALSE(cur.valid());
  xbase::index::SortedKeys none(GetParam().key_len);
  ASSERT_TRUE(tree_->build(none));
  expect_same_as_model();
}

INSTANTIATE_TEST_SUITE_P(Codecs, BTreeTraffic,
                         ::testing::Values(Case{"CdxLongKeys", 120, false, ' ', 5000},
                                           Case{"CdxBinaryKeys", 4, false, 0, 0x7FFFFFFF},
                                           Case{"CdxLongestKeys", 240, false, ' ', 3},
                                           Case{"FixedTinyPages", 24, true, ' ', 100000}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
