// Damaged tables and memo files: opening and reading them must end in a
// negative code with a message (e4open for what is not a table, e4data for a
// header or memo block that lies, e4read for a read that runs short), never
// in a crash, a hang or a read outside the file. Each damage is a row: the
// bytes it changes and what the engine must answer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "../../fuzz/table_scan.h"
#include "context_message.h"
#include "formats.h"
#include "test_files.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::string;
using test_files::fld;
using test_files::le16;
using test_files::le32;

void put16(Bytes& b, size_t at, uint16_t v) { xbase::io::store_u16le(b.data() + at, v); }
void put32(Bytes& b, size_t at, uint32_t v) { xbase::io::store_u32le(b.data() + at, v); }
// Level-5 descriptor i starts here.
size_t desc_at(size_t i) { return 32 + 32 * i; }

// A table the engine wrote in one format, with its memo file: NAME C(10),
// AMT N(8,2), BORN D, OK L, NOTES M and, where the format has them, I I,
// B B(8,2), V V(6) nullable. Three records (the third deleted), memos in
// records 1 ("Hello") and 3 ("memo two").
struct Sample {
  formats::Table format;
  Bytes dbf, memo;
  uint16_t hlen = 0, reclen = 0;
  size_t notes_at = 0;  // of NOTES within the record

  size_t record_at(int32_t rec) const { return hlen + size_t(rec - 1) * reclen; }
  bool binary_ref() const { return format.later_types; }
  void set_memo_ref(int32_t rec, uint32_t block) {
    const size_t at = record_at(rec) + notes_at;
    if (binary_ref()) return put32(dbf, at, block);
    const std::string text = std::to_string(block);
    dbf.replace(at, 10, std::string(10 - text.size(), ' ') + text);
  }
  uint32_t memo_ref(int32_t rec) const {
    const size_t at = record_at(rec) + notes_at;
    return binary_ref() ? le32(dbf, at) : uint32_t(std::strtoul(dbf.substr(at, 10).c_str(), nullptr, 10));
  }
  uint32_t block_size() const {
    if (format.memo_big_endian()) return uint8_t(memo[6]) << 8 | uint8_t(memo[7]);
    return format.format == 4 ? le16(memo, 20) : 512;
  }
  size_t block_at(int32_t rec) const { return size_t(memo_ref(rec)) * block_size(); }
  std::string memo_name() const { return std::string("T.") + format.memo_ext; }
};

Sample build_sample(const formats::Table& t, const fs::path& dir) {
  std::vector<FIELD4INFO> f = {fld("NAME", 'C', 10), fld("AMT", 'N', 8, 2), fld("BORN", 'D', 8),
                               fld("OK", 'L', 1), fld("NOTES", 'M', 10)};
  if (t.later_types)
    f.insert(f.end(), {fld("I", 'I', 4), fld("B", 'B', 8, 2), fld("V", 'V', 6, 0, r4null)});
  f.push_back(FIELD4INFO{});
  fs::create_directories(dir);
  test_files::Context ctx(t.format, t.compatibility);
  code4accessMode(ctx.c4, 1);
  code4safety(ctx.c4, 0);
  DATA4* d = d4create(ctx.c4, (dir / "S").c_str(), f.data(), nullptr);
  Sample s;
  s.format = t;
  EXPECT_NE(d, nullptr) << ctx.error();
  if (d == nullptr) return s;
  const char* names[] = {"SMITH", "AB", "JONES"};
  for (int r = 0; r < 3; ++r) {
    EXPECT_EQ(d4appendStart(d, 0), 0);
    for (int j = 1; j <= d4numFields(d); ++j) {
      FIELD4* field = d4fieldJ(d, j);
      switch (f4type(field)) {
        case 'C': case 'V': f4assign(field, names[r]); break;
        case 'I': f4assignLong(field, 12 + r); break;
        case 'N': case 'B': f4assignDouble(field, 12.5 + r); break;
        case 'D': f4assign(field, "19991231"); break;
        case 'L': f4assign(field, "T"); break;
        case 'M': if (r != 1) f4memoAssign(field, r == 0 ? "Hello" : "memo two"); break;
      }
    }
    EXPECT_EQ(d4append(d), 0);
  }
  d4delete(d);
  s.notes_at = 1 + 10 + 8 + 8 + 1;
  EXPECT_EQ(d4close(d), 0);
  s.dbf = test_files::slurp(dir / "S.DBF");
  s.memo = test_files::slurp(dir / (std::string("S.") + t.memo_ext));
  s.hlen = uint16_t(le16(s.dbf, 8));
  s.reclen = uint16_t(le16(s.dbf, 10));
  EXPECT_EQ(le32(s.dbf, 4), 3u);
  return s;
}

class DamagedTable : public ::testing::Test {
 protected:
  void SetUp() override {
    code4errOff(c4_, 1);
    code4readOnly(c4_, 1);
  }
  void TearDown() override { code4initUndo(c4_); }

