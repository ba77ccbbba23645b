// Moves of a DATA4 in the order of its selected tag: top, bottom, skip and
// the seeks. Every index read happens inside a ReadScope, so a shared index
// is locked for the read and another process's changes are seen first.
#include <cstring>

#include "index/index_file.h"
#include "index/table_indexes.h"
#include "index/tag_cursor.h"
#include "table/handles.h"

using xbase::Status;
using xbase::index::ReadScope;
using xbase::index::TagCursor;

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

namespace {

int result_of(CODE4* c4, const Status& st) {
  if (st.is_ok()) return 0;
  if (st.code() > 0) return st.code();
  return c4->fail(st);
}

// Positions the cursor on the handle's current record (or where its key
// falls when the tag does not hold it).
Status sync_to_record(DATA4* d, TagCursor& tc) {
  xbase::index::Tag& tag = tc.tag();
  if (tag.maintainable()) {
    xbase::index::TableIndexes* ix = d->table->indexes();
    ix->load_from(d, d->rec_no);
    bool included = false;
    tag.evaluate(tc.scratch(), &included, true);
    return tc.place(tc.scratch(), static_cast<uint32_t>(d->rec_no));
  }
  // Keys this engine cannot compute: look for the record itself.
  XB_TRY(tc.first());
  while (tc.valid() && tc.rec() != static_cast<uint32_t>(d->rec_no)) XB_TRY(tc.next());
  if (!tc.valid()) XB_TRY(tc.first());
  return Status::ok();
}

}  // namespace

int DATA4::select_tag(xbase::index::Tag* t) {
  tag = t;
  tag_cursor = t ? std::make_shared<TagCursor>(*t) : nullptr;
  return 0;
}

namespace {

// Reads the record a tag entry names; an entry past the table's end means
// the index no longer matches the table.
int read_entry(DATA4* d, uint32_t rec) {
  if (rec < 1 || (rec > static_cast<uint32_t>(d->table->cached_count()) &&
                  rec > static_cast<uint32_t>(d->count(true))))
    return d->c4->fail(e4index, "tag " + d->tag->name() + " names record " + std::to_string(rec) +
                                    ", which " + d->table->path() + " does not have: reindex it");
  return d->read(static_cast<int32_t>(rec));
}

int check_tag(DATA4* d) {
  if (!d->tag->readable())
    return d->c4->fail(e4notSupported,
                       "tag " + d->tag->name() + " cannot be read: " + d->tag->unusable_reason());
  if (!d->tag_cursor) d->tag_cursor = std::make_shared<TagCursor>(*d->tag);
  return 0;
}

}  // namespace

int DATA4::tag_top(bool last) {
  if (int rc = check_tag(this); rc != 0) return rc;
  ReadScope scope(tag->file(), c4->internal_retry());
  if (!scope.status()) return result_of(c4, scope.status());
  TagCursor& tc = *tag_cursor;
  Status st = last ? tc.last() : tc.first();
  if (!st) return c4->fail(st);
  if (!tc.valid()) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read_entry(this, tc.rec());
}

int DATA4::tag_skip(int32_t n) {
  if (int rc = check_tag(this); rc != 0) return rc;
  ReadScope scope(tag->file(), c4->internal_retry());
  if (!scope.status()) return result_of(c4, scope.status());
  TagCursor& tc = *tag_cursor;
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
    st = sync_to_record(this, tc);
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
      int rc = read_entry(this, tc.rec());
      if (rc != 0) return rc;
      bof = true;
      return r4bof;
    }
  }
  if (!st) return c4->fail(st);
  // The records a walk reads next lie anywhere in the file: ask for them
  // early, so that their fetch overlaps this move's work.
  const int step = n0 < 0 ? -1 : 1;
  table->prefetch_record(static_cast<int32_t>(tc.peek(8 * step)));
  table->prefetch_record(static_cast<int32_t>(tc.peek(4 * step)));
  return read_entry(this, tc.rec());
}

int DATA4::seek(const char* key, size_t len, bool next) {
  if (tag == nullptr) return c4->fail(e4index, "a seek on " + alias + " needs a selected tag");
  int rc = write_pending();
  if (rc != 0) return rc;
  if ((rc = check_tag(this)) != 0) return rc;
  ReadScope scope(tag->file(), c4->internal_retry());
  if (!scope.status()) return result_of(c4, scope.status());
  TagCursor& tc = *tag_cursor;
  uint8_t target[256];
  size_t compare = 0;
  tag->seek_key(std::string_view(key ? key : "", key ? len : 0), target, &compare);
  Status st;
  bool exact = false;
  bool continued = false;
  if (next && !eof && rec_no >= 1 && !append_pending) {
    // Through a run of equal keys: on from the current record when its key
    // is the one sought.
    st = sync_to_record(this, tc);
    if (st && tag->maintainable() && std::memcmp(tc.scratch(), target, compare) == 0) {
      continued = true;
      st = tc.next();
      exact = st && tc.valid() && std::memcmp(tc.key(), target, compare) == 0;
    }
  }
  if (st && !continued) st = tc.seek(target, compare, &exact);
  if (!st) return c4->fail(st);
  if (!tc.valid()) {
    go_eof();
    return r4eof;
  }
  rc = read_entry(this, tc.rec());
  if (rc != 0) return rc;
  return exact ? r4success : r4after;
}
