#include "cursor/shared_table.h"

namespace xbase::cursor {

SharedTable::SharedTable(Context& context, std::unique_ptr<table::TableFile> file)
    : context_(context), file_(std::move(file)) {}

SharedTable::~SharedTable() {
  // Best effort, as the table file's own close: a cursor that wanted to
  // know about a failed write-back flushed before closing.
  (void)flush_indexes();
  indexes_.reset();
}

index::TableIndexes& SharedTable::make_indexes() {
  if (!indexes_) indexes_ = std::make_unique<index::TableIndexes>(context_, *file_);
  return *indexes_;
}

Status SharedTable::flush_indexes() {
  return indexes_ && !file_->read_only() ? indexes_->flush() : Status::ok();
}

Status SharedTable::flush() {
  XB_TRY(flush_indexes());
  return file_->flush();
}

Status SharedTable::refresh() {
  XB_TRY(flush_indexes());
  return file_->refresh();
}

Status SharedTable::pack() {
  XB_TRY(file_->pack());
  return indexes_ ? indexes_->rebuild(nullptr) : Status::ok();
}

Status SharedTable::zap(int32_t first, int32_t last) {
  XB_TRY(file_->zap(first, last));
  return indexes_ ? indexes_->rebuild(nullptr) : Status::ok();
}

}  // namespace xbase::cursor