  Sample sample(const formats::Table& t) { return build_sample(t, tmp_.path() / "src"); }
  Sample sample(const char* name) {
    for (const formats::Table& t : formats::tables())
      if (std::string(t.name) == name) return sample(t);
    ADD_FAILURE() << "no format " << name;
    return {};
  }

  // Writes T.DBF and its memo file (removing the other memo kind).
  void place(const Bytes& dbf, const Bytes* memo = nullptr, const std::string& ext = "FPT") {
    fs::remove(tmp_.path() / "T.FPT");
    fs::remove(tmp_.path() / "T.DBT");
    test_files::spit(tmp_.path() / "T.DBF", dbf);
    if (memo) test_files::spit(tmp_.path() / ("T." + ext), *memo);
  }
  void place(const Sample& s) { place(s.dbf, &s.memo, s.format.memo_ext); }

  // Opens T; on failure answers null with code_ and message_ set.
  DATA4* open() {
    code4errorCode(c4_, 0);
    DATA4* d = d4open(c4_, tmp_.at("T").c_str());
    message_ = test_files::last_message(c4_);
    code_ = code4errorCode(c4_, 0);
    if (d == nullptr) {
      EXPECT_LT(code_, 0);
    }
    return d;
  }
  void expect_open_fails(int code, const std::string& in_message = "") {
    DATA4* d = open();
    EXPECT_EQ(d, nullptr);
    if (d) d4close(d);
    EXPECT_EQ(code_, code) << message_;
    EXPECT_NE(message_.find(in_message), std::string::npos) << message_;
    EXPECT_FALSE(message_.empty());
  }

  struct Scan {
    int32_t records = 0;
    int code = 0;  // the first error met
    std::string message;
  };
  // Walks every record reading every field, memos included.
  Scan scan(DATA4* d) {
    Scan s;
    auto note = [&](int code) {
      if (code < 0 && s.code == 0) s = {s.records, code, test_files::last_message(c4_)};
    };
    const int32_t count = d4recCount(d);
    int rc = d4top(d);
    for (int32_t steps = 0; rc == 0 && steps <= count; ++steps, rc = d4skip(d, 1)) {
      ++s.records;
      vgx_fuzz::ScanResult r;
      vgx_fuzz::read_every_field(d, c4_, &r, note);
    }
    if (rc < 0) note(rc);
    code4errorCode(c4_, 0);
    EXPECT_LE(s.records, count);
    return s;
  }
  Scan open_and_scan() {
    DATA4* d = open();
    EXPECT_NE(d, nullptr) << message_;
    if (d == nullptr) return Scan{0, code_, message_};
    Scan s = scan(d);
    d4close(d);
    return s;
  }
  // Memo value of record `rec`, with the error code it left.
  std::string memo(DATA4* d, int32_t rec, int* code) {
    code4errorCode(c4_, 0);
    EXPECT_EQ(d4go(d, rec), 0);
    std::string v = f4memoStr(d4field(d, "NOTES"));
    message_ = test_files::last_message(c4_);
    *code = code4errorCode(c4_, 0);
    return v;
  }

  CODE4* c4_ = code4initP();
  test_files::TempDir tmp_{"vgx-damaged"};
  int code_ = 0;
  std::string message_;
};

class DamagedFormat : public DamagedTable, public ::testing::WithParamInterface<formats::Table> {};

// ---- not a table, no memo file, truncation --------------------------------------

TEST_F(DamagedTable, WhatIsNotATableIsRefusedWithOpenError) {
  for (const Bytes& b : {Bytes(), Bytes(31, '\x03'), Bytes("A plain text file, long enough for a header.\n"),
                         Bytes(64, '\0'), Bytes(64, '\xFF')}) {
    SCOPED_TRACE(b.size());
    place(b);
    expect_open_fails(e4open);
  }
  fs::remove(tmp_.path() / "T.DBF");
  fs::create_directories(tmp_.path() / "T.DBF");
  expect_open_fails(e4open);
  EXPECT_EQ(d4open(c4_, tmp_.at("T.DBF").c_str()), nullptr);
}

TEST_P(DamagedFormat, MissingMemoFileIsNamedWhenAMemoIsRead) {
  const Sample s = sample(GetParam());
  for (bool folder : {false, true}) {
    SCOPED_TRACE(folder ? "a folder in the memo file's place" : "no memo file");
    place(s.dbf);
    if (folder) fs::create_directories(tmp_.path() / s.memo_name());
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int code = 0;
    EXPECT_EQ(memo(d, 2, &code), "");  // no memo: nothing to miss
    EXPECT_EQ(code, 0);
    EXPECT_STREQ(f4str(d4field(d, "NAME")), "AB        ");
    EXPECT_EQ(memo(d, 1, &code), "");
    EXPECT_EQ(code, e4open);
    EXPECT_NE(message_.find(s.memo_name()), std::string::npos) << message_;
    EXPECT_EQ(f4memoLen(d4field(d, "NOTES")), 0u);
    EXPECT_EQ(code4errorCode(c4_, 0), e4open);
    d4close(d);
    fs::remove_all(tmp_.path() / s.memo_name());
  }
}

