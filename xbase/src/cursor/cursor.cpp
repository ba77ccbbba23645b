#include "cursor/cursor.h"

#include <cstring>

#include "table/field_codec.h"

namespace xbase::cursor {

using table::FieldDesc;

Cursor::Cursor(Context& context, std::shared_ptr<SharedTable> table, std::string alias, bool ro)
    : RecordSource(context, table->file().header(), std::move(alias)),
      read_only(ro),
      table_(std::move(table)),
      file_(&table_->file()),
      memos_(header().fields.size()) {
  const auto& fields = header().fields;
  for (size_t i = 0; i < fields.size(); ++i)
    if (fields[i].is_memo() && static_cast<int>(i) != header().null_flags_field) memo_fields_.push_back(i);
  rec_no = file_->cached_count() + 1;
  load_blank();
}

Cursor::~Cursor() = default;

const std::string* Cursor::current_memo(size_t field) const {
  return field < memos_.size() && memo_current(field) ? &memos_[field].value : nullptr;
}

Status Cursor::read_memo(uint32_t block, std::string* out) { return file_->read_memo(block, out, nullptr); }

Status Cursor::load_memo(size_t field) {
  MemoSlot& m = memos_[field];
  if (memo_current(field)) return Status::ok();
  const uint32_t block = table::field_memo_block(header().fields[field], record.data());
  Status st = file_->read_memo(block, &m.value, nullptr);
  if (!st) {
    m.value.clear();
    return st;
  }
  m.loaded = true;
  m.pending = false;
  m.generation = generation;
  return Status::ok();
}

void Cursor::assign_memo(size_t field, std::string_view value) {
  MemoSlot& m = memos_[field];
  m.value.assign(value);
  m.pending = true;
  m.loaded = true;
  m.generation = generation;
}

int32_t Cursor::count(bool fresh) {
  int32_t n = 0;
  Status st = file_->count(fresh, &n);
  if (!st) {
    context().fail(st);
    return file_->cached_count();
  }
  return n;
}

void Cursor::load_blank() {
  table::blank_record(header(), record.data());
  ++generation;  // memo values of the old buffer no longer apply
  changed = false;
}

int Cursor::read(int32_t rec) {
  if (!file_->read_cached_record(rec, record.data())) {
    Status st = file_->read_record(rec, record.data());
    if (!st) {
      load_blank();
      return context().fail(st);
    }
  }
  rec_no = rec;
  bof = eof = false;
  changed = false;
  append_pending = false;
  ++generation;  // memo values of the old buffer no longer apply
  return 0;
}

int Cursor::write_pending() {
  if (!changed || append_pending || eof || rec_no < 1) return 0;
  return write(rec_no);
}

int Cursor::go(int32_t rec) {
  int rc = write_pending();
  if (rc != 0) return rc;
  append_pending = false;
  if (rec < 1 || (rec > file_->cached_count() && rec > count(true)))
    return context().fail(e4parm, "record " + std::to_string(rec) + " is outside " + file_->path());
  return read(rec);
}

int Cursor::go_eof() {
  int rc = write_pending();
  if (rc != 0) return rc;
  append_pending = false;
  rec_no = file_->cached_count() + 1;
  load_blank();
  eof = true;
  bof = false;
  return 0;
}

int Cursor::top() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (tag_) return tag_top(false);
  if (count(true) < 1) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read(1);
}

int Cursor::bottom() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (tag_) return tag_top(true);
  int32_t n = count(true);
  if (n < 1) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read(n);
}

int Cursor::skip(int32_t n) {
  if (n == 0) return 0;
  int rc = write_pending();
  if (rc != 0) return rc;
  if (append_pending) {
    append_pending = false;
    rec_no = file_->cached_count() + 1;
    eof = true;
  }
  if (tag_) return tag_skip(n);
  int64_t target = int64_t(rec_no) + n;
  if (target > file_->cached_count() && target > count(true)) {
    go_eof();
    return r4eof;
  }
  if (target < 1) {
    if (count(false) < 1) {
      go_eof();
      bof = true;
      return r4bof;
    }
    rc = read(1);
    if (rc != 0) return rc;
    bof = true;
    return r4bof;
  }
  return read(static_cast<int32_t>(target));
}

