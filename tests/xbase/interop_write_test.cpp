// Tables the engine writes in each format, read back by dbfread and python3-dbf:
// every value each reports must be the one the engine wrote. And tables python3-dbf
// writes, read by the engine: every value the engine reports must be the one python3-dbf
// reads back. Both readers are run once per test over every table (see
// tests/interop/dbfread_dump.py for what they print).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "python_oracle.h"
#include "table_dump.h"
#include "vgxbase/xbase.h"
#include "test_files.h"

namespace {

namespace fs = std::filesystem;
using vgx_test::DumpTable;
using vgx_test::preview;

using test_files::slurp;
using test_files::TempDir;

// Printable text with line breaks: a dBASE III memo cannot hold 0x1A.
std::string text(size_t n) {
  static const std::string line = "The quick brown fox jumps over the lazy dog. 0123456789\r\n";
  std::string out;
  while (out.size() < n) out += line;
  out.resize(n);
  return out;
}

// Every byte value, NUL and 0x1A included.
std::string binary(size_t n) {
  std::string out(n, '\0');
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<char>((i * 37 + 11) % 256);
  return out;
}

struct Column {
  const char* name;
  char type;
  uint16_t len;
  uint16_t dec;
  bool nullable;
};

// A cell: what the engine stores, in the form a reader's value must take (the dump's
// value forms), with two of its own: "c<text>" for character text, checked through the
// raw bytes (padded with blanks), and "m" followed by the memo's bytes themselves
// ("m" alone: an empty memo, which no reader can tell from none).
using Row = std::vector<std::string>;
std::string memo(const std::string& bytes) { return "m" + bytes; }

struct TableCase {
  std::string file;
  int format;         // code4indexFormat
  int compatibility;  // code4compatibility
  int code_page;      // code4codePage
  std::vector<Column> columns;
  std::vector<Row> rows;
  uint8_t version;       // byte 0 the format prescribes
  const char* memo_ext;  // the memo file beside the table
  // Why python3-dbf is not asked, or null when it is.
  const char* no_dbf = nullptr;
  // The kind of table python3-dbf must be told it reads, when it cannot tell.
  const char* dbf_type = nullptr;
  // A column python3-dbf cannot read right, and why.
  const char* dbf_skips = nullptr;
  const char* dbf_skips_why = nullptr;
};

// Writes `tc` with the engine; the last row is marked deleted.
void write_table(const fs::path& dir, const TableCase& tc) {
  CODE4* c4 = code4initP();
  code4errOff(c4, 1);
  code4safety(c4, 0);
  code4accessMode(c4, 1);
  code4indexFormat(c4, tc.format);
  code4compatibility(c4, tc.compatibility);
  code4codePage(c4, tc.code_page);
  std::vector<FIELD4INFO> info;
  for (const Column& c : tc.columns)
    info.push_back({const_cast<char*>(c.name), static_cast<int16_t>(c.type), c.len, c.dec,
                    static_cast<uint16_t>(c.nullable ? r4null : 0)});
  info.push_back({nullptr, 0, 0, 0, 0});
  DATA4* d = d4create(c4, (dir / tc.file).c_str(), info.data(), nullptr);
  ASSERT_NE(d, nullptr) << tc.file << ": d4create failed with " << code4errorCode(c4, 0);
  for (const Row& row : tc.rows) {
    ASSERT_EQ(d4appendStart(d, 0), 0);
    ASSERT_EQ(d4blank(d), 0);
    for (size_t i = 0; i < row.size(); ++i) {
      FIELD4* f = d4field(d, tc.columns[i].name);
      const std::string& cell = row[i];
      const std::string v = cell.substr(1);
      switch (cell[0]) {
        case 'c': f4assignN(f, v.data(), static_cast<unsigned>(v.size())); break;
        case 'n':
          if (v == "null") break;
          if (f4type(f) == 'I')
            f4assignLong(f, static_cast<int32_t>(std::stol(v)));
          else
            f4assignDouble(f, std::strtod(v.c_str(), nullptr));
          break;
        case 'l':
          if (v != "?") f4assign(f, v.c_str());
          break;
        case 'd':
          if (!v.empty()) f4assign(f, v.c_str());
          break;
        case 't':
          if (!v.empty()) f4assignDateTime(f, v.c_str());
          break;
        case 'm':
          if (!v.empty()) {
            ASSERT_EQ(f4memoAssignN(f, v.data(), static_cast<unsigned>(v.size())), 0);
          }
          break;
        case '0': f4assignNull(f); break;
        default: FAIL() << "bad cell " << cell;
      }
    }
    ASSERT_EQ(d4append(d), 0) << tc.file << ": " << code4errorCode(c4, 0);
  }
  ASSERT_EQ(d4go(d, d4recCount(d)), 0);
  ASSERT_EQ(d4delete(d), 0);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(code4errorCode(c4, 0), 0) << tc.file;
  code4initUndo(c4);
}

// The null-flags bytes a row must produce: one bit per nullable field in field order,
// least significant bit first (this table has no variable-length fields).
std::string null_flags(const TableCase& tc, const Row& row) {
  int bits = 0;
  for (const Column& c : tc.columns) bits += c.nullable;
  std::string out(static_cast<size_t>((bits + 7) / 8), '\0');
  int bit = 0;
  for (size_t i = 0; i < tc.columns.size(); ++i) {
    if (!tc.columns[i].nullable) continue;
    if (row[i] == "0")
      out[size_t(bit >> 3)] = static_cast<char>(out[size_t(bit >> 3)] | (1 << (bit & 7)));
    ++bit;
  }
  return out;
}

// The raw bytes a cell must have, or "" when only its value is checked (binary storages,
// memo references, nulls).
std::string expected_raw(const Column& c, int len, const std::string& cell) {
  const std::string v = cell.substr(1);
  switch (cell[0]) {
    case 'c': return v + std::string(size_t(len) - v.size(), ' ');
    case 'n':
      if (c.type != 'N' && c.type != 'F') return "";
      if (v == "null") return std::string(size_t(len), ' ');
      {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%*.*f", len, c.dec, std::strtod(v.c_str(), nullptr));
        return buf;
      }
    case 'l': return v == "?" ? " " : v;
    case 'd': return v.empty() ? std::string(8, ' ') : v;
    default: return "";
  }
}

// Whether the reader's value says what the cell does.
bool same_value(const std::string& cell, const std::string& got) {
  switch (cell[0]) {
    case 'c': return true;
    case 'n':
      if (cell == "nnull" || got == "nnull") return cell == got;
      return got[0] == 'n' &&
             std::strtod(cell.c_str() + 1, nullptr) == std::strtod(got.c_str() + 1, nullptr);
    case 'm': {
      if (got == "mnull") return cell == "m";
      return got[0] == 'm' && vgx_test::from_hex(got.substr(1)) == cell.substr(1);
    }
    default: return cell == got;
  }
}

std::string shown(const std::string& cell) {
  return cell[0] == 'm' ? "memo of " + std::to_string(cell.size() - 1) + " bytes '" +
                              preview(cell.substr(1)) + "'"
                        : preview(cell);
}

// Checks one reader's dump of a table the engine wrote against what the engine wrote.
void check_reader(const TableCase& tc, const std::string& reader, const DumpTable& t) {
  vgx_test::Mismatches bad(tc.file + " read by " + reader);
  if (t.source != reader) {
    bad.add_table("the reader failed: " + t.why);
    return;
  }
  size_t nullable = 0;
  for (const Column& c : tc.columns) nullable += c.nullable;
  const size_t descriptors = tc.columns.size() + (nullable ? 1 : 0);
  if (t.fields.size() != descriptors) {
    bad.add_table("the reader lists " + std::to_string(t.fields.size()) +
                  " fields, the engine wrote " + std::to_string(descriptors));
    return;
  }
  for (size_t i = 0; i < tc.columns.size(); ++i) {
    const Column& c = tc.columns[i];
    const vgx_test::DumpField& f = t.fields[i];
    if (!vgx_test::same_name(f.name, c.name) || f.type != c.type)
      bad.add_table(std::string("field ") + c.name + ": the reader sees " + f.name + " " + f.type);
    // python3-dbf reports a wide character field's high width byte as its decimals.
    const bool wide_c = c.type == 'C' && c.len > 255 && reader == "dbf";
    if ((c.type == 'C' || c.type == 'N' || c.type == 'F') &&
        (f.len != c.len || (f.dec != c.dec && !wide_c)))
      bad.add_table(std::string("field ") + c.name + ": the reader sees width " +
                    std::to_string(f.len) + "," + std::to_string(f.dec));
  }
  if (t.live.size() + t.deleted.size() != tc.rows.size() || t.deleted.size() != 1) {
    bad.add_table("the reader sees " + std::to_string(t.live.size()) + " live and " +
                  std::to_string(t.deleted.size()) + " deleted records, the engine wrote " +
                  std::to_string(tc.rows.size()) + " with the last deleted");
    return;
  }
  for (size_t r = 0; r < tc.rows.size(); ++r) {
    const Row& row = tc.rows[r];
    const std::vector<std::string>& tokens = r + 1 < tc.rows.size() ? t.live[r] : t.deleted[0];
    const int32_t rec = static_cast<int32_t>(r + 1);
    for (size_t i = 0; i < tc.columns.size(); ++i) {
      auto [raw, value] = vgx_test::split_token(tokens[i]);
      const std::string& cell = row[i];
      std::string want_raw = expected_raw(tc.columns[i], t.fields[i].len, cell);
      if (!want_raw.empty() && raw != want_raw)
        bad.add(rec, tc.columns[i].name,
                "bytes '" + preview(raw) + "', the engine wrote '" + preview(want_raw) + "'");
      // dbfread knows no nulls: the null-flags bytes below stand for them.
      if (cell == "0" && reader == "dbfread") continue;
      if (reader == "dbf" && tc.dbf_skips && std::strcmp(tc.dbf_skips, tc.columns[i].name) == 0)
        continue;
      if (!same_value(cell, value))
        bad.add(rec, tc.columns[i].name,
                "the reader says " + shown(value) + ", the engine wrote " + shown(cell));
    }
    if (nullable) {
      std::string raw = vgx_test::split_token(tokens.back()).first;
      if (raw != null_flags(tc, row))
        bad.add(rec, "_NullFlags",
                "bytes " + vgx_test::to_hex(raw) + ", the layout says " +
                    vgx_test::to_hex(null_flags(tc, row)));
    }
  }
}

// Runs one reader over every table of `cases` it can read: dbfread in one run,
// python3-dbf in one run per kind of table it must be told.
std::map<std::string, DumpTable> read_all(const fs::path& dir, const std::vector<TableCase>& cases,
                                          bool dbf) {
  std::map<std::string, std::string> runs;  // python3-dbf's table kind -> paths
  for (const TableCase& tc : cases) {
    if (dbf && tc.no_dbf) continue;
    runs[dbf && tc.dbf_type ? tc.dbf_type : ""] += " " + vgx_test::shell_quote((dir / tc.file).string());
  }
  std::map<std::string, DumpTable> out;
  for (const auto& [kind, paths] : runs) {
    std::string args = dbf ? "--read dbf" : "--read dbfread";
    if (!kind.empty()) args += " --dbf-type " + kind;
    out.merge(vgx_test::run_dump(args + paths));
  }
  return out;
}

// ---- the tables -------------------------------------------------------------

// Rows over C N N F D L M, with the memo of each row given.
std::vector<Row> plain_rows(const std::vector<std::string>& memos, bool with_float) {
  std::vector<Row> rows = {
      {"cAlpha", "n12.35", "n-42", "n3.1416", "d20240315", "lT", ""},
      {"c", "nnull", "nnull", "nnull", "d", "l?", ""},
      {"cBeta", "n-0.5", "n0", "n-1234.5678", "d19991231", "lF", ""},
      {"cGamma", "n99999.99", "n999999", "n0.0001", "d19000101", "lT", ""},
      {"cDelta", "n-9999.99", "n-99999", "n-0.0001", "d20000229", "lF", ""},
      {"cA name of twenty ch", "n0", "n1", "n1", "d20991231", "lT", ""},
  };
  std::vector<Row> out;
  for (size_t i = 0; i < memos.size(); ++i) {
    Row r = rows[i % rows.size()];
    r.back() = memo(memos[i]);
    if (!with_float) r.erase(r.begin() + 3);
    out.push_back(std::move(r));
  }
  return out;
}

std::vector<Column> plain_columns(bool with_float) {
  std::vector<Column> c = {{"NAME", 'C', 20, 0, false}, {"AMOUNT", 'N', 10, 2, false},
                           {"COUNT", 'N', 6, 0, false}, {"RATIO", 'F', 12, 4, false},
                           {"BORN", 'D', 8, 0, false},  {"OK", 'L', 1, 0, false},
                           {"NOTES", 'M', 10, 0, false}};
  if (!with_float) c.erase(c.begin() + 3);
  return c;
}

constexpr const char* kNoDbfDbase4 =
    "python3-dbf does not read dBASE IV tables with a memo file (0x8B); and dbfread's own dBASE IV "
    "memo reader is wrong (see dbfread_dump.py), so their memos come from the bytes";

std::vector<TableCase> engine_tables() {
  constexpr size_t k100K = 100 * 1024;
  std::vector<TableCase> cases;
  // FoxPro 2: 64-byte blocks and an 8-byte block header, so 56 and 120 bytes fill one and
  // two blocks exactly and 57 spills into a second.
  cases.push_back(
      {"fox26.dbf", 1, 26, 0, plain_columns(true),
       plain_rows({"Hello, memo", "", text(56), text(57), text(120), text(300), text(k100K)}, true),
       0xF5, "FPT"});
  // dBASE IV: 512-byte blocks and an 8-byte block header: 504 and 1016 fill exactly.
  cases.push_back(
      {"dbase4.dbf", 4, 26, 0, plain_columns(true),
       plain_rows({"Hello, memo", "", text(504), text(505), text(1016), text(2000), text(k100K)},
                  true),
       0x8B, "DBT", kNoDbfDbase4});
  // dBASE III as Clipper writes it: 512-byte blocks ended by 1A 1A, so 510 bytes fill one
  // block with the terminator, 512 fill it without.
  cases.push_back(
      {"clipper.dbf", 2, 26, 0, plain_columns(false),
       plain_rows({"Hello, memo", "", text(510), text(511), text(512), text(1022), text(k100K)},
                  false),
       0x83, "DBT"});
  // Clipper's character fields past 255 bytes keep the high byte of the width in the
  // decimals byte.
  TableCase wide{"clipwide.dbf", 2, 26, 0, {{"ID", 'N', 4, 0, false}, {"WIDE", 'C', 300, 0, false}},
                 {}, 0x03, nullptr};
  wide.rows = {{"n1", "c" + text(300)}, {"n2", "cshort"}, {"n3", "c"}};
  wide.dbf_type = "clp";  // byte 0 (0x03) does not tell Clipper's tables from others
  cases.push_back(wide);

  // The later FoxPro table with every type it adds and its binary memos.
  std::vector<Column> later_columns = {
      {"NAME", 'C', 20, 0, false}, {"AMOUNT", 'N', 10, 2, false}, {"RATIO", 'F', 12, 4, false},
      {"BORN", 'D', 8, 0, false},  {"OK", 'L', 1, 0, false},      {"NOTES", 'M', 4, 0, false},
      {"PIC", 'G', 4, 0, false},   {"CNT", 'I', 4, 0, false},     {"DBL", 'B', 8, 2, false},
      {"MONEY", 'Y', 8, 4, false}, {"STAMP", 'T', 8, 0, false}};
  TableCase later{"fox30.dbf", 1, 30, 0, later_columns, {}, 0x30, "FPT"};
  later.rows = {
      {"cAlpha", "n12.35", "n3.1416", "d20240315", "lT", memo("Hello, memo"), memo(binary(10)),
       "n7", "n2.5", "n1234.5678", "t2024031513:45:30"},
      {"c", "nnull", "nnull", "d", "l?", "m", "m", "n0", "n0", "n0", "t"},
      {"cBeta", "n-0.5", "n-1234.5678", "d19991231", "lF", memo(text(56)), memo(binary(56)),
       "n-2147483648", "n-1e+300", "n-0.0001", "t1900010100:00:01"},
      {"cGamma", "n99999.99", "n0.0001", "d20000229", "lT", memo(text(k100K)), memo(binary(120)),
       "n2147483647", "n0.1", "n-92233720368.5477", "t2000010100:00:00"},
      {"cDelta", "n0", "n1", "d20991231", "lF", memo(text(57)), memo(binary(k100K)), "n-1",
       "n-2.5e-310", "n92233720368.5477", "t9999123123:59:59"}};
  later.dbf_skips = "PIC";
  later.dbf_skips_why =
      "python3-dbf decodes a General field as text unless its descriptor has the binary flag "
      "0x04, which FoxPro does not set on General fields (see the samples' PHOTO and PICTURE "
      "fields) and so neither does the engine";
  cases.push_back(later);

  // Every field nullable, nulls in every type: python3-dbf numbers null bits by field
  // position, which agrees with the format (bits counted over nullable fields) only when
  // every field before a nullable one is nullable too. Nine bits: two flag bytes.
  std::vector<Column> all_nullable = {
      {"NAME", 'C', 20, 0, true}, {"AMOUNT", 'N', 10, 2, true}, {"BORN", 'D', 8, 0, true},
      {"OK", 'L', 1, 0, true},    {"NOTES", 'M', 4, 0, true},   {"CNT", 'I', 4, 0, true},
      {"DBL", 'B', 8, 0, true},   {"MONEY", 'Y', 8, 4, true},   {"STAMP", 'T', 8, 0, true}};
  TableCase nulls{"fox30null.dbf", 1, 30, 0, all_nullable, {}, 0x30, "FPT"};
  nulls.rows = {
      {"cAlpha", "n12.35", "d20240315", "lT", memo("memo"), "n7", "n2.5", "n1.5",
       "t2024031513:45:30"},
      {"0", "0", "0", "0", "0", "0", "0", "0", "0"},
      {"0", "n1", "0", "lF", "0", "n0", "0", "n0", "0"},
      {"cBeta", "0", "d19991231", "0", memo("text"), "0", "n-1", "0", "t2000010100:00:00"},
      {"0", "0", "0", "0", "0", "0", "0", "0", "t1999123100:00:00"}};
  cases.push_back(nulls);

  // Nullable fields among fields that are not: only dbfread's raw null-flags bytes check
  // the bit layout here.
  std::vector<Column> some_nullable = {
      {"ID", 'I', 4, 0, false},   {"NAME", 'C', 20, 0, true},   {"AMOUNT", 'N', 10, 2, false},
      {"BORN", 'D', 8, 0, true},  {"NOTES", 'M', 4, 0, true},   {"MONEY", 'Y', 8, 4, false},
      {"STAMP", 'T', 8, 0, true}};
  TableCase mixed{"fox30mixed.dbf", 1, 30, 0, some_nullable, {}, 0x30, "FPT"};
  mixed.rows = {{"n1", "cAlpha", "n1.5", "d20240315", memo("memo"), "n1", "t2024031513:45:30"},
                {"n2", "0", "n2.5", "0", "0", "n2", "0"},
                {"n3", "cGamma", "nnull", "0", memo("x"), "n0", "t"},
                {"n4", "0", "n-1", "d19991231", "0", "n-3", "t2000010100:00:00"}};
  mixed.no_dbf =
      "python3-dbf numbers null bits by field position, not among nullable fields as the "
      "format does, so it misreads this layout";
  cases.push_back(mixed);
  return cases;
}

TEST(InteropWrite, EngineTablesReadTheSameInDbfreadAndPythonDbf) {
  if (!vgx_test::python_has("dbfread, dbf"))
    GTEST_SKIP() << vgx_test::kPython << " lacks dbfread or dbf";
  TempDir dir;
  const std::vector<TableCase> cases = engine_tables();
  for (const TableCase& s : cases) {
    write_table(dir.path(), s);
    if (::testing::Test::HasFatalFailure()) return;
    // The format's own marks: version byte and memo file.
    std::string bytes = slurp(dir.path() / s.file);
    ASSERT_GE(bytes.size(), 32u);
    EXPECT_EQ(static_cast<uint8_t>(bytes[0]), s.version) << s.file;
    if (s.memo_ext == nullptr) continue;
    std::string lower = s.memo_ext;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(fs::exists(dir.path() / fs::path(s.file).replace_extension(s.memo_ext)) ||
                fs::exists(dir.path() / fs::path(s.file).replace_extension(lower)))
        << s.file << ": no ." << s.memo_ext << " beside it";
  }
  const auto by_dbfread = read_all(dir.path(), cases, false);
  const auto by_dbf = read_all(dir.path(), cases, true);
  for (const TableCase& s : cases) {
    const std::string path = (dir.path() / s.file).string();
    auto it = by_dbfread.find(path);
    if (it == by_dbfread.end())
      ADD_FAILURE() << s.file << " missing from dbfread's dump";
    else
      check_reader(s, "dbfread", it->second);
    if (s.no_dbf) continue;
    it = by_dbf.find(path);
    if (it == by_dbf.end())
      ADD_FAILURE() << s.file << " missing from python3-dbf's dump";
    else
      check_reader(s, "dbf", it->second);
  }
}

// The code page mark (code4codePage 1: code page 437, 3: code page 1252) lands in byte 29,
// stays there through the engine's rewrites (record writes, appends, memo writes, pack),
// and both readers decode the table's text by it.
TEST(InteropWrite, CodePageMarkLandsInByte29AndSurvivesRewrites) {
  if (!vgx_test::python_has("dbfread, dbf"))
    GTEST_SKIP() << vgx_test::kPython << " lacks dbfread or dbf";
  struct Case {
    const char* file;
    int compatibility;
    int mark;
    const char* code_page;  // python3-dbf's name for it
    std::string accented;   // "Cafe" with an accent in that code page
  };
  const std::vector<Case> cases = {{"fox437.dbf", 26, 1, "cp437", "Caf\x82"},
                                   {"fox1252.dbf", 26, 3, "cp1252", "Caf\xe9"},
                                   {"fox30_437.dbf", 30, 1, "cp437", "Caf\x82"},
                                   {"fox30_1252.dbf", 30, 3, "cp1252", "Caf\xe9"}};
  TempDir dir;
  std::string paths;
  for (const Case& c : cases) {
    const fs::path path = dir.path() / c.file;
    paths += " " + vgx_test::shell_quote(path.string());
    CODE4* c4 = code4initP();
    code4errOff(c4, 1);
    code4accessMode(c4, 1);
    code4compatibility(c4, c.compatibility);
    code4codePage(c4, c.mark);
    FIELD4INFO fields[] = {{const_cast<char*>("NAME"), 'C', 20, 0, 0},
                           {const_cast<char*>("NOTES"), 'M', 10, 0, 0},
                           {nullptr, 0, 0, 0, 0}};
    DATA4* d = d4create(c4, path.c_str(), fields, nullptr);
    ASSERT_NE(d, nullptr) << c.file;
    for (const char* name : {"first", "second", "third"}) {
      ASSERT_EQ(d4appendStart(d, 0), 0);
      f4assign(d4field(d, "NAME"), name);
      ASSERT_EQ(d4append(d), 0);
    }
    ASSERT_EQ(d4close(d), 0);
    std::string bytes = slurp(path);
    ASSERT_GE(bytes.size(), 32u);
    EXPECT_EQ(static_cast<uint8_t>(bytes[29]), c.mark) << c.file << " as created";
    const char version = bytes[0];

    // Rewrites under another context whose own mark differs: the file keeps its mark.
    code4codePage(c4, 0);
    d = d4open(c4, path.c_str());
    ASSERT_NE(d, nullptr) << c.file;
    ASSERT_EQ(d4go(d, 1), 0);
    f4assign(d4field(d, "NAME"), c.accented.c_str());
    ASSERT_EQ(f4memoAssign(d4field(d, "NOTES"), (c.accented + " au lait").c_str()), 0);
    ASSERT_EQ(d4go(d, 2), 0);
    ASSERT_EQ(d4delete(d), 0);
    ASSERT_EQ(d4appendStart(d, 0), 0);
    ASSERT_EQ(d4blank(d), 0);
    f4assign(d4field(d, "NAME"), "fourth");
    ASSERT_EQ(d4append(d), 0);
    ASSERT_EQ(d4pack(d), 0);
    ASSERT_EQ(d4close(d), 0);
    code4initUndo(c4);
    bytes = slurp(path);
    EXPECT_EQ(static_cast<uint8_t>(bytes[29]), c.mark) << c.file << " after the rewrites";
    EXPECT_EQ(bytes[0], version) << c.file;
  }

  const auto by_dbfread = vgx_test::run_dump("--read dbfread" + paths);
  const auto by_dbf = vgx_test::run_dump("--read dbf" + paths);
  for (const Case& c : cases) {
    const std::string path = (dir.path() / c.file).string();
    for (const auto* dump : {&by_dbfread, &by_dbf}) {
      const bool dbfread = dump == &by_dbfread;
      auto it = dump->find(path);
      ASSERT_NE(it, dump->end()) << c.file;
      const DumpTable& t = it->second;
      ASSERT_EQ(t.source, dbfread ? "dbfread" : "dbf") << c.file << ": " << t.why;
      EXPECT_EQ(t.code_page, dbfread ? std::to_string(c.mark) : std::string(c.code_page)) << c.file;
      // After the pack: first (rewritten), third, fourth.
      const std::vector<std::string> names = {c.accented, "third", "fourth"};
      ASSERT_EQ(t.live.size(), names.size()) << c.file;
      EXPECT_TRUE(t.deleted.empty()) << c.file;
      for (size_t r = 0; r < names.size(); ++r) {
        auto [raw, value] = vgx_test::split_token(t.live[r][0]);
        EXPECT_EQ(raw, names[r] + std::string(20 - names[r].size(), ' '))
            << c.file << " record " << r + 1;
      }
      auto [raw, value] = vgx_test::split_token(t.live[0][1]);
      EXPECT_EQ(value, "m" + vgx_test::to_hex(c.accented + " au lait"))
          << c.file << " record 1 NOTES";
    }
  }
}

// Tables python3-dbf writes (dBASE III, FoxPro 2 and the later FoxPro table, each with a
// memo file) read by the engine as python3-dbf reads them back.
TEST(InteropWrite, PythonDbfTablesReadTheSameInTheEngine) {
  if (!vgx_test::python_has("dbfread, dbf"))
    GTEST_SKIP() << vgx_test::kPython << " lacks dbfread or dbf";
  TempDir dir;
  vgx_test::RunResult r = vgx_test::run_command(
      std::string(vgx_test::kPython) + " " +
      vgx_test::shell_quote(vgx_test::interop_script("write_tables.py").string()) + " " +
      vgx_test::shell_quote(dir.path().string()));
  ASSERT_EQ(r.status, 0) << "write_tables.py failed";
  const auto tables = vgx_test::parse_dump(r.out);
  ASSERT_EQ(tables.size(), 3u);
  CODE4* c4 = code4initP();
  code4errOff(c4, 1);
  code4readOnly(c4, 1);
  code4autoOpen(c4, 0);
  for (const auto& [name, t] : tables) {
    ASSERT_EQ(t.source, "dbf") << name << ": " << t.why;
    DATA4* d = d4open(c4, (dir.path() / name).c_str());
    if (d == nullptr) {
      ADD_FAILURE() << name << " does not open: " << code4errorCode(c4, 0);
      continue;
    }
    vgx_test::compare_table(c4, d, name, t);
    d4close(d);
  }
  code4initUndo(c4);
}

// Memos rewritten in place (shorter, same length), moved (longer), emptied, and then
// compressed: the readers must find every value where the record now points.
TEST(InteropWrite, RewrittenAndCompressedMemosReadTheSame) {
  if (!vgx_test::python_has("dbfread, dbf"))
    GTEST_SKIP() << vgx_test::kPython << " lacks dbfread or dbf";
  const std::vector<Column> columns = {{"ID", 'N', 4, 0, false}, {"NOTES", 'M', 10, 0, false}};
  const std::vector<Row> before = {{"n1", memo(text(10))},
                                   {"n2", memo(text(1000))},
                                   {"n3", memo(text(200))},
                                   {"n4", memo(text(700))}};
  const std::vector<std::string> after = {text(3000), text(50), "", std::string(700, 'x')};
  std::vector<TableCase> cases = {
      {"fox.dbf", 1, 26, 0, columns, before, 0xF5, "FPT"},
      {"fox30.dbf", 1, 30, 0, columns, before, 0x30, "FPT"},
      {"dbase4.dbf", 4, 26, 0, columns, before, 0x8B, "DBT", kNoDbfDbase4},
      {"clipper.dbf", 2, 26, 0, columns, before, 0x83, "DBT"}};
  TempDir dir;
  auto check = [&](const char* when) {
    SCOPED_TRACE(when);
    const auto by_dbfread = read_all(dir.path(), cases, false);
    const auto by_dbf = read_all(dir.path(), cases, true);
    for (const TableCase& s : cases) {
      const std::string path = (dir.path() / s.file).string();
      if (auto it = by_dbfread.find(path); it != by_dbfread.end())
        check_reader(s, "dbfread", it->second);
      else
        ADD_FAILURE() << s.file << " missing from dbfread's dump";
      if (s.no_dbf) continue;
      if (auto it = by_dbf.find(path); it != by_dbf.end())
        check_reader(s, "dbf", it->second);
      else
        ADD_FAILURE() << s.file << " missing from python3-dbf's dump";
    }
  };
  auto memo_size = [&](const TableCase& s) {
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir.path()))
      if (e.path().stem() == fs::path(s.file).stem() && e.path().extension() != ".dbf")
        return fs::file_size(e.path(), ec);
    return uintmax_t(0);
  };
  auto exclusive = [&](const TableCase& s, const std::function<void(DATA4*)>& body) {
    CODE4* c4 = code4initP();
    code4errOff(c4, 1);
    code4accessMode(c4, 1);
    DATA4* d = d4open(c4, (dir.path() / s.file).c_str());
    ASSERT_NE(d, nullptr) << s.file;
    body(d);
    EXPECT_EQ(d4close(d), 0) << s.file;
    EXPECT_EQ(code4errorCode(c4, 0), 0) << s.file;
    code4initUndo(c4);
  };

  for (TableCase& s : cases) {
    write_table(dir.path(), s);
    if (::testing::Test::HasFatalFailure()) return;
    exclusive(s, [&](DATA4* d) {
      for (size_t i = 0; i < after.size(); ++i) {
        ASSERT_EQ(d4go(d, static_cast<int32_t>(i + 1)), 0);
        ASSERT_EQ(f4memoAssignN(d4field(d, "NOTES"), after[i].data(),
                                static_cast<unsigned>(after[i].size())),
                  0);
        s.rows[i][1] = memo(after[i]);
      }
    });
  }
  check("after the rewrites");
  std::vector<uintmax_t> sizes;
  for (const TableCase& s : cases) {
    sizes.push_back(memo_size(s));
    exclusive(s, [](DATA4* d) { ASSERT_EQ(d4memoCompress(d), 0); });
  }
  check("after memo compression");
  for (size_t i = 0; i < cases.size(); ++i)
    EXPECT_LT(memo_size(cases[i]), sizes[i]) << cases[i].file << ": compression freed nothing";
}

}  // namespace