TEST_P(DamagedFormat, TableCutAtEveryLength) {
  const Sample s = sample(GetParam());
  for (size_t len = 0; len <= s.dbf.size(); ++len) {
    SCOPED_TRACE(len);
    place(s.dbf.substr(0, len), &s.memo, s.format.memo_ext);
    if (len < 32) {
      expect_open_fails(e4open);
    } else if (len < s.hlen) {
      expect_open_fails(e4data, "T.DBF");
    } else {
      const Scan scanned = open_and_scan();
      EXPECT_EQ(scanned.records, std::min<int32_t>(int32_t((len - s.hlen) / s.reclen), 3));
      EXPECT_EQ(scanned.code, 0) << scanned.message;
    }
  }
}

TEST_P(DamagedFormat, MemoFileCutAtEveryLength) {
  const Sample s = sample(GetParam());
  // Where the last memo's data ends (slack is zero). A memo ended by 0x1A
  // without its terminator reads to the end of the file, so only a cut
  // before its first byte loses it. A cut inside the memo file's header
  // leaves the table readable and every memo use failing.
  size_t end = s.memo.find_last_not_of('\0') + 1;
  if (s.format.format == 2) end = end / 512 * 512 + 1;
  for (size_t len = 0; len <= s.memo.size(); ++len) {
    SCOPED_TRACE(len);
    const Bytes cut = s.memo.substr(0, len);
    place(s.dbf, &cut, s.format.memo_ext);
    const Scan scanned = open_and_scan();
    EXPECT_EQ(scanned.records, 3);
    EXPECT_EQ(scanned.code, len >= end ? 0 : e4data) << scanned.message;
    if (len < end) {
      EXPECT_NE(scanned.message.find(s.memo_name()), std::string::npos) << scanned.message;
    }
  }
}

TEST_F(DamagedTable, FileCutUnderAnOpenTableGivesReadError) {
  const Sample s = sample("Clipper");
  place(s);
  code4readOnly(c4_, 0);
  code4optimize(c4_, 0);  // every read goes to the file
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  fs::resize_file(tmp_.path() / "T.DBF", s.record_at(3) + 4);
  EXPECT_EQ(d4go(d, 3), e4read);
  EXPECT_FALSE(test_files::last_message(c4_).empty());
  EXPECT_EQ(code4errorCode(c4_, 0), e4read);
  EXPECT_EQ(d4go(d, 1), 0);  // what is still there reads
  EXPECT_STREQ(f4str(d4field(d, "NAME")), "SMITH     ");
  d4close(d);
}

// ---- header words ---------------------------------------------------------------

