// Table creation through the C interface: the exact header and memo-file bytes
// of every format, how each field type stores its values, and the
// definitions and situations d4create must refuse without leaving files.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes slurp(const std::string& path) { return test_files::slurp_bytes(path); }

Bytes slice(const Bytes& b, size_t at, size_t len) {
  if (at + len > b.size()) return {};
  return Bytes(b.begin() + static_cast<std::ptrdiff_t>(at),
               b.begin() + static_cast<std::ptrdiff_t>(at + len));
}

Bytes text_bytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

uint32_t u32le(const Bytes& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24;
}
uint32_t u32be(const Bytes& b, size_t at) {
  return uint32_t(b[at]) << 24 | b[at + 1] << 16 | b[at + 2] << 8 | b[at + 3];
}

using test_files::fields;
using test_files::fld;

// The 32 bytes a level-5 descriptor should hold.
Bytes descriptor(const char* name, char type, uint32_t displacement, int len, int dec,
                 uint8_t flags = 0) {
  Bytes d(32, 0);
  std::memcpy(d.data(), name, std::strlen(name));
  d[11] = static_cast<uint8_t>(type);
  for (int i = 0; i < 4; ++i) d[size_t(12 + i)] = static_cast<uint8_t>(displacement >> (8 * i));
  d[16] = static_cast<uint8_t>(len);
  d[17] = static_cast<uint8_t>(dec);
  d[18] = flags;
  return d;
}

// The field bytes of the record buffer, NULs included.
Bytes raw(FIELD4* f) { return Bytes(f4str(f), f4str(f) + f4len(f)); }
std::string text(FIELD4* f) { return std::string(f4str(f), static_cast<size_t>(f4len(f))); }

struct Today {
  uint8_t yy, mm, dd;
};
Today today() {
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  return {static_cast<uint8_t>(tm.tm_year), static_cast<uint8_t>(tm.tm_mon + 1),
          static_cast<uint8_t>(tm.tm_mday)};
}

class TableCreate : public ::testing::Test {
 protected:
  void SetUp() override {
    c4_ = code4initP();
    ASSERT_NE(c4_, nullptr);
    code4errOff(c4_, 1);
  }
  void TearDown() override {
    code4initUndo(c4_);
  }

  std::string at(const std::string& name) const { return dir_ + "/" + name; }
  void use_format(int format, int compatibility = 26) {
    ASSERT_GE(code4indexFormat(c4_, format), 0);
    code4compatibility(c4_, compatibility);
  }
  DATA4* create(const std::string& name, const std::vector<FIELD4INFO>& f) {
    return d4create(c4_, at(name).c_str(), f.data(), nullptr);
  }
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir_))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }
  // Appends one record through d4appendStart/d4append after `fill` set it.
  template <class Fill>
  void append(DATA4* d, Fill fill) {
    ASSERT_EQ(d4appendStart(d, 0), 0);
    ASSERT_EQ(d4blank(d), 0);
    fill();
    ASSERT_EQ(d4append(d), 0);
  }

  CODE4* c4_ = nullptr;
  test_files::TempDir tmp_{"vgx-create"};
  const std::string dir_ = tmp_.path().string();
};

const std::vector<FIELD4INFO> kPeople = fields({fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2),
                                                fld("BORN", 'D', 8), fld("OK", 'L', 1),
                                                fld("NOTE", 'M', 10)});

void expect_common_header(const Bytes& h, uint8_t version, uint16_t header_len,
                          uint16_t record_len, const Today& before) {
  ASSERT_GE(h.size(), size_t(header_len) + 1);
  EXPECT_EQ(h[0], version);
  const Today after = today();
  EXPECT_TRUE((h[1] == before.yy && h[2] == before.mm && h[3] == before.dd) ||
              (h[1] == after.yy && h[2] == after.mm && h[3] == after.dd));
  EXPECT_EQ(u32le(h, 4), 0u);
  EXPECT_EQ(h[8] | h[9] << 8, header_len);
  EXPECT_EQ(h[10] | h[11] << 8, record_len);
  EXPECT_EQ(slice(h, 12, 16), Bytes(16, 0));
  EXPECT_EQ(h[29], 0);  // no code page unless asked
  EXPECT_EQ(h[30] | h[31], 0);
  EXPECT_EQ(h.size(), size_t(header_len) + 1u);
  EXPECT_EQ(h.back(), 0x1A);
}

