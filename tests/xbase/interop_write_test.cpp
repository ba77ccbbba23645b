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

#include "formats.h"
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
  // A column python3-dbf cannot read right.
  const char* dbf_skips = nullptr;
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

// Runs both readers over `cases` (dbfread in one run, python3-dbf in one run per
// kind of table it must be told) and checks each table against what was written.
void check_readers(const fs::path& dir, const std::vector<TableCase>& cases) {
  for (const std::string reader : {"dbfread", "dbf"}) {
    std::map<std::string, std::string> runs;  // python3-dbf's table kind -> paths
    for (const TableCase& tc : cases)
      if (reader == "dbfread" || tc.no_dbf == nullptr)
        runs[reader == "dbf" && tc.dbf_type ? tc.dbf_type : ""] +=
            " " + vgx_test::shell_quote((dir / tc.file).string());
    std::map<std::string, DumpTable> dump;
    for (const auto& [kind, paths] : runs)
      dump.merge(vgx_test::run_dump("--read " + reader + (kind.empty() ? "" : " --dbf-type " + kind) +
                                    paths));
    for (const TableCase& tc : cases) {
      if (reader == "dbf" && tc.no_dbf) continue;
      auto it = dump.find((dir / tc.file).string());
      if (it == dump.end())
        ADD_FAILURE() << tc.file << " missing from " << reader << "'s dump";
      else
        check_reader(tc, reader, it->second);
    }
  }
}

