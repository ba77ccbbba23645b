// Table creation through the C interface: the exact header and memo-file
// bytes of every format, how each field type stores its values, and the
// definitions and situations d4create must refuse without leaving files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "formats.h"
#include "test_files.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;
using test_files::be32;
using test_files::fields;
using test_files::fld;
using test_files::le16;
using test_files::le32;
using test_files::slurp;

// The 32 bytes a level-5 descriptor should hold.
std::string descriptor(const char* name, char type, uint32_t displacement, int len, int dec,
                       uint8_t flags = 0) {
  std::string d(32, '\0');
  std::memcpy(d.data(), name, std::strlen(name));
  d[11] = type;
  for (int i = 0; i < 4; ++i) d[size_t(12 + i)] = char(displacement >> (8 * i));
  d[16] = char(len);
  d[17] = char(dec);
  d[18] = char(flags);
  return d;
}

// The field's bytes in the record buffer, NULs included.
std::string raw(FIELD4* f) { return std::string(f4str(f), size_t(f4len(f))); }

class TableCreate : public ::testing::Test {
 protected:
  void SetUp() override { code4errOff(c4_, 1); }
  void TearDown() override { code4initUndo(c4_); }

  std::string at(const std::string& name) const { return tmp_.at(name); }
  DATA4* create(const std::string& name, const std::vector<FIELD4INFO>& f) {
    return d4create(c4_, at(name).c_str(), f.data(), nullptr);
  }
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(tmp_.path()))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  // Closes `d` and opens the table again, to read what the file holds.
  DATA4* reopen(DATA4* d, const std::string& name) {
    EXPECT_EQ(d4close(d), 0);
    return d4open(c4_, at(name).c_str());
  }
  // Appends one record after `fill` set it.
  template <class Fill>
  void append(DATA4* d, Fill fill) {
    ASSERT_EQ(d4appendStart(d, 0), 0);
    ASSERT_EQ(d4blank(d), 0);
    fill();
    ASSERT_EQ(d4append(d), 0);
  }

  CODE4* c4_ = code4initP();
  test_files::TempDir tmp_{"vgx-create"};
};

// What each format writes for PEOPLE: NAME C(10), AMT N(8,2) (nullable where the
// format has nulls), BORN D, OK L, NOTE M.
struct Layout {
  const char* format;
  uint16_t header_len, record_len, memo_len;
  uint8_t byte28, plain_version;  // plain_version: byte 0 without a memo field
  bool displacements;             // descriptors carry the field's offset
  std::string after_fields;       // header bytes after the user descriptors
  std::vector<std::pair<size_t, std::string>> memo_header;  // its bytes other than zero
  std::string reference, hello;  // a memo at the first block: the record's bytes, the block's
};

const Layout& layout_of(const std::string& format) {
  static const std::string fpt_hello = std::string("\0\0\0\1\0\0\0\5Hello", 13);
  static const std::vector<Layout> all = {
      {"FoxPro2", 193, 38, 10, 0, 0x03, true, "\r", {{3, "\x08"}, {7, "\x40"}}, "         8",
       fpt_hello},
      {"LaterFoxPro", 488, 33, 4, 0x02, 0x30, true,
       descriptor("_NullFlags", '0', 32, 1, 0, 0x01) + "\r" + std::string(263, '\0'),
       {{3, "\x08"}, {7, "\x40"}}, std::string("\x08\0\0\0", 4), fpt_hello},
      {"Clipper", 194, 38, 10, 0, 0x03, false, std::string("\r\0", 2),
       {{0, "\x01"}, {5, "\x02"}, {16, "\x03"}}, "         1", "Hello\x1A\x1A"},
      {"DbaseIV", 193, 38, 10, 0, 0x03, false, "\r", {{0, "\x01"}, {8, "PEOPLE  "}, {21, "\x02"}},
       "         1", std::string("\xFF\xFF\x08\x00\x0D\0\0\0Hello", 13)}};
  for (const Layout& l : all)
    if (format == l.format) return l;
  ADD_FAILURE() << "no layout for " << format;
  return all[0];
}

class CreateFormat : public TableCreate, public ::testing::WithParamInterface<formats::Table> {
 protected:
  void SetUp() override {
    TableCreate::SetUp();
    formats::use(c4_, GetParam());
  }
  const Layout& layout() const { return layout_of(GetParam().name); }
};

