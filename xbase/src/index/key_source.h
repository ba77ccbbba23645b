// KeySource: the record an index set computes keys from. Loaded either from
// the table file (rebuilds, old keys of a change) or from a cursor's buffer
// with the memo values it holds (new keys of a change), so that keeping the
// indexes right never moves a user's cursor.
#pragma once

#include <string>
#include <vector>

#include "expr/record_source.h"
#include "table/table_file.h"

namespace xbase::index {

class KeySource final : public expr::RecordSource {
 public:
  KeySource(Context& context, table::TableFile& table);

  const std::string* current_memo(size_t field) const override;
  Status read_memo(uint32_t block, std::string* out) override {
    return table_.read_memo(block, out, nullptr);
  }
  int32_t record_number() const override { return rec_no_; }
  int32_t record_count() override { return table_.cached_count(); }

  // Loads record `rec` of the file.
  Status load(int32_t rec);
  // Loads a copy of `source`'s buffer as record `rec`, with the memo values
  // it holds.
  void load_from(const expr::RecordSource& source, int32_t rec);

 private:
  table::TableFile& table_;
  int32_t rec_no_ = 1;
  std::vector<std::string> memos_;        // by header field, from load_from
  std::vector<uint64_t> memo_generation_;  // the load each value belongs to
};

}  // namespace xbase::index