int Cursor::refuse_read_only() {
  return context().fail(e4access, "table " + file_->path() + " is open read-only");
}

int Cursor::check_change_slowly() {
  if (read_only || file_->read_only()) return refuse_read_only();
  if (context().settings.lock_enforce && !file_->exclusive() && !append_pending && !eof && rec_no >= 1 &&
      !file_->covered(lock_owner(), rec_no))
    return context().fail(e4lock, "record " + std::to_string(rec_no) + " of " + file_->path() + " is not locked");
  return 0;
}

// Memo fields of the buffer go to the memo file before the record does.
// `fresh`: the record is new, or not the one the buffer came from, so no
// memo block may be shared with another record and each value is copied.
int Cursor::store_memos(bool fresh) {
  for (size_t i : memo_fields_) {
    const FieldDesc& fd = header().fields[i];
    MemoSlot& m = memos_[i];
    // An untouched memo of a record written in place keeps its reference:
    // no need to read it (the common case of every append).
    const bool pending = memo_pending(i);
    if (!pending && !fresh) continue;
    uint32_t block = table::field_memo_block(fd, record.data());
    if (!pending) {
      if (block == 0) continue;
      if (Status st = load_memo(i); !st) return context().fail(st);
    }
    if (fresh) block = 0;
    uint32_t type = fd.type == 'G' ? memo::kFptObject
                    : (fd.type == 'P' || fd.type == 'W' || fd.type == 'B') ? memo::kFptPicture
                                                                           : memo::kFptText;
    Status st = file_->write_memo(&block, m.value, type, context().internal_retry());
    if (!st) return context().result_of(st);
    table::store_memo_block(fd, record.data(), block);
    m.pending = false;
  }
  return 0;
}

int Cursor::write(int32_t rec) {
  if (read_only || file_->read_only()) return refuse_read_only();
  if (rec < 1 || (rec > file_->cached_count() && rec > count(true)))
    return context().fail(e4parm, "record " + std::to_string(rec) + " is outside " + file_->path());
  bool temporary = false;
  if (!file_->covered(lock_owner(), rec)) {
    if (!table::wait_for_lock(context().lock_retry(), [&] { return file_->try_lock_record(lock_owner(), rec); }))
      return r4locked;
    temporary = true;
  }
  // Another record gets copies of the memos, while the buffer keeps
  // referring to its own record's blocks: were the copies' blocks left in
  // it, the next write of this record would share them with the other one.
  const bool other = rec != rec_no;
  std::vector<uint8_t> own;
  std::vector<bool> own_pending;
  if (other) {
    own = record;
    for (size_t i : memo_fields_) own_pending.push_back(memos_[i].pending);
  }
  // Keys are worked out (and a unique tag may refuse them) before anything
  // is written; they move after the record is.
  index::TableIndexes* indexes = table_->open_indexes();
  int rc = 0;
  if (indexes) rc = context().result_of(indexes->begin_update(*this, rec, false));
  if (rc != 0) {
    if (temporary) file_->unlock_record(lock_owner(), rec);
    return rc;
  }
  rc = store_memos(other);
  if (rc == 0) rc = context().result_of(file_->write_record(rec, record.data()));
  if (indexes && rc != 0) indexes->abandon_update();
  if (indexes && rc == 0) {
    bool left_out = false;
    rc = context().result_of(indexes->finish_update(rec, &left_out));
    if (rc == 0 && left_out) rc = r4uniqueContinue;
  }
  if (other) {
    for (size_t k = 0; k < memo_fields_.size(); ++k) {
      const FieldDesc& fd = header().fields[memo_fields_[k]];
      std::memcpy(record.data() + fd.offset, own.data() + fd.offset, fd.len);
      memos_[memo_fields_[k]].pending = own_pending[k];
    }
  }
  if (temporary) file_->unlock_record(lock_owner(), rec);
  if (rc == 0 || rc == r4uniqueContinue) changed = false;
  return rc;
}