TEST_P(CreateFormat, HeaderAndMemoFileBytes) {
  const formats::Table& t = GetParam();
  const Layout& l = layout();
  const uint16_t nulls = t.later_types ? r4null : 0;
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  DATA4* d = create("PEOPLE", fields({fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2, nulls),
                                      fld("BORN", 'D', 8), fld("OK", 'L', 1), fld("NOTE", 'M', 10)}));
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4numFields(d), 5) << "a null-flags field is not a user field";
  ASSERT_EQ(d4close(d), 0);
  const std::string h = slurp(at("PEOPLE.DBF"));
  ASSERT_EQ(h.size(), l.header_len + 1u);
  EXPECT_EQ(uint8_t(h[0]), t.version);
  EXPECT_EQ(h.substr(1, 3), std::string({char(tm.tm_year), char(tm.tm_mon + 1), char(tm.tm_mday)}));
  EXPECT_EQ(le32(h, 4), 0u);
  EXPECT_EQ(le16(h, 8), l.header_len);
  EXPECT_EQ(le16(h, 10), l.record_len);
  EXPECT_EQ(h.substr(12, 16), std::string(16, '\0'));
  EXPECT_EQ(uint8_t(h[28]), l.byte28);
  EXPECT_EQ(h.substr(29, 3), std::string(3, '\0')) << "no code page unless asked";
  const struct { const char* name; char type; int len, dec, offset; uint8_t flags; } want[] = {
      {"NAME", 'C', 10, 0, 1, 0}, {"AMT", 'N', 8, 2, 11, uint8_t(nulls ? 0x02 : 0)},
      {"BORN", 'D', 8, 0, 19, 0}, {"OK", 'L', 1, 0, 27, 0}, {"NOTE", 'M', l.memo_len, 0, 28, 0}};
  for (size_t i = 0; i < 5; ++i) {
    const auto& w = want[i];
    EXPECT_EQ(h.substr(32 + 32 * i, 32),
              descriptor(w.name, w.type, l.displacements ? w.offset : 0, w.len, w.dec, w.flags))
        << w.name;
  }
  std::string after = h.substr(192, l.after_fields.size());
  if (t.later_types) after[18] = char(after[18] & ~0x04);  // binary flag, either way
  EXPECT_EQ(after, l.after_fields);
  EXPECT_EQ(h.back(), 0x1A);

  std::string memo(512, '\0');
  for (const auto& [offset, bytes] : l.memo_header) memo.replace(offset, bytes.size(), bytes);
  EXPECT_EQ(slurp(at(std::string("PEOPLE.") + t.memo_ext)), memo);

  // Without a memo field: its own version byte and no memo file.
  d = create("PLAIN", fields({fld("NAME", 'C', 10)}));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  const std::string plain = slurp(at("PLAIN.DBF"));
  EXPECT_EQ(uint8_t(plain[0]), l.plain_version);
  EXPECT_EQ(plain[28], 0);
  EXPECT_EQ(listing(), (std::vector<std::string>{"PEOPLE.DBF", std::string("PEOPLE.") + t.memo_ext,
                                                 "PLAIN.DBF"}));
}

TEST_P(CreateFormat, MemoAtTheFirstBlock) {
  const formats::Table& t = GetParam();
  const Layout& l = layout();
  DATA4* d = create("MEMO", fields({fld("NAME", 'C', 4), fld("NOTE", 'M', 10)}));
  ASSERT_NE(d, nullptr);
  append(d, [&] { ASSERT_EQ(f4memoAssign(d4field(d, "NOTE"), "Hello"), 0); });
  append(d, [&] { f4assign(d4field(d, "NAME"), "none"); });
  ASSERT_EQ(d4close(d), 0);

  const std::string h = slurp(at("MEMO.DBF"));
  ASSERT_GT(h.size(), 12u);
  const size_t first = le16(h, 8), len = le16(h, 10);
  EXPECT_EQ(h.substr(first + 5, l.reference.size()), l.reference);
  EXPECT_EQ(h.substr(first + len + 5, l.reference.size()),
            std::string(l.reference.size(), l.reference.size() == 4 ? '\0' : ' '))
      << "an empty memo has no block";
  const std::string memo = slurp(at(std::string("MEMO.") + t.memo_ext));
  const size_t offset = size_t(t.first_block) * t.block_size;
  ASSERT_EQ(memo.size(), offset + t.block_size);
  std::string block = l.hello;
  block.resize(t.block_size, '\0');
  EXPECT_EQ(memo.substr(offset), block);
  EXPECT_EQ(t.memo_big_endian() ? be32(memo, 0) : le32(memo, 0), t.first_block + 1);

  ASSERT_NE(d = d4open(c4_, at("MEMO").c_str()), nullptr);
  FIELD4* note = d4field(d, "NOTE");
  EXPECT_STREQ(f4memoStr(note), "Hello");
  EXPECT_EQ(f4memoLen(note), 5u);
  EXPECT_EQ(f4memoLen(d4field(d, "NAME")), 4u);  // not a memo: its width
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4memoLen(note), 0u);
  EXPECT_STREQ(f4memoStr(note), "");
}

