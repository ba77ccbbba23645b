#include "index/key_source.h"

#include <cstring>

namespace xbase::index {

KeySource::KeySource(Context& context, table::TableFile& table)
    : RecordSource(context, table.header(), expr::alias_for_path(table.path())),
      table_(table),
      memos_(table.header().fields.size()),
      memo_generation_(table.header().fields.size(), 0) {}

const std::string* KeySource::current_memo(size_t field) const {
  return field < memos_.size() && memo_generation_[field] == generation ? &memos_[field] : nullptr;
}

Status KeySource::load(int32_t rec) {
  XB_TRY(table_.read_record(rec, record.data()));
  rec_no_ = rec;
  ++generation;
  return Status::ok();
}

void KeySource::load_from(const expr::RecordSource& source, int32_t rec) {
  std::memcpy(record.data(), source.record.data(), record.size());
  rec_no_ = rec;
  ++generation;
  const auto& fields = header().fields;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (!fields[i].is_memo()) continue;
    if (const std::string* v = source.current_memo(i)) {
      memos_[i] = *v;
      memo_generation_[i] = generation;
    }
  }
}

}  // namespace xbase::index
