// The tool's contact with the engine's index files: a table's production index, its tags, tag
// order, seeks, rebuilds and the engine's verifier, all through the engine's C interface (its
// own extensions included). Every engine call about indexes is made in engine_index.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine_table.h"

namespace vgx {

struct TagPlan {
  std::string name;
  std::string key;
  std::string filter;  // "" for every record
  bool unique = false;
  bool descending = false;
};

struct TagListing {
  TagPlan plan;
  std::string note;  // why the engine cannot keep the tag up to date, "" when it can
};

struct TagCheck {
  std::string name;
  uint64_t entries = 0;
  int depth = 0;
  bool keys_checked = false;
  std::string problem;  // "" when right
  std::string note;     // what could not be checked
};

// Opens the production index of `table` (the index file named after it);
// false with the reason in the engine's error.
bool open_production_index(Table& table, std::string* path);
// Creates the production index of a table that has none (or replaces it).
bool create_production_index(Table& table, const std::vector<TagPlan>& tags);

std::vector<TagListing> list_tags(Table& table);
// Selects a tag of the open index for the table's walks (first/next).
bool select_tag(Table& table, const std::string& name);
// Seeks in the selected tag: 0 found, 2 on the next greater key, 3 nothing
// greater, negative on failure.
int seek(Table& table, const std::string& key);
// Adds a tag to the production index (creating the file when there is none)
// and builds it.
bool add_tag(Table& table, const TagPlan& tag);
// Rebuilds every open index of the table.
bool reindex(Table& table);
// The engine's verifier over the open production index; *file_problem is
// the file's own structure ("" when right).
bool check_index(Table& table, std::string* file_problem, std::vector<TagCheck>* tags);

}  // namespace vgx
