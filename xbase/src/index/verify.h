// The index verifier: checks an open index file against itself and against
// its table. Used by `vgx check` and by tests, on files of any origin.
//
// Per tag: the tree's structure (order of entries, interior entries equal
// to their children's highest, sibling links, one depth for all leaves, no
// page reached twice); every entry names an existing record; and, when the
// engine can compute the tag's keys, the entries are exactly the keys of
// the records that pass the filter: each such record once (a unique tag:
// each distinct key once, on a record that has that key).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "index/index_file.h"

namespace xbase::index {

class TableIndexes;

struct TagVerdict {
  std::string name;
  uint64_t entries = 0;
  uint64_t leaves = 0;
  uint64_t interiors = 0;
  int depth = 0;
  bool keys_checked = false;  // compared with the table's records
  std::string problem;        // empty when the tag is right
  std::string note;           // why a part could not be checked
};

struct FileVerdict {
  std::string path;
  std::string problem;  // the file's own structure
  std::vector<TagVerdict> tags;
  bool ok() const;
  // The first problem found, for messages.
  std::string first_problem() const;
};

// Checks `file` (open on the table of `set`). Answers a failure status only
// when the check itself could not run (a read error, a lock not granted);
// what is wrong with the file goes into `out`.
Status verify_file(TableIndexes& set, IndexFile& file, FileVerdict* out);

}  // namespace xbase::index