TEST_F(TableCreate, FoxPro2HeaderAndFptBytes) {
  use_format(1, 26);
  const Today before = today();
  DATA4* d = create("PEOPLE", kPeople);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  Bytes h = slurp(at("PEOPLE.DBF"));
  expect_common_header(h, 0xF5, 193, 38, before);
  EXPECT_EQ(h[28], 0);
  EXPECT_EQ(slice(h, 32, 32), descriptor("NAME", 'C', 1, 10, 0));
  EXPECT_EQ(slice(h, 64, 32), descriptor("AMT", 'N', 11, 8, 2));
  EXPECT_EQ(slice(h, 96, 32), descriptor("BORN", 'D', 19, 8, 0));
  EXPECT_EQ(slice(h, 128, 32), descriptor("OK", 'L', 27, 1, 0));
  EXPECT_EQ(slice(h, 160, 32), descriptor("NOTE", 'M', 28, 10, 0));
  EXPECT_EQ(h[192], 0x0D);

  Bytes fpt(512, 0);
  fpt[3] = 8;     // next free block, big-endian
  fpt[7] = 0x40;  // block size 64, big-endian
  EXPECT_EQ(slurp(at("PEOPLE.FPT")), fpt);
}

TEST_F(TableCreate, LaterFoxProHeaderHasBacklinkAndNullFlagsField) {
  use_format(1, 30);
  auto f = fields({fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2, r4null), fld("BORN", 'D', 8),
                   fld("OK", 'L', 1), fld("NOTE", 'M', 4)});
  const Today before = today();
  DATA4* d = create("PEOPLE", f);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4numFields(d), 5);  // the null-flags field is not a user field
  ASSERT_EQ(d4close(d), 0);
  Bytes h = slurp(at("PEOPLE.DBF"));
  // 32 + 6 descriptors + terminator + 263-byte backlink.
  expect_common_header(h, 0x30, 488, 33, before);
  EXPECT_EQ(h[28], 0x02);  // has a memo file
  EXPECT_EQ(slice(h, 32, 32), descriptor("NAME", 'C', 1, 10, 0));
  EXPECT_EQ(slice(h, 64, 32), descriptor("AMT", 'N', 11, 8, 2, 0x02));
  EXPECT_EQ(slice(h, 96, 32), descriptor("BORN", 'D', 19, 8, 0));
  EXPECT_EQ(slice(h, 128, 32), descriptor("OK", 'L', 27, 1, 0));
  EXPECT_EQ(slice(h, 160, 32), descriptor("NOTE", 'M', 28, 4, 0));
  Bytes nf = slice(h, 192, 32);
  ASSERT_EQ(nf.size(), 32u);
  EXPECT_EQ(nf[18] & 0x01, 0x01) << "the null-flags field is a system field";
  EXPECT_EQ(nf[18] & ~0x05, 0);
  nf[18] = 0x01;
  EXPECT_EQ(nf, descriptor("_NullFlags", '0', 32, 1, 0, 0x01));
  EXPECT_EQ(h[224], 0x0D);
  EXPECT_EQ(slice(h, 225, 263), Bytes(263, 0));

  Bytes fpt(512, 0);
  fpt[3] = 8;
  fpt[7] = 0x40;
  EXPECT_EQ(slurp(at("PEOPLE.FPT")), fpt);
}

