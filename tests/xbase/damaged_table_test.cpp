// Damaged tables and memo files: opening and reading them must end in a
// negative code with a message (e4open for what is not a table, e4data for a
// header or memo block that lies, e4read for a read that runs short), never
// in a crash, a hang or a read outside the file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "../../fuzz/table_scan.h"
#include "io/endian.h"
#include "table/handles.h"
#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::string;

using test_files::slurp;
using test_files::spit;

void put16(Bytes& b, size_t at, uint16_t v) { xbase::io::store_u16le(b.data() + at, v); }
void put32(Bytes& b, size_t at, uint32_t v) { xbase::io::store_u32le(b.data() + at, v); }
uint16_t get16(const Bytes& b, size_t at) { return xbase::io::load_u16le(b.data() + at); }

// Level-5 descriptor i starts here.
size_t desc_at(size_t i) { return 32 + 32 * i; }

// The four table kinds with memo files, built by the engine: three records
// (the third deleted), memos in records 1 and 3.
enum class Kind { kDbase3, kDbase4, kFox2, kVfp };
const Kind kKinds[] = {Kind::kDbase3, Kind::kDbase4, Kind::kFox2, Kind::kVfp};

const char* kind_name(Kind k) {
  switch (k) {
    case Kind::kDbase3: return "dbase3";
    case Kind::kDbase4: return "dbase4";
    case Kind::kFox2: return "fox2";
    case Kind::kVfp: return "vfp";
  }
  return "?";
}

struct Sample {
  Kind kind = Kind::kDbase3;
  Bytes dbf, memo;
  std::string memo_ext;  // FPT or DBT
  uint16_t hlen = 0, reclen = 0;
  uint32_t count = 0;
  size_t memo_field_offset = 0;  // of NOTES / M within the record
  bool binary_ref = false;       // VFP: u32le block numbers

  size_t record_at(int32_t rec) const { return hlen + size_t(rec - 1) * reclen; }
  // Points record `rec`'s memo field at `block`.
  void set_memo_ref(int32_t rec, uint32_t block) {
    size_t at = record_at(rec) + memo_field_offset;
    if (binary_ref) {
      put32(dbf, at, block);
    } else {
      std::string text = std::to_string(block);
      dbf.replace(at, 10, std::string(10 - text.size(), ' ') + text);
    }
  }
  uint32_t memo_ref(int32_t rec) const {
    size_t at = record_at(rec) + memo_field_offset;
    if (binary_ref) return xbase::io::load_u32le(dbf.data() + at);
    return static_cast<uint32_t>(std::strtoul(dbf.substr(at, 10).c_str(), nullptr, 10));
  }
  uint32_t block_size() const {
    if (memo_ext == "FPT") return (uint8_t(memo[6]) << 8) | uint8_t(memo[7]);
    return kind == Kind::kDbase4 ? get16(memo, 20) : 512;
  }
};

FIELD4INFO info(const char* name, char type, uint16_t len, uint16_t dec = 0, uint16_t nulls = 0) {
  return FIELD4INFO{const_cast<char*>(name), type, len, dec, nulls};
}

