// CDX page bytes: the format reference's worked leaf byte for byte, the
// choice of bit widths, interior nodes' big-endian words, tag headers, key
// encodings, the general collation, and damaged pages failing cleanly.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "index/cdx/cdx_layout.h"
#include "index/cdx/cdx_node_codec.h"
#include "index/cdx/cdx_tag_header.h"
#include "index/collation.h"
#include "index/key_encoding.h"
#include "vgxbase/xbase.h"

using namespace xbase::index;
using namespace xbase::index::cdx;
using Bytes = std::vector<uint8_t>;

namespace {

Node leaf_of(uint32_t key_len, const std::vector<std::pair<std::string, uint32_t>>& entries,
             uint8_t pad = ' ') {
  Node n;
  n.leaf = true;
  n.root = true;
  n.key_len = key_len;
  for (const auto& [k, r] : entries) {
    std::string key = k;
    key.resize(key_len, static_cast<char>(pad));
    n.append(reinterpret_cast<const uint8_t*>(key.data()), r);
  }
  return n;
}

std::string key_at(const Node& n, size_t i) {
  return std::string(reinterpret_cast<const char*>(n.key(i)), n.key_len);
}

Bytes worked_example_page() {
  Bytes p(kPageSize, 0);
  const uint8_t head[] = {0x03, 0x00, 0x03, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                          0xFF, 0xD3, 0x01, 0xFF, 0xFF, 0x00, 0x00, 0x0F, 0x0F, 0x10, 0x04,
                          0x04, 0x03, 0x05, 0x00, 0x50, 0x02, 0x00, 0x43, 0x09, 0x00, 0x60};
  std::memcpy(p.data(), head, sizeof head);
  std::memcpy(p.data() + 0x1F4, "BETAINEALPHA", 12);
  return p;
}

TEST(CdxLeaf, WorkedExampleByteForByte) {
  const CdxNodeCodec codec(10, ' ');
  const Node n = leaf_of(10, {{"ALPHA", 5}, {"ALPINE", 2}, {"BETA", 9}});
  Bytes page(kPageSize, 0xEE);
  codec.encode_leaf_as(n, LeafWidths{16, 4, 4, 3}, page);
  EXPECT_EQ(page, worked_example_page());

  Node back;
  ASSERT_TRUE(codec.decode(worked_example_page(), 1024, &back));
  ASSERT_EQ(back.count(), 3u);
  EXPECT_TRUE(back.leaf && back.root);
  EXPECT_EQ(back.left, kNone);
  EXPECT_EQ(key_at(back, 0), "ALPHA     ");
  EXPECT_EQ(key_at(back, 1), "ALPINE    ");
  EXPECT_EQ(key_at(back, 2), "BETA      ");
  EXPECT_EQ(back.recs, (std::vector<uint32_t>{5, 2, 9}));
  EXPECT_EQ(codec.space_used(n), kLeafSpace - 0x1D3 - 3u);  // our own widths: E = 2, not 3
}

TEST(CdxLeaf, WidthsFollowKeyLengthAndRecords) {
  // Duplicate and trailing counts get the bits the key length needs; the
  // record number the rest of the fewest whole bytes.
  LeafWidths w = leaf_widths(10, 9);
  EXPECT_EQ(w.dup_bits, 4);
  EXPECT_EQ(w.entry_bytes, 2);
  EXPECT_EQ(w.rec_bits, 8);
  w = leaf_widths(6, 830);
  EXPECT_EQ(w.dup_bits, 3);
  EXPECT_EQ(w.entry_bytes, 2);
  EXPECT_EQ(w.rec_bits, 10);
  w = leaf_widths(240, 0x7FFFFFFF);
  EXPECT_EQ(w.dup_bits, 8);
  EXPECT_GE(w.rec_bits, 31);
  EXPECT_EQ(w.entry_bytes, 6);
}

TEST(CdxLeaf, RandomLeavesRoundTrip) {
  std::mt19937 rng(99);
  for (uint32_t key_len : {1u, 4u, 8u, 10u, 37u, 120u, 240u}) {
    for (int round = 0; round < 40; ++round) {
      const uint8_t pad = round % 2 ? ' ' : 0;
      const CdxNodeCodec codec(key_len, pad);
      std::vector<std::pair<std::string, uint32_t>> entries;
      for (int i = 0; i < 200; ++i) {
        std::string k(rng() % (key_len + 1), 'A');
        for (char& c : k) c = static_cast<char>("AB \x00\xFF"[rng() % 5]);
        entries.push_back({k, 1 + rng() % (round % 3 ? 1000u : 0x7FFFFFFFu)});
      }
      Node n = leaf_of(key_len, entries, pad);
      std::sort(n.recs.begin(), n.recs.end());  // order does not matter to the codec
      while (!codec.fits(n)) n.erase(n.count() - 1);
      Bytes page(kPageSize);
      codec.encode(n, page);
      Node back;
      ASSERT_TRUE(codec.decode(page, 512, &back));
      ASSERT_EQ(back.keys, n.keys) << key_len;
      ASSERT_EQ(back.recs, n.recs);
      EXPECT_EQ(page[kLeafFree] | page[kLeafFree + 1] << 8,
                static_cast<int>(kLeafSpace - codec.space_used(n)));
    }
  }
}

TEST(CdxInterior, WordsAreBigEndian) {
  const CdxNodeCodec codec(4, 0);
  Node n;
  n.leaf = false;
  n.key_len = 4;
  n.left = 0x600;
  n.append(reinterpret_cast<const uint8_t*>("\x80\x00\x00\x07"), 0x01020304, 0x00000A00);
  Bytes page(kPageSize);
  codec.encode(n, page);
  EXPECT_EQ(page[0], 0);  // interior, not root
  const Bytes entry(page.begin() + 12, page.begin() + 24);
  EXPECT_EQ(entry, (Bytes{0x80, 0, 0, 7, 1, 2, 3, 4, 0, 0, 0x0A, 0}));
  Node back;
  ASSERT_TRUE(codec.decode(page, 2048, &back));
  EXPECT_EQ(back.children, (std::vector<uint32_t>{0xA00}));
  EXPECT_EQ(back.recs, (std::vector<uint32_t>{0x01020304}));
  EXPECT_EQ(back.left, 0x600u);
}

TEST(CdxDamage, BadPagesGiveErrorsNeverCrashes) {
  const CdxNodeCodec codec(10, ' ');
  auto expect_bad = [&](Bytes page, const char* what) {
    Node n;
    xbase::Status st = codec.decode(page, 4096, &n);
    EXPECT_EQ(st.code(), e4data) << what;
    EXPECT_NE(st.message().find("4096"), std::string::npos) << st.message();
  };
  Bytes p = worked_example_page();
  p[2] = 200;  // 200 entries of 3 bytes do not fit
  expect_bad(p, "count");
  p = worked_example_page();
  p[23] = 0;  // entry size 0
  expect_bad(p, "entry size");
  p = worked_example_page();
  p[20] = 30;  // bit widths beyond the entry
  expect_bad(p, "widths");
  p = worked_example_page();
  p[26] = 0x5F;  // first entry: 5 duplicate bytes of no key
  expect_bad(p, "dup");
  p = worked_example_page();
  p[21] = 8;
  p[18] = 0xFF;  // 255 duplicate bytes of a 10-byte key
  expect_bad(p, "dup too long");
  expect_bad(Bytes(100, 0), "short page");
  // Any single byte changed: an error or a node, never a crash.
  const Bytes good = worked_example_page();
  for (size_t at = 0; at < 40; ++at)
    for (int v : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      Bytes q = good;
      q[at] = static_cast<uint8_t>(v);
      Node n;
      xbase::Status st = codec.decode(q, 0, &n);
      if (st) {
        EXPECT_EQ(n.keys.size(), n.count() * 10);
      }
    }
  // An interior node with too many entries.
  Bytes interior(kPageSize, 0);
  interior[2] = 30;  // 30 * 18 > 500
  expect_bad(interior, "interior count");
}

TEST(CdxTagHeaderBytes, WritesAndReadsExpressionsAndFlags) {
  CdxTagHeader h;
  h.root = 0x1400;
  h.key_len = 20;
  h.options = kOptCompact | kOptCompound | kOptFor | kOptUnique;
  h.collation = "GENERAL";
  h.descending = true;
  h.key_expr = "UPPER(name)";
  h.filter = "!DELETED()";
  Bytes b(kHeaderSize);
  ASSERT_TRUE(write_tag_header(h, b));
  EXPECT_EQ(b[504] | b[505] << 8, 12);  // the filter follows the key expression and its NUL
  EXPECT_EQ(b[506] | b[507] << 8, 11);
  EXPECT_EQ(b[510] | b[511] << 8, 12);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(&b[494]), 7), "GENERAL");
  CdxTagHeader back;
  ASSERT_TRUE(parse_tag_header(b, 0, &back));
  EXPECT_EQ(back.key_expr, h.key_expr);
  EXPECT_EQ(back.filter, h.filter);
  EXPECT_TRUE(back.descending);
  EXPECT_EQ(back.root, 0x1400u);

  Bytes bad = b;
  bad[504] = 0xFA;
  bad[505] = 0x01;  // the filter starts inside the pool but runs past it
  EXPECT_EQ(parse_tag_header(bad, 0, &back).code(), e4data);
  bad = b;
  bad[12] = bad[13] = 0;  // no key length
  EXPECT_EQ(parse_tag_header(bad, 0, &back).code(), e4data);
  h.key_expr = std::string(600, 'X');
  EXPECT_EQ(write_tag_header(h, b).code(), e4index);
}