TEST_F(TableCreate, ClipperHeaderEndsWithTerminatorAndZeroAndUsesOldDbt) {
  use_format(2);
  const Today before = today();
  DATA4* d = create("PEOPLE", kPeople);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  Bytes h = slurp(at("PEOPLE.DBF"));
  expect_common_header(h, 0x83, 194, 38, before);
  EXPECT_EQ(h[28], 0);
  // No displacements outside the FoxPro family.
  EXPECT_EQ(slice(h, 32, 32), descriptor("NAME", 'C', 0, 10, 0));
  EXPECT_EQ(slice(h, 64, 32), descriptor("AMT", 'N', 0, 8, 2));
  EXPECT_EQ(slice(h, 160, 32), descriptor("NOTE", 'M', 0, 10, 0));
  EXPECT_EQ(h[192], 0x0D);
  EXPECT_EQ(h[193], 0x00);

  Bytes dbt(512, 0);
  dbt[0] = 1;     // next free block, little-endian
  dbt[5] = 0x02;  // 512 at 4-7
  dbt[16] = 0x03;
  EXPECT_EQ(slurp(at("PEOPLE.DBT")), dbt);
  EXPECT_FALSE(fs::exists(at("PEOPLE.FPT")));
}

TEST_F(TableCreate, DbaseIvHeaderAndDbtHeader) {
  use_format(4);
  const Today before = today();
  DATA4* d = create("PEOPLE", kPeople);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  Bytes h = slurp(at("PEOPLE.DBF"));
  expect_common_header(h, 0x8B, 193, 38, before);
  EXPECT_EQ(slice(h, 96, 32), descriptor("BORN", 'D', 0, 8, 0));
  EXPECT_EQ(h[192], 0x0D);

  Bytes dbt(512, 0);
  dbt[0] = 1;
  std::memcpy(dbt.data() + 8, "PEOPLE  ", 8);
  dbt[21] = 0x02;  // block size 512 at 20-21
  EXPECT_EQ(slurp(at("PEOPLE.DBT")), dbt);
}

TEST_F(TableCreate, VersionBytesWithoutMemoAndNoMemoFile) {
  struct Case {
    int format, compatibility;
    uint8_t version;
  };
  for (Case c : {Case{1, 26, 0x03}, Case{1, 25, 0x03}, Case{1, 30, 0x30}, Case{2, 26, 0x03},
                 Case{4, 26, 0x03}}) {
    SCOPED_TRACE(testing::Message() << "format " << c.format << "/" << c.compatibility);
    use_format(c.format, c.compatibility);
    DATA4* d = create("PLAIN", fields({fld("NAME", 'C', 10)}));
    ASSERT_NE(d, nullptr);
    ASSERT_EQ(d4close(d), 0);
    Bytes h = slurp(at("PLAIN.DBF"));
    ASSERT_GT(h.size(), 32u);
    EXPECT_EQ(h[0], c.version);
    EXPECT_EQ(h[28], 0);
    EXPECT_EQ(listing(), std::vector<std::string>{"PLAIN.DBF"});
    fs::remove(at("PLAIN.DBF"));
  }
}

TEST_F(TableCreate, MemoFileTakesTheTableNameAndExtensionCase) {
  use_format(1, 26);
  auto f = fields({fld("NOTE", 'M', 10)});
  DATA4* a = create("lower.dbf", f);
  DATA4* b = create("Mixed", f);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  use_format(2);
  DATA4* c = create("clip.dbf", f);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(listing(), (std::vector<std::string>{"Mixed.DBF", "Mixed.FPT", "clip.dbf", "clip.dbt",
                                                 "lower.dbf", "lower.fpt"}));
  EXPECT_STREQ(d4alias(b), "MIXED");
}

TEST_F(TableCreate, CodePageMarkGoesToByte29) {
  EXPECT_EQ(code4codePage(c4_, 3), 0);
  DATA4* d = create("CP", fields({fld("NAME", 'C', 4)}));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(slurp(at("CP.DBF"))[29], 0x03);
  code4codePage(c4_, 1);
  code4safety(c4_, 0);
  d = create("CP", fields({fld("NAME", 'C', 4)}));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(slurp(at("CP.DBF"))[29], 0x01);
}