Sample build_sample(Kind kind, const fs::path& dir) {
  std::vector<FIELD4INFO> fields;
  int format = 1, compat = 26;
  const char* memo_name = "NOTES";
  switch (kind) {
    case Kind::kDbase3:
      format = 2;
      fields = {info("NAME", 'C', 10), info("AMT", 'N', 8, 2), info("BORN", 'D', 8),
                info("OK", 'L', 1), info("NOTES", 'M', 10)};
      break;
    case Kind::kDbase4:
      format = 4;
      fields = {info("NAME", 'C', 6), info("F", 'F', 6, 1), info("NOTES", 'M', 10)};
      break;
    case Kind::kFox2:
      fields = {info("NAME", 'C', 6), info("N", 'N', 5), info("NOTES", 'M', 10)};
      break;
    case Kind::kVfp:
      compat = 30;
      memo_name = "M";
      fields = {info("NAME", 'V', 6, 0, r4null), info("I", 'I', 4), info("Y", 'Y', 8, 4),
                info("T", 'T', 8), info("B", 'B', 8, 2), info("M", 'M', 4, 0, r4null),
                info("D", 'D', 8, 0, r4null)};
      break;
  }
  fields.push_back(FIELD4INFO{nullptr, 0, 0, 0, 0});
  fs::create_directories(dir);
  CODE4* c4 = code4initP();
  code4errOff(c4, 1);
  code4safety(c4, 0);
  code4accessMode(c4, 1);
  code4indexFormat(c4, format);
  code4compatibility(c4, compat);
  const std::string base = (dir / "S").string();
  DATA4* d = d4create(c4, base.c_str(), fields.data(), nullptr);
  EXPECT_NE(d, nullptr) << c4->error_message;
  Sample s;
  s.kind = kind;
  if (d == nullptr) {
    code4initUndo(c4);
    return s;
  }
  const char* names[] = {"SMITH", "AB", "JONES"};
  for (int r = 0; r < 3; ++r) {
    EXPECT_EQ(d4appendStart(d, 0), 0);
    d4blank(d);
    for (int j = 1; j <= d4numFields(d); ++j) {
      FIELD4* f = d4fieldJ(d, j);
      switch (f4type(f)) {
        case 'C': case 'V': f4assign(f, names[r]); break;
        case 'I': f4assignLong(f, 12 + r); break;
        case 'N': case 'F': case 'Y': case 'B': f4assignDouble(f, 12.5 + r); break;
        case 'D': f4assign(f, "19991231"); break;
        case 'T': f4assignDateTime(f, "20000101120000"); break;
        case 'L': f4assign(f, "T"); break;
        case 'M':
          if (r != 1) f4memoAssign(f, r == 0 ? "Hello" : "memo two");
          break;
      }
    }
    EXPECT_EQ(d4append(d), 0);
  }
  d4delete(d);
  EXPECT_EQ(d4write(d, 3), 0);
  const auto& desc = d4field(d, memo_name)->desc();
  s.memo_field_offset = desc.offset;
  s.binary_ref = desc.storage == xbase::table::Storage::kMemoBinary;
  s.memo_ext = d->header().family == xbase::table::Family::kFox2 ||
                       d->header().family == xbase::table::Family::kVfp
                   ? "FPT"
                   : "DBT";
  EXPECT_EQ(d4close(d), 0);
  code4initUndo(c4);
  s.dbf = slurp(base + ".DBF");
  s.memo = slurp(base + "." + s.memo_ext);
  s.hlen = get16(s.dbf, 8);
  s.reclen = get16(s.dbf, 10);
  s.count = xbase::io::load_u32le(s.dbf.data() + 4);
  EXPECT_EQ(s.count, 3u);
  return s;
}

class DamagedTable : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("damaged_table_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    c4_ = code4initP();
    code4errOff(c4_, 1);
    code4readOnly(c4_, 1);
  }
  void TearDown() override {
    code4initUndo(c4_);
    fs::remove_all(dir_);
  }

  Sample sample(Kind k) { return build_sample(k, dir_ / ("src_" + std::string(kind_name(k)))); }

  // Writes T.DBF and its memo file (removing the other memo kind).
  void place(const Bytes& dbf, const Bytes* memo = nullptr, const std::string& ext = "FPT") {
    fs::remove(dir_ / "T.FPT");
    fs::remove(dir_ / "T.DBT");
    spit(dir_ / "T.DBF", dbf);
    if (memo) spit(dir_ / ("T." + ext), *memo);
  }
  void place(const Sample& s) { place(s.dbf, &s.memo, s.memo_ext); }

  // Opens T; on failure answers null with code_ and message_ set.
  DATA4* open(const std::string& name = "T") {
    code4errorCode(c4_, 0);
    DATA4* d = d4open(c4_, (dir_ / name).c_str());
    code_ = code4errorCode(c4_, r4check);
    message_ = c4_->error_message;
    code4errorCode(c4_, 0);
    if (d == nullptr) { EXPECT_LT(code_, 0); }
    return d;
  }
  // Expects the open to fail with `code` and a message.
  void expect_open_fails(int code, const std::string& in_message = "") {
    DATA4* d = open();
    EXPECT_EQ(d, nullptr);
    if (d) d4close(d);
    EXPECT_EQ(code_, code) << message_;
    EXPECT_FALSE(message_.empty());
    if (!in_message.empty()) {
      EXPECT_NE(message_.find(in_message), std::string::npos) << message_;
    }
  }

  struct Scan {
    int32_t records = 0;
    int code = 0;  // first error met
    std::string message;
  };
  // Walks every record reading every field, memos included.
  Scan scan(DATA4* d) {
    Scan s;
    auto note = [&](int code) {
      if (code < 0 && s.code == 0) {
        s.code = code;
        s.message = c4_->error_message;
      }
      code4errorCode(c4_, 0);
    };
    const int32_t count = d4recCount(d);
    int rc = d4top(d);
    for (int32_t steps = 0; rc == 0 && steps <= count; ++steps) {
      ++s.records;
      for (int j = 1; j <= d4numFields(d); ++j) {
        FIELD4* f = d4fieldJ(d, j);
        (void)f4str(f);
        (void)f4double(f);
        (void)f4long(f);
        (void)f4dateTime(f);
        (void)f4null(f);
        (void)f4memoLen(f);
        (void)f4memoStr(f);
        note(code4errorCode(c4_, r4check));
      }
      rc = d4skip(d, 1);
    }
    note(rc < 0 ? rc : 0);
    EXPECT_LE(s.records, count);
    return s;
  }
  // Opens T and scans it; the table must open.
  Scan open_and_scan() {
    DATA4* d = open();
    EXPECT_NE(d, nullptr) << message_;
    if (d == nullptr) return Scan{0, code_, message_};
    Scan s = scan(d);
    d4close(d);
    return s;
  }
  // The table opens, a record without a memo reads, and record 1's memo
  // fails with `code` and a message naming `file`.
  void expect_memos_unusable(const char* field, int code, const std::string& file) {
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int got = 0;
    EXPECT_EQ(memo(d, 2, field, &got), "");
    EXPECT_EQ(got, 0);
    EXPECT_EQ(memo(d, 1, field, &got), "");
    EXPECT_EQ(got, code);
    EXPECT_NE(message_.find(file), std::string::npos) << message_;
    d4close(d);
  }
  // Memo value of record `rec`, with the error code it left.
  std::string memo(DATA4* d, int32_t rec, const char* field, int* code) {
    code4errorCode(c4_, 0);
    EXPECT_EQ(d4go(d, rec), 0);
    std::string v = f4memoStr(d4field(d, field));
    message_ = c4_->error_message;
    *code = code4errorCode(c4_, 0);
    return v;
  }

  fs::path dir_;
  CODE4* c4_ = nullptr;
  int code_ = 0;
  std::string message_;
};