TEST_F(DamagedTable, HeaderWordsThatLie) {
  const Sample s = sample("Clipper");
  const uint16_t fields = s.reclen;  // the engine writes no slack
  const uint32_t size = uint32_t(s.dbf.size());
  constexpr int64_t kKeep = -1;
  // The header words to write (kKeep: as they are) and the bytes cut from the
  // end (-1: one added); then the refusal, or what reads: the fields and
  // records, and record `at`'s NAME.
  struct Damage {
    const char* what;
    int64_t hlen, reclen, count;
    int cut;
  };
  const struct { Damage damage; int error; const char* message; } refused[] = {
      {{"header length 0", 0, kKeep, kKeep, 0}, e4data, "T.DBF"},
      {{"header length 1", 1, kKeep, kKeep, 0}, e4data, "T.DBF"},
      {{"header length 32: no terminator", 32, kKeep, kKeep, 0}, e4data, "T.DBF"},
      {{"header longer than the file", size + 1, kKeep, kKeep, 0}, e4data, "T.DBF"},
      {{"header length 0xFFFF", 0xFFFF, kKeep, kKeep, 0}, e4data, "T.DBF"},
      {{"record length 0", kKeep, 0, kKeep, 0}, e4data, "record length"},
      {{"record length under the fields, a byte added", kKeep, 2, kKeep, -1}, e4data, "record length"},
      {{"record length under the fields, file cut", kKeep, 2, kKeep, 2}, e4data, "record length"},
      {{"record length under the fields, count lies", kKeep, 2, 2, 0}, e4data, "record length"},
  };
  const struct { Damage damage; int fields; int32_t records, at; const char* name; } read[] = {
      {{"no room for a descriptor", 33, kKeep, kKeep, 0}, 0, 3, 0, nullptr},
      {{"no room for one whole descriptor", 63, kKeep, kKeep, 0}, 0, 3, 0, nullptr},
      {{"ends inside the third descriptor", int64_t(desc_at(2) + 1), kKeep, kKeep, 0}, 2, 3, 0, nullptr},
      // Shorter than the fields: the file's size decides. When it holds the
      // counted records at the fields' length, that is the record length.
      {{"record length under the fields", kKeep, fields - 1, kKeep, 0}, 5, 3, 3, "JONES     "},
      {{"record length 2", kKeep, 2, kKeep, 0}, 5, 3, 3, "JONES     "},
      {{"record length 1", kKeep, 1, kKeep, 0}, 5, 3, 3, "JONES     "},
      // Longer: the fields keep their places, records step by the header's length.
      {{"record length over the fields", kKeep, fields + 5, kKeep, 0}, 5,
       int32_t((size - s.hlen) / (fields + 5)), 1, "SMITH     "},
      {{"record length 0xFFFF", kKeep, 0xFFFF, kKeep, 0}, 5, 0, 0, nullptr},
      // The count is clamped to the records present.
      {{"count 1000", kKeep, kKeep, 1000, 0}, 5, 3, 3, "JONES     "},
      {{"count 0xFFFFFFFF", kKeep, kKeep, 0xFFFFFFFF, 0}, 5, 3, 3, "JONES     "},
      {{"count 0x80000000", kKeep, kKeep, 0x80000000, 0}, 5, 3, 3, "JONES     "},
      {{"end-of-file mark gone", kKeep, kKeep, kKeep, 1}, 5, 3, 3, "JONES     "},
      {{"last record cut short", kKeep, kKeep, kKeep, 2}, 5, 2, 2, "AB        "},
      {{"stale records after the count", kKeep, kKeep, 1, 0}, 5, 1, 1, "SMITH     "},
      {{"count 0", kKeep, kKeep, 0, 0}, 5, 0, 0, nullptr},
  };
  auto place_damaged = [&](const Damage& r) {
    Bytes b = r.cut >= 0 ? s.dbf.substr(0, s.dbf.size() - size_t(r.cut)) : s.dbf + "x";
    if (r.hlen != kKeep) put16(b, 8, uint16_t(r.hlen));
    if (r.reclen != kKeep) put16(b, 10, uint16_t(r.reclen));
    if (r.count != kKeep) put32(b, 4, uint32_t(r.count));
    place(b, &s.memo, "DBT");
  };
  for (const auto& r : refused) {
    SCOPED_TRACE(r.damage.what);
    place_damaged(r.damage);
    expect_open_fails(r.error, r.message);
  }
  for (const auto& r : read) {
    SCOPED_TRACE(r.damage.what);
    place_damaged(r.damage);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(d4numFields(d), r.fields);
    EXPECT_EQ(d4recCount(d), r.records);
    if (r.name) {
      ASSERT_EQ(d4go(d, r.at), 0);
      EXPECT_STREQ(f4str(d4field(d, "NAME")), r.name);
    }
    d4close(d);
    const Scan scanned = open_and_scan();
    EXPECT_EQ(scanned.records, r.records);
    EXPECT_EQ(scanned.code, 0) << scanned.message;
  }
}

// ---- field descriptors ----------------------------------------------------------

TEST_F(DamagedTable, DescriptorsThatLie) {
  const Sample s = sample("Clipper");
  auto damaged = [&](size_t field, size_t at, const Bytes& bytes) {
    Bytes b = s.dbf;
    b.replace(desc_at(field) + at, bytes.size(), bytes);
    place(b, &s.memo, "DBT");
  };
  // A field of width 0 holds nothing (the later fields move up); the record
  // keeps the header's length.
  damaged(1, 16, Bytes(1, '\0'));
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_EQ(f4len(d4field(d, "AMT")), 0);
  EXPECT_STREQ(f4str(d4field(d, "AMT")), "");
  EXPECT_EQ(f4double(d4field(d, "AMT")), 0.0);
  EXPECT_STREQ(f4str(d4field(d, "NAME")), "SMITH     ");
  d4close(d);
  EXPECT_EQ(open_and_scan().code, 0);
  for (char type : {'\0', '\x01', '\x1F', '\x7F', '\x80', '\xFF'}) {
    SCOPED_TRACE(int(uint8_t(type)));
    damaged(2, 11, Bytes(1, type));
    expect_open_fails(e4data, "BORN");
  }
  // A name filling all 11 bytes is read as those 11 bytes; bytes after a NUL
  // are garbage.
  for (const auto& [stored, name] : {std::pair<Bytes, const char*>{"ABCDEFGHIJK", "ABCDEFGHIJK"},
                                     {Bytes("AB\0xyz\x01\x02zz\x7F", 11), "AB"}}) {
    damaged(0, 0, stored);
    d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_STREQ(f4name(d4fieldJ(d, 1)), name);
    d4close(d);
  }
  // Types and widths the engine does not read as such keep their bytes: an
  // unknown type, a date of the wrong width, a memo reference too short.
  const struct { size_t field; char type; int len; } retypes[] = {
      {0, 'X', 10}, {1, 'D', 8}, {2, 'D', 3}, {4, 'M', 2}};
  for (const auto& r : retypes) {
    SCOPED_TRACE(testing::Message() << r.field << r.type << r.len);
    Bytes b = s.dbf;
    const size_t at = desc_at(r.field);
    b[at + 11] = r.type;
    // Keep the record length honest: the slack goes to the memo field.
    const int delta = int(uint8_t(b[at + 16])) - r.len;
    b[at + 16] = char(r.len);
    if (r.field != 4) b[desc_at(4) + 16] = char(uint8_t(b[desc_at(4) + 16]) + delta);
    else put16(b, 10, uint16_t(s.reclen - delta));
    place(b, &s.memo, "DBT");
    EXPECT_EQ(open_and_scan().code, 0);
  }
}

