// The command-line tool's engine-free helpers: CSV escaping, value text, aligned tables, and the
// header bytes it reads itself (table header, memo header), including cut-off input.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <vector>

#include "csv.h"
#include "dbf_header_info.h"
#include "file_probe.h"
#include "memo_header_info.h"
#include "table_printer.h"
#include "value_format.h"

namespace vgx {
namespace {

TEST(VgxCsv, QuotesOnlyWhatNeedsIt) {
  EXPECT_EQ(csv_escape("plain text"), "plain text");
  EXPECT_EQ(csv_escape(""), "");
  EXPECT_EQ(csv_escape(" padded "), " padded ");
  EXPECT_EQ(csv_escape("a,b"), "\"a,b\"");
  EXPECT_EQ(csv_escape("say \"hi\""), "\"say \"\"hi\"\"\"");
  EXPECT_EQ(csv_escape("line\nbreak"), "\"line\nbreak\"");
  EXPECT_EQ(csv_escape("cr\ronly"), "\"cr\ronly\"");
  EXPECT_EQ(csv_escape("\""), "\"\"\"\"");
}

TEST(VgxCsv, RowsEndInCrlfAndKeepALoneEmptyField) {
  std::ostringstream out;
  write_csv_row(out, {"1", "", "x,y"});
  write_csv_row(out, {""});  // must not read back as an empty line
  write_csv_row(out, {});
  EXPECT_EQ(out.str(), "1,,\"x,y\"\r\n\"\"\r\n\r\n");
}

TEST(VgxValueFormat, TrimsPaddingBlanksAndNuls) {
  EXPECT_EQ(trim_right("abc  \0\0"), "abc");
  EXPECT_EQ(trim_right(std::string_view("ab \0 ", 5)), "ab");
  EXPECT_EQ(trim("   12.50"), "12.50");
  EXPECT_EQ(trim("     "), "");
  EXPECT_EQ(format_number_text("  -0.5 "), "-0.5");
  EXPECT_EQ(format_number_text("*****"), "*****");  // overflow marks stay visible
}

TEST(VgxValueFormat, DatesAsIsoOrAsStored) {
  EXPECT_EQ(format_date("20240315"), "2024-03-15");
  EXPECT_EQ(format_date("        "), "");
  EXPECT_EQ(format_date("2024031"), "2024031");
  EXPECT_EQ(format_date("NotAYear"), "NotAYear");
  EXPECT_EQ(format_date_time("2000010113:45:30"), "2000-01-01 13:45:30");
  EXPECT_EQ(format_date_time("        00:00:00"), "");
  EXPECT_EQ(format_date_time("00000000"), "");
  EXPECT_EQ(format_date_time("2000"), "2000");
}

TEST(VgxValueFormat, DoublesFixedOrShortest) {
  EXPECT_EQ(format_double(12.3456, 4), "12.3456");
  EXPECT_EQ(format_double(1234567.5, 2), "1234567.50");
  EXPECT_EQ(format_double(-0.0, 2), "0.00");
  EXPECT_EQ(format_double(-0.0, 0), "0");
  EXPECT_EQ(format_double(0.1, 0), "0.1");
  EXPECT_EQ(format_double(1e21, 0), "1e+21");
  EXPECT_EQ(format_double(std::numeric_limits<double>::quiet_NaN(), 2), "nan");
  EXPECT_EQ(format_double(-std::numeric_limits<double>::infinity(), 0), "-inf");
  EXPECT_EQ(format_double(1.5, 500).size(), 32u);  // decimals are capped, never overflow
}

TEST(VgxValueFormat, PlainCellsStayOnOneLineAndWithinWidth) {
  EXPECT_EQ(plain_cell("a\r\nb\tc\x01", 0), "a\\r\\nb\\tc?");
  EXPECT_EQ(plain_cell("abcdefghij", 6), "abc...");
  EXPECT_EQ(plain_cell("abcdef", 6), "abcdef");
  EXPECT_EQ(plain_cell("abcdef", 2), "..");
  EXPECT_EQ(plain_cell("a\nb", 3), "...");  // cut after escaping: the width is what shows
}

TEST(VgxValueFormat, GroupsThousands) {
  EXPECT_EQ(group_thousands(0), "0");
  EXPECT_EQ(group_thousands(999), "999");
  EXPECT_EQ(group_thousands(1000), "1,000");
  EXPECT_EQ(group_thousands(-1234567), "-1,234,567");
  EXPECT_EQ(group_thousands(std::numeric_limits<long long>::min()),
            "-9,223,372,036,854,775,808");
}

TEST(VgxTablePrinter, AlignsPadsAndCuts) {
  TablePrinter printer({{"ID", Align::right}, {"NAME"}, {"NOTE"}}, 8);
  printer.add_row({"7", "Ann", "a long remark"});
  printer.add_row({"1234", "Bo"});  // missing cells are empty
  std::ostringstream out;
  printer.print(out, 1);
  EXPECT_EQ(out.str(),
            "   ID  NAME  NOTE\n"
            " ----  ----  --------\n"
            "    7  Ann   a lon...\n"
            " 1234  Bo\n");
}

std::array<uint8_t, 32> header_bytes() {
  std::array<uint8_t, 32> b{};
  b[0] = 0xF5;
  b[1] = 124;  // 2024
  b[2] = 3;
  b[3] = 15;
  b[4] = 0x2C;  // 300 records
  b[5] = 0x01;
  b[8] = 0xA1;  // header 161
  b[10] = 0x1C;  // record 28
  b[28] = 0x01;
  b[29] = 0x03;
  return b;
}

TEST(VgxDbfHeader, ReadsTheFixedFields) {
  const auto bytes = header_bytes();
  const auto h = parse_dbf_header(bytes);
  ASSERT_TRUE(h);
  EXPECT_EQ(h->version, 0xF5);
  EXPECT_EQ(h->record_count, 300u);
  EXPECT_EQ(h->header_length, 161);
  EXPECT_EQ(h->record_length, 28);
  EXPECT_EQ(h->table_flags, 0x01);
  EXPECT_EQ(format_update_date(*h), "2024-03-15");
  EXPECT_EQ(table_format_name(h->version), "FoxPro 2.x with memo");
  EXPECT_FALSE(parse_dbf_header(std::span(bytes).first(31)));
  EXPECT_FALSE(parse_dbf_header({}));
}

TEST(VgxDbfHeader, UpdateDateYearsAndDamage) {
  DbfHeaderInfo h;
  EXPECT_EQ(format_update_date(h), "none");
  h.update_year = 95, h.update_month = 12, h.update_day = 31;
  EXPECT_EQ(format_update_date(h), "1995-12-31");
  h.update_year = 24, h.update_month = 2, h.update_day = 29;  // two-digit year, leap day
  EXPECT_EQ(format_update_date(h), "2024-02-29");
  h.update_year = 123, h.update_day = 29;  // 2023 has no 29 February
  EXPECT_EQ(format_update_date(h), "invalid (123 2 29)");
  h.update_month = 13, h.update_day = 1;
  EXPECT_EQ(format_update_date(h), "invalid (123 13 1)");
}

TEST(VgxDbfHeader, CodePageMarks) {
  EXPECT_EQ(code_page_for_mark(0x03), 1252);
  EXPECT_EQ(code_page_for_mark(0x65), 866);  // often swapped with 0x66 by other writers
  EXPECT_EQ(code_page_for_mark(0x66), 865);
  EXPECT_EQ(code_page_for_mark(0x57), 1252);
  EXPECT_EQ(code_page_for_mark(0x00), 0);
  EXPECT_EQ(code_page_for_mark(0xEE), 0);
  EXPECT_EQ(describe_code_page_mark(0x00).rfind("0x00: none", 0), 0u);
  EXPECT_EQ(describe_code_page_mark(0xC9), "0xC9: code page 1251");
  EXPECT_EQ(describe_code_page_mark(0xEE), "0xEE: unknown");
}

TEST(VgxDbfHeader, FamiliesAndFieldKinds) {
  EXPECT_TRUE(is_fox_family(0x30));
  EXPECT_FALSE(is_fox_family(0x83));
  EXPECT_TRUE(is_dbase4_memo_family(0x8B));
  EXPECT_TRUE(version_has_memo(0x83));
  EXPECT_FALSE(version_has_memo(0x30));  // the later FoxPro tables say it in the flags byte
  EXPECT_EQ(table_format_name(0x42), "unknown");
  EXPECT_EQ(field_type_name('B', 8), "Double");
  EXPECT_EQ(field_type_name('B', 10), "Binary memo");
  EXPECT_TRUE(is_memo_type('B', 10));
  EXPECT_FALSE(is_memo_type('B', 8));
  EXPECT_TRUE(is_memo_type('W', 4));
  EXPECT_FALSE(is_memo_type('C', 10));
}

TEST(VgxMemoHeader, EachLayoutAndCutOffHeaders) {
  // FoxPro: big-endian next free block 8, block size 64.
  const std::vector<uint8_t> fpt = {0, 0, 0, 8, 0, 0, 0, 0x40};
  auto m = parse_memo_header(MemoKind::fpt, fpt);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->next_free_block, 8u);
  EXPECT_EQ(m->block_size, 64u);
  EXPECT_FALSE(parse_memo_header(MemoKind::fpt, std::span(fpt).first(7)));

