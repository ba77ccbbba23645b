// What the table functions share with the index functions: index file
// names, tag lists and index creation.
#pragma once

#include <string>
#include <vector>

#include "index/index_file.h"
#include "api/handles.h"

namespace xbase::api {

// An index file name as i4open and i4create take it: the context's index
// extension added when there is none; a bare name not found in the working
// folder is looked for beside the table.
std::string index_path(DATA4* d, const char* name);
// A TAG4INFO array as tag definitions, in the context's collation; false
// (with the error stored) when an entry is unusable.
bool tag_definitions(CODE4* c4, const TAG4INFO* tags, std::vector<index::TagDefinition>* out);
// False (e4notSupported stored) unless the context's index format is one
// this build reads and writes.
bool supports_index_format(CODE4* c4);
// i4create: a null or empty name makes the production index and marks the
// table as having one. Null on failure, with the error stored.
index::IndexFile* create_index(DATA4* d, const char* name, const TAG4INFO* tags);

}  // namespace xbase::api