int Cursor::append_start(int use_memo) {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (read_only || file_->read_only()) return refuse_read_only();
  for (size_t i : memo_fields_) {
    MemoSlot& m = memos_[i];
    if (use_memo) {
      // Carry the values over; they are written as new memos.
      if (Status st = load_memo(i); !st) return context().fail(st);
      m.pending = true;
    } else {
      m.value.clear();
      m.pending = false;
    }
    table::store_memo_block(header().fields[i], record.data(), 0);
    m.loaded = true;
    m.generation = generation;
  }
  append_pending = true;
  rec_no = 0;
  eof = bof = false;
  return 0;
}

int Cursor::append() {
  if (read_only || file_->read_only()) return refuse_read_only();
  const bool fresh_buffer = !append_pending;
  index::TableIndexes* indexes = table_->open_indexes();
  if (indexes) {
    int rc = context().result_of(indexes->begin_update(*this, 0, true));
    if (rc != 0) return rc;
  }
  int rc = store_memos(fresh_buffer);
  if (rc != 0) {
    if (indexes) indexes->abandon_update();
    return rc;
  }
  int32_t rec = 0;
  // A started append has fresh blocks for its pending memos; others were
  // copied above. Both are in the memo file before the record is added.
  Status st = file_->append_record(record.data(), lock_owner(), context().internal_retry(), &rec);
  if (!st) {
    if (indexes) indexes->abandon_update();
    return context().result_of(st);
  }
  rec_no = rec;
  append_pending = false;
  changed = false;
  if (indexes) {
    // A continue-mode unique tag leaves the record out; the append stands.
    bool left_out = false;
    st = indexes->finish_update(rec, &left_out);
    if (!st) return context().result_of(st);
  }
  eof = bof = false;
  return 0;
}

int Cursor::append_blank() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (read_only || file_->read_only()) return refuse_read_only();
  load_blank();
  append_pending = true;
  for (size_t i : memo_fields_) {
    memos_[i].value.clear();
    memos_[i].loaded = true;
    memos_[i].generation = generation;
  }
  return append();
}

int Cursor::blank() {
  if (int rc = check_change(); rc != 0) return rc;
  table::blank_record(header(), record.data());
  record[0] = ' ';
  for (size_t i : memo_fields_) {
    MemoSlot& m = memos_[i];
    m.value.clear();
    m.loaded = true;
    m.pending = false;
    m.generation = generation;
  }
  changed = true;
  return 0;
}

int Cursor::set_deleted(bool on) {
  if (int rc = check_change(); rc != 0) return rc;
  record[0] = on ? table::kDeletedMark : ' ';
  changed = true;
  return 0;
}

int Cursor::refresh_record() {
  if (append_pending || eof || rec_no < 1) return 0;
  if (file_->read_only() || !file_->exclusive()) {
    // Another process may have written it: make sure the read reaches the file.
    Status st = table_->refresh();
    if (!st) return context().fail(st);
  }
  return read(rec_no);
}

int Cursor::lock_record(int32_t rec) {
  if (rec < 1) return context().fail(e4parm, "cannot lock record " + std::to_string(rec));
  return table::wait_for_lock(context().lock_retry(), [&] { return file_->try_lock_record(lock_owner(), rec); })
             ? 0
             : r4locked;
}

int Cursor::lock_file() {
  return table::wait_for_lock(context().lock_retry(), [&] { return file_->try_lock_file(lock_owner()); })
             ? 0
             : r4locked;
}

int Cursor::unlock() {
  int rc = write_pending();
  if (!file_->exclusive()) {
    Status st = table_->flush();
    if (!st && rc == 0) rc = context().fail(st);
  }
  file_->unlock_all(lock_owner());
  return rc;
}

}  // namespace xbase::cursor
