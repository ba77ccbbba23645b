// vgx info: what a table file is, read from its header bytes, plus its fields as the engine
// describes them and the memo file beside it.
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "commands.h"
#include "memo_header_info.h"
#include "report.h"
#include "table_open.h"
#include "table_printer.h"
#include "value_format.h"

namespace vgx {
namespace {

constexpr std::size_t kMemoHeaderPrefix = 512;
constexpr uint8_t kFoxMemoFlag = 0x02;

std::string hex_byte(uint8_t value) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "0x%02X", value);
  return buf;
}

void line(std::ostream& out, const char* label, const std::string& value) {
  out << label;
  for (std::size_t n = std::char_traits<char>::length(label); n < 16; ++n) out << ' ';
  out << value << '\n';
}

std::string bytes_text(std::uintmax_t count) {
  return group_thousands(static_cast<long long>(count)) + (count == 1 ? " byte" : " bytes");
}

bool has_memo_field(const std::vector<FieldDesc>& fields) {
  for (const auto& field : fields) {
    if (is_memo_type(field.type, field.len)) return true;
  }
  return false;
}

bool needs_memo_file(const DbfHeaderInfo& header, const std::vector<FieldDesc>& fields) {
  if (version_has_memo(header.version)) return true;
  if (is_fox_family(header.version) && (header.table_flags & kFoxMemoFlag)) return true;
  return has_memo_field(fields);
}

MemoKind expected_memo_kind(uint8_t version) {
  if (is_fox_family(version)) return MemoKind::fpt;
  if (is_dbase4_memo_family(version)) return MemoKind::dbt4;
  if (version == 0x83) return MemoKind::dbt3;
  return MemoKind::dbt_guess;
}

// The layout of a memo file the engine opened: its extension says which family (the engine
// falls back to the other kind of file when the expected one is missing).
MemoKind memo_kind_of_file(uint8_t version, const std::filesystem::path& file) {
  std::string ext = file.extension().string();
  for (char& c : ext) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (ext == ".FPT" || ext == ".DCT") return MemoKind::fpt;
  const MemoKind expected = expected_memo_kind(version);
  return expected == MemoKind::fpt ? MemoKind::dbt_guess : expected;
}

std::string describe_memo(const OpenedTable& opened, const std::vector<FieldDesc>& fields) {
  if (!needs_memo_file(opened.header, fields)) return "none";
  // The memo file the engine opened. It opens one only for memo fields; when it has none, the
  // tool looks for the expected file as the engine would, to tell a missing file from one the
  // engine refused.
  std::filesystem::path file = opened.table->memo_file_name();
  MemoKind kind = expected_memo_kind(opened.header.version);
  const bool refused = file.empty() && has_memo_field(fields);
  if (!file.empty()) {
    kind = memo_kind_of_file(opened.header.version, file);
  } else if (auto found = find_sibling_file(opened.path, memo_extension(kind))) {
    file = *found;
  } else {
    return std::filesystem::path(opened.path).stem().string() + "." + memo_extension(kind) +
           " expected, but not found";
  }
  const std::string name = file.filename().string();
  std::string error;
  const auto prefix = read_file_prefix(file, kMemoHeaderPrefix, error);
  if (!prefix) return name + " (cannot be read: " + error + ")";
  const auto memo = parse_memo_header(kind, prefix->bytes);
  if (!memo) return name + " (damaged: its header is cut off after " +
                    bytes_text(prefix->file_size) + ")";
  std::string text = name + " (" + memo_layout_name(memo->kind) + " layout, ";
  if (memo->block_size == 0) {
    text += "block size 0: damaged header";
  } else {
    text += "block size " + bytes_text(memo->block_size);
  }
  text += ", " + bytes_text(prefix->file_size);
  return text + (refused ? "; the engine cannot read it)" : ")");
}

std::string size_warning(const OpenedTable& opened) {
  const DbfHeaderInfo& h = opened.header;
  const std::uintmax_t expected =
      std::uintmax_t(h.header_length) + std::uintmax_t(h.record_count) * h.record_length;
  if (opened.prefix.file_size >= expected) return {};
  return "the file holds " + bytes_text(opened.prefix.file_size) + ", its header promises " +
         bytes_text(expected);
}

void print_fields(std::ostream& out, const std::vector<FieldDesc>& fields) {
  TablePrinter printer({{"#", Align::right},
                        {"Name"},
                        {"Type"},
                        {"Len", Align::right},
                        {"Dec", Align::right},
                        {"Nullable"}});
  int number = 0;
  for (const auto& field : fields) {
    printer.add_row({std::to_string(++number), field.name,
                     std::string(1, field.type) + " " + field_type_name(field.type, field.len),
                     std::to_string(field.len), std::to_string(field.dec),
                     field.nullable ? "yes" : "no"});
  }
  printer.print(out, 2);
}

}  // namespace

int print_table_info(Engine& engine, const std::string& name, const InfoOptions& options,
                     std::ostream& out) {
  const auto opened = open_for_reading(engine, name);
  if (!opened) return kExitFailure;
  const DbfHeaderInfo& h = opened->header;
  const std::vector<FieldDesc> fields = opened->table->field_info();

  std::ostringstream text;
  line(text, "Table:", opened->path);
  line(text, "Format:", table_format_name(h.version) + " (version byte " + hex_byte(h.version) +
                            ")");
  line(text, "Code page mark:", describe_code_page_mark(h.code_page_mark));
  line(text, "Records:", group_thousands(h.record_count));
  line(text, "Header length:", bytes_text(h.header_length));
  line(text, "Record length:", bytes_text(h.record_length));
  if (options.show_update_date) line(text, "Last update:", format_update_date(h));
  if (const std::string warning = size_warning(*opened); !warning.empty()) {
    line(text, "Warning:", warning);
  }
  line(text, "Memo file:", describe_memo(*opened, fields));
  line(text, "Fields:", std::to_string(fields.size()));
  print_fields(text, fields);
  out << text.str();
  return kExitOk;
}

int run_info(const std::vector<std::string>& args) {
  if (args.size() != 1 || args[0].empty() || args[0][0] == '-') {
    return usage_error("info takes one table file: vgx info FILE");
  }
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  return print_table_info(engine, args[0], InfoOptions{}, std::cout);
}

}  // namespace vgx