TEST(KeyEncoding, NumbersDatesIntegersAsTheFormatSays) {
  auto hex = [](const uint8_t* p, size_t n) {
    std::string s;
    char b[4];
    for (size_t i = 0; i < n; ++i) {
      std::snprintf(b, sizeof b, "%02X", p[i]);
      s += b;
    }
    return s;
  };
  uint8_t k[8];
  encode_number(1.0, k);
  EXPECT_EQ(hex(k, 8), "BFF0000000000000");
  encode_number(0.0, k);
  EXPECT_EQ(hex(k, 8), "8000000000000000");
  encode_number(-0.0, k);
  EXPECT_EQ(hex(k, 8), "8000000000000000");
  encode_number(-1.0, k);
  EXPECT_EQ(hex(k, 8), "400FFFFFFFFFFFFF");
  encode_number(100.0, k);
  EXPECT_EQ(hex(k, 8), "C059000000000000");
  encode_number(2451545.0, k);  // 2000-01-01
  EXPECT_EQ(hex(k, 8), "C142B42C80000000");
  EXPECT_EQ(decode_number(k), 2451545.0);
  encode_int32(1, k);
  EXPECT_EQ(hex(k, 4), "80000001");
  encode_int32(-1, k);
  EXPECT_EQ(hex(k, 4), "7FFFFFFF");
  EXPECT_EQ(decode_int32(k), -1);
  // Byte order is value order.
  std::mt19937_64 rng(5);
  for (int i = 0; i < 2000; ++i) {
    const double a =
        std::ldexp(static_cast<double>(rng() % 2000000) - 1e6, static_cast<int>(rng() % 40) - 20);
    const double b =
        std::ldexp(static_cast<double>(rng() % 2000000) - 1e6, static_cast<int>(rng() % 40) - 20);
    uint8_t ka[8], kb[8];
    encode_number(a, ka);
    encode_number(b, kb);
    const int c = std::memcmp(ka, kb, 8);
    EXPECT_EQ(c < 0, a < b) << a << " " << b;
    EXPECT_EQ(c == 0, a == b);
  }
  EXPECT_EQ(key_from_text(KeyKind::kDate, "20000101", k), 8u);
  EXPECT_EQ(hex(k, 8), "C142B42C80000000");
  key_from_text(KeyKind::kNumber, " 100 ", k);
  EXPECT_EQ(hex(k, 8), "C059000000000000");
  key_from_text(KeyKind::kLogical, "y", k);
  EXPECT_EQ(k[0], 'T');
  EXPECT_EQ(
      describe_key(KeyKind::kDate, Collation::kMachine, true,
                   reinterpret_cast<const uint8_t*>("\x80\xC1\x42\xB4\x2C\x80\x00\x00\x00"), 9),
      "20000101");
}

TEST(GeneralCollation, WeightsOfTheSampleKeys) {
  // Keys as the FoxPro products wrote them into the sample files.
  uint8_t out[20];
  EXPECT_EQ(general_key("Fer2      ", 10, out, 20), 4u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 4), "gfuX");
  EXPECT_EQ(out[4], 0);
  general_key("la descrip", 10, out, 20);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 10),
            "m`\x11"
            "dfvbujs");
  general_key("D.1.C", 5, out, 20);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 5),
            "d\x1fW\x1f"
            "b");
  // Case and accents fold; the order is alphabetic.
  EXPECT_EQ(general_weight('a'), general_weight('A'));
  EXPECT_EQ(general_weight(0xE9), general_weight('e'));  // e acute
  EXPECT_LT(general_weight('z'), general_weight(0xFE));  // thorn last
  EXPECT_LT(general_weight('9'), general_weight('a'));
  EXPECT_LT(general_weight(' '), general_weight('0'));
  // Seek values keep their length; trailing blanks stand for padding.
  EXPECT_EQ(general_seek_key("FER ", 4, out, 20), 4u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 4), std::string("gfu\0", 4));
}

}  // namespace