// Printable rows over C N N F D L M (F left out where the format has none),
// with the memo of each row given.
std::vector<Row> plain_rows(const std::vector<std::string>& memos, bool with_float) {
  const std::vector<Row> rows = {
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

// A table of `t` with `columns`; python3-dbf does not read dBASE IV tables with a
// memo file (0x8B), and dbfread's own dBASE IV memo reader is wrong (see
// dbfread_dump.py), so their memos come from the bytes.
TableCase table_case(const formats::Table& t, const std::string& file, std::vector<Column> columns) {
  TableCase tc{file, t.format, t.compatibility, 0, std::move(columns), {}, t.version, t.memo_ext};
  if (t.version == 0x8B) tc.no_dbf = "python3-dbf does not read dBASE IV tables with a memo file";
  return tc;
}

// The tables written in format `t`: the common types with memos that fill
// their blocks exactly and spill by one, and the format's own additions.
std::vector<TableCase> engine_tables(const formats::Table& t) {
  constexpr size_t k100K = 100 * 1024;
  const size_t fill = t.block_size - t.block_extra;
  const bool with_float = t.format != 2;
  std::vector<Column> columns = {{"NAME", 'C', 20, 0, false}, {"AMOUNT", 'N', 10, 2, false},
                                 {"COUNT", 'N', 6, 0, false}, {"RATIO", 'F', 12, 4, false},
                                 {"BORN", 'D', 8, 0, false},  {"OK", 'L', 1, 0, false},
                                 {"NOTES", 'M', 10, 0, false}};
  if (!with_float) columns.erase(columns.begin() + 3);
  std::vector<TableCase> cases = {table_case(t, "plain.dbf", columns)};
  cases[0].rows = plain_rows({"Hello, memo", "", text(fill), text(fill + 1), text(fill + 2),
                              text(t.block_size + fill), text(k100K)},
                             with_float);
  if (t.format == 2) {
    // Clipper's character fields past 255 bytes keep the high byte of the width in the
    // decimals byte; byte 0 (0x03) does not tell python3-dbf it is Clipper's.
    TableCase wide = table_case(t, "wide.dbf", {{"ID", 'N', 4, 0, false}, {"WIDE", 'C', 300, 0, false}});
    wide.version = 0x03;
    wide.memo_ext = nullptr;
    wide.rows = {{"n1", "c" + text(300)}, {"n2", "cshort"}, {"n3", "c"}};
    wide.dbf_type = "clp";
    cases.push_back(wide);
  }
  if (!t.later_types) return cases;
  // Every type the later FoxPro table adds, and its binary memos.
  TableCase later = table_case(t, "later.dbf",
      {{"NAME", 'C', 20, 0, false}, {"AMOUNT", 'N', 10, 2, false}, {"RATIO", 'F', 12, 4, false},
       {"BORN", 'D', 8, 0, false},  {"OK", 'L', 1, 0, false},      {"NOTES", 'M', 4, 0, false},
       {"PIC", 'G', 4, 0, false},   {"CNT", 'I', 4, 0, false},     {"DBL", 'B', 8, 2, false},
       {"MONEY", 'Y', 8, 4, false}, {"STAMP", 'T', 8, 0, false}});
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
  // python3-dbf decodes a General field as text unless its descriptor has the binary
  // flag 0x04, which FoxPro does not set on General fields (see the samples' PHOTO and
  // PICTURE fields) and so neither does the engine.
  later.dbf_skips = "PIC";
  cases.push_back(later);
  // Every field nullable, nulls in every type: python3-dbf numbers null bits by field
  // position, which agrees with the format (bits counted over nullable fields) only when
  // every field before a nullable one is nullable too. Nine bits: two flag bytes.
  TableCase nulls = table_case(t, "nulls.dbf",
      {{"NAME", 'C', 20, 0, true}, {"AMOUNT", 'N', 10, 2, true}, {"BORN", 'D', 8, 0, true},
       {"OK", 'L', 1, 0, true},    {"NOTES", 'M', 4, 0, true},   {"CNT", 'I', 4, 0, true},
       {"DBL", 'B', 8, 0, true},   {"MONEY", 'Y', 8, 4, true},   {"STAMP", 'T', 8, 0, true}});
  nulls.rows = {{"cAlpha", "n12.35", "d20240315", "lT", memo("memo"), "n7", "n2.5", "n1.5",
                 "t2024031513:45:30"},
                {"0", "0", "0", "0", "0", "0", "0", "0", "0"},
                {"0", "n1", "0", "lF", "0", "n0", "0", "n0", "0"},
                {"cBeta", "0", "d19991231", "0", memo("text"), "0", "n-1", "0", "t2000010100:00:00"},
                {"0", "0", "0", "0", "0", "0", "0", "0", "t1999123100:00:00"}};
  cases.push_back(nulls);
  // Nullable fields among fields that are not: only dbfread's raw null-flags bytes
  // check the bit layout here, as python3-dbf misreads it.
  TableCase mixed = table_case(t, "mixed.dbf",
      {{"ID", 'I', 4, 0, false},  {"NAME", 'C', 20, 0, true}, {"AMOUNT", 'N', 10, 2, false},
       {"BORN", 'D', 8, 0, true}, {"NOTES", 'M', 4, 0, true}, {"MONEY", 'Y', 8, 4, false},
       {"STAMP", 'T', 8, 0, true}});
  mixed.rows = {{"n1", "cAlpha", "n1.5", "d20240315", memo("memo"), "n1", "t2024031513:45:30"},
                {"n2", "0", "n2.5", "0", "0", "n2", "0"},
                {"n3", "cGamma", "nnull", "0", memo("x"), "n0", "t"},
                {"n4", "0", "n-1", "d19991231", "0", "n-3", "t2000010100:00:00"}};
  mixed.no_dbf = "python3-dbf numbers null bits by field position";
  cases.push_back(mixed);
  return cases;
}

class InteropWrite : public ::testing::TestWithParam<formats::Table> {
 protected:
  void SetUp() override {
    if (!vgx_test::python_has("dbfread, dbf"))
      GTEST_SKIP() << vgx_test::kPython << " lacks dbfread or dbf";
  }
  TempDir dir_;
};

TEST_P(InteropWrite, EngineTablesReadTheSameInDbfreadAndPythonDbf) {
  const std::vector<TableCase> cases = engine_tables(GetParam());
  for (const TableCase& s : cases) {
    write_table(dir_.path(), s);
    if (HasFatalFailure()) return;
    // The format's own marks: version byte and memo file.
    const std::string bytes = slurp(dir_.path() / s.file);
    ASSERT_GE(bytes.size(), 32u);
    EXPECT_EQ(uint8_t(bytes[0]), s.version) << s.file;
    if (s.memo_ext == nullptr) continue;
    std::string lower = s.memo_ext;
    for (char& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_TRUE(fs::exists(dir_.path() / fs::path(s.file).replace_extension(lower)))
        << s.file << ": no ." << lower << " beside it";
  }
  check_readers(dir_.path(), cases);
}

// Memos rewritten in place (shorter, same length), moved (longer), emptied, and then
// compressed: the readers must find every value where the record now points.
TEST_P(InteropWrite, RewrittenAndCompressedMemosReadTheSame) {
  TableCase tc = table_case(GetParam(), "memos.dbf", {{"ID", 'N', 4, 0, false}, {"NOTES", 'M', 10, 0, false}});
  tc.rows = {{"n1", memo(text(10))}, {"n2", memo(text(1000))}, {"n3", memo(text(200))},
             {"n4", memo(text(700))}};
  const std::vector<std::string> after = {text(3000), text(50), "", std::string(700, 'x')};
  write_table(dir_.path(), tc);
  if (HasFatalFailure()) return;
  const fs::path memo_path =
      dir_.path() / fs::path(tc.file).replace_extension(GetParam().memo_big_endian() ? "fpt" : "dbt");
  test_files::Context ctx(GetParam().format, GetParam().compatibility);
  code4accessMode(ctx.c4, 1);
  DATA4* d = d4open(ctx.c4, (dir_.path() / tc.file).c_str());
  ASSERT_NE(d, nullptr);
  for (size_t i = 0; i < after.size(); ++i) {
    ASSERT_EQ(d4go(d, int32_t(i + 1)), 0);
    ASSERT_EQ(f4memoAssignN(d4field(d, "NOTES"), after[i].data(), unsigned(after[i].size())), 0);
    tc.rows[i][1] = memo(after[i]);
  }
  ASSERT_EQ(d4close(d), 0);
  {
    SCOPED_TRACE("after the rewrites");
    check_readers(dir_.path(), {tc});
  }
  const uintmax_t size = fs::file_size(memo_path);
  d = d4open(ctx.c4, (dir_.path() / tc.file).c_str());
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(d4memoCompress(d), 0);
  ASSERT_EQ(d4close(d), 0);
  EXPECT_EQ(ctx.error(), 0);
  SCOPED_TRACE("after memo compression");
  check_readers(dir_.path(), {tc});
  EXPECT_LT(fs::file_size(memo_path), size) << "compression freed nothing";
}

// The code page mark (code4codePage 1: code page 437, 3: code page 1252) lands in byte 29,
// stays there through the engine's rewrites (record writes, appends, memo writes, pack)
// under a context whose own mark differs, and both readers decode the table's text by it.
TEST_P(InteropWrite, CodePageMarkLandsInByte29AndSurvivesRewrites) {
  const formats::Table& f = GetParam();
  const struct { const char* file; int mark; const char* code_page; std::string accented; } cases[] = {
      {"cp437.dbf", 1, "cp437", "Caf\x82"}, {"cp1252.dbf", 3, "cp1252", "Caf\xe9"}};
  for (const auto& c : cases) {
    const std::string path = (dir_.path() / c.file).string();
    test_files::Context ctx(f.format, f.compatibility);
    code4accessMode(ctx.c4, 1);
    code4codePage(ctx.c4, c.mark);
    auto fields = test_files::fields({test_files::fld("NAME", 'C', 20), test_files::fld("NOTES", 'M', 10)});
    DATA4* d = d4create(ctx.c4, path.c_str(), fields.data(), nullptr);
    ASSERT_NE(d, nullptr) << c.file;
    for (const char* name : {"first", "second", "third"}) {
      ASSERT_EQ(d4appendStart(d, 0), 0);
      f4assign(d4field(d, "NAME"), name);
      ASSERT_EQ(d4append(d), 0);
    }
    ASSERT_EQ(d4close(d), 0);
    EXPECT_EQ(uint8_t(slurp(path)[29]), c.mark) << c.file << " as created";
    code4codePage(ctx.c4, 0);
    d = d4open(ctx.c4, path.c_str());
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
    const std::string bytes = slurp(path);
    EXPECT_EQ(uint8_t(bytes[29]), c.mark) << c.file << " after the rewrites";
    EXPECT_EQ(uint8_t(bytes[0]), f.version) << c.file;
  }
  for (const std::string reader : {"dbfread", "dbf"}) {
    if (reader == "dbf" && table_case(f, "", {}).no_dbf) continue;
    std::string paths;
    for (const auto& c : cases) paths += " " + vgx_test::shell_quote((dir_.path() / c.file).string());
    const auto dump = vgx_test::run_dump("--read " + reader + paths);
    for (const auto& c : cases) {
      auto it = dump.find((dir_.path() / c.file).string());
      ASSERT_NE(it, dump.end()) << c.file;
      const DumpTable& t = it->second;
      ASSERT_EQ(t.source, reader) << c.file << ": " << t.why;
      EXPECT_EQ(t.code_page, reader == "dbfread" ? std::to_string(c.mark) : std::string(c.code_page));
      // After the pack: first (rewritten), third, fourth.
      const std::vector<std::string> names = {c.accented, "third", "fourth"};
      ASSERT_EQ(t.live.size(), names.size()) << c.file;
      EXPECT_TRUE(t.deleted.empty()) << c.file;
      for (size_t r = 0; r < names.size(); ++r)
        EXPECT_EQ(vgx_test::split_token(t.live[r][0]).first, names[r] + std::string(20 - names[r].size(), ' '))
            << c.file << " record " << r + 1;
      EXPECT_EQ(vgx_test::split_token(t.live[0][1]).second, "m" + vgx_test::to_hex(c.accented + " au lait"))
          << c.file << " record 1 NOTES";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, InteropWrite, ::testing::ValuesIn(formats::tables()),
                         formats::Named());

// Tables python3-dbf writes (dBASE III, FoxPro 2 and the later FoxPro table, each with a
// memo file) read by the engine as python3-dbf reads them back.
TEST(InteropRead, PythonDbfTablesReadTheSameInTheEngine) {
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
  test_files::Context ctx(1);
  code4readOnly(ctx.c4, 1);
  for (const auto& [name, t] : tables) {
    ASSERT_EQ(t.source, "dbf") << name << ": " << t.why;
    DATA4* d = d4open(ctx.c4, (dir.path() / name).c_str());
    if (d == nullptr) {
      ADD_FAILURE() << name << " does not open: " << ctx.error();
      continue;
    }
    vgx_test::compare_table(ctx.c4, d, name, t);
    d4close(d);
  }
}

}  // namespace
