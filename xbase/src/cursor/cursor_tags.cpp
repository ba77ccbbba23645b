// Moves of a cursor in the order of its selected tag: top, bottom, skip and
// the seeks. Every index read happens inside a ReadScope, so a shared index
// is locked for the read and another process's changes are seen first.
#include <cstring>

#include "cursor/cursor.h"

namespace xbase::cursor {

using index::ReadScope;
using index::TagCursor;

// Positions the tag cursor on the current record (or where its key falls
// when the tag does not hold it).
Status Cursor::sync_to_record(TagCursor& tc) {
  index::Tag& tag = tc.tag();
  if (tag.maintainable()) {
    table_->indexes()->load_from(*this, rec_no);
    bool included = false;
    tag.evaluate(tc.scratch(), &included, true);
    return tc.place(tc.scratch(), static_cast<uint32_t>(rec_no));
  }
  // Keys this engine cannot compute: look for the record itself.
  XB_TRY(tc.first());
  while (tc.valid() && tc.rec() != static_cast<uint32_t>(rec_no)) XB_TRY(tc.next());
  if (!tc.valid()) XB_TRY(tc.first());
  return Status::ok();
}

void Cursor::select_tag(index::Tag* t) {
  tag_ = t;
  tag_cursor_ = t ? std::make_unique<TagCursor>(*t) : nullptr;
}

// Reads the record a tag entry names; an entry past the table's end means
// the index no longer matches the table.
int Cursor::read_entry(uint32_t rec) {
  if (rec < 1 ||
      (rec > static_cast<uint32_t>(file_->cached_count()) && rec > static_cast<uint32_t>(count(true))))
    return context().fail(e4index, "tag " + tag_->name() + " names record " + std::to_string(rec) + ", which " +
                                       file_->path() + " does not have: reindex it");
  return read(static_cast<int32_t>(rec));
}

int Cursor::check_tag() {
  if (!tag_->readable())
    return context().fail(e4notSupported, "tag " + tag_->name() + " cannot be read: " + tag_->unusable_reason());
  if (!tag_cursor_) tag_cursor_ = std::make_unique<TagCursor>(*tag_);
  return 0;
}

int Cursor::tag_top(bool last) {
  if (int rc = check_tag(); rc != 0) return rc;
  ReadScope scope(tag_->file(), context().internal_retry());
  if (!scope.status()) return context().result_of(scope.status());
  TagCursor& tc = *tag_cursor_;
  Status st = last ? tc.last() : tc.first();
  if (!st) return context().fail(st);
  if (!tc.valid()) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read_entry(tc.rec());
}

int Cursor::tag_skip(int32_t n) {
  if (int rc = check_tag(); rc != 0) return rc;
  ReadScope scope(tag_->file(), context().internal_retry());
  if (!scope.status()) return context().result_of(scope.status());
  TagCursor& tc = *tag_cursor_;
  const int32_t n0 = n;
  Status st;
  if (eof || rec_no < 1) {
    if (n > 0) {
      go_eof();
      return r4eof;
    }
    st = tc.last();
    ++n;
    if (st && !tc.valid()) {
      go_eof();
      bof = true;
      return r4bof;
    }
  } else if (!tc.on(static_cast<uint32_t>(rec_no))) {
    st = sync_to_record(tc);
  }
  for (; st && n > 0; --n) {
    st = tc.next();
    if (st && !tc.valid()) {
      go_eof();
      return r4eof;
    }
  }
  for (; st && n < 0; ++n) {
    st = tc.prev();
    if (st && !tc.valid()) {
      st = tc.first();
      if (!st) break;
      if (!tc.valid()) {
        go_eof();
        bof = true;
        return r4bof;
      }
      int rc = read_entry(tc.rec());
      if (rc != 0) return rc;
      bof = true;
      return r4bof;
    }
  }
  if (!st) return context().fail(st);
  // The records a walk reads next lie anywhere in the file: ask for them
  // early, so that their fetch overlaps this move's work.
  const int step = n0 < 0 ? -1 : 1;
  file_->prefetch_record(static_cast<int32_t>(tc.peek(8 * step)));
  file_->prefetch_record(static_cast<int32_t>(tc.peek(4 * step)));
  return read_entry(tc.rec());
}

int Cursor::seek(const char* key, size_t len, bool next) {
  if (tag_ == nullptr) return context().fail(e4index, "a seek on " + alias() + " needs a selected tag");
  int rc = write_pending();
  if (rc != 0) return rc;
  if ((rc = check_tag()) != 0) return rc;
  ReadScope scope(tag_->file(), context().internal_retry());
  if (!scope.status()) return context().result_of(scope.status());
  TagCursor& tc = *tag_cursor_;
  uint8_t target[256];
  size_t compare = 0;
  tag_->seek_key(std::string_view(key ? key : "", key ? len : 0), target, &compare);
  Status st;
  bool exact = false;
  bool continued = false;
  if (next && !eof && rec_no >= 1 && !append_pending) {
    // Through a run of equal keys: on from the current record when its key
    // is the one sought.
    st = sync_to_record(tc);
    if (st && tag_->maintainable() && std::memcmp(tc.scratch(), target, compare) == 0) {
      continued = true;
      st = tc.next();
      exact = st && tc.valid() && std::memcmp(tc.key(), target, compare) == 0;
    }
  }
  if (st && !continued) st = tc.seek(target, compare, &exact);
  if (!st) return context().fail(st);
  if (!tc.valid()) {
    go_eof();
    return r4eof;
  }
  rc = read_entry(tc.rec());
  if (rc != 0) return rc;
  return exact ? r4success : r4after;
}

}  // namespace xbase::cursor
