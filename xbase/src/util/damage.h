// Damage reports: the e4data status of a file whose bytes contradict its
// format, worded alike everywhere as "<where>: <what is wrong>". `where`
// names the file when the reader knows it; the page and header decoders do
// not, and their callers put the file's name in front.
#pragma once

#include <cstdint>
#include <string_view>

#include "util/status.h"

namespace xbase {

Status damaged(std::string_view where, std::string_view what);
// "<part> at offset <offset>: <what>", for a part found by its offset.
Status damaged_at(std::string_view part, uint64_t offset, std::string_view what);

}  // namespace xbase
