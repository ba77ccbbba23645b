// Names of a table's companion files (memo, index, group): the table's path
// with another extension. An existing companion is found whatever the letter
// case of its name; a new one takes the case of the table's own extension
// (people.dbf -> people.cdx, PEOPLE.DBF -> PEOPLE.CDX), as other programs
// derive the name and a case-sensitive file system tells them apart.
#pragma once

#include <string>

#include "io/file.h"

namespace xbase::io {

// `extension` without the dot, in either case.
std::string companion_path(const std::string& table_path, const std::string& extension,
                           FileSystem& fs = FileSystem::posix());

}  // namespace xbase::io