INSTANTIATE_TEST_SUITE_P(Formats, CreateFormat, ::testing::ValuesIn(formats::tables()),
                         formats::Named());

// Numbers and text in the text storages (every format writes them alike).
TEST_F(TableCreate, TextNumberDateAndLogicalStorage) {
  DATA4* d = create("T", fields({fld("C", 'C', 5), fld("N", 'N', 8, 2), fld("N4", 'N', 4),
                                 fld("F", 'F', 10, 3), fld("D", 'D', 8), fld("L", 'L', 1)}));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4appendStart(d, 0), 0);
  // How: 's' f4assign, 'd' f4assignDouble, 'l' f4assignLong; a null `stored` is asterisks.
  const struct { const char* field; char how; const char* text; double number; const char* stored; }
      cases[] = {{"C", 's', "AB", 0, "AB   "},          {"C", 's', "ABCDEFG", 0, "ABCDE"},
                 {"N", 'd', "", 12.5, "   12.50"},      {"N", 'd', "", 2.675, "    2.68"},
                 {"N", 'd', "", -12.345, "  -12.35"},   {"N", 'd', "", -0.001, "    0.00"},
                 {"N", 'd', "", 99999.994, "99999.99"}, {"N", 'd', "", 99999.995, nullptr},
                 {"N", 'l', "", -7, "   -7.00"},        {"N4", 'd', "", 0, "   0"},
                 {"N4", 'd', "", -999, "-999"},         {"N4", 'l', "", 1234, "1234"},
                 {"N4", 'l', "", -1000, nullptr},       {"N4", 'l', "", 12345, nullptr},
                 {"F", 'd', "", -1.5, "    -1.500"},    {"D", 's', "20240315", 0, "20240315"},
                 {"D", 's', "", 0, "        "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.field << " " << c.text << c.number);
    FIELD4* f = d4field(d, c.field);
    if (c.how == 's') f4assign(f, c.text);
    if (c.how == 'd') f4assignDouble(f, c.number);
    if (c.how == 'l') f4assignLong(f, int32_t(c.number));
    const std::string s = raw(f);
    if (c.stored == nullptr)
      EXPECT_TRUE(s.find('*') != std::string::npos &&
                  s.find_first_not_of("*.") == std::string::npos) << s;
    else
      EXPECT_EQ(s, c.stored);
  }
  f4assign(d4field(d, "D"), "20240315");
  EXPECT_EQ(f4long(d4field(d, "D")), 2460385);  // the day number
  FIELD4* l = d4field(d, "L");
  for (const char* t : {"T", "t", "Y", "y", "F", "n", " ", "?"}) {
    f4assign(l, t);
    EXPECT_EQ(f4true(l), std::strchr("TtYy", *t) ? 1 : 0) << t;
  }
  f4assignN(d4field(d, "C"), "A\0B", 3);
  f4assign(l, "T");
  f4assignDouble(d4field(d, "N"), 12.5);
  ASSERT_EQ(d4append(d), 0);
  ASSERT_NE(d = reopen(d, "T"), nullptr);
  EXPECT_EQ(raw(d4field(d, "N")), "   12.50");
  EXPECT_EQ(raw(d4field(d, "L")), "T");
  EXPECT_EQ(raw(d4field(d, "C")), std::string("A\0B  ", 5));
}