// A hand-built level-5 table ending its descriptors with Clipper's 0D 00;
// `len` and `dec` are descriptor bytes 16 and 17 as stored.
struct Desc {
  const char* name;
  char type;
  uint8_t len, dec;
};
Bytes hand_table(uint8_t version, const std::vector<Desc>& fields, uint16_t reclen,
                 const std::vector<Bytes>& records) {
  Bytes b(desc_at(fields.size()) + 2, '\0');
  b[0] = char(version);
  put32(b, 4, uint32_t(records.size()));
  put16(b, 8, uint16_t(b.size()));
  put16(b, 10, reclen);
  for (size_t i = 0; i < fields.size(); ++i) {
    std::memcpy(&b[desc_at(i)], fields[i].name, std::strlen(fields[i].name));
    b[desc_at(i) + 11] = fields[i].type;
    b[desc_at(i) + 16] = char(fields[i].len);
    b[desc_at(i) + 17] = char(fields[i].dec);
  }
  b[desc_at(fields.size())] = 0x0D;
  for (const Bytes& r : records) b += r;
  return b + "\x1A";
}

TEST_F(DamagedTable, ClipperLongCharacterFields) {
  // LONG C stored as low and high width bytes, SHORT C(10) with garbage in
  // its decimals byte, N(5,2); two records, so that the file's size never
  // matches a wrong length. When the wide reading does not fill the record,
  // the decimals byte is not a length: the narrow fields then run past it.
  const struct { uint8_t lo, hi; uint16_t reclen; int long_len; } cases[] = {
      {0x2C, 0x01, 1 + 300 + 10 + 5, 300}, {0, 1, 1 + 256 + 10 + 5, 256},
      {0x2C, 0x01, 1 + 44 + 10 + 4, -1},   {0, 1, 1 + 0 + 10 + 5 + 7, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reclen);
    Bytes rec(c.reclen, ' ');
    for (size_t i = 1; i < rec.size(); ++i) rec[i] = char('a' + i % 26);
    place(hand_table(0x03, {{"LONG", 'C', c.lo, c.hi}, {"SHORT", 'C', 10, 0x55}, {"N", 'N', 5, 2}},
                     c.reclen, {rec, rec}));
    if (c.long_len < 0) {
      expect_open_fails(e4data, "record length");
      continue;
    }
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(f4len(d4field(d, "LONG")), c.long_len);
    EXPECT_EQ(std::strlen(f4str(d4field(d, "LONG"))), size_t(c.long_len));
    EXPECT_EQ(f4len(d4field(d, "SHORT")), 10);  // garbage high byte ignored...
    EXPECT_EQ(f4decimals(d4field(d, "N")), 2);  // ...and never read from N
    d4close(d);
  }
}

TEST_F(DamagedTable, NumbersWiderThanAnyParserBuffer) {
  const Bytes tiny = "0." + Bytes(26, '0') + "1";  // 1e-27 in 29 characters
  const Bytes long_c = "  0." + Bytes(290, '0') + "12345";
  const Bytes rec = " " + Bytes(60 - tiny.size(), ' ') + tiny + Bytes(40, '9') + "1e999" +
                    Bytes(55, ' ') + long_c + Bytes(45, '0');
  place(hand_table(0x03,
                   {{"TINY", 'N', 60, 0}, {"HUGE", 'N', 40, 0}, {"EXP", 'F', 60, 0},
                    {"LONGC", 'C', uint8_t(299 % 256), 1}, {"ZEROS", 'N', 45, 2}},
                   uint16_t(1 + 60 + 40 + 60 + 299 + 45), {rec}));
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_NEAR(f4double(d4field(d, "TINY")), 1e-27, 1e-36);
  EXPECT_EQ(f4long(d4field(d, "TINY")), 0);
  EXPECT_GT(f4double(d4field(d, "HUGE")), 9e17);
  EXPECT_EQ(f4long(d4field(d, "HUGE")), 2147483647);
  EXPECT_EQ(f4long(d4field(d, "EXP")), 0);  // not finite: no value
  EXPECT_EQ(f4len(d4field(d, "LONGC")), 299);
  EXPECT_EQ(f4long(d4field(d, "LONGC")), 0);
  EXPECT_EQ(f4double(d4field(d, "ZEROS")), 0.0);
  d4close(d);
}

