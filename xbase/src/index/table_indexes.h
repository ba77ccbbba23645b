// TableIndexes: the index files open on one table file, shared by every
// handle on it, and the work of keeping their keys right.
//
// A change of a record goes in two steps around the record write:
//   begin_update  takes each index's write lock (shared files), computes
//                 every tag's old key (from the record in the file) and new
//                 key (from the handle's buffer), and refuses a duplicate
//                 key of a unique tag in error mode (r4unique) before
//                 anything is written;
//   finish_update moves the keys that changed, leaves out the records that
//                 a unique tag in continue mode refuses, writes shared
//                 files out and unlocks them.
// Bulk rebuilds (create, reindex, pack, zap) read the table once for all
// tags, sort each tag's keys and write every file anew, bottom up.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "index/index_file.h"
#include "index/index_formats.h"
#include "index/key_source.h"
#include "util/context.h"

namespace xbase::index {

class TableIndexes {
 public:
  TableIndexes(Context& context, table::TableFile& table);
  ~TableIndexes();

  std::vector<std::unique_ptr<IndexFile>>& files() { return files_; }
  bool empty() const { return files_.empty(); }
  // The record tags' expressions are bound to.
  KeySource& keys() { return keys_; }
  Context& context() const { return context_; }
  table::TableFile& table() const { return table_; }
  RetryPolicy retry() const { return context_.internal_retry(); }

  // The open file whose base name matches (path and extension ignored,
  // case ignored); null for none.
  IndexFile* find(std::string_view name) const;
  bool owns(const Tag* tag) const;

  // Opens an index file, of the format its extension names (the context's
  // format when the extension names none).
  Status open(const std::string& path, IndexFile** out);
  // Creates an index file with these tags and builds them; the format as
  // for open.
  Status create(const std::string& path, const std::vector<TagDefinition>& defs, bool safety,
                IndexFile** out);
  // Adds tags to an open file and rebuilds it.
  Status add_tags(IndexFile* file, const std::vector<TagDefinition>& defs);
  Status close(IndexFile* file);
  // Rebuilds one file, or every file when `only` is null.
  Status rebuild(IndexFile* only);
  Status flush();

  // Record changes (see above). `source` holds the new record; for an
  // append `rec` is not known yet and is passed to finish_update.
  Status begin_update(const expr::RecordSource& source, int32_t rec, bool append);
  // *left_out: a unique tag in continue mode kept this record out.
  Status finish_update(int32_t rec, bool* left_out);
  // Ends an update that was begun but whose record write failed.
  void abandon_update();

  // Loads the key source with a record of the file.
  Status load_record(int32_t rec) { return keys_.load(rec); }
  // Loads it with a cursor's buffer (memo values it holds included).
  void load_from(const expr::RecordSource& source, int32_t rec) { keys_.load_from(source, rec); }

 private:
  Status format_for(const std::string& path, const IndexFormat** out) const;
  Status build_files(const std::vector<IndexFile*>& files);
  Status unlock_all(bool write_out);

  Context& context_;
  table::TableFile& table_;
  KeySource keys_;
  std::vector<std::unique_ptr<IndexFile>> files_;
  std::vector<IndexFile*> locked_;
  bool updating_ = false;
};


}  // namespace xbase::index