const char* memo_field(Kind k) { return k == Kind::kVfp ? "M" : "NOTES"; }

// ---- not a table ----------------------------------------------------------

TEST_F(DamagedTable, WhatIsNotATableIsRefusedWithOpenError) {
  const Bytes cases[] = {
      "",
      Bytes(31, '\x03'),
      "This is a plain text file, long enough to hold a header.\n",
      Bytes(64, '\0'),
      Bytes(64, '\xFF'),
  };
  for (const Bytes& b : cases) {
    SCOPED_TRACE(b.size());
    place(b);
    expect_open_fails(e4open);
  }
}

TEST_F(DamagedTable, FoldersNamedLikeTheTableOrItsMemo) {
  fs::create_directories(dir_ / "T.DBF");
  expect_open_fails(e4open);
  EXPECT_EQ(d4open(c4_, (dir_ / "T.DBF").c_str()), nullptr);
  EXPECT_EQ(code4errorCode(c4_, 0), e4open);

  // A folder in the memo file's place is a missing memo file.
  fs::remove(dir_ / "T.DBF");
  Sample s = sample(Kind::kFox2);
  place(s.dbf);
  fs::create_directories(dir_ / "T.FPT");
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  int code = 0;
  EXPECT_EQ(memo(d, 1, "NOTES", &code), "");
  EXPECT_EQ(code, e4open);
  EXPECT_NE(message_.find("T.FPT"), std::string::npos) << message_;
  d4close(d);
}

TEST_F(DamagedTable, MissingMemoFileIsNamedWhenAMemoIsRead) {
  for (Kind k : kKinds) {
    SCOPED_TRACE(kind_name(k));
    Sample s = sample(k);
    place(s.dbf);
    // The table opens: its other fields are readable.
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int code = 0;
    EXPECT_EQ(memo(d, 2, memo_field(k), &code), "");  // no memo: nothing to miss
    EXPECT_EQ(code, 0);
    EXPECT_EQ(std::string(f4str(d4fieldJ(d, 1))).substr(0, 2), "AB");
    EXPECT_EQ(memo(d, 1, memo_field(k), &code), "");
    EXPECT_EQ(code, e4open);
    EXPECT_NE(message_.find("T." + s.memo_ext), std::string::npos) << message_;
    code4errorCode(c4_, 0);
    EXPECT_EQ(f4memoLen(d4field(d, memo_field(k))), 0u);
    EXPECT_EQ(code4errorCode(c4_, 0), e4open);
    d4close(d);
  }
}

// ---- truncation -----------------------------------------------------------

TEST_F(DamagedTable, TableCutAtEveryLength) {
  for (Kind k : kKinds) {
    SCOPED_TRACE(kind_name(k));
    Sample s = sample(k);
    for (size_t len = 0; len <= s.dbf.size(); ++len) {
      SCOPED_TRACE(len);
      place(s.dbf.substr(0, len), &s.memo, s.memo_ext);
      if (len < 32) {
        expect_open_fails(e4open);
      } else if (len < s.hlen) {
        expect_open_fails(e4data, "T.DBF");
      } else {
        const int32_t present = int32_t((len - s.hlen) / s.reclen);
        Scan scanned = open_and_scan();
        EXPECT_EQ(scanned.records, std::min<int32_t>(present, int32_t(s.count)));
        EXPECT_EQ(scanned.code, 0) << scanned.message;
      }
    }
  }
}

