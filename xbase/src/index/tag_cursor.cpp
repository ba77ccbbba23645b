#include "index/tag_cursor.h"

#include <cstring>

namespace xbase::index {

Status TagCursor::forward() {
  if (between_) {
    between_ = false;
    return Status::ok();  // the successor is where the cursor stands
  }
  return cur_.next();
}

Status TagCursor::backward() {
  between_ = false;
  return cur_.prev();
}

Status TagCursor::place(const uint8_t* key, uint32_t rec) {
  bool exact = false;
  XB_TRY(cur_.seek(SeekTarget{key, tag_.key_len(), rec, false}, &exact));
  between_ = !(cur_.valid() && exact && cur_.rec() == rec);
  return Status::ok();
}

Status TagCursor::seek(const uint8_t* key, size_t len, bool* exact) {
  between_ = false;
  *exact = false;
  if (!tag_.descending()) return cur_.seek(SeekTarget{key, len, 0, false}, exact);
  // Descending: the last entry (in key order) whose first bytes are not
  // above the key, which is the first such in tag order.
  XB_TRY(cur_.seek_before(SeekTarget{key, len, 0, true}));
  *exact = cur_.valid() && std::memcmp(cur_.key(), key, len) == 0;
  return Status::ok();
}

}  // namespace xbase::index
