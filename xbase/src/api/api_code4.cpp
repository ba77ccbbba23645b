// Context functions: settings, errors, group locks.
#include <cstdlib>
#include <cstring>
#include <new>
#include <strings.h>

#include "api/handles.h"
#include "index/index_formats.h"

namespace {

int default_format() {
  static const int format = [] {
    const char* env = std::getenv("VGXBASE_FORMAT");
    if (env && strcasecmp(env, "CLIPPER") == 0) return int{u4formatClipper};
    if (env && strcasecmp(env, "DBASE") == 0) return int{u4formatDbase};
    return int{u4formatFox};
  }();
  return format;
}

// The setter pattern of every integer switch: answer the old value, keep
// it when asked with r4check.
int swap_setting(CODE4* c4, int xbase::Settings::*field, int value) {
  if (c4 == nullptr) return e4parm;
  int old = c4->settings.*field;
  if (value != r4check) c4->settings.*field = value;
  return old;
}

}  // namespace

extern "C" {

long u4switch(void) { return u4desktop | default_format(); }

void u4freeDefault(void* p) { std::free(p); }

CODE4* code4initP(void) {
  CODE4* c4 = new (std::nothrow) CODE4();
  if (c4) c4->settings.format = default_format();
  return c4;
}

int code4initUndo(CODE4* c4) {
  if (c4 == nullptr) return e4parm;
  int rc = c4->close_all();
  delete c4;
  return rc;
}

int code4close(CODE4* c4) {
  if (c4 == nullptr) return e4parm;
  return c4->close_all();
}

int code4connect(CODE4* c4, const char*, const char*, const char*, const char*, const char*) {
  if (c4 == nullptr) return e4parm;
  return c4->fail(e4notSupported, "this engine runs in the calling process: there is no server to connect to");
}

DATA4* code4data(CODE4* c4, const char* alias) {
  if (c4 == nullptr || alias == nullptr) return nullptr;
  return c4->find_alias(alias);
}

int code4indexFormat(CODE4* c4, int format) {
  if (c4 == nullptr) return e4parm;
  int old = c4->settings.format;
  if (format == r4check) return old;
  if (format != u4formatFox && format != u4formatClipper && format != u4formatDbase)
    return c4->fail(e4parm, "index format must be 1, 2 or 4, not " + std::to_string(format));
  c4->settings.format = format;
  return old;
}

const char* code4indexExtension(CODE4* c4) {
  if (c4 == nullptr) return nullptr;
  return xbase::index::index_extension(c4->settings.format);
}

int code4accessMode(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::access_mode, v); }
int code4readOnly(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::read_only, v); }
int code4errDefaultUnique(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::err_default_unique, v); }
int code4autoOpen(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::auto_open, v); }
int code4safety(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::safety, v); }
int code4lockAttempts(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::lock_attempts, v); }
int code4lockAttemptsSingle(CODE4* c4, int v) {
  return swap_setting(c4, &xbase::Settings::lock_attempts_single, v);
}
int code4lockDelay(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::lock_delay, v); }
int code4lockEnforce(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::lock_enforce, v); }
int code4unlockAutoSetCB(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::unlock_auto, v); }
int code4singleOpen(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::single_open, v); }
int code4compatibility(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::compatibility, v); }
int code4codePage(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::code_page, v); }
int code4collatingSequence(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::collating, v); }
int code4errOff(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::err_off, v); }
int code4errFieldName(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::err_field_name, v); }
int code4errTagName(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::err_tag_name, v); }
int code4optimize(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::optimize, v); }
int code4optimizeWrite(CODE4* c4, int v) { return swap_setting(c4, &xbase::Settings::optimize_write, v); }

int code4dateFormatSet(CODE4* c4, const char* picture) {
  if (c4 == nullptr || picture == nullptr) return e4parm;
  c4->settings.date_format.assign(picture, strnlen(picture, 255));
  return 0;
}

int code4errorCode(CODE4* c4, int code) {
  if (c4 == nullptr) return e4parm;
  int old = c4->error_code;
  if (code != r4check) {
    c4->error_code = code;
    if (code == 0) c4->error_message.clear();
  }
  return old;
}

int code4lock(CODE4* c4) {
  if (c4 == nullptr) return e4parm;
  std::vector<LockRequest> queue;
  queue.swap(c4->lock_queue);
  if (queue.empty()) return 0;
  for (const LockRequest& r : queue) c4->auto_unlock(r.data);
  // All or nothing: an attempt that cannot take every lock gives back the
  // ones it took and waits before the next attempt.
  auto attempt = [&] {
    std::vector<const LockRequest*> taken;
    for (const LockRequest& r : queue) {
      auto& t = r.data->file();
      const auto owner = r.data->lock_owner();
      bool had = r.kind == LockRequest::kRecord ? t.holds_record(owner, r.rec) : t.holds_file(owner);
      bool ok = r.kind == LockRequest::kRecord ? t.try_lock_record(owner, r.rec) : t.try_lock_file(owner);
      if (!ok) {
        for (const LockRequest* u : taken) {
          if (u->kind == LockRequest::kRecord) u->data->file().unlock_record(u->data->lock_owner(), u->rec);
          else u->data->file().unlock_file(u->data->lock_owner());
        }
        return false;
      }
      if (!had) taken.push_back(&r);
    }
    return true;
  };
  return xbase::table::wait_for_lock(c4->lock_retry(), attempt) ? 0 : r4locked;
}

}  // extern "C"
