#include "engine_table.h"

#include <vgxbase/xbase.h>

#include "dbf_header_info.h"
#include "engine/Vgeng.h"
#include "value_format.h"

namespace vgx {
namespace {

vg::TCodePage code_page_of_mark(int mark) {
  switch (mark) {
    case 1: return vg::cpMSDOS;
    case 3: return vg::cpANSI;
    default: return vg::cpNone;
  }
}

std::string format_name(vg::TIndexFormat format) {
  switch (format) {
    case vg::ifFox: return "FoxPro";
    case vg::ifClipper: return "Clipper";
    case vg::ifdBASE: return "dBASE IV";
    case vg::ifUnknown: break;
  }
  return "unknown";
}

std::string text_or_empty(const char* text) { return text != nullptr ? text : ""; }

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

Engine::Engine() : engine_(std::make_unique<vg::TVGEngine>(nullptr)) {
  // The engine writes its own line for each error (which file, where, what is wrong) and
  // the tool adds what it was doing. One user, so a record need not be locked before it
  // changes.
  engine_->SetLockEnforce(false);
  engine_->SetVGErrorEnable(true);
  try {
    engine_->Start();
    c4_ = engine_->EngineHandle();
  } catch (const vg::EVGError&) {
    c4_ = nullptr;
  }
}

Engine::~Engine() = default;

void Engine::set_reading() {
  code4readOnly(c4_, 1);
  code4autoOpen(c4_, 0);
}

void Engine::set_changing() {
  code4readOnly(c4_, 0);
  code4accessMode(c4_, 1);
  code4autoOpen(c4_, 0);
  code4safety(c4_, 0);
}

void Engine::set_format(TableFormat format) {
  switch (format) {
    case TableFormat::fox:
      engine_->SetTableFormat(vg::tfFox);
      engine_->SetFoxProVersion(vg::fpv26);
      break;
    case TableFormat::vfp:
      engine_->SetTableFormat(vg::tfFox);
      engine_->SetFoxProVersion(vg::fpv30);
      break;
    case TableFormat::dbase: engine_->SetTableFormat(vg::tfdBASE); break;
    case TableFormat::clipper: engine_->SetTableFormat(vg::tfClipper); break;
  }
}

void Engine::set_code_page_mark(int mark) { engine_->SetCodePage(code_page_of_mark(mark)); }

EngineSettings Engine::settings() const {
  EngineSettings result;
  result.table_format = format_name(engine_->GetIndexFormat());
  result.index_extension = engine_->GetIndexExt();
  result.valid_field_types = engine_->ValidFieldTypes().Chars();
  result.memo_field_types = engine_->BlobFields().Chars();
  result.null_fields = engine_->GetNullFieldsMayExist();
  return result;
}

std::string Engine::take_error() {
  const int code = engine_->GetLastErrorCode();
  if (code == 0) return "the engine stored no error code";
  std::string text = engine_->GetLastErrorText();
  engine_->ResetErrorCode();
  if (text.empty()) text = "Unknown error";
  return text + " (error " + std::to_string(code) + ")";
}

Table::Table(Engine& engine, DATA4* data) : engine_(engine), data_(data) {
  const int count = d4numFields(data_);
  for (int j = 1; j <= count; ++j) {
    if (FIELD4* field = d4fieldJ(data_, j)) fields_.push_back(field);
  }
}

Table::~Table() {
  if (filter_ != nullptr) expr4free(filter_);
  if (data_ != nullptr) d4close(data_);
}

bool Table::go(int32_t rec) { return d4go(data_, rec) == 0; }

bool Table::set_filter(const std::string& expression) {
  EXPR4* parsed = expr4parse(data_, expression.c_str());
  if (parsed == nullptr) return false;
  if (expr4type(parsed) != 'L') {
    expr4free(parsed);
    code4errorCode(engine_.handle(), e4type);
    return false;
  }
  if (filter_ != nullptr) expr4free(filter_);
  filter_ = parsed;
  return true;
}

bool Table::passes() const {
  if (filter_ == nullptr) return true;
  const int r = expr4true(filter_);
  if (r < 0) failed_ = true;
  return r > 0;
}

bool Table::evaluate(const std::string& expression, Evaluation* out) const {
  EXPR4* parsed = expr4parse(data_, expression.c_str());
  if (parsed == nullptr) return false;
  out->type = static_cast<char>(expr4type(parsed));
  out->length = expr4len(parsed);
  const char* text = expr4str(parsed);
  out->value.assign(text ? text : "", text ? static_cast<std::size_t>(out->length) : 0);
  expr4free(parsed);
  return true;
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

std::string Table::file_name() const { return text_or_empty(d4fileName(data_)); }

std::string Table::memo_file_name() const { return text_or_empty(d4memoFileName(data_)); }

bool Table::close() {
  if (data_ == nullptr) return true;
  const int rc = d4close(data_);
  data_ = nullptr;
  return rc >= 0;
}

}  // namespace vgx
