// RecordSource: what an expression reads when it is evaluated: one table's
// header and the record loaded in a buffer. A cursor is one; the index set's
// key evaluator is another, so that keys are made without a cursor.
//
// The evaluator reads `record` directly on every field access; the virtual
// calls are for what is rare or costly anyway (memos, RECNO(), RECCOUNT()).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "table/dbf_header.h"
#include "util/context.h"
#include "util/status.h"

namespace xbase::expr {

// The alias a table opened from `path` gets: its base name in upper case.
std::string alias_for_path(const std::string& path);

class RecordSource {
 public:
  RecordSource(Context& context, const table::TableHeader& header, std::string alias)
      : record(header.record_len, ' '), context_(&context), header_(&header), alias_(std::move(alias)) {}
  virtual ~RecordSource() = default;
  RecordSource(const RecordSource&) = delete;
  RecordSource& operator=(const RecordSource&) = delete;

  Context& context() const { return *context_; }
  const table::TableHeader& header() const { return *header_; }
  const std::string& alias() const { return alias_; }
  void set_alias(std::string alias) { alias_ = std::move(alias); }

  // The value of memo field `field` (an index of header().fields) when the
  // source holds one for the loaded record (assigned and not yet written,
  // or read already); null when it must be read from the memo file.
  virtual const std::string* current_memo(size_t field) const = 0;
  // Reads a memo value of the table.
  virtual Status read_memo(uint32_t block, std::string* out) = 0;
  // RECNO(): the loaded record's number, 0 for a record being appended.
  virtual int32_t record_number() const = 0;
  // RECCOUNT(): the table's record count.
  virtual int32_t record_count() = 0;

  // The record buffer (header().record_len bytes) and its load count, which
  // moves whenever a different record (or a blank one) is loaded, so that
  // memo values read for the previous one are not reused.
  std::vector<uint8_t> record;
  uint64_t generation = 1;

 private:
  Context* context_;
  const table::TableHeader* header_;
  std::string alias_;
};

}  // namespace xbase::expr