TEST_F(TableCreate, ClipperStoresLongCharacterWidthsInTheDecimalsByte) {
  use_format(2);
  DATA4* d = create("WIDE", fields({fld("BODY", 'C', 300)}));
  ASSERT_NE(d, nullptr);
  FIELD4* body = d4field(d, "BODY");
  append(d, [&] { f4assign(body, "xyz"); });
  ASSERT_EQ(d4close(d), 0);
  Bytes h = slurp(at("WIDE.DBF"));
  EXPECT_EQ(h[10] | h[11] << 8, 301);
  EXPECT_EQ(h[32 + 16], 0x2C);
  EXPECT_EQ(h[32 + 17], 0x01);
  d = d4open(c4_, at("WIDE").c_str());
  ASSERT_NE(d, nullptr);
  body = d4field(d, "BODY");
  EXPECT_EQ(f4len(body), 300);
  EXPECT_EQ(text(body), "xyz" + std::string(297, ' '));
}

// Numbers and text in the text storages (every format writes them alike).
TEST_F(TableCreate, TextNumberDateAndLogicalStorage) {
  DATA4* d = create("T", fields({fld("C", 'C', 5), fld("N", 'N', 8, 2), fld("N4", 'N', 4),
                                 fld("F", 'F', 10, 3), fld("D", 'D', 8), fld("L", 'L', 1)}));
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4appendStart(d, 0), 0);
  FIELD4 *c = d4field(d, "C"), *n = d4field(d, "N"), *n4 = d4field(d, "N4"), *f = d4field(d, "F"),
         *dt = d4field(d, "D"), *l = d4field(d, "L");

  f4assign(c, "AB");
  EXPECT_EQ(text(c), "AB   ");
  f4assign(c, "ABCDEFG");
  EXPECT_EQ(text(c), "ABCDE");
  f4assignN(c, "A\0B", 3);
  EXPECT_EQ(raw(c), (Bytes{'A', 0, 'B', ' ', ' '}));

  struct Num {
    FIELD4* field;
    double value;
    const char* stored;
  };
  for (const Num& k : {Num{n, 12.5, "   12.50"}, Num{n, 2.675, "    2.68"},
                       Num{n, -12.345, "  -12.35"}, Num{n, -0.001, "    0.00"},
                       Num{n, 99999.994, "99999.99"}, Num{n4, 0, "   0"},
                       Num{n4, -999, "-999"}, Num{f, -1.5, "    -1.500"}}) {
    f4assignDouble(k.field, k.value);
    EXPECT_EQ(text(k.field), k.stored) << k.value;
  }
  f4assignLong(n, -7);
  EXPECT_EQ(text(n), "   -7.00");
  EXPECT_DOUBLE_EQ(f4double(n), -7.0);
  f4assignLong(n4, 1234);
  EXPECT_EQ(text(n4), "1234");
  EXPECT_EQ(f4long(n4), 1234);

  // Too wide for the field: asterisks (the decimal point may stay).
  auto overflowed = [](FIELD4* fd) {
    std::string s = text(fd);
    return s.find('*') != std::string::npos &&
           std::all_of(s.begin(), s.end(), [](char ch) { return ch == '*' || ch == '.'; });
  };
  f4assignDouble(n, 99999.995);
  EXPECT_TRUE(overflowed(n)) << text(n);
  f4assignLong(n4, -1000);
  EXPECT_TRUE(overflowed(n4)) << text(n4);
  f4assignLong(n4, 12345);
  EXPECT_TRUE(overflowed(n4)) << text(n4);

  f4assign(dt, "20240315");
  EXPECT_EQ(text(dt), "20240315");
  EXPECT_EQ(f4long(dt), 2460385);  // the day number
  f4assign(dt, "");
  EXPECT_EQ(text(dt), "        ");

  for (const char* t : {"T", "t", "Y", "y"}) {
    f4assign(l, t);
    EXPECT_EQ(f4true(l), 1) << t;
  }
  for (const char* t : {"F", "n", " ", "?"}) {
    f4assign(l, t);
    EXPECT_EQ(f4true(l), 0) << t;
  }
  f4assign(l, "T");
  f4assignDouble(n, 12.5);
  ASSERT_EQ(d4append(d), 0);
  ASSERT_EQ(d4close(d), 0);

  d = d4open(c4_, at("T").c_str());
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(text(d4field(d, "N")), "   12.50");
  EXPECT_EQ(text(d4field(d, "L")), "T");
  EXPECT_EQ(raw(d4field(d, "C")), (Bytes{'A', 0, 'B', ' ', ' '}));
}

