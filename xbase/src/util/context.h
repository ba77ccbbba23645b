// Context: the settings of one engine context and where its failures go.
// Every layer reads the settings through it; the C layer's CODE4 is the one
// implementation, which stores failures for code4errorCode and reports them.
#pragma once

#include <string>
#include <string_view>

#include "util/status.h"
#include "vgxbase/xbase.h"

namespace xbase {

namespace expr {
class RecordSource;
}

// The index formats of the engine, as code4indexFormat names them.
enum IndexFormatCode : int { kFormatFox = u4formatFox, kFormatClipper = u4formatClipper, kFormatDbase = u4formatDbase };

struct Settings {
  int format = kFormatFox;
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
};

// How often and how long a lock is tried before r4locked.
struct RetryPolicy {
  int attempts = 1;  // -1: for ever
  int delay_ms = 100;
};

class Context {
 public:
  virtual ~Context() = default;

  Settings settings;

  // Stores a failure (negative code) and reports it unless errors are off;
  // answers the code so callers can `return ctx.fail(st)`.
  virtual int fail(const Status& st) = 0;
  int fail(int code, std::string message) { return fail(Status(code, std::move(message))); }
  // Status results that are not failures (r4locked, r4eof ...) pass back
  // as their code without being stored as errors.
  int result_of(const Status& st) {
    if (st.is_ok()) return 0;
    if (st.code() > 0) return st.code();
    return fail(st);
  }

  // The record source an expression names as ALIAS->FIELD, or null.
  virtual expr::RecordSource* source_named(std::string_view alias) = 0;

  // Lock retries of the user's own lock calls, and of the locks the engine
  // takes by itself around one change.
  RetryPolicy lock_retry() const { return {settings.lock_attempts, settings.lock_delay}; }
  RetryPolicy internal_retry() const { return {settings.lock_attempts_single, settings.lock_delay}; }
};

}  // namespace xbase
