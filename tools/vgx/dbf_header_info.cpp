#include "dbf_header_info.h"

#include <cstdio>

namespace vgx {
namespace {

uint16_t load_u16le(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t load_u32le(const uint8_t* p) {
  return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

std::string hex_byte(uint8_t value) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "0x%02X", value);
  return buf;
}

struct MarkEntry {
  uint8_t mark;
  int code_page;
};

// Marks of the FoxPro family, then the dBASE language driver ids for the bytes those leave out.
constexpr MarkEntry kMarks[] = {
    {0x01, 437}, {0x02, 850}, {0x03, 1252}, {0x04, 10000}, {0x64, 852}, {0x65, 866},
    {0x66, 865}, {0x67, 861}, {0x68, 895}, {0x69, 620}, {0x6A, 737}, {0x6B, 857},
    {0x78, 950}, {0x79, 949}, {0x7A, 936}, {0x7B, 932}, {0x7C, 874}, {0x7D, 1255},
    {0x7E, 1256}, {0x96, 10007}, {0x97, 10029}, {0x98, 10006}, {0xC8, 1250}, {0xC9, 1251},
    {0xCA, 1254}, {0xCB, 1253}, {0x08, 865}, {0x09, 437}, {0x0A, 850}, {0x0B, 437},
    {0x0D, 437}, {0x0E, 850}, {0x0F, 437}, {0x10, 850}, {0x11, 437}, {0x12, 850},
    {0x13, 932}, {0x14, 850}, {0x15, 437}, {0x16, 850}, {0x17, 865}, {0x18, 437},
    {0x19, 437}, {0x1A, 850}, {0x1B, 437}, {0x1C, 863}, {0x1D, 850}, {0x1F, 852},
    {0x22, 852}, {0x23, 852}, {0x24, 860}, {0x25, 850}, {0x26, 866}, {0x37, 850},
    {0x40, 852}, {0x4D, 936}, {0x4E, 949}, {0x4F, 950}, {0x50, 874}, {0x57, 1252},
    {0x58, 1252}, {0x59, 1252},
};

const MarkEntry* find_mark(uint8_t mark) {
  for (const auto& entry : kMarks) {
    if (entry.mark == mark) return &entry;
  }
  return nullptr;
}

bool valid_day(int year, int month, int day) {
  static constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1) return false;
  if (month == 2 && day == 29) return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return day <= kDays[month - 1];
}

}  // namespace

std::optional<DbfHeaderInfo> parse_dbf_header(std::span<const uint8_t> bytes) {
  if (bytes.size() < kDbfHeaderPrefix) return std::nullopt;
  DbfHeaderInfo h;
  h.version = bytes[0];
  h.update_year = bytes[1];
  h.update_month = bytes[2];
  h.update_day = bytes[3];
  h.record_count = load_u32le(&bytes[4]);
  h.header_length = load_u16le(&bytes[8]);
  h.record_length = load_u16le(&bytes[10]);
  h.table_flags = bytes[28];
  h.code_page_mark = bytes[29];
  return h;
}

std::string table_format_name(uint8_t version) {
  switch (version) {
    case 0x02: return "FoxBASE";
    case 0x03: return "dBASE III / dBASE IV / FoxPro 2.x / Clipper, no memo";
    case 0x04: return "dBASE 7, no memo";
    case 0x05: return "dBASE 5, no memo";
    case 0x30: return "Visual FoxPro";
    case 0x31: return "Visual FoxPro, with autoincrement field";
    case 0x32: return "Visual FoxPro 9, with varchar/varbinary/blob fields";
    case 0x43: return "dBASE IV SQL table, no memo";
    case 0x63: return "dBASE IV SQL system table, no memo";
    case 0x7B: return "dBASE IV with memo";
    case 0x83: return "dBASE III / Clipper with memo";
    case 0x8B: return "dBASE IV with memo";
    case 0x8C: return "dBASE 7 with memo";
    case 0x8E: return "dBASE IV SQL table with memo";
    case 0xCB: return "dBASE IV SQL table with memo";
    case 0xF5: return "FoxPro 2.x with memo";
    case 0xFB: return "FoxBASE with memo";
    default: return "unknown";
  }
}

bool is_fox_family(uint8_t version) {
  return version == 0x30 || version == 0x31 || version == 0x32 || version == 0xF5 ||
         version == 0xFB;
}

bool is_dbase4_memo_family(uint8_t version) {
  return version == 0x7B || version == 0x8B || version == 0x8C || version == 0x8E ||
         version == 0xCB;
}

bool version_has_memo(uint8_t version) {
  return version == 0x83 || version == 0xF5 || version == 0xFB || is_dbase4_memo_family(version);
}

int code_page_for_mark(uint8_t mark) {
  const MarkEntry* entry = find_mark(mark);
  return entry ? entry->code_page : 0;
}

std::string describe_code_page_mark(uint8_t mark) {
  if (mark == 0) return hex_byte(mark) + ": none (the reader must be told the code page)";
  const MarkEntry* entry = find_mark(mark);
  if (!entry) return hex_byte(mark) + ": unknown";
  return hex_byte(mark) + ": code page " + std::to_string(entry->code_page);
}

std::string format_update_date(const DbfHeaderInfo& header) {
  const int yy = header.update_year;
  const int month = header.update_month;
  const int day = header.update_day;
  if (yy == 0 && month == 0 && day == 0) return "none";
  const int year = yy >= 100 ? 1900 + yy : (yy < 80 ? 2000 + yy : 1900 + yy);
  char buf[48];
  if (!valid_day(year, month, day)) {
    std::snprintf(buf, sizeof buf, "invalid (%d %d %d)", yy, month, day);
  } else {
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d", year, month, day);
  }
  return buf;
}

std::string field_type_name(char type, int length) {
  switch (type) {
    case 'C': return "Character";
    case 'N': return "Numeric";
    case 'F': return "Float";
    case 'D': return "Date";
    case 'L': return "Logical";
    case 'M': return "Memo";
    case 'G': return "General";
    case 'P': return "Picture";
    case 'B': return length == 8 ? "Double" : "Binary memo";
    case 'I': return "Integer";
    case 'Y': return "Currency";
    case 'T': return "DateTime";
    case 'V': return "Varchar";
    case 'Q': return "Varbinary";
    case 'W': return "Blob";
    case '@': return "Timestamp";
    case '+': return "Autoincrement";
    case 'O': return "Double";
    default: return "?";
  }
}

bool is_memo_type(char type, int length) {
  return type == 'M' || type == 'G' || type == 'P' || type == 'W' || (type == 'B' && length != 8);
}

}  // namespace vgx
