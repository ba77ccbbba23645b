// The C interface's handles. CODE4 is a context: settings, the open
// tables, the error state. DATA4 is a cursor on a shared TableFile: record
// buffer, position, flags. FIELD4 is one user field of one DATA4, with the
// buffers that f4str and f4memoStr hand out.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "table/table_file.h"
#include "util/status.h"
#include "vgxbase/xbase.h"

struct CODE4;
struct DATA4;

namespace xbase::index {
class Tag;
class TagCursor;
}  // namespace xbase::index

struct FIELD4 {
  DATA4* data = nullptr;
  size_t index = 0;  // in the table header's field list
  std::string text;  // f4str / f4dateTime result
  // Memo state of the current record: loaded value, or a pending one.
  std::string memo;
  uint64_t memo_generation = 0;  // record generation the value belongs to
  bool memo_loaded = false;
  bool memo_pending = false;

  const xbase::table::FieldDesc& desc() const;
  // Memo state counts only for the record generation it was set in.
  bool memo_current() const;
  bool memo_is_pending() const;
};

struct LockRequest {
  DATA4* data;
  enum Kind { kRecord, kFile, kAll } kind;
  int32_t rec;
};

struct CODE4 {
  struct Settings {
    int format = 1;
    int access_mode = 0;
    int read_only = 0;
    int err_default_unique = r4uniqueContinue;
    int auto_open = 1;
    int safety = 1;
    int lock_attempts = 1;
    int lock_attempts_single = 1;
    int lock_delay = 100;
    int lock_enforce = 0;
    int unlock_auto = 1;
    int single_open = 1;
    int compatibility = 26;
    int code_page = 0;
    int collating = 0;
    int err_off = 0;
    int err_field_name = 1;
    int err_tag_name = 1;
    int optimize = -1;
    int optimize_write = -1;
    std::string date_format = "MM/DD/CCYY";
  } settings;

  int error_code = 0;
  std::string error_message;
  std::vector<std::unique_ptr<DATA4>> handles;  // in open order
  std::vector<std::shared_ptr<xbase::table::TableFile>> tables;
  std::vector<LockRequest> lock_queue;

  // Stores a failure (negative code) and reports it unless errors are off;
  // answers the code so callers can `return c4->fail(st)`.
  int fail(const xbase::Status& st);
  int fail(int code, const std::string& message) { return fail(xbase::Status(code, message)); }

  xbase::table::RetryPolicy lock_retry() const { return {settings.lock_attempts, settings.lock_delay}; }
  xbase::table::RetryPolicy internal_retry() const {
    return {settings.lock_attempts_single, settings.lock_delay};
  }

  DATA4* find_alias(const char* alias) const;
  int close_all();
  void forget(DATA4* d);
  // Releases locks before a new lock, as code4unlockAutoSetCB says.
  void auto_unlock(DATA4* requester);
};

struct DATA4 {
  CODE4* c4 = nullptr;
  std::shared_ptr<xbase::table::TableFile> table;
  std::string alias;
  bool read_only = false;
  std::vector<uint8_t> record;
  std::vector<std::unique_ptr<FIELD4>> fields;  // user fields in order
  std::vector<FIELD4*> memo_fields;              // the memo ones among them
  int32_t rec_no = 0;
  bool bof = false;
  bool eof = true;
  bool changed = false;
  bool append_pending = false;
  uint64_t generation = 1;  // bumps whenever the buffer is loaded afresh

  const xbase::table::TableHeader& header() const { return table->header(); }

  // Navigation; all write the pending record first.
  int go(int32_t rec);
  int go_eof();
  int top();
  int bottom();
  int skip(int32_t n);
  int32_t count(bool fresh);

  // Writes the pending record when the buffer changed (d4write semantics).
  int write_pending();
  int write(int32_t rec);
  int append_start(int use_memo);
  int append();
  int append_blank();
  int blank();
  int refresh_record();

  // Locks.
  int lock_record(int32_t rec);
  int lock_file();
  int unlock();

  // Whether a change to the current record may go ahead (lock enforcement).
  bool may_change() {
    // The common case, a writable table without lock enforcement, inline.
    if (!read_only && !table->read_only() && !c4->settings.lock_enforce) return true;
    return may_change_checked();
  }
  bool may_change_checked();
  void mark_changed() { changed = true; }
  void load_blank();
  int read(int32_t rec);

  // Index order (index/tag_navigation.cpp): the selected tag, null for
  // record order, and this handle's position in it.
  xbase::index::Tag* tag = nullptr;
  std::shared_ptr<xbase::index::TagCursor> tag_cursor;
  int select_tag(xbase::index::Tag* t);
  int tag_top(bool last);
  int tag_skip(int32_t n);
  // d4seek and friends: `next` continues through equal keys.
  int seek(const char* key, size_t len, bool next);
};

// Inline: every field read and assignment passes here, several times per record.
inline const xbase::table::FieldDesc& FIELD4::desc() const { return data->header().fields[index]; }

// Rejects a null handle: stores e4parm where it can and answers false.
inline bool handle_ok(const void* p) { return p != nullptr; }
