// Every real table under the samples folder, read by the engine and compared value by
// value with what an independent reader (dbfread) sees in it.
//
// The comparison goes through a dump both sides build (tests/interop/dbfread_dump.py
// describes it): for every field of every record the raw bytes as stored, which pins
// the engine's header, offset and record walk to the byte, and the value the reader
// decodes, which pins the engine's typed getters: numbers as the double each side
// parses (the reader prints the shortest text that reads back to the same double, so
// the comparison is exact), logicals, dates and date-times as text, memos as bytes.
//
// Where the engine and dbfread part ways, the lists below say who is right and why: the
// tables the engine refuses, the tables dbfread reads wrongly (read instead by python3-dbf
// or from the bytes), and the values dbfread refuses that the bytes settle.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "../../fuzz/table_scan.h"
#include "python_oracle.h"
#include "table_dump.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;
using vgx_test::DumpTable;

// Tables the engine refuses, each with the error it must give and why.
struct Refusal {
  const char* path;
  int code;
  const char* why;
};
const Refusal kRefused[] = {
    {"dans-dbf-lib/dbase3plus/fileExceptions/EMPTY.DBF", e4open, "one byte long: no header"},
    {"infused-dbf/dbase_02.dbf", e4data,
     "dBASE II: a 521-byte header of another layout behind the version byte 0x02 that early "
     "FoxPro tables share; read as a level-5 header it runs past the record"},
};

// Tables where dbfread is wrong, read instead by python3-dbf ("dbf") or, where that is
// wrong too, straight from the bytes as the format reference lays them out ("bytes").
struct OtherSource {
  const char* path;
  const char* source;
  const char* why;
};
constexpr const char* kLevel7 =
    "level-7 header (68 bytes, 48-byte descriptors): dbfread reads only level-5 headers and "
    "python3-dbf does not know level 7";
const OtherSource kOtherSource[] = {
    {"dans-dbf-lib/dbase3plus/fileExceptions/MEMEMPTY.DBF", "bytes",
     "its memo file is one byte long: dbfread reads every memo as empty, the engine reports "
     "the damaged memo file on each memo use"},
    {"infused-dbf/polygon.dbf", "bytes", "a table without fields: dbfread dumps one empty column"},
    {"dbaseplus-gs28/Data/engineer.dbf", "bytes", kLevel7},
    {"dbaseplus-gs28/Data/qaid.DBF", "bytes", kLevel7},
    {"dbaseplus-gs28/_QSQL176.DBF", "bytes", kLevel7},
    {"infused-dbf/dbase_8c.dbf", "bytes", kLevel7},
    {"javadbf/fixtures/dbase_7.dbf", "bytes", kLevel7},
    {"javadbf/bug-102/bug102.dbf", "bytes", kLevel7},
    {"javadbf/inventory.dbf", "bytes", kLevel7},
    {"javadbf/test_delete.dbf", "bytes", kLevel7},
    {"php-xbase/dBase/dBaseVII.dbf", "bytes", kLevel7},
    {"php-xbase/dBase/dBaseVII_double.dbf", "bytes", kLevel7},
    {"php-xbase/dBase/dBaseVII_int.dbf", "bytes", kLevel7},
    {"php-xbase/dBase/dBaseVII_ts.dbf", "bytes", kLevel7},
    {"javadbf/bug-77-no-header-record-terminator/continents-null-header-record-terminator.dbf",
     "bytes",
     "no 0x0D after the descriptors: dbfread reads descriptors up to the end of the file and "
     "python3-dbf refuses the header"},
    {"javadbf/bug-77-no-header-record-terminator/continents_no_header_record_terminator.dbf",
     "bytes",
     "no 0x0D after the descriptors: dbfread reads descriptors up to the end of the file and "
     "python3-dbf refuses the header"},
    {"javadbf/bug_64_excel_dbf/wrong-exented-character-field.dbf", "dbf",
     "a C(8) field with decimals 2: dbfread takes the decimals for the high byte of the length "
     "(520) although the record length says 8, and its records slide"},
    {"infused-dbf/mazovia.dbf", "bytes",
     "its records start with 0x00 rather than a blank: dbfread skips them as not records (any "
     "mark but '*' is a live record); python3-dbf fails on its code page mark 0x69"},
    {"javadbf/bug-33-corrupted-file-sync-mode/myfileafter-corrupted.dbf", "bytes",
     "NUL bytes where the header says record 1 is, the real record after them: dbfread ignores "
     "the header's count and skips the NUL record; python3-dbf refuses the NUL numbers"},
    {"dbase-rs/stations_with_deleted.dbf", "bytes",
     "its header's record length (1016) is one less than its fields take; the records in the "
     "file are 1017 bytes long: dbfread reads records by the fields but skips deleted ones by "
     "the header and slides by a byte after each; python3-dbf refuses the header"},
    {"php-xbase/foxpro/vfp.dbf", "bytes",
     "its General field points at blocks 1 to 3, inside the memo header (64-byte blocks: data "
     "starts at block 8): dbfread reads header bytes as empty memos; python3-dbf does not read "
     "0x32 tables"},
    {"dans-dbf-lib/dbase3plus/fileExceptions/PNTRERR.DBF", "bytes",
     "a memo reference past the end of the memo file: dbfread answers an empty memo for it, "
     "python3-dbf cannot decode its text (no code page mark, bytes above 0x7F)"},
};

