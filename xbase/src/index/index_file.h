// IndexFile: one open index file (an INDEX4) with its tags, whatever its
// format. The table's index set (table_indexes.h) keeps them up to date;
// the format's class keeps the pages.
//
// Shared files: every read of the index happens between begin_read and
// end_read, every change between begin_write and end_write. Those take the
// format's index lock (shared for reading, exclusive for writing) and,
// before anything is read, notice another process's changes through the
// file's change counter; end_write writes the changes out, then moves the
// counter. Files open exclusively skip the locks and write at flush.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "index/tag.h"
#include "table/table_file.h"

namespace xbase::index {

class SortedKeys;
class TableIndexes;

// A tag and its keys, sorted, for a rewrite of the file.
struct TagBuild {
  Tag* tag = nullptr;
  const SortedKeys* keys = nullptr;
};

// What a structural check found, for tools and tests.
struct FileCheck {
  std::vector<std::string> notes;  // tags that could not be checked, and why
};

class IndexFile : public INDEX4 {
 public:
  virtual ~IndexFile() = default;

  // The index set of the table the file is open on.
  TableIndexes* owner = nullptr;

  const std::string& path() const { return path_; }
  std::vector<std::unique_ptr<Tag>>& tags() { return tags_; }
  Tag* find_tag(std::string_view name) const;

  virtual Status begin_read(const table::RetryPolicy& retry) = 0;
  virtual void end_read() = 0;
  virtual Status begin_write(const table::RetryPolicy& retry) = 0;
  virtual Status end_write() = 0;
  // Writes cached changes (exclusive files) and moves the change counter.
  virtual Status flush() = 0;

  // A new tag object of this file (not on disk until the next rewrite).
  virtual Status add_tag(const TagDefinition& def, const KeyShape& shape, Tag** out) = 0;
  // A tag's expressions were bound and its key kind is known.
  virtual void tag_bound(Tag*) {}
  // Removes a tag object (on disk at the next rewrite).
  void drop_tag(Tag* tag);
  // Writes the whole file anew: every tag of tags() with its sorted keys,
  // in the order given. The caller holds the right to change the file.
  virtual Status rewrite(std::span<const TagBuild> builds) = 0;

  // The file's own structure beyond each tag's tree (the tag directory,
  // headers); tags' trees are checked through their BTree.
  virtual Status check_file(FileCheck* out) = 0;

 protected:
  explicit IndexFile(std::string path) : path_(std::move(path)) {}

  std::string path_;
  std::vector<std::unique_ptr<Tag>> tags_;
};

// Holds a read (or write) of a shared index file for a scope.
class ReadScope {
 public:
  ReadScope(IndexFile& file, const table::RetryPolicy& retry) : file_(file) {
    status_ = file.begin_read(retry);
  }
  ~ReadScope() {
    if (status_) file_.end_read();
  }
  ReadScope(const ReadScope&) = delete;
  ReadScope& operator=(const ReadScope&) = delete;
  const Status& status() const { return status_; }

 private:
  IndexFile& file_;
  Status status_;
};

}  // namespace xbase::index