TEST_F(DamagedTable, MemoFileCutAtEveryLength) {
  for (Kind k : kKinds) {
    SCOPED_TRACE(kind_name(k));
    Sample s = sample(k);
    // Where the last memo's data ends (slack is zero); a dBASE III memo
    // without its terminator reads to the end of the file, so only a cut
    // before its first byte loses it. A cut inside the memo file's header
    // leaves the table readable and every memo use failing.
    size_t end = s.memo.find_last_not_of('\0') + 1;
    if (k == Kind::kDbase3) end = end / 512 * 512 + 1;
    for (size_t len = 0; len <= s.memo.size(); ++len) {
      SCOPED_TRACE(len);
      Bytes cut = s.memo.substr(0, len);
      place(s.dbf, &cut, s.memo_ext);
      Scan scanned = open_and_scan();
      EXPECT_EQ(scanned.records, 3);
      if (len >= end) {
        EXPECT_EQ(scanned.code, 0) << scanned.message;
      } else {
        EXPECT_EQ(scanned.code, e4data);
        EXPECT_NE(scanned.message.find("T." + s.memo_ext), std::string::npos) << scanned.message;
      }
    }
  }
}

TEST_F(DamagedTable, FileCutUnderAnOpenTableGivesReadError) {
  Sample s = sample(Kind::kDbase3);
  place(s);
  code4readOnly(c4_, 0);
  code4optimize(c4_, 0);  // every read goes to the file
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  fs::resize_file(dir_ / "T.DBF", s.record_at(3) + 4);
  EXPECT_EQ(d4go(d, 3), e4read);
  EXPECT_FALSE(c4_->error_message.empty());
  EXPECT_EQ(code4errorCode(c4_, 0), e4read);
  EXPECT_EQ(d4go(d, 1), 0);  // what is still there reads
  EXPECT_STREQ(f4str(d4field(d, "NAME")), "SMITH     ");
  d4close(d);
}

// ---- header words ---------------------------------------------------------

