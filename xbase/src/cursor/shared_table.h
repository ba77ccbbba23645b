// SharedTable: one table open in one context, shared by every cursor on it
// (d4openClone): the table file and the set of index files kept up to date
// by every change of every cursor.
//
// The memo file stays inside the table file: its blocks must reach the disk
// before the records that point at them, and its cache must be dropped
// whenever the table learns of records appended elsewhere, so the two are
// written back and invalidated as one.
#pragma once

#include <memory>
#include <string>

#include "index/table_indexes.h"
#include "table/table_file.h"
#include "util/context.h"

namespace xbase::cursor {

class SharedTable {
 public:
  SharedTable(Context& context, std::unique_ptr<table::TableFile> file);
  ~SharedTable();
  SharedTable(const SharedTable&) = delete;
  SharedTable& operator=(const SharedTable&) = delete;

  Context& context() const { return context_; }
  table::TableFile& file() { return *file_; }
  const table::TableFile& file() const { return *file_; }
  const std::string& path() const { return file_->path(); }

  // The open index files; null until the first one opens.
  index::TableIndexes* indexes() { return indexes_.get(); }
  // The open index files, when there are any.
  index::TableIndexes* open_indexes() { return indexes_ && !indexes_->empty() ? indexes_.get() : nullptr; }
  index::TableIndexes& make_indexes();

  // Writes everything cached back: index files, then the table and memo.
  Status flush();
  // Forgets cached pages so that other processes' writes are seen.
  Status refresh();

  // Exclusive maintenance; the open indexes are rebuilt after pack and zap.
  Status pack();
  Status zap(int32_t first, int32_t last);

 private:
  Status flush_indexes();

  Context& context_;
  std::unique_ptr<table::TableFile> file_;
  // Last, so that the index files close before the table does.
  std::unique_ptr<index::TableIndexes> indexes_;
};

}  // namespace xbase::cursor
