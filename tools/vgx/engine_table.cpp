#include "engine_table.h"

#include <vgxbase/xbase.h>

#include "dbf_header_info.h"
#include "value_format.h"

namespace vgx {
namespace {

constexpr int kFormatFox = 1;
constexpr int kFormatClipper = 2;
constexpr int kFormatDbase = 4;
constexpr int kFoxProLevel2 = 26;
constexpr int kFoxProLevel3 = 30;

std::string raw_text(FIELD4* field) {
  const char* text = f4str(field);
  if (text == nullptr) return {};
  const int len = f4len(field);
  return std::string(text, len > 0 ? static_cast<std::size_t>(len) : 0);
}

std::string logical_text(FIELD4* field) {
  const std::string raw = raw_text(field);
  // Blank and '?' mean "not set": shown empty, not as false.
  if (raw.empty() || raw[0] == ' ' || raw[0] == '?' || raw[0] == '\0') return {};
  return f4true(field) ? "T" : "F";
}

std::string memo_text(FIELD4* field, bool& read_failed) {
  const uint32_t len = f4memoLen(field);
  const char* text = f4memoStr(field);
  if (text == nullptr) {
    read_failed = len != 0;
    return {};
  }
  return std::string(text, len);
}

}  // namespace

bool is_numeric_type(char type, int length) {
  switch (type) {
    case 'N': case 'F': case 'I': case 'Y': case 'O': case '+': return true;
    case 'B': return length == 8;
    default: return false;
  }
}

Engine::Engine() : c4_(code4initP()) {
  // The tool reports errors itself, with the engine's text.
  if (c4_ != nullptr) code4errOff(c4_, 1);
}

Engine::~Engine() {
  if (c4_ != nullptr) code4initUndo(c4_);
}

void Engine::set_reading() {
  code4readOnly(c4_, 1);
  code4autoOpen(c4_, 0);
}

void Engine::set_format(TableFormat format) {
  switch (format) {
    case TableFormat::fox:
      code4indexFormat(c4_, kFormatFox);
      code4compatibility(c4_, kFoxProLevel2);
      break;
    case TableFormat::vfp:
      code4indexFormat(c4_, kFormatFox);
      code4compatibility(c4_, kFoxProLevel3);
      break;
    case TableFormat::dbase: code4indexFormat(c4_, kFormatDbase); break;
    case TableFormat::clipper: code4indexFormat(c4_, kFormatClipper); break;
  }
}

void Engine::set_code_page_mark(int mark) { code4codePage(c4_, mark); }

std::string Engine::take_error() {
  const int code = code4errorCode(c4_, r4check);
  if (code == 0) return "the engine stored no error code";
  code4errorCode(c4_, 0);
  const char* text = error4text(c4_, code);
  return std::string(text != nullptr ? text : "Unknown error") + " (error " +
         std::to_string(code) + ")";
}

Table::Table(Engine& engine, DATA4* data) : engine_(engine), data_(data) {
  const int count = d4numFields(data_);
  for (int j = 1; j <= count; ++j) {
    if (FIELD4* field = d4fieldJ(data_, j)) fields_.push_back(field);
  }
}

Table::~Table() {
  if (data_ != nullptr) d4close(data_);
}

std::unique_ptr<Table> Table::open(Engine& engine, const std::string& path) {
  DATA4* data = d4open(engine.handle(), path.c_str());
  if (data == nullptr) return nullptr;
  return std::unique_ptr<Table>(new Table(engine, data));
}

std::unique_ptr<Table> Table::create(Engine& engine, const std::string& path,
                                     const std::vector<FieldDesc>& fields) {
  std::vector<std::string> names;
  names.reserve(fields.size());
  for (const auto& field : fields) names.push_back(field.name);
  std::vector<FIELD4INFO> info(fields.size() + 1, FIELD4INFO{nullptr, 0, 0, 0, 0});
  for (std::size_t i = 0; i < fields.size(); ++i) {
    info[i].name = names[i].data();
    info[i].type = static_cast<int16_t>(fields[i].type);
    info[i].len = static_cast<uint16_t>(fields[i].len);
    info[i].dec = static_cast<uint16_t>(fields[i].dec);
    info[i].nulls = fields[i].nullable ? static_cast<uint16_t>(r4null) : 0;
  }
  DATA4* data = d4create(engine.handle(), path.c_str(), info.data(), nullptr);
  if (data == nullptr) return nullptr;
  return std::unique_ptr<Table>(new Table(engine, data));
}

std::vector<FieldDesc> Table::field_info() const {
  std::vector<FieldDesc> result;
  FIELD4INFO* info = d4fieldInfo(data_);
  if (info == nullptr) return result;
  for (const FIELD4INFO* entry = info; entry->name != nullptr; ++entry) {
    FieldDesc desc;
    desc.name = entry->name;
    desc.type = static_cast<char>(entry->type);
    desc.len = entry->len;
    desc.dec = entry->dec;
    desc.nullable = entry->nulls == r4null;
    result.push_back(std::move(desc));
  }
  u4freeDefault(info);
  return result;
}

FieldDesc Table::field_desc(int index) const {
  FIELD4* field = fields_[static_cast<std::size_t>(index)];
  FieldDesc desc;
  const char* name = f4name(field);
  desc.name = name != nullptr ? name : "";
  desc.type = static_cast<char>(f4type(field));
  desc.len = f4len(field);
  desc.dec = f4decimals(field);
  return desc;
}

int Table::field_index(const std::string& name) const {
  const int number = d4fieldNumber(data_, name.c_str());
  return number >= 1 ? number - 1 : -1;
}

int32_t Table::record_count() const { return d4recCount(data_); }

bool Table::moved(int rc) {
  if (rc < 0) failed_ = true;
  return rc == r4success && !d4eof(data_);
}

bool Table::first() {
  failed_ = false;
  return moved(d4top(data_));
}

bool Table::next() { return moved(d4skip(data_, 1)); }

bool Table::deleted() const { return d4deleted(data_) > 0; }

CellValue Table::cell(int index) const {
  FIELD4* field = fields_[static_cast<std::size_t>(index)];
  const char type = static_cast<char>(f4type(field));
  const int len = f4len(field);
  CellValue value;
  value.numeric = is_numeric_type(type, len);
  if (f4null(field) > 0) {
    value.null = true;
    return value;
  }
  switch (type) {
    case 'C': case 'V': value.text = std::string(trim_right(raw_text(field))); break;
    case 'N': case 'F': value.text = format_number_text(raw_text(field)); break;
    case 'D': value.text = format_date(raw_text(field)); break;
    case 'L': value.text = logical_text(field); break;
    case 'I': case '+': value.text = std::to_string(f4long(field)); break;
    case 'Y': value.text = format_double(f4double(field), 4); break;
    case 'O': value.text = format_double(f4double(field), 0); break;
    case 'T': case '@': {
      const char* stamp = f4dateTime(field);
      value.text = format_date_time(stamp != nullptr ? stamp : "");
      break;
    }
    case 'Q': value.text = format_hex(raw_text(field)); break;
    case 'B':
      if (len == 8) {
        value.text = format_double(f4double(field), f4decimals(field));
        break;
      }
      [[fallthrough]];
    case 'G': case 'P': case 'W': {
      const uint32_t size = f4memoLen(field);
      if (size > 0) value.text = "[binary, " + std::to_string(size) + " bytes]";
      break;
    }
    case 'M': {
      bool read_failed = false;
      value.text = memo_text(field, read_failed);
      if (read_failed || code4errorCode(engine_.handle(), r4check) < 0) failed_ = true;
      break;
    }
    default: value.text = std::string(trim_right(raw_text(field))); break;
  }
  return value;
}

double Table::number(int index) const {
  return f4double(fields_[static_cast<std::size_t>(index)]);
}

std::string Table::text(int index) const {
  return std::string(trim_right(raw_text(fields_[static_cast<std::size_t>(index)])));
}

bool Table::append_start() {
  if (d4appendStart(data_, 0) < 0) return false;
  return d4blank(data_) >= 0;
}

void Table::assign_text(int index, const std::string& value) {
  f4assign(fields_[static_cast<std::size_t>(index)], value.c_str());
}

void Table::assign_long(int index, int32_t value) {
  f4assignLong(fields_[static_cast<std::size_t>(index)], value);
}

void Table::assign_double(int index, double value) {
  f4assignDouble(fields_[static_cast<std::size_t>(index)], value);
}

void Table::assign_memo(int index, const std::string& value) {
  f4memoAssignN(fields_[static_cast<std::size_t>(index)], value.data(),
                static_cast<unsigned>(value.size()));
}

void Table::mark_deleted() { d4delete(data_); }

bool Table::append() {
  const int rc = d4append(data_);
  return rc == r4success && code4errorCode(engine_.handle(), r4check) >= 0;
}

bool Table::close() {
  if (data_ == nullptr) return true;
  const int rc = d4close(data_);
  data_ = nullptr;
  return rc >= 0;
}

}  // namespace vgx