TEST_F(DamagedTable, ZeroWidthFieldsAtTheEndOfTheRecord) {
  const std::vector<Desc> fields = {{"NAME", 'C', 10, 0}, {"OK", 'L', 0, 0}, {"N", 'N', 0, 0},
                                    {"D", 'D', 0, 0},     {"M", 'M', 0, 0},  {"I", 'I', 0, 0},
                                    {"T", 'T', 0, 0},     {"V", 'V', 0, 0}};
  for (uint8_t version : {uint8_t(0x03), uint8_t(0x30)}) {
    SCOPED_TRACE(int(version));
    Bytes b = hand_table(version, fields, 11, {" SMITH     "});
    if (version == 0x30) b.insert(desc_at(fields.size()) + 1, Bytes(263, '\0'));
    put16(b, 8, uint16_t(desc_at(fields.size()) + (version == 0x30 ? 264 : 2)));
    place(b);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    for (int j = 2; j <= d4numFields(d); ++j) {
      FIELD4* f = d4fieldJ(d, j);
      SCOPED_TRACE(f4name(f));
      EXPECT_EQ(f4true(f) + f4long(f) + f4double(f) + f4memoLen(f), 0);
      EXPECT_STREQ(f4str(f), "");
      EXPECT_STREQ(f4memoStr(f), "");
      EXPECT_STREQ(f4dateTime(f), Bytes(16, ' ').c_str());
    }
    d4close(d);
  }
}

// Descriptors of the later FoxPro table: 5 I, 6 B, 7 V, 8 the null flags.
TEST_F(DamagedTable, LaterFoxProFieldsThatLie) {
  const Sample s = sample("LaterFoxPro");
  ASSERT_EQ(s.dbf.substr(desc_at(5) + 11, 1) + s.dbf[desc_at(6) + 11] + s.dbf[desc_at(8) + 11], "IB0");
  // A stored double that is not a number has no long value.
  const size_t b_at = s.record_at(1) + le32(s.dbf, desc_at(6) + 12);
  const struct { uint64_t bits; int32_t as_long; } doubles[] = {
      {0x7FF8000000000001ull, 0}, {0xFFF8000000000000ull, 0},
      {0x7FF0000000000000ull, 2147483647}, {0xFFF0000000000000ull, -2147483647 - 1}};
  for (const auto& c : doubles) {
    SCOPED_TRACE(c.bits);
    Bytes b = s.dbf;
    xbase::io::store_u64le(b.data() + b_at, c.bits);
    place(b, &s.memo);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(f4long(d4field(d, "B")), c.as_long);
    d4close(d);
  }
  // Displacements outside the record are ignored: the offsets are counted.
  for (uint32_t disp : {0u, uint32_t(s.reclen), uint32_t(s.reclen - 3), 0xFFFFFFFFu, 0x80000000u}) {
    SCOPED_TRACE(disp);
    Bytes b = s.dbf;
    put32(b, desc_at(5) + 12, disp);
    place(b, &s.memo);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(f4long(d4field(d, "I")), 12);
    d4close(d);
    EXPECT_EQ(open_and_scan().code, 0);
  }
  // Every field nullable: with V's two bits, nine bits for one null-flags
  // byte. And a null-flags field with no room at all.
  Bytes b = s.dbf;
  for (size_t n = 0; n < 8; ++n) b[desc_at(n) + 18] = char(b[desc_at(n) + 18] | 0x02);
  place(b, &s.memo);
  expect_open_fails(e4data, "null");
  b = s.dbf;
  b[desc_at(8) + 16] = 0;
  place(b, &s.memo);
  expect_open_fails(e4data, "null");
}

// ---- memo references and blocks ---------------------------------------------------

// One damage to the memo side of a sample: the formats it applies to (names or
// memo extensions, "" for all), what changes (one of the kinds below, with a
// value), then record `rec`'s memo: the error, a part of the message, the
// value. Record 0: a scan of every record must meet the error.
enum Change {
  kRef,          // record 1's reference: block `value`
  kRefText,      // record 1's text reference: these ten bytes
  kBlockLength,  // record 1's block: the length word (kToEnd, kPastEnd: to the file's end, a byte past)
  kNoMark,       // record 1's dBASE IV block without its mark: text ended by 0x1A
  kNoTerminator, // record 3's block: 700 bytes to the file's end
  kBlockSize,    // the memo header's block size
  kNextFree,     // the memo header's next free block
};
struct MemoDamage {
  const char* formats;
  const char* what;
  Change change;
  int64_t value;
  const char* text;
  int32_t rec;
  int error;
  const char* message;
  Bytes memo;
};