// Values dbfread (and python3-dbf) refuse although the bytes say what they hold: the raw
// bytes must still agree, and the engine must read `engine` ("" for the empty value:
// 0, a blank date, false).
struct RefusedValue {
  const char* path;
  const char* reason;  // part of dbfread's error text
  const char* engine;
  const char* why;
};
constexpr const char* kLoneDot =
    "a numeric field holding blanks and a decimal point only, as dBASE IV and FoxPro write an "
    "empty N or F field with decimals: no digits, so the empty value; python3-dbf refuses it too";
constexpr const char* kNulFilled =
    "a record of NUL bytes (appended, never written): no digits, no date, no logical, so the "
    "empty values; python3-dbf refuses them too";
const RefusedValue kRefusedValues[] = {
    {"dans-dbf-lib/", "could not convert string to float: b'.'", "", kLoneDot},
    {"clip-itk/prg/bdbfs/test.dbf", "b'\\x00", "", kNulFilled},
    {"dbase-rs/contain_null_padded_numeric.dbf", "b'1234.", "1234",
     "a number padded with blanks and then NUL bytes: the digits say 1234; python3-dbf refuses "
     "it too"},
    {"dbfread/examples/files/invalid_value.dbf", "invalid date b'NotAYear'", "",
     "the fixture's deliberately invalid date: read as an empty date, as the format reference "
     "says of unparsable dates; python3-dbf refuses it too"},
};

CODE4* reading_context() {
  CODE4* c4 = code4initP();
  code4errOff(c4, 1);
  code4readOnly(c4, 1);
  code4autoOpen(c4, 0);
  return c4;
}

bool is_table(const fs::path& p) {
  std::string ext = p.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
  return ext == ".dbf" || ext == ".dbc";
}

// Every table below the samples folder, as paths relative to it, sorted.
std::vector<std::string> sample_tables() {
  std::vector<std::string> out;
  const fs::path root = vgx_test::samples_dir();
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(root, ec);
       it != fs::recursive_directory_iterator(); it.increment(ec)) {
    if (ec) break;
    if (it->is_regular_file() && is_table(it->path()))
      out.push_back(fs::relative(it->path(), root).generic_string());
  }
  std::sort(out.begin(), out.end());
  return out;
}

const Refusal* refusal_of(const std::string& rel) {
  for (const Refusal& r : kRefused)
    if (rel == r.path) return &r;
  return nullptr;
}

const RefusedValue* refused_value(const std::string& rel, const std::string& reason) {
  // A path ending in '/' names every table below that folder.
  for (const RefusedValue& r : kRefusedValues)
    if (rel.rfind(r.path, 0) == 0 && reason.find(r.reason) != std::string::npos) return &r;
  return nullptr;
}

