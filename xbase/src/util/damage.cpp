#include "util/damage.h"

#include <string>

#include "vgxbase/xbase.h"

namespace xbase {

Status damaged(std::string_view where, std::string_view what) {
  std::string message(where);
  message += ": ";
  message += what;
  return Status(e4data, std::move(message));
}

Status damaged_at(std::string_view part, uint64_t offset, std::string_view what) {
  std::string where(part);
  where += " at offset ";
  where += std::to_string(offset);
  return damaged(where, what);
}

}  // namespace xbase