TEST_F(TableCreate, BinaryStorageOfTheLaterFoxProTypes) {
  use_format(1, 30);
  DATA4* d = create("BIN", fields({fld("I", 'I', 4), fld("Y", 'Y', 8), fld("T", 'T', 8),
                                   fld("B", 'B', 8, 2), fld("Y2", 'Y', 8)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *i = d4field(d, "I"), *y = d4field(d, "Y"), *t = d4field(d, "T"), *b = d4field(d, "B"),
         *y2 = d4field(d, "Y2");
  ASSERT_EQ(d4appendStart(d, 0), 0);
  ASSERT_EQ(d4blank(d), 0);
  EXPECT_EQ(raw(i), Bytes(4, 0));
  EXPECT_EQ(raw(t), Bytes(8, 0));
  EXPECT_EQ(f4dateTime(t), std::string(16, ' '));

  f4assignDouble(i, 2.6);
  EXPECT_EQ(raw(i), (Bytes{3, 0, 0, 0}));
  f4assignLong(i, -2);
  EXPECT_EQ(raw(i), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(f4long(i), -2);

  f4assign(y2, "12.3456");  // text reads as a number
  f4assignDouble(y, -1);
  EXPECT_EQ(raw(y), (Bytes{0xF0, 0xD8, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
  f4assignDouble(y, 12.3456);
  EXPECT_DOUBLE_EQ(f4double(y), 12.3456);
  EXPECT_EQ(f4long(y), 12);

  f4assignDateTime(t, "2000010112:00:00");
  EXPECT_STREQ(f4dateTime(t), "2000010112:00:00");
  f4assignDouble(b, 1.5);
  EXPECT_DOUBLE_EQ(f4double(b), 1.5);
  ASSERT_EQ(d4append(d), 0);
  ASSERT_EQ(d4close(d), 0);

  d = d4open(c4_, at("BIN").c_str());
  ASSERT_NE(d, nullptr);
  const Bytes currency{0x40, 0xE2, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00};
  EXPECT_EQ(raw(d4field(d, "Y")), currency);
  EXPECT_EQ(raw(d4field(d, "Y2")), currency);
  EXPECT_EQ(raw(d4field(d, "T")), (Bytes{0x59, 0x68, 0x25, 0x00, 0x00, 0x2E, 0x93, 0x02}));
  EXPECT_EQ(raw(d4field(d, "B")), (Bytes{0, 0, 0, 0, 0, 0, 0xF8, 0x3F}));
  EXPECT_EQ(raw(d4field(d, "I")), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_STREQ(f4dateTime(d4field(d, "T")), "2000010112:00:00");
}

// The reference's worked example: c V(10) NULL, i I NULL, b Q(10) NULL give
// bits c.varlen 0, c.null 1, i.null 2, b.varlen 3, b.null 4.
TEST_F(TableCreate, VarlengthAndNullFlagBits) {
  use_format(1, 30);
  DATA4* d = create("VQ", fields({fld("C", 'V', 10, 0, r4null), fld("I", 'I', 4, 0, r4null),
                                  fld("B", 'Q', 10, 0, r4null)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *c = d4field(d, "C"), *i = d4field(d, "I"), *b = d4field(d, "B");
  append(d, [&] {
    f4assignNull(c);
    f4assignLong(i, 0);
    f4assignNull(b);
  });
  append(d, [&] {
    f4assign(c, "AB");
    f4assignLong(i, 1);
    f4assignNull(b);
  });
  append(d, [&] {
    f4assign(c, "0123456789");  // full width: no length byte
    f4assignN(b, "\x01\x02", 2);
  });
  ASSERT_EQ(d4close(d), 0);

  Bytes h = slurp(at("VQ.DBF"));
  ASSERT_GT(h.size(), 4u);
  EXPECT_EQ(h[0], 0x32);  // table with variable-length fields
  const size_t first = h[8] | h[9] << 8, len = h[10] | h[11] << 8;
  ASSERT_EQ(len, 26u);  // 1 + 10 + 4 + 10 + one null-flags byte
  ASSERT_EQ(h.size(), first + 3 * len + 1);
  auto rec = [&](int n) { return slice(h, first + size_t(n - 1) * len, len); };
  EXPECT_EQ(rec(1)[25], 0x1B);
  EXPECT_EQ(rec(2)[25], 0x19);
  EXPECT_EQ(slice(rec(2), 1, 2), text_bytes("AB"));
  EXPECT_EQ(rec(2)[10], 2) << "the length sits in the field's last byte";
  EXPECT_EQ(rec(3)[25], 0x08);
  EXPECT_EQ(slice(rec(3), 15, 10), (Bytes{1, 2, 0, 0, 0, 0, 0, 0, 0, 2}));

  d = d4open(c4_, at("VQ").c_str());
  ASSERT_NE(d, nullptr);
  c = d4field(d, "C"), i = d4field(d, "I"), b = d4field(d, "B");
  EXPECT_EQ(f4null(c), 1);
  EXPECT_EQ(f4null(i), 0);
  EXPECT_EQ(f4null(b), 1);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4null(c), 0);
  EXPECT_STREQ(f4memoStr(c), "AB");
  EXPECT_EQ(f4memoLen(c), 2u);
  EXPECT_EQ(f4long(i), 1);
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4memoLen(c), 10u);
  EXPECT_EQ(f4memoLen(b), 2u);
  EXPECT_EQ(f4null(b), 0);
}

TEST_F(TableCreate, NullOnlyForNullableFields) {
  use_format(1, 30);
  DATA4* d = create("NL", fields({fld("A", 'N', 5, 0, r4null), fld("B", 'N', 5)}));
  ASSERT_NE(d, nullptr);
  FIELD4 *a = d4field(d, "A"), *b = d4field(d, "B");
  ASSERT_EQ(d4appendBlank(d), 0);
  EXPECT_EQ(f4null(a), 0);
  f4assignNull(a);
  EXPECT_EQ(f4null(a), 1);
  f4assignLong(a, 5);  // any assignment clears the flag
  EXPECT_EQ(f4null(a), 0);
  f4assign(b, "7");
  const Bytes before = raw(b);
  f4assignNull(b);
  EXPECT_LT(code4errorCode(c4_, 0), 0);
  EXPECT_EQ(f4null(b), 0);
  EXPECT_EQ(raw(b), before);
}

TEST_F(TableCreate, AssignFieldConvertsBetweenTypes) {
  use_format(1, 30);
  DATA4* a = create("A", fields({fld("C", 'C', 10), fld("N", 'N', 5), fld("I", 'I', 4),
                                 fld("Y", 'Y', 8), fld("D", 'D', 8), fld("T", 'T', 8),
                                 fld("M", 'M', 4), fld("V", 'V', 10, 0, r4null)}));
  DATA4* b = create("B", fields({fld("C", 'C', 10), fld("N", 'N', 8, 2), fld("D", 'D', 8),
                                 fld("T", 'T', 8), fld("V", 'V', 10, 0, r4null),
                                 fld("NN", 'N', 6, 0, r4null)}));
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(d4appendBlank(a), 0);
  ASSERT_EQ(d4appendBlank(b), 0);
  auto fa = [&](const char* n) { return d4field(a, n); };
  auto fb = [&](const char* n) { return d4field(b, n); };
  f4assign(fa("C"), "12.5");
  f4assignLong(fa("N"), 42);
  f4assignLong(fa("I"), -2);
  f4assignDouble(fa("Y"), 12.3456);
  f4assign(fa("D"), "20240315");
  f4assignDateTime(fa("T"), "2000010112:00:00");
  f4memoAssign(fa("M"), "memo text that is longer");
  f4assign(fa("V"), "AB");

  f4assignField(fb("C"), fa("N"));
  EXPECT_EQ(text(fb("C")), "42        ");
  f4assignField(fb("C"), fa("I"));
  EXPECT_EQ(text(fb("C")), "-2        ");
  f4assignField(fb("C"), fa("M"));
  EXPECT_EQ(text(fb("C")), "memo text ");
  f4assignField(fb("N"), fa("C"));
  EXPECT_EQ(text(fb("N")), "   12.50");
  f4assignField(fb("N"), fa("Y"));
  EXPECT_EQ(text(fb("N")), "   12.35");
  f4assignField(fb("T"), fa("D"));
  EXPECT_STREQ(f4dateTime(fb("T")), "2024031500:00:00");
  f4assignField(fb("D"), fa("T"));
  EXPECT_EQ(text(fb("D")), "20000101");
  f4assignField(fb("V"), fa("V"));
  EXPECT_STREQ(f4memoStr(fb("V")), "AB");
  EXPECT_EQ(f4memoLen(fb("V")), 2u);
  f4assignNull(fa("V"));
  f4assignField(fb("V"), fa("V"));
  f4assignField(fb("NN"), fa("V"));
  EXPECT_EQ(f4null(fb("V")), 1);
  EXPECT_EQ(f4null(fb("NN")), 1);
}

struct MemoCase {
  const char* name;
  int format, compatibility;
  const char* memo_file;
  Bytes reference;  // the record's bytes for a memo at the first block
  uint32_t first_block, block_size;
  Bytes stored;  // the first block's bytes, block header or terminator included
  uint32_t next_free;
};

void PrintTo(const MemoCase& m, std::ostream* os) { *os << m.name; }

class MemoStorage : public TableCreate, public ::testing::WithParamInterface<MemoCase> {};

TEST_P(MemoStorage, HelloAtTheFirstBlock) {
  const MemoCase& m = GetParam();
  use_format(m.format, m.compatibility);
  DATA4* d = create("MEMO", fields({fld("NAME", 'C', 4), fld("NOTE", 'M', 10)}));
  ASSERT_NE(d, nullptr);
  FIELD4* note = d4field(d, "NOTE");
  append(d, [&] { ASSERT_EQ(f4memoAssign(note, "Hello"), 0); });
  append(d, [&] { f4assign(d4field(d, "NAME"), "none"); });
  ASSERT_EQ(d4close(d), 0);

  Bytes h = slurp(at("MEMO.DBF"));
  ASSERT_GT(h.size(), 12u);
  const size_t first = h[8] | h[9] << 8, len = h[10] | h[11] << 8;
  EXPECT_EQ(slice(h, first + 5, m.reference.size()), m.reference);
  EXPECT_EQ(slice(h, first + len + 5, m.reference.size()),
            m.reference.size() == 4 ? Bytes(4, 0) : Bytes(10, ' '))
      << "an empty memo has no block";

  Bytes memo = slurp(at(m.memo_file));
  const size_t offset = size_t(m.first_block) * m.block_size;
  ASSERT_EQ(memo.size(), offset + m.block_size);
  Bytes block = slice(memo, offset, m.block_size);
  Bytes expect = m.stored;
  expect.resize(m.block_size, 0);
  EXPECT_EQ(block, expect);
  const uint32_t next = m.format == 1 ? u32be(memo, 0) : u32le(memo, 0);
  EXPECT_EQ(next, m.next_free);

  d = d4open(c4_, at("MEMO").c_str());
  ASSERT_NE(d, nullptr);
  note = d4field(d, "NOTE");
  EXPECT_STREQ(f4memoStr(note), "Hello");
  EXPECT_EQ(f4memoLen(note), 5u);
  EXPECT_EQ(f4memoLen(d4field(d, "NAME")), 4u);  // not a memo: its width
  ASSERT_EQ(d4skip(d, 1), 0);
  EXPECT_EQ(f4memoLen(note), 0u);
  EXPECT_STREQ(f4memoStr(note), "");
}

const Bytes kHello = text_bytes("Hello");
Bytes concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, MemoStorage,
    ::testing::Values(
        MemoCase{"FoxPro2", 1, 26, "MEMO.FPT", text_bytes("         8"), 8, 64,
                 concat({0, 0, 0, 1, 0, 0, 0, 5}, kHello), 9},
        MemoCase{"LaterFoxPro", 1, 30, "MEMO.FPT", {8, 0, 0, 0}, 8, 64,
                 concat({0, 0, 0, 1, 0, 0, 0, 5}, kHello), 9},
        MemoCase{"Clipper", 2, 26, "MEMO.DBT", text_bytes("         1"), 1, 512,
                 concat(kHello, {0x1A, 0x1A}), 2},
        MemoCase{"DbaseIV", 4, 26, "MEMO.DBT", text_bytes("         1"), 1, 512,
                 concat({0xFF, 0xFF, 0x08, 0x00, 0x0D, 0, 0, 0}, kHello), 2}),
    [](const testing::TestParamInfo<MemoCase>& info) { return std::string(info.param.name); });

TEST_F(TableCreate, FptBlockTypeFollowsTheFieldType) {
  use_format(1, 30);
  DATA4* d = create("KINDS", fields({fld("M", 'M', 4), fld("G", 'G', 4), fld("W", 'W', 4),
                                     fld("P", 'P', 4)}));
  ASSERT_NE(d, nullptr);
  append(d, [&] {
    for (const char* name : {"M", "G", "W", "P"}) f4memoAssign(d4field(d, name), name);
  });
  ASSERT_EQ(d4close(d), 0);
  Bytes memo = slurp(at("KINDS.FPT"));
  ASSERT_EQ(memo.size(), 512u + 4 * 64);
  // Blocks 8..11 in field order: text 1, object 2, binary 0, picture 0.
  const uint32_t types[] = {1, 2, 0, 0};
  for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(u32be(memo, 512 + 64 * k), types[k]) << k;
}

TEST_F(TableCreate, InvalidDefinitionsFailWithoutLeavingFiles) {
  struct Case {
    const char* why;
    int format, compatibility;
    std::vector<FIELD4INFO> f;
  };
  const std::vector<Case> cases = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    use_format(c.format, c.compatibility);
    code4errorCode(c4_, 0);
    EXPECT_EQ(create("BAD", c.f), nullptr);
    EXPECT_LT(code4errorCode(c4_, r4check), 0);
    EXPECT_TRUE(listing().empty());
  }
  EXPECT_EQ(d4create(c4_, nullptr, kPeople.data(), nullptr), nullptr);
  EXPECT_EQ(d4create(c4_, at("X").c_str(), nullptr, nullptr), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4parm);
}

TEST_F(TableCreate, SafetyRefusesExistingFilesAndOffReplacesThem) {
  DATA4* d = create("SAFE", kPeople);
  ASSERT_NE(d, nullptr);
  append(d, [&] { f4memoAssign(d4field(d, "NOTE"), "old"); });
  ASSERT_EQ(d4close(d), 0);
  const Bytes dbf = slurp(at("SAFE.DBF")), fpt = slurp(at("SAFE.FPT"));

  EXPECT_EQ(code4safety(c4_, r4check), 1);
  EXPECT_EQ(create("SAFE", kPeople), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(create("safe.dbf", kPeople), nullptr) << "the name matches ignoring case";
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(slurp(at("SAFE.DBF")), dbf);
  EXPECT_EQ(slurp(at("SAFE.FPT")), fpt);

  EXPECT_EQ(code4safety(c4_, 0), 1);
  d = create("SAFE", fields({fld("ID", 'N', 4), fld("NOTE", 'M', 10)}));
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d4recCount(d), 0);
  EXPECT_EQ(d4numFields(d), 2);
  // Replacing a table that is open in this context is refused.
  EXPECT_EQ(create("SAFE", kPeople), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4instance);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(slurp(at("SAFE.FPT")).size(), 512u) << "a fresh memo file";
  EXPECT_EQ(listing(), (std::vector<std::string>{"SAFE.DBF", "SAFE.FPT"}));
}

TEST_F(TableCreate, ExistingMemoFileUnderSafetyLeavesNoTable) {
  {
    std::ofstream stray(at("ORPHAN.FPT"), std::ios::binary);
    stray << "keep me";
  }
  EXPECT_EQ(create("ORPHAN", kPeople), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4create);
  EXPECT_EQ(listing(), std::vector<std::string>{"ORPHAN.FPT"});
  EXPECT_EQ(slurp(at("ORPHAN.FPT")), text_bytes("keep me"));
}

}  // namespace
