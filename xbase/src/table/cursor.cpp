// DATA4: a cursor over a shared table file.
#include <cstring>

#include "index/table_indexes.h"
#include "table/field_codec.h"
#include "table/handles.h"

using xbase::Status;
using xbase::table::FieldDesc;

bool FIELD4::memo_current() const { return (memo_loaded || memo_pending) && memo_generation == data->generation; }
bool FIELD4::memo_is_pending() const { return memo_pending && memo_generation == data->generation; }

namespace {

// Status results that are not failures (r4locked) pass back as their code
// without being stored as errors.
int result_of(CODE4* c4, const Status& st) {
  if (st.is_ok()) return 0;
  if (st.code() > 0) return st.code();
  return c4->fail(st);
}

}  // namespace

int32_t DATA4::count(bool fresh) {
  int32_t n = 0;
  Status st = table->count(fresh, &n);
  if (!st) {
    c4->fail(st);
    return table->cached_count();
  }
  return n;
}

void DATA4::load_blank() {
  xbase::table::blank_record(header(), record.data());
  ++generation;  // memo values of the old buffer no longer apply
  changed = false;
}

int DATA4::read(int32_t rec) {
  if (!table->read_cached_record(rec, record.data())) {
    Status st = table->read_record(rec, record.data());
    if (!st) {
      load_blank();
      return c4->fail(st);
    }
  }
  rec_no = rec;
  bof = eof = false;
  changed = false;
  append_pending = false;
  ++generation;  // memo values of the old buffer no longer apply
  return 0;
}

int DATA4::write_pending() {
  if (!changed || append_pending || eof || rec_no < 1) return 0;
  return write(rec_no);
}

int DATA4::go(int32_t rec) {
  int rc = write_pending();
  if (rc != 0) return rc;
  append_pending = false;
  if (rec < 1 || (rec > table->cached_count() && rec > count(true)))
    return c4->fail(e4parm, "record " + std::to_string(rec) + " is outside " + table->path());
  return read(rec);
}

int DATA4::go_eof() {
  int rc = write_pending();
  if (rc != 0) return rc;
  append_pending = false;
  rec_no = table->cached_count() + 1;
  load_blank();
  eof = true;
  bof = false;
  return 0;
}

int DATA4::top() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (tag) return tag_top(false);
  if (count(true) < 1) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read(1);
}

int DATA4::bottom() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (tag) return tag_top(true);
  int32_t n = count(true);
  if (n < 1) {
    go_eof();
    bof = true;
    return r4eof;
  }
  return read(n);
}

