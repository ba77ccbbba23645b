// Cursor: one position on a shared table: the record buffer with the memo
// values of its record, the position (record number, bof/eof, a record being
// appended), the selected tag and the place in it, and the locks it owns.
// Moves in record order and in tag order, edits, appends and locks all go
// through here; the C layer's DATA4 is a cursor with its FIELD4 handles.
//
// Results are ints as the C interface answers them: 0, a positive result
// (r4eof, r4locked, ...) or a negative error code already stored in the
// context.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cursor/shared_table.h"
#include "expr/record_source.h"
#include "index/tag_cursor.h"

namespace xbase::cursor {

// A memo value of the loaded record: read from the memo file, or assigned
// and not yet written.
struct MemoSlot {
  std::string value;
  uint64_t generation = 0;  // the record load it belongs to
  bool loaded = false;
  bool pending = false;
};

class Cursor : public expr::RecordSource {
 public:
  Cursor(Context& context, std::shared_ptr<SharedTable> table, std::string alias, bool read_only);
  ~Cursor() override;

  SharedTable& table() const { return *table_; }
  const std::shared_ptr<SharedTable>& shared_table() const { return table_; }
  table::TableFile& file() const { return *file_; }
  // The owner of this cursor's locks in the table's lock tables.
  table::LockOwner lock_owner() const { return this; }

  // Record source.
  const std::string* current_memo(size_t field) const override;
  Status read_memo(uint32_t block, std::string* out) override;
  int32_t record_number() const override { return append_pending ? 0 : rec_no; }
  int32_t record_count() override { return count(true); }

  // The memo slot of header field `field` and whether it holds a value
  // (read or pending) for the loaded record.
  MemoSlot& memo(size_t field) { return memos_[field]; }
  bool memo_current(size_t field) const {
    const MemoSlot& m = memos_[field];
    return (m.loaded || m.pending) && m.generation == generation;
  }
  bool memo_pending(size_t field) const {
    const MemoSlot& m = memos_[field];
    return m.pending && m.generation == generation;
  }
  // Loads the memo value of field `field` into its slot unless it is
  // current.
  Status load_memo(size_t field);
  // Sets a pending memo value.
  void assign_memo(size_t field, std::string_view value);

  int32_t count(bool fresh);

  // Navigation; all write the pending record first.
  int go(int32_t rec);
  int go_eof();
  int top();
  int bottom();
  int skip(int32_t n);
  // Seeks in the selected tag; `next` continues through equal keys.
  int seek(const char* key, size_t len, bool next);
  // Selects a tag (null: record order).
  void select_tag(index::Tag* t);
  index::Tag* selected_tag() const { return tag_; }

  // Writes the pending record when the buffer changed (d4write semantics).
  int write_pending();
  int write(int32_t rec);
  int append_start(int use_memo);
  int append();
  int append_blank();
  int blank();
  int set_deleted(bool on);
  int refresh_record();

  // Locks (the context's automatic unlocking is the caller's).
  int lock_record(int32_t rec);
  int lock_file();
  int unlock();

  // Whether a change to the current record may go ahead (read-only table,
  // lock enforcement): 0, or the error code, stored.
  int check_change() {
    // The common case, a writable table without lock enforcement, inline.
    if (!read_only && !file_->read_only() && !context().settings.lock_enforce) return 0;
    return check_change_slowly();
  }
  bool may_change() { return check_change() == 0; }
  void mark_changed() { changed = true; }

  int32_t rec_no = 0;
  bool bof = false;
  bool eof = true;
  bool changed = false;
  bool append_pending = false;
  bool read_only = false;

 private:
  int check_change_slowly();
  int refuse_read_only();
  void load_blank();
  int read(int32_t rec);
  int store_memos(bool fresh);
  // Tag order (cursor_tags.cpp).
  int check_tag();
  int read_entry(uint32_t rec);
  Status sync_to_record(index::TagCursor& tc);
  int tag_top(bool last);
  int tag_skip(int32_t n);

  std::shared_ptr<SharedTable> table_;
  table::TableFile* file_;
  std::vector<MemoSlot> memos_;      // by header field
  std::vector<size_t> memo_fields_;  // the header's memo fields
  index::Tag* tag_ = nullptr;
  std::unique_ptr<index::TagCursor> tag_cursor_;
};

}  // namespace xbase::cursor