constexpr int64_t kToEnd = -1, kPastEnd = -2;  // kPastEnd with kRef: the block after the last

void apply(const MemoDamage& m, Sample& s) {
  const bool fpt = s.format.memo_big_endian();
  const size_t at = m.change == kNoTerminator ? s.block_at(3) : s.block_at(1);
  switch (m.change) {
    case kRef:
      s.set_memo_ref(1, uint32_t(m.value == kPastEnd ? s.memo.size() / s.block_size() + 1 : m.value));
      break;
    case kRefText: s.dbf.replace(s.record_at(1) + s.notes_at, 10, m.text, 10); break;
    case kBlockLength: {
      // FoxPro: a u32be length after the type word; dBASE IV: FF FF 08 00, then
      // a u32le length that counts those 8 bytes.
      const uint32_t room = uint32_t(s.memo.size() - at - (fpt ? 8 : 0));
      const uint32_t len = m.value == kToEnd ? room : m.value == kPastEnd ? room + 1 : uint32_t(m.value);
      if (fpt) xbase::io::store_u32be(s.memo.data() + at + 4, len);
      else put32(s.memo, at + 4, len);
      break;
    }
    case kNoMark: s.memo.replace(at, 8, "Say: \x1A\x1A\x1A"); break;
    case kNoTerminator: s.memo = s.memo.substr(0, at) + Bytes(700, 'x'); break;
    case kBlockSize:
      if (fpt) s.memo[6] = char(m.value >> 8), s.memo[7] = char(m.value);
      else put16(s.memo, 20, uint16_t(m.value));
      break;
    case kNextFree: put32(s.memo, 0, uint32_t(m.value)); break;
  }
}

const MemoDamage kMemoDamages[] = {
    {"", "reference past the end", kRef, kPastEnd, "", 1, e4data, "T.", ""},
    {"", "reference 0xFFFFFFFF", kRef, 0xFFFFFFFF, "", 1, e4data, "T.", ""},
    {"", "reference 1000000", kRef, 1000000, "", 1, e4data, "T.", ""},
    {"FPT", "reference into the header", kRef, 1, "", 1, e4data, "T.", ""},
    // A text reference that is no number: no memo rather than a wrong one.
    {"DBT FoxPro2", "reference with letters", kRefText, 0, "  12ab    ", 1, 0, "", ""},
    {"Clipper", "reference of ten nines", kRefText, 0, "9999999999", 1, 0, "", ""},
    {"Clipper", "negative reference", kRefText, 0, "-000000001", 1, 0, "", ""},
    {"Clipper", "reference of control bytes", kRefText, 0, "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a", 1, 0, "", ""},
    {"FPT", "block length one past the file", kBlockLength, kPastEnd, "", 1, e4data, "length", ""},
    {"FPT", "block length 0x7FFFFFFF", kBlockLength, 0x7FFFFFFF, "", 1, e4data, "length", ""},
    {"FPT", "block length 0xFFFFFFFF", kBlockLength, 0xFFFFFFFF, "", 1, e4data, "length", ""},
    {"FPT", "block length to the file's end", kBlockLength, kToEnd, "", 1, 0, "", "Hello"},
    {"DbaseIV", "block length 0", kBlockLength, 0, "", 1, e4data, "", ""},
    {"DbaseIV", "block length 7", kBlockLength, 7, "", 1, e4data, "", ""},
    {"DbaseIV", "block length 0xFFFFFFFF", kBlockLength, 0xFFFFFFFF, "", 1, e4data, "", ""},
    {"DbaseIV", "block length one past the file", kBlockLength, kPastEnd, "", 1, e4data, "", ""},
    {"DbaseIV", "block without its mark", kNoMark, 0, "", 1, 0, "", "Say: "},
    {"Clipper", "no terminator: to the file's end", kNoTerminator, 0, "", 3, 0, "", Bytes(700, 'x')},
    // A block size no block can have leaves every memo unusable.
    {"FPT", "block size 0", kBlockSize, 0, "", 1, e4data, "T.FPT", ""},
    {"FPT", "block size 1: references inside the header", kBlockSize, 1, "", 0, e4data, "header", ""},
    {"DbaseIV", "block size 1", kBlockSize, 1, "", 1, e4data, "T.DBT", ""},
    {"DbaseIV", "block size 63", kBlockSize, 63, "", 1, e4data, "T.DBT", ""},
    {"DbaseIV", "block size 0xFFC0: every reference past the end", kBlockSize, 0xFFC0, "", 0, e4data, "", ""},
    {"FPT", "next free block anywhere", kNextFree, 0xFFFFFFFF, "", 0, 0, "", ""},
};