int DATA4::skip(int32_t n) {
  if (n == 0) return 0;
  int rc = write_pending();
  if (rc != 0) return rc;
  if (append_pending) {
    append_pending = false;
    rec_no = table->cached_count() + 1;
    eof = true;
  }
  if (tag) return tag_skip(n);
  int64_t target = int64_t(rec_no) + n;
  if (target > table->cached_count() && target > count(true)) {
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

bool DATA4::may_change_checked() {
  if (read_only || table->read_only()) {
    c4->fail(e4access, "table " + table->path() + " is open read-only");
    return false;
  }
  if (c4->settings.lock_enforce && !table->exclusive() && !append_pending && !eof && rec_no >= 1 &&
      !table->covered(this, rec_no)) {
    c4->fail(e4lock, "record " + std::to_string(rec_no) + " of " + table->path() + " is not locked");
    return false;
  }
  return true;
}

namespace {

// Memo fields of the buffer go to the memo file before the record does.
// `fresh`: the record is new, or not the one the buffer came from, so no
// memo block may be shared with another record and each value is copied.
int store_memos(DATA4* d, bool fresh) {
  for (FIELD4* f : d->memo_fields) {
    const FieldDesc& fd = f->desc();
    // An untouched memo of a record written in place keeps its reference:
    // no need to read it (the common case of every append).
    const bool pending = f->memo_is_pending();
    if (!pending && !fresh) continue;
    uint32_t block = xbase::table::field_memo_block(fd, d->record.data());
    if (!pending) {
      if (block == 0) continue;
      if (!f->memo_current()) {
        Status st = d->table->read_memo(block, &f->memo, nullptr);
        if (!st) return d->c4->fail(st);
        f->memo_loaded = true;
        f->memo_generation = d->generation;
      }
    }
    if (fresh) block = 0;
    uint32_t type = fd.type == 'G' ? xbase::memo::kFptObject
                    : (fd.type == 'P' || fd.type == 'W' || fd.type == 'B') ? xbase::memo::kFptPicture
                                                                           : xbase::memo::kFptText;
    Status st = d->table->write_memo(&block, f->memo, type, d->c4->internal_retry());
    if (!st) return result_of(d->c4, st);
    xbase::table::store_memo_block(fd, d->record.data(), block);
    f->memo_pending = false;
  }
  return 0;
}

}  // namespace

int DATA4::write(int32_t rec) {
  if (read_only || table->read_only()) return c4->fail(e4access, "table " + table->path() + " is open read-only");
  if (rec < 1 || (rec > table->cached_count() && rec > count(true)))
    return c4->fail(e4parm, "record " + std::to_string(rec) + " is outside " + table->path());
  bool temporary = false;
  if (!table->covered(this, rec)) {
    if (!xbase::table::wait_for_lock(c4->lock_retry(), [&] { return table->try_lock_record(this, rec); }))
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
    for (auto& f : fields) own_pending.push_back(f->memo_pending);
  }
  // Keys are worked out (and a unique tag may refuse them) before anything
  // is written; they move after the record is.
  xbase::index::TableIndexes* indexes = table->indexes();
  if (indexes && indexes->empty()) indexes = nullptr;
  int rc = 0;
  if (indexes) rc = result_of(c4, indexes->begin_update(this, rec, false));
  if (rc != 0) {
    if (temporary) table->unlock_record(this, rec);
    return rc;
  }
  rc = store_memos(this, other);
  if (rc == 0) {
    Status st = table->write_record(rec, record.data());
    rc = result_of(c4, st);
  }
  if (indexes && rc != 0) indexes->abandon_update();
  if (indexes && rc == 0) {
    bool left_out = false;
    rc = result_of(c4, indexes->finish_update(rec, &left_out));
    if (rc == 0 && left_out) rc = r4uniqueContinue;
  }
  if (other) {
    for (size_t i = 0; i < fields.size(); ++i) {
      const FieldDesc& fd = fields[i]->desc();
      if (!fd.is_memo()) continue;
      std::memcpy(record.data() + fd.offset, own.data() + fd.offset, fd.len);
      fields[i]->memo_pending = own_pending[i];
    }
  }
  if (temporary) table->unlock_record(this, rec);
  if (rc == 0 || rc == r4uniqueContinue) changed = false;
  return rc;
}

int DATA4::append_start(int use_memo) {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (read_only || table->read_only()) return c4->fail(e4access, "table " + table->path() + " is open read-only");
  for (FIELD4* f : memo_fields) {
    const FieldDesc& fd = f->desc();
    if (use_memo) {
      // Carry the values over; they are written as new memos.
      if (!f->memo_current()) {
        Status st = table->read_memo(xbase::table::field_memo_block(fd, record.data()), &f->memo, nullptr);
        if (!st) return c4->fail(st);
      }
      f->memo_pending = true;
    } else {
      f->memo.clear();
      f->memo_pending = false;
    }
    xbase::table::store_memo_block(fd, record.data(), 0);
    f->memo_loaded = true;
    f->memo_generation = generation;
  }
  append_pending = true;
  rec_no = 0;
  eof = bof = false;
  return 0;
}

int DATA4::append() {
  if (read_only || table->read_only()) return c4->fail(e4access, "table " + table->path() + " is open read-only");
  bool fresh_buffer = !append_pending;
  xbase::index::TableIndexes* indexes = table->indexes();
  if (indexes && indexes->empty()) indexes = nullptr;
  if (indexes) {
    int rc = result_of(c4, indexes->begin_update(this, 0, true));
    if (rc != 0) return rc;
  }
  int rc = store_memos(this, fresh_buffer);
  if (rc != 0) {
    if (indexes) indexes->abandon_update();
    return rc;
  }
  int32_t rec = 0;
  // A started append has fresh blocks for its pending memos; others were
  // copied above. Both are in the memo file before the record is added.
  Status st = table->append_record(record.data(), this, c4->internal_retry(), &rec);
  if (!st) {
    if (indexes) indexes->abandon_update();
    return result_of(c4, st);
  }
  if (indexes) {
    // A continue-mode unique tag leaves the record out; the append stands.
    bool left_out = false;
    st = indexes->finish_update(rec, &left_out);
    if (!st) {
      rec_no = rec;
      append_pending = false;
      changed = false;
      return result_of(c4, st);
    }
  }
  rec_no = rec;
  append_pending = false;
  changed = false;
  eof = bof = false;
  return 0;
}

int DATA4::append_blank() {
  int rc = write_pending();
  if (rc != 0) return rc;
  if (read_only || table->read_only()) return c4->fail(e4access, "table " + table->path() + " is open read-only");
  load_blank();
  append_pending = true;
  for (FIELD4* f : memo_fields) {
    f->memo.clear();
    f->memo_loaded = true;
    f->memo_generation = generation;
  }
  return append();
}

int DATA4::blank() {
  if (!may_change()) return c4->error_code;
  xbase::table::blank_record(header(), record.data());
  record[0] = ' ';
  for (FIELD4* f : memo_fields) {
    f->memo.clear();
    f->memo_loaded = true;
    f->memo_pending = false;
    f->memo_generation = generation;
  }
  changed = true;
  return 0;
}

int DATA4::refresh_record() {
  if (append_pending || eof || rec_no < 1) return 0;
  if (table->read_only() || !table->exclusive()) {
    // Another process may have written it: make sure the read reaches the file.
    Status st = table->refresh();
    if (!st) return c4->fail(st);
  }
  return read(rec_no);
}

int DATA4::lock_record(int32_t rec) {
  if (rec < 1) return c4->fail(e4parm, "cannot lock record " + std::to_string(rec));
  if (table->holds_record(this, rec) || table->holds_file(this)) return 0;
  c4->auto_unlock(this);
  return xbase::table::wait_for_lock(c4->lock_retry(), [&] { return table->try_lock_record(this, rec); })
             ? 0
             : r4locked;
}

int DATA4::lock_file() {
  if (table->holds_file(this)) return 0;
  c4->auto_unlock(this);
  if (!xbase::table::wait_for_lock(c4->lock_retry(), [&] { return table->try_lock_file(this); }))
    return r4locked;
  return 0;
}

int DATA4::unlock() {
  int rc = write_pending();
  if (!table->exclusive()) {
    Status st = table->flush();
    if (!st && rc == 0) rc = c4->fail(st);
  }
  table->unlock_all(this);
  return rc;
}
