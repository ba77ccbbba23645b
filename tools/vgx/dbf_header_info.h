// What the first 32 bytes of a table file say, read straight from the bytes (the engine hides
// them): version byte, last update, counts and lengths, table flags, code page mark. Also the
// names the tool shows for version bytes, code page marks and field types.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vgx {

inline constexpr std::size_t kDbfHeaderPrefix = 32;

struct DbfHeaderInfo {
  uint8_t version = 0;
  uint8_t update_year = 0;  // as stored (see format_update_date)
  uint8_t update_month = 0;
  uint8_t update_day = 0;
  uint32_t record_count = 0;
  uint16_t header_length = 0;
  uint16_t record_length = 0;
  uint8_t table_flags = 0;
  uint8_t code_page_mark = 0;
};

// Null when fewer than kDbfHeaderPrefix bytes are given.
std::optional<DbfHeaderInfo> parse_dbf_header(std::span<const uint8_t> bytes);

// A product name for the version byte, e.g. "FoxPro 2.x with memo"; "unknown" for others.
std::string table_format_name(uint8_t version);

// The families that keep memos in .FPT files and read table flag 0x02 as "has a memo".
bool is_fox_family(uint8_t version);
// dBASE IV and later layouts: their .DBT carries a block size and block headers.
bool is_dbase4_memo_family(uint8_t version);
// Versions whose byte itself says that a memo file belongs to the table.
bool version_has_memo(uint8_t version);

// The code page a mark stands for, 0 when the mark is 0 (not given) or unknown.
int code_page_for_mark(uint8_t mark);
// "0x03: code page 1252", "0x00: none (...)", "0xEE: unknown".
std::string describe_code_page_mark(uint8_t mark);

// The last update as CCYY-MM-DD: a year byte of 100 and up counts from 1900, smaller ones (tables
// that keep two digits) are read as 2000-2079 or 1980-1999. "none" for all zeros and "invalid
// (YY MM DD)" for an impossible month or day.
std::string format_update_date(const DbfHeaderInfo& header);

// "Character", "Numeric", ...; "Double" or "Binary memo" for 'B' by its length; "?" for others.
std::string field_type_name(char type, int length);

// Whether a field of this type keeps its value in the memo file.
bool is_memo_type(char type, int length);

}  // namespace vgx