TEST_P(DamagedFormat, MemoDamage) {
  const Sample s = sample(GetParam());
  int applied = 0;
  for (const MemoDamage& m : kMemoDamages) {
    const std::string formats = m.formats;
    if (!formats.empty() && formats.find(s.format.name) == std::string::npos &&
        formats.find(s.format.memo_ext) == std::string::npos)
      continue;
    SCOPED_TRACE(m.what);
    ++applied;
    Sample t = s;
    apply(m, t);
    place(t);
    if (m.rec == 0) {
      const Scan scanned = open_and_scan();
      EXPECT_EQ(scanned.code, m.error) << scanned.message;
      EXPECT_NE(scanned.message.find(m.message), std::string::npos) << scanned.message;
      continue;
    }
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int code = 0;
    EXPECT_EQ(memo(d, m.rec, &code), m.memo);
    EXPECT_EQ(code, m.error) << message_;
    EXPECT_NE(message_.find(m.message), std::string::npos) << message_;
    if (m.error) {
      EXPECT_FALSE(message_.empty());
      EXPECT_EQ(f4memoLen(d4field(d, "NOTES")), 0u);
    }
    if (m.rec == 1) {  // the others still read, or fail alike
      const std::string other = memo(d, 3, &code);
      EXPECT_TRUE(code == 0 ? other == "memo two" : code == m.error) << code;
    }
    d4close(d);
  }
  EXPECT_GT(applied, 4);
}

// ---- random damage, fuzzer findings ---------------------------------------------

// Flips bytes of valid tables and memo files at random (seeded), biased
// towards the headers, then opens and reads everything. Whatever happens
// must be a plain result or one of the damage codes with a message.
TEST_P(DamagedFormat, RandomByteFlipsNeverCrash) {
  constexpr int kIterations = 1000;
  const Sample s = sample(GetParam());
  std::mt19937 rng(20240 + unsigned(GetParam().format * 2 + GetParam().later_types));
  int opened = 0;
  for (int it = 0; it < kIterations; ++it) {
    Bytes dbf = s.dbf, memo_bytes = s.memo;
    for (int i = 0, flips = 1 + int(rng() % 6); i < flips; ++i) {
      const bool in_memo = rng() % 4 == 0;
      Bytes& b = in_memo ? memo_bytes : dbf;
      const size_t hot = in_memo ? std::min<size_t>(b.size(), 32) : s.hlen;
      const size_t at = rng() % 2 ? rng() % hot : rng() % b.size();
      b[at] = rng() % 2 ? char(b[at] ^ (1 << (rng() % 8))) : char(rng());
    }
    if (rng() % 16 == 0) dbf.resize(rng() % dbf.size());
    if (rng() % 16 == 0) memo_bytes.resize(rng() % memo_bytes.size());
    place(dbf, &memo_bytes, s.format.memo_ext);
    DATA4* d = open();
    if (d == nullptr) {
      EXPECT_TRUE(code_ == e4open || code_ == e4data || code_ == e4read) << code_ << " " << message_;
      EXPECT_FALSE(message_.empty());
      continue;
    }
    ++opened;
    // No more records than the file holds at the fields' length.
    int64_t record_len = 1;
    for (int j = 1; j <= d4numFields(d); ++j) record_len += f4len(d4fieldJ(d, j));
    EXPECT_LE(int64_t(d4recCount(d)), (int64_t(dbf.size()) - 32) / record_len);
    const Scan scanned = scan(d);
    d4close(d);
    EXPECT_TRUE(scanned.code == 0 || scanned.code == e4data || scanned.code == e4read)
        << scanned.code << " " << scanned.message;
    if (scanned.code != 0) {
      EXPECT_FALSE(scanned.message.empty());
    }
  }
  EXPECT_GT(opened, kIterations / 4);  // the damage is not all fatal
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedFormat, ::testing::ValuesIn(formats::tables()),
                         formats::Named());

// Inputs that once made the table reader fault, replayed the way the table
// fuzzer (fuzz/fuzz_table.cpp) reads them; the sanitizer build is where a
// return of the fault shows.
TEST_F(DamagedTable, FuzzerRegressions) {
  const char* env = std::getenv("VGX_TABLE_REGRESSIONS_DIR");
  const fs::path folder =
      env && *env ? fs::path(env) : fs::path(__FILE__).parent_path() / "regressions" / "fuzz_table";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no folder " << folder;
  int replayed = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    SCOPED_TRACE(entry.path().filename().string());
    const Bytes input = test_files::slurp(entry.path());
    vgx_fuzz::run_table_input(tmp_.path().string(), reinterpret_cast<const uint8_t*>(input.data()),
                              input.size());
    ++replayed;
  }
  EXPECT_GT(replayed, 0);
}

}  // namespace