  std::vector<uint8_t> dbt(512, 0);
  dbt[0] = 3;
  EXPECT_EQ(parse_memo_header(MemoKind::dbt3, dbt)->block_size, 512u);
  EXPECT_EQ(parse_memo_header(MemoKind::dbt_guess, dbt)->kind, MemoKind::dbt3);
  dbt[20] = 0x00, dbt[21] = 0x04;  // dBASE IV, 1024-byte blocks
  m = parse_memo_header(MemoKind::dbt_guess, dbt);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->kind, MemoKind::dbt4);
  EXPECT_EQ(m->block_size, 1024u);
  EXPECT_EQ(m->next_free_block, 3u);
  EXPECT_FALSE(parse_memo_header(MemoKind::dbt4, std::span(dbt).first(21)));
  EXPECT_EQ(parse_memo_header(MemoKind::dbt_guess, std::span(dbt).first(21))->kind,
            MemoKind::dbt3);
  EXPECT_FALSE(parse_memo_header(MemoKind::dbt3, std::span(dbt).first(3)));
  EXPECT_STREQ(memo_extension(MemoKind::fpt), "FPT");
  EXPECT_STREQ(memo_extension(MemoKind::dbt4), "DBT");
}

TEST(VgxFileProbe, FindsSiblingsIgnoringCaseAndReadsShortFiles) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::path(testing::TempDir()) / "vgx_file_probe";
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::ofstream(dir / "Sales.dbf") << "x";
  std::ofstream(dir / "sales.FPT") << "abc";
  std::ofstream(dir / "salesX.fpt") << "";

  const auto memo = find_sibling_file(dir / "Sales.dbf", "FPT");
  ASSERT_TRUE(memo);
  EXPECT_EQ(memo->filename(), "sales.FPT");
  EXPECT_FALSE(find_sibling_file(dir / "Sales.dbf", "DBT"));

  std::string error;
  const auto prefix = read_file_prefix(dir / "sales.FPT", 512, error);
  ASSERT_TRUE(prefix) << error;
  EXPECT_EQ(prefix->bytes.size(), 3u);
  EXPECT_EQ(prefix->file_size, 3u);
  EXPECT_FALSE(read_file_prefix(dir / "missing.dbf", 32, error));
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(read_file_prefix(dir, 32, error));
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vgx