TEST_F(TableCreate, BinaryStorageOfTheLaterFoxProTypes) {
  formats::use(c4_, formats::tables()[1]);
  DATA4* d = create("BIN", fields({fld("I", 'I', 4), fld("Y", 'Y', 8), fld("T", 'T', 8),
                                   fld("B", 'B', 8, 2), fld("Y2", 'Y', 8)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *i = d4field(d, "I"), *y = d4field(d, "Y"), *t = d4field(d, "T");
  ASSERT_EQ(d4appendStart(d, 0), 0);
  ASSERT_EQ(d4blank(d), 0);
  EXPECT_EQ(raw(i), std::string(4, '\0'));
  EXPECT_EQ(raw(t), std::string(8, '\0'));
  EXPECT_EQ(f4dateTime(t), std::string(16, ' '));
  f4assignDouble(i, 2.6);
  EXPECT_EQ(raw(i), std::string("\3\0\0\0", 4));
  f4assignLong(i, -2);
  EXPECT_EQ(f4long(i), -2);
  f4assignDouble(y, -1);
  EXPECT_EQ(raw(y), std::string("\xF0\xD8\xFF\xFF\xFF\xFF\xFF\xFF"));
  f4assignDouble(y, 12.3456);
  EXPECT_DOUBLE_EQ(f4double(y), 12.3456);
  EXPECT_EQ(f4long(y), 12);
  f4assign(d4field(d, "Y2"), "12.3456");  // text reads as a number
  f4assignDateTime(t, "2000010112:00:00");
  f4assignDouble(d4field(d, "B"), 1.5);
  ASSERT_EQ(d4append(d), 0);
  ASSERT_NE(d = reopen(d, "BIN"), nullptr);
  const std::string currency("\x40\xE2\x01\0\0\0\0\0", 8);
  const std::pair<const char*, std::string> stored[] = {
      {"Y", currency}, {"Y2", currency}, {"I", "\xFE\xFF\xFF\xFF"},
      {"T", std::string("\x59\x68\x25\0\0\x2E\x93\x02", 8)},
      {"B", std::string("\0\0\0\0\0\0\xF8\x3F", 8)}};
  for (const auto& [name, bytes] : stored) EXPECT_EQ(raw(d4field(d, name)), bytes) << name;
  EXPECT_STREQ(f4dateTime(d4field(d, "T")), "2000010112:00:00");
  EXPECT_DOUBLE_EQ(f4double(d4field(d, "B")), 1.5);
}

// c V(10) NULL, i I NULL, b Q(10) NULL give the bits c.varlen 0, c.null 1,
// i.null 2, b.varlen 3, b.null 4; a value shorter than its field keeps its
// length in the field's last byte.
TEST_F(TableCreate, VarlengthAndNullFlagBits) {
  formats::use(c4_, formats::tables()[1]);
  DATA4* d = create("VQ", fields({fld("C", 'V', 10, 0, r4null), fld("I", 'I', 4, 0, r4null),
                                  fld("B", 'Q', 10, 0, r4null)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *c = d4field(d, "C"), *i = d4field(d, "I"), *b = d4field(d, "B");
  append(d, [&] { f4assignNull(c); f4assignLong(i, 0); f4assignNull(b); });
  append(d, [&] { f4assign(c, "AB"); f4assignLong(i, 1); f4assignNull(b); });
  append(d, [&] { f4assign(c, "0123456789"); f4assignN(b, "\x01\x02", 2); });
  ASSERT_EQ(d4close(d), 0);

  const std::string h = slurp(at("VQ.DBF"));
  ASSERT_GT(h.size(), 12u);
  EXPECT_EQ(uint8_t(h[0]), 0x32);  // a table with variable-length fields
  const size_t first = le16(h, 8), len = le16(h, 10);
  ASSERT_EQ(len, 26u);  // 1 + 10 + 4 + 10 + one null-flags byte
  ASSERT_EQ(h.size(), first + 3 * len + 1);
  auto rec = [&](int n) { return h.substr(first + size_t(n - 1) * len, len); };
  EXPECT_EQ(rec(1)[25], 0x1B);
  EXPECT_EQ(rec(2)[25], 0x19);
  EXPECT_EQ(rec(2).substr(1, 2), "AB");
  EXPECT_EQ(rec(2)[10], 2);
  EXPECT_EQ(rec(3)[25], 0x08);
  EXPECT_EQ(rec(3).substr(15, 10), std::string("\1\2\0\0\0\0\0\0\0\2", 10));

  ASSERT_NE(d = d4open(c4_, at("VQ").c_str()), nullptr);
  c = d4field(d, "C"), i = d4field(d, "I"), b = d4field(d, "B");
  EXPECT_EQ(f4null(c) * 4 + f4null(i) * 2 + f4null(b), 5);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4null(c), 0);
  EXPECT_EQ(std::string(f4memoStr(c), f4memoLen(c)), "AB");
  EXPECT_EQ(f4long(i), 1);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4memoLen(c), 10u);
  EXPECT_EQ(f4memoLen(b), 2u);
  EXPECT_EQ(f4null(b), 0);
}

TEST_F(TableCreate, NullOnlyForNullableFields) {
  formats::use(c4_, formats::tables()[1]);
  DATA4* d = create("NL", fields({fld("A", 'N', 5, 0, r4null), fld("B", 'N', 5)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *a = d4field(d, "A"), *b = d4field(d, "B");
  ASSERT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(f4null(a), 0);
  f4assignNull(a);
  EXPECT_EQ(f4null(a), 1);
  f4assignLong(a, 5);  // any assignment clears the flag, and so does a blank record
  EXPECT_EQ(f4null(a), 0);
  f4assignNull(a);
  ASSERT_EQ(d4blank(d), 0);
  EXPECT_EQ(f4null(a), 0);
  f4assign(b, "7");
  f4assignNull(b);
  EXPECT_LT(code4errorCode(c4_, 0), 0);
  EXPECT_EQ(f4null(b), 0);
  EXPECT_EQ(raw(b), "    7");
}

TEST_F(TableCreate, AssignFieldConvertsBetweenTypes) {
  formats::use(c4_, formats::tables()[1]);
  DATA4* a = create("A", fields({fld("C", 'C', 10), fld("N", 'N', 5), fld("I", 'I', 4),
                                 fld("Y", 'Y', 8), fld("D", 'D', 8), fld("T", 'T', 8),
                                 fld("M", 'M', 4), fld("V", 'V', 10, 0, r4null)}));
  DATA4* b = create("B", fields({fld("C", 'C', 10), fld("N", 'N', 8, 2), fld("D", 'D', 8),
                                 fld("T", 'T', 8), fld("V", 'V', 10, 0, r4null),
                                 fld("NN", 'N', 6, 0, r4null)}));
  ASSERT_TRUE(a && b);
  ASSERT_EQ(d4appendBlank(a), 0);
  ASSERT_EQ(d4appendBlank(b), 0);
  f4assign(d4field(a, "C"), "12.5");
  f4assignLong(d4field(a, "N"), 42);
  f4assignLong(d4field(a, "I"), -2);
  f4assignDouble(d4field(a, "Y"), 12.3456);
  f4assign(d4field(a, "D"), "20240315");
  f4assignDateTime(d4field(a, "T"), "2000010112:00:00");
  f4memoAssign(d4field(a, "M"), "memo text that is longer");
  f4assign(d4field(a, "V"), "AB");
  // to, from, what `to` then reads (f4dateTime for T, the memo value for V).
  const struct { const char *to, *from, *reads; } cases[] = {
      {"C", "N", "42        "}, {"C", "I", "-2        "}, {"C", "M", "memo text "},
      {"N", "C", "   12.50"},   {"N", "Y", "   12.35"},   {"T", "D", "2024031500:00:00"},
      {"D", "T", "20000101"},   {"V", "V", "AB"}};
  for (const auto& c : cases) {
    FIELD4* to = d4field(b, c.to);
    f4assignField(to, d4field(a, c.from));
    const std::string got = *c.to == 'T' ? f4dateTime(to)
                            : *c.to == 'V' ? std::string(f4memoStr(to), f4memoLen(to))
                                           : raw(to);
    EXPECT_EQ(got, c.reads) << c.to << " from " << c.from;
  }
  f4assignNull(d4field(a, "V"));
  f4assignField(d4field(b, "V"), d4field(a, "V"));
  f4assignField(d4field(b, "NN"), d4field(a, "V"));
  EXPECT_EQ(f4null(d4field(b, "V")), 1);
  EXPECT_EQ(f4null(d4field(b, "NN")), 1);
}

TEST_F(TableCreate, FptBlockTypeFollowsTheFieldType) {
  formats::use(c4_, formats::tables()[1]);
  DATA4* d = create("KINDS", fields({fld("M", 'M', 4), fld("G", 'G', 4), fld("W", 'W', 4),
                                     fld("P", 'P', 4)}));
  ASSERT_NE(d, nullptr);
  append(d, [&] {
    for (const char* name : {"M", "G", "W", "P"}) f4memoAssign(d4field(d, name), name);
  });
  ASSERT_EQ(d4close(d), 0);
  const std::string memo = slurp(at("KINDS.FPT"));
  ASSERT_EQ(memo.size(), 512u + 4 * 64);
  // Blocks 8..11 in field order: text 1, object 2, binary 0, picture 0.
  const uint32_t types[] = {1, 2, 0, 0};
  for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(be32(memo, 512 + 64 * k), types[k]) << k;
}

TEST_F(TableCreate, InvalidDefinitionsFailWithoutLeavingFiles) {
  const struct { const char* why; int format, compatibility; std::vector<FIELD4INFO> f; } cases[] = {
      {"no fields", 1, 26, fields({})},
      {"empty name", 1, 26, fields({fld("", 'C', 4), fld("NOTE", 'M', 10)})},
      {"name starts with a digit", 1, 26, fields({fld("1ST", 'C', 4), fld("NOTE", 'M', 10)})},
      {"blank in a name", 1, 26, fields({fld("A B", 'C', 4)})},
      {"name of 11 characters", 1, 26, fields({fld("ABCDEFGHIJK", 'C', 4)})},
      {"same name twice", 1, 26, fields({fld("NOTE", 'M', 10), fld("Note", 'C', 4)})},
      {"numeric width 0", 1, 26, fields({fld("N", 'N', 0), fld("NOTE", 'M', 10)})},
      {"numeric width 21", 1, 26, fields({fld("N", 'N', 21)})},
      {"decimals leave no room", 1, 26, fields({fld("N", 'N', 5, 4)})},
      {"character width 0", 1, 26, fields({fld("C", 'C', 0), fld("NOTE", 'M', 10)})},
      {"character width 255", 1, 26, fields({fld("C", 'C', 255)})},
      {"unknown type", 1, 30, fields({fld("X", 'X', 4)})},
      {"currency in FoxPro 2", 1, 26, fields({fld("Y", 'Y', 8), fld("NOTE", 'M', 10)})},
      {"varchar in FoxPro 2", 1, 26, fields({fld("V", 'V', 8)})},
      {"integer in dBASE IV", 4, 26, fields({fld("I", 'I', 4), fld("NOTE", 'M', 10)})},
      {"date-time in Clipper", 2, 26, fields({fld("T", 'T', 8)})},
      {"float in Clipper", 2, 26, fields({fld("F", 'F', 8, 2)})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    code4indexFormat(c4_, c.format);
    code4compatibility(c4_, c.compatibility);
    code4errorCode(c4_, 0);
    EXPECT_EQ(create("BAD", c.f), nullptr);
    EXPECT_LT(code4errorCode(c4_, r4check), 0);
    EXPECT_TRUE(listing().empty());
  }
  auto one = fields({fld("A", 'C', 1)});
  EXPECT_EQ(d4create(c4_, nullptr, one.data(), nullptr), nullptr);
  EXPECT_EQ(d4create(c4_, at("X").c_str(), nullptr, nullptr), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4parm);
}

TEST_F(TableCreate, SafetyRefusesExistingFilesAndOffReplacesThem) {
  const auto people = fields({fld("NAME", 'C', 10), fld("NOTE", 'M', 10)});
  test_files::spit(at("ORPHAN.FPT"), "keep me");
  EXPECT_EQ(create("ORPHAN", people), nullptr) << "a memo file in the way";
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(listing(), std::vector<std::string>{"ORPHAN.FPT"});
  EXPECT_EQ(slurp(at("ORPHAN.FPT")), "keep me");

  DATA4* d = create("SAFE", people);
  ASSERT_NE(d, nullptr);
  append(d, [&] { f4memoAssign(d4field(d, "NOTE"), "old"); });
  ASSERT_EQ(d4close(d), 0);
  const std::string dbf = slurp(at("SAFE.DBF")), fpt = slurp(at("SAFE.FPT"));
  EXPECT_EQ(create("SAFE", people), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(create("safe.dbf", people), nullptr) << "the name matches ignoring case";
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(slurp(at("SAFE.DBF")), dbf);
  EXPECT_EQ(slurp(at("SAFE.FPT")), fpt);

  EXPECT_EQ(code4safety(c4_, 0), 1);
  d = create("SAFE", fields({fld("ID", 'N', 4), fld("NOTE", 'M', 10)}));
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4recCount(d), 0);
  EXPECT_EQ(d4numFields(d), 2);
  EXPECT_EQ(create("SAFE", people), nullptr) << "a table open in this context";
  EXPECT_EQ(code4errorCode(c4_, 0), e4instance);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(slurp(at("SAFE.FPT")).size(), 512u) << "a fresh memo file";
}

}  // namespace
