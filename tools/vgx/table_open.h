// Opening an existing table: the engine finds the file (any letter case), the tool checks that it
// starts like a table and sets the context's format from its version byte (the lock scheme and
// index kind follow from it), then opens the file found.
#pragma once

#include <memory>
#include <string>

#include "dbf_header_info.h"
#include "engine_table.h"
#include "file_probe.h"

namespace vgx {

struct OpenedTable {
  std::string path;     // the file actually opened, as the engine found it
  FilePrefix prefix;    // its first bytes and its size
  DbfHeaderInfo header;
  std::unique_ptr<Table> table;
};

// The format a context needs to read a table with this version byte.
TableFormat reading_format(uint8_t version);

// Reading opens the table read-only, changing exclusively for writing; neither opens an
// index of its own accord.
enum class Access { read, change };

// Null after reporting the reason on stderr (exit code kExitFailure).
std::unique_ptr<OpenedTable> open_table(Engine& engine, const std::string& name, Access access);
inline std::unique_ptr<OpenedTable> open_for_reading(Engine& engine, const std::string& name) {
  return open_table(engine, name, Access::read);
}

}  // namespace vgx