TEST_F(DamagedTable, HeaderLengthThatLies) {
  Sample s = sample(Kind::kDbase3);
  // Too small for the fixed header and its terminator, or longer than the
  // file.
  for (uint32_t hlen : {0u, 1u, 32u, uint32_t(s.dbf.size() + 1), 0xFFFFu}) {
    SCOPED_TRACE(hlen);
    Bytes b = s.dbf;
    put16(b, 8, uint16_t(hlen));
    place(b, &s.memo, "DBT");
    expect_open_fails(e4data, "T.DBF");
  }
  // Too small for even one descriptor: a table without fields, whose
  // records start where the header says.
  for (uint16_t hlen : {uint16_t(33), uint16_t(63)}) {
    SCOPED_TRACE(hlen);
    Bytes b = s.dbf;
    put16(b, 8, hlen);
    place(b, &s.memo, "DBT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(d4numFields(d), 0);
    EXPECT_EQ(d4recCount(d), 3);
    d4close(d);
    EXPECT_EQ(open_and_scan().code, 0);
  }
  // One that stops inside the descriptors: only those before it count, and
  // the records are taken from where it says.
  Bytes b = s.dbf;
  put16(b, 8, uint16_t(desc_at(2) + 1));
  place(b, &s.memo, "DBT");
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_EQ(d4numFields(d), 2);
  EXPECT_EQ(d4recCount(d), 3);
  d4close(d);
  EXPECT_EQ(open_and_scan().code, 0);
}

TEST_F(DamagedTable, RecordLengthThatLies) {
  Sample s = sample(Kind::kDbase3);
  const uint16_t field_sum = s.reclen;  // the engine writes no slack
  // No room for the deletion flag.
  Bytes zero = s.dbf;
  put16(zero, 10, 0);
  place(zero, &s.memo, "DBT");
  expect_open_fails(e4data, "record length");
  // Shorter than the fields: the file's size decides. When it holds the
  // counted records at the fields' length, that is the record length;
  // otherwise the header lies.
  for (uint16_t reclen : {uint16_t(field_sum - 1), uint16_t(2), uint16_t(1)}) {
    SCOPED_TRACE(reclen);
    Bytes b = s.dbf;
    put16(b, 10, reclen);
    place(b, &s.memo, "DBT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(d4recCount(d), 3);
    EXPECT_EQ(d4go(d, 2), 0);
    EXPECT_STREQ(f4str(d4field(d, "NAME")), "AB        ");
    d4close(d);
    for (const Bytes& changed : {b + "x", b.substr(0, b.size() - 2)}) {
      place(changed, &s.memo, "DBT");
      expect_open_fails(e4data, "record length");
    }
    b = s.dbf;
    put16(b, 10, reclen);
    put32(b, 4, 2);
    place(b, &s.memo, "DBT");
    expect_open_fails(e4data, "record length");
  }
  // Longer than the fields: the fields keep their places, records step by
  // the header's length.
  for (uint16_t reclen : {uint16_t(field_sum + 5), uint16_t(0xFFFF)}) {
    SCOPED_TRACE(reclen);
    Bytes b = s.dbf;
    put16(b, 10, reclen);
    place(b, &s.memo, "DBT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    const int32_t present = int32_t((b.size() - s.hlen) / reclen);
    EXPECT_EQ(d4recCount(d), present);
    if (present > 0) { EXPECT_STREQ(f4str(d4field(d, "NAME")), "SMITH     "); }
    d4close(d);
    EXPECT_EQ(open_and_scan().code, 0);
  }
}

TEST_F(DamagedTable, RecordCountIsClampedToTheRecordsPresent) {
  Sample s = sample(Kind::kFox2);
  struct Case {
    uint32_t header_count;
    size_t cut;  // bytes removed from the end
    int32_t expected;
  };
  const Case cases[] = {
      {1000, 0, 3},        {0xFFFFFFFFu, 0, 3}, {0x80000000u, 0, 3},
      {3, 1, 3},           // only the end-of-file mark gone
      {3, 2, 2},           // the last record cut short
      {1, 0, 1},           // stale records after the count
      {0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.header_count << " cut " << c.cut);
    Bytes b = s.dbf.substr(0, s.dbf.size() - c.cut);
    put32(b, 4, c.header_count);
    place(b, &s.memo, "FPT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(d4recCount(d), c.expected);
    d4close(d);
    Scan scanned = open_and_scan();
    EXPECT_EQ(scanned.records, c.expected);
    EXPECT_EQ(scanned.code, 0) << scanned.message;
  }
}

// ---- field descriptors ----------------------------------------------------

TEST_F(DamagedTable, DescriptorsThatLie) {
  Sample s = sample(Kind::kDbase3);
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

  // A name filling all 11 bytes with no NUL is read as those 11 bytes;
  // bytes after a NUL are garbage.
  damaged(0, 0, "ABCDEFGHIJK");
  d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_STREQ(f4name(d4fieldJ(d, 1)), "ABCDEFGHIJK");
  d4close(d);
  damaged(0, 0, Bytes("AB\0xyz\x01\x02zz\x7F", 11));
  d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_STREQ(f4name(d4fieldJ(d, 1)), "AB");
  d4close(d);

  // Types and widths the engine does not read as such keep their bytes:
  // an unknown type, a date of the wrong width, a memo reference too short.
  struct Retype {
    int field;
    char type;
    int len;
  };
  for (const Retype& r :
       {Retype{0, 'X', 10}, Retype{1, 'D', 8}, Retype{2, 'D', 3}, Retype{4, 'M', 2}}) {
    const int field = r.field, len = r.len;
    const char type = r.type;
    SCOPED_TRACE(testing::Message() << field << type << len);
    Bytes b = s.dbf;
    size_t at = desc_at(size_t(field));
    b[at + 11] = type;
    if (len != int(uint8_t(b[at + 16]))) {
      // Keep the record length honest: the slack goes to the memo field.
      int delta = int(uint8_t(b[at + 16])) - len;
      b[at + 16] = char(len);
      if (field != 4) b[desc_at(4) + 16] = char(uint8_t(b[desc_at(4) + 16]) + delta);
      else put16(b, 10, uint16_t(s.reclen - delta));
    }
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
  // C(300) stored as 0x2C + 256 x 0x01, then a C(10) whose decimals byte
  // holds garbage, then N(5,2).
  // Two records, so that the file's size never matches a wrong length.
  auto table = [](uint8_t long_lo, uint8_t long_hi, uint16_t reclen) {
    Bytes rec(reclen, ' ');
    for (size_t i = 1; i < rec.size(); ++i) rec[i] = char('a' + i % 26);
    return hand_table(0x03,
                      {{"LONG", 'C', long_lo, long_hi}, {"SHORT", 'C', 10, 0x55}, {"N", 'N', 5, 2}},
                      reclen, {rec, rec});
  };
  place(table(0x2C, 0x01, 1 + 300 + 10 + 5));
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_EQ(f4len(d4field(d, "LONG")), 300);
  EXPECT_EQ(std::strlen(f4str(d4field(d, "LONG"))), 300u);
  EXPECT_EQ(f4len(d4field(d, "SHORT")), 10);  // garbage high byte ignored...
  EXPECT_EQ(f4decimals(d4field(d, "N")), 2);  // ...and never read from N
  d4close(d);

  // A zero low byte with a high byte is a 256-byte field.
  place(table(0, 1, 1 + 256 + 10 + 5));
  d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_EQ(f4len(d4field(d, "LONG")), 256);
  d4close(d);

  // When the wide reading does not fill the record, the decimals byte is not
  // a length: the narrow fields then run past the record.
  place(table(0x2C, 0x01, 1 + 44 + 10 + 4));
  expect_open_fails(e4data, "record length");
  place(table(0, 1, 1 + 0 + 10 + 5 + 7));
  d = open();
  ASSERT_NE(d, nullptr) << message_;
  EXPECT_EQ(f4len(d4field(d, "LONG")), 0);
  d4close(d);
}

TEST_F(DamagedTable, NumbersWiderThanAnyParserBuffer) {
  // Wide numeric and character fields read as numbers: many decimals, long
  // digit runs, exponents, a 300-byte field.
  const Bytes tiny = "0." + Bytes(26, '0') + "1";   // 1e-27 in 29 characters
  const Bytes huge = Bytes(40, '9');
  const Bytes long_c = "  0." + Bytes(290, '0') + "12345";
  Bytes rec = " " + Bytes(60 - tiny.size(), ' ') + tiny + huge + "1e999" + Bytes(55, ' ') + long_c +
              Bytes(45, '0');
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
  // Every kind of field with width 0, after the last byte of the record.
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
      EXPECT_EQ(f4true(f), 0);
      EXPECT_EQ(f4double(f), 0.0);
      EXPECT_EQ(f4long(f), 0);
      EXPECT_STREQ(f4str(f), "");
      EXPECT_STREQ(f4memoStr(f), "");
      EXPECT_EQ(f4memoLen(f), 0u);
      EXPECT_STREQ(f4dateTime(f), Bytes(16, ' ').c_str());
    }
    d4close(d);
  }
}

TEST_F(DamagedTable, StoredDoublesThatAreNotNumbers) {
  Sample s = sample(Kind::kVfp);
  ASSERT_EQ(s.dbf[desc_at(4) + 11], 'B');
  const size_t at = s.record_at(1) + xbase::io::load_u32le(s.dbf.data() + desc_at(4) + 12);
  struct Case {
    uint64_t bits;
    int32_t as_long;
  };
  for (const Case& c : {Case{0x7FF8000000000001ull, 0}, Case{0xFFF8000000000000ull, 0},
                        Case{0x7FF0000000000000ull, 2147483647},
                        Case{0xFFF0000000000000ull, -2147483647 - 1}}) {
    SCOPED_TRACE(c.bits);
    Sample t = s;
    xbase::io::store_u64le(t.dbf.data() + at, c.bits);
    place(t);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    EXPECT_EQ(f4long(d4field(d, "B")), c.as_long);
    d4close(d);
  }
}

TEST_F(DamagedTable, FoxProDisplacementsOutsideTheRecord) {
  Sample s = sample(Kind::kVfp);
  ASSERT_EQ(s.dbf[desc_at(1) + 11], 'I');
  const uint32_t good = xbase::io::load_u32le(s.dbf.data() + desc_at(1) + 12);
  for (uint32_t disp : {0u, uint32_t(s.reclen), uint32_t(s.reclen - 3), 0xFFFFFFFFu, 0x80000000u}) {
    SCOPED_TRACE(disp);
    Bytes b = s.dbf;
    put32(b, desc_at(1) + 12, disp);
    place(b, &s.memo, "FPT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    // The displacements are ignored and the offsets counted instead.
    EXPECT_EQ(d4field(d, "I")->desc().offset, good);
    EXPECT_EQ(f4long(d4field(d, "I")), 12);
    d4close(d);
    EXPECT_EQ(open_and_scan().code, 0);
  }
}

TEST_F(DamagedTable, NullFlagsFieldTooShort) {
  Sample s = sample(Kind::kVfp);
  // Mark every user field nullable and make Y a Q: V and Q take two bits
  // each, the others one, nine bits for a one-byte _NullFlags.
  Bytes b = s.dbf;
  ASSERT_EQ(b[desc_at(2) + 11], 'Y');
  b[desc_at(2) + 11] = 'Q';
  size_t n = 0;
  for (; b[desc_at(n)] != 0x0D; ++n)
    if (b[desc_at(n) + 11] != '0') b[desc_at(n) + 18] |= 0x02;
  ASSERT_EQ(n, 8u);
  place(b, &s.memo, "FPT");
  expect_open_fails(e4data, "null");
  // And one with no room at all.
  b = s.dbf;
  b[desc_at(7) + 16] = 0;
  place(b, &s.memo, "FPT");
  expect_open_fails(e4data, "null");
}

// ---- memo references and blocks ------------------------------------------

TEST_F(DamagedTable, MemoReferencesOutsideTheMemoFile) {
  for (Kind k : kKinds) {
    SCOPED_TRACE(kind_name(k));
    Sample s = sample(k);
    const uint32_t past = uint32_t(s.memo.size() / s.block_size() + 1);
    // Past the end, far past the end, inside the header.
    for (uint32_t block : {past, 0xFFFFFFFFu, 1000000u, s.memo_ext == "FPT" ? 1u : 0u}) {
      if (block == 0) continue;
      SCOPED_TRACE(block);
      Sample t = s;
      t.set_memo_ref(1, block);
      place(t);
      DATA4* d = open();
      ASSERT_NE(d, nullptr) << message_;
      int code = 0;
      EXPECT_EQ(memo(d, 1, memo_field(k), &code), "");
      EXPECT_EQ(code, e4data);
      EXPECT_NE(message_.find("T." + s.memo_ext), std::string::npos) << message_;
      EXPECT_EQ(f4memoLen(d4field(d, memo_field(k))), 0u);
      EXPECT_EQ(memo(d, 3, memo_field(k), &code), "memo two");  // the others still read
      EXPECT_EQ(code, 0);
      d4close(d);
    }
  }
}

TEST_F(DamagedTable, TextMemoReferencesThatAreNotNumbers) {
  Sample s = sample(Kind::kDbase3);
  const size_t at = s.record_at(1) + s.memo_field_offset;
  for (const char* text :
       {"  12ab    ", "9999999999", "-000000001", "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a"}) {
    Bytes b = s.dbf;
    b.replace(at, 10, text, 10);
    place(b, &s.memo, "DBT");
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int code = 0;
    EXPECT_EQ(memo(d, 1, "NOTES", &code), "");  // no memo rather than a wrong one
    EXPECT_EQ(code, 0);
    d4close(d);
  }
}

TEST_F(DamagedTable, MemoBlockHeadersThatLie) {
  // FoxPro: the u32be length after the type word.
  for (Kind k : {Kind::kFox2, Kind::kVfp}) {
    SCOPED_TRACE(kind_name(k));
    Sample s = sample(k);
    const size_t at = size_t(s.memo_ref(1)) * s.block_size();
    const uint32_t room = uint32_t(s.memo.size() - at - 8);
    for (uint32_t len : {room + 1, 0x7FFFFFFFu, 0xFFFFFFFFu, room}) {
      SCOPED_TRACE(len);
      Sample t = s;
      xbase::io::store_u32be(t.memo.data() + at + 4, len);
      place(t);
      DATA4* d = open();
      ASSERT_NE(d, nullptr) << message_;
      int code = 0;
      std::string v = memo(d, 1, memo_field(k), &code);
      if (len == room) {
        EXPECT_EQ(code, 0);  // to the last byte of the file
        EXPECT_EQ(v, "Hello");
        EXPECT_EQ(f4memoLen(d4field(d, memo_field(k))), room);
      } else {
        EXPECT_EQ(code, e4data);
        EXPECT_NE(message_.find("length"), std::string::npos) << message_;
      }
      d4close(d);
    }
  }
  // dBASE IV: FF FF 08 00 then a u32le length that counts those 8 bytes.
  Sample s = sample(Kind::kDbase4);
  const size_t at = size_t(s.memo_ref(1)) * s.block_size();
  for (uint32_t total : {0u, 4u, 7u, 0x7FFFFFFFu, 0xFFFFFFFFu, uint32_t(s.memo.size() - at + 1)}) {
    SCOPED_TRACE(total);
    Sample t = s;
    put32(t.memo, at + 4, total);
    place(t);
    DATA4* d = open();
    ASSERT_NE(d, nullptr) << message_;
    int code = 0;
    EXPECT_EQ(memo(d, 1, "NOTES", &code), "");
    EXPECT_EQ(code, e4data);
    EXPECT_FALSE(message_.empty());
    d4close(d);
  }
  // Without its FF FF 08 00 mark the block is read the dBASE III way, to 0x1A.
  Sample t = s;
  t.memo.replace(at, 8, "Say: \x1A\x1A\x1A");
  place(t);
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  int code = 0;
  EXPECT_EQ(memo(d, 1, "NOTES", &code), "Say: ");
  EXPECT_EQ(code, 0);
  d4close(d);
}

TEST_F(DamagedTable, DbaseThreeMemoWithoutTerminatorEndsAtTheFileEnd) {
  Sample s = sample(Kind::kDbase3);
  const size_t at = size_t(s.memo_ref(3)) * 512;
  s.memo.resize(at);
  s.memo += Bytes(700, 'x');  // no 0x1A anywhere
  place(s);
  DATA4* d = open();
  ASSERT_NE(d, nullptr) << message_;
  int code = 0;
  EXPECT_EQ(memo(d, 3, "NOTES", &code), Bytes(700, 'x'));
  EXPECT_EQ(code, 0);
  d4close(d);
}

TEST_F(DamagedTable, MemoHeadersThatLie) {
  Sample fox = sample(Kind::kFox2);
  // FoxPro block size 0 is impossible: the table opens, its memos do not.
  Sample t = fox;
  t.memo[6] = t.memo[7] = 0;
  place(t);
  expect_memos_unusable("NOTES", e4data, "T.FPT");
  // Block size 1 is legal; the sample's references then lie inside the
  // 512-byte header.
  t.memo[7] = 1;
  place(t);
  Scan scanned = open_and_scan();
  EXPECT_EQ(scanned.code, e4data);
  EXPECT_NE(scanned.message.find("header"), std::string::npos) << scanned.message;

  // dBASE IV: below 64 bytes a block cannot hold the header.
  Sample iv = sample(Kind::kDbase4);
  for (uint16_t bs : {uint16_t(1), uint16_t(63)}) {
    t = iv;
    put16(t.memo, 20, bs);
    place(t);
    expect_memos_unusable("NOTES", e4data, "T.DBT");
  }
  // A huge block size puts every reference past the end.
  t = iv;
  put16(t.memo, 20, 0xFFC0);
  place(t);
  scanned = open_and_scan();
  EXPECT_EQ(scanned.code, e4data);
  // A next-free word pointing anywhere does not matter to readers.
  t = fox;
  put32(t.memo, 0, 0xFFFFFFFFu);
  place(t);
  EXPECT_EQ(open_and_scan().code, 0);
}

// ---- random damage --------------------------------------------------------

// Flips bytes of valid tables and memo files at random (seeded), biased
// towards the headers, then opens and reads everything. Whatever happens
// must be a plain result or one of the damage codes with a message.
TEST_F(DamagedTable, RandomByteFlipsNeverCrash) {
  constexpr int kIterations = 1000;
  for (Kind k : kKinds) {
    SCOPED_TRACE(kind_name(k));
    const Sample s = sample(k);
    std::mt19937 rng(20240 + static_cast<unsigned>(k));
    int opened = 0;
    for (int it = 0; it < kIterations; ++it) {
      Bytes dbf = s.dbf, memo_bytes = s.memo;
      const int flips = 1 + int(rng() % 6);
      for (int i = 0; i < flips; ++i) {
        const bool in_memo = rng() % 4 == 0;
        Bytes& b = in_memo ? memo_bytes : dbf;
        const size_t hot = in_memo ? std::min<size_t>(b.size(), 32) : s.hlen;
        const size_t at = rng() % 2 ? rng() % hot : rng() % b.size();
        if (rng() % 2) b[at] = char(b[at] ^ (1 << (rng() % 8)));
        else b[at] = char(rng());
      }
      if (rng() % 16 == 0) dbf.resize(rng() % dbf.size());
      if (rng() % 16 == 0) memo_bytes.resize(rng() % memo_bytes.size());
      place(dbf, &memo_bytes, s.memo_ext);
      DATA4* d = open();
      if (d == nullptr) {
        EXPECT_TRUE(code_ == e4open || code_ == e4data || code_ == e4read)
            << code_ << " " << message_;
        EXPECT_FALSE(message_.empty());
        continue;
      }
      ++opened;
      const int64_t hlen = d->header().header_len, reclen = d->header().record_len;
      EXPECT_LE(int64_t(d4recCount(d)), (int64_t(dbf.size()) - hlen) / reclen);
      Scan scanned = scan(d);
      d4close(d);
      EXPECT_TRUE(scanned.code == 0 || scanned.code == e4data || scanned.code == e4read)
          << scanned.code << " " << scanned.message;
      if (scanned.code != 0) { EXPECT_FALSE(scanned.message.empty()); }
    }
    EXPECT_GT(opened, kIterations / 4);  // the damage is not all fatal
  }
}

// ---- fuzzer findings ------------------------------------------------------

// Inputs that once made the table reader fault, in the layout of the table
// fuzzer (fuzz/fuzz_table.cpp) and replayed the way it reads them; the
// sanitizer build is where a return of the fault shows.
TEST_F(DamagedTable, FuzzerRegressions) {
  const char* env = std::getenv("VGX_TABLE_REGRESSIONS_DIR");
  const fs::path folder =
      env && *env ? fs::path(env) : fs::path(__FILE__).parent_path() / "regressions" / "fuzz_table";
  if (!fs::is_directory(folder)) GTEST_SKIP() << "no folder " << folder;
  int replayed = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    SCOPED_TRACE(entry.path().filename().string());
    const Bytes input = slurp(entry.path());
    vgx_fuzz::run_table_input(dir_.string(), reinterpret_cast<const uint8_t*>(input.data()),
                              input.size());
    ++replayed;
  }
  EXPECT_GT(replayed, 0);
}

}  // namespace
