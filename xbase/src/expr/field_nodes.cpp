#include "expr/field_nodes.h"

#include <algorithm>

#include "table/field_codec.h"
#include "util/date.h"

namespace xbase::expr {

namespace {

using table::Storage;

TextView text_field(Program& p, const Node& n) {
  return {reinterpret_cast<const char*>(p.record(n) + n.offset), n.len};
}

// V fields keep shorter values' lengths in their last byte.
TextView varlen_field(Program& p, const Node& n) {
  const uint8_t* rec = p.record(n);
  const uint32_t len =
      table::field_data_len(p.table(n.table)->header(), p.fields[n.field].desc, rec);
  return {reinterpret_cast<const char*>(rec + n.offset), len};
}

double number_text_field(Program& p, const Node& n) {
  return table::parse_number(reinterpret_cast<const char*>(p.record(n) + n.offset), n.len);
}

double number_binary_field(Program& p, const Node& n) {
  return table::field_double(p.fields[n.field].desc, p.record(n));
}

int32_t date_field(Program& p, const Node& n) {
  const int32_t day =
      date::day_from_ccyymmdd(reinterpret_cast<const char*>(p.record(n) + n.offset));
  return day > 0 ? day : 0;  // impossible dates read as blank
}

bool logical_field(Program& p, const Node& n) {
  const char c = static_cast<char>(p.record(n)[n.offset]);
  return c == 'T' || c == 't' || c == 'Y' || c == 'y';
}

TextView datetime_field(Program& p, const Node& n) {
  char* out = p.scratch(n, kDateTimeWidth);
  table::field_datetime(p.fields[n.field].desc, p.record(n), out);
  return {out, kDateTimeWidth};
}

// A memo's value, read once per record load into the node's own buffer
// (a value the source already holds, assigned or read, comes from there).
TextView memo_field(Program& p, const Node& n) {
  FieldRef& f = p.fields[n.field];
  RecordSource* d = p.table(n.table);
  if (const std::string* v = d->current_memo(f.index)) return {v->data(), std::min(v->size(), kMaxTextLen)};
  std::string& buf = p.scratch_string(n);
  if (f.memo_generation != d->generation) {
    const uint32_t block = table::field_memo_block(f.desc, d->record.data());
    Status st = d->read_memo(block, &buf);
    if (!st) {
      buf.clear();
      p.fail(st);
    }
    f.memo_generation = d->generation;
  }
  return {buf.data(), std::min(buf.size(), kMaxTextLen)};
}

}  // namespace

void bind_field(Program& p, Node& n, uint32_t table, const table::FieldDesc& fd, size_t index) {
  n.table = table;
  n.offset = fd.offset;
  n.len = fd.len;
  n.width = fd.len;
  n.pure = false;
  n.field = static_cast<uint32_t>(p.fields.size());
  p.fields.push_back(FieldRef{fd, index, 0});
  switch (fd.storage) {
    case Storage::kNumber:
      n.type = Type::kNumber;
      n.fn.number = number_text_field;
      n.dec = std::min<uint8_t>(fd.dec, kMaxDecimals);
      return;
    case Storage::kInt32:
    case Storage::kDouble:
    case Storage::kCurrency:
    case Storage::kLong7:
    case Storage::kDouble7:
      n.type = Type::kNumber;
      n.fn.number = number_binary_field;
      n.width = kNumberWidth;
      n.dec = std::min<uint8_t>(fd.storage == Storage::kCurrency ? 4 : fd.dec, kMaxDecimals);
      return;
    case Storage::kDate:
      n.type = Type::kDate;
      n.fn.date = date_field;
      n.width = kDateWidth;
      return;
    case Storage::kLogical:
      if (fd.len == 0) break;  // nothing to read: an empty text
      n.type = Type::kLogical;
      n.fn.logical = logical_field;
      n.width = 1;
      return;
    case Storage::kDateTime:
    case Storage::kTimestamp7:
      n.type = Type::kDateTime;
      n.fn.text = datetime_field;
      n.width = kDateTimeWidth;
      n.fixed = true;
      n.scratch = p.add_scratch(size_t{kDateTimeWidth});
      return;
    case Storage::kMemoText:
    case Storage::kMemoBinary:
      n.type = Type::kText;
      n.fn.text = memo_field;
      n.width = kMemoWidth;
      n.scratch = p.add_scratch(size_t{kMemoWidth});
      return;
    case Storage::kText:
    case Storage::kRaw:
    case Storage::kNullFlags: break;
  }
  n.type = Type::kText;
  n.fixed = fd.varlen_bit < 0;
  n.fn.text = fd.varlen_bit < 0 ? text_field : varlen_field;
}

bool is_bare_text_field(const Program& p, const Node& n) {
  if (n.field == kNoIndex || n.field >= p.fields.size()) return false;
  const Storage s = p.fields[n.field].desc.storage;
  return s == Storage::kNumber || s == Storage::kDate;
}

}  // namespace xbase::expr