const OtherSource* other_source(const std::string& rel) {
  for (const OtherSource& o : kOtherSource)
    if (rel == o.path) return &o;
  return nullptr;
}

// The dump of every sample table, each by the reader its listing names.
const std::map<std::string, DumpTable>& dump() {
  static const std::map<std::string, DumpTable> tables = [] {
    std::string args = vgx_test::shell_quote(vgx_test::samples_dir().string());
    for (const OtherSource& o : kOtherSource)
      args += std::string(" --") + o.source + " " + vgx_test::shell_quote(o.path);
    return vgx_test::run_dump(args);
  }();
  return tables;
}

// ---- tests ---------------------------------------------------------------

TEST(Samples, EveryTableOpensOrIsRefusedCleanly) {
  const std::vector<std::string> tables = sample_tables();
  ASSERT_GT(tables.size(), 100u) << "samples not found under " << vgx_test::samples_dir();
  std::set<std::string> found(tables.begin(), tables.end());
  for (const Refusal& r : kRefused)
    EXPECT_TRUE(found.count(r.path)) << "listed but not found: " << r.path;

  CODE4* c4 = reading_context();
  for (const std::string& rel : tables) {
    code4errorCode(c4, 0);
    DATA4* d = d4open(c4, (vgx_test::samples_dir() / rel).c_str());
    const int code = code4errorCode(c4, 0);
    const Refusal* refusal = refusal_of(rel);
    if (refusal) {
      EXPECT_EQ(d, nullptr) << rel << " opens although listed as refused (" << refusal->why << ")";
      EXPECT_EQ(code, refusal->code) << rel << ": " << refusal->why;
      if (d) d4close(d);
      continue;
    }
    if (d == nullptr) {
      ADD_FAILURE() << rel << " does not open: error " << code;
      continue;
    }
    // Touch every value of every record: damaged memos may fail, nothing may crash.
    vgx_fuzz::ScanResult scanned;
    for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) vgx_fuzz::read_every_field(d, c4, &scanned);
    EXPECT_EQ(d4eof(d), 1) << rel << ": the walk stopped before the end";
    EXPECT_EQ(d4close(d), 0) << rel;
  }
  code4initUndo(c4);
}

TEST(Samples, EveryValueEqualsWhatDbfreadReads) {
  if (!vgx_test::python_has("dbfread")) GTEST_SKIP() << vgx_test::kPython << " lacks dbfread";
  const auto& tables = dump();
  ASSERT_FALSE(tables.empty());
  for (const OtherSource& o : kOtherSource)
    EXPECT_TRUE(tables.count(o.path)) << "listed but not found: " << o.path;

  CODE4* c4 = reading_context();
  for (const std::string& rel : sample_tables()) {
    auto it = tables.find(rel);
    if (it == tables.end()) {
      ADD_FAILURE() << rel << " is missing from the dump";
      continue;
    }
    const DumpTable& t = it->second;
    const OtherSource* other = other_source(rel);
    if (!t.error.empty() && other == nullptr && !refusal_of(rel))
      ADD_FAILURE() << rel << ": dbfread cannot read it (" << t.error << ") and it is not listed";
    if (other && t.source != other->source)
      ADD_FAILURE() << rel << ": " << other->source << " was to read it (" << other->why << ") but "
                    << t.source << " did";
    if (refusal_of(rel)) continue;
    DATA4* d = d4open(c4, (vgx_test::samples_dir() / rel).c_str());
    if (d == nullptr) continue;  // reported by EveryTableOpensOrIsRefusedCleanly
    auto refused = [&rel](const std::string& reason) -> const char* {
      const RefusedValue* r = refused_value(rel, reason);
      return r ? r->engine : nullptr;
    };
    if (t.source == "dbfread" || t.source == "dbf" || t.source == "bytes")
      vgx_test::compare_table(c4, d, rel, t, refused);
    else
      ADD_FAILURE() << rel << ": the engine opens it, the readers do not (" << t.why << ")";
    d4close(d);
    code4errorCode(c4, 0);
  }
  code4initUndo(c4);
}

}  // namespace
