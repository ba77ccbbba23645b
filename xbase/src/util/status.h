// Status: the outcome of an engine operation. OK costs one int; a failure
// carries one of the engine's negative error codes and a message naming the
// file and what was wrong with it. Positive codes (r4eof, r4locked, ...) are
// results, not failures, and travel as plain ints.
#pragma once

#include <string>
#include <utility>

namespace xbase {

class Status {
 public:
  Status() = default;
  Status(int code, std::string message) : code_(code), message_(std::move(message)) {}

  static Status ok() { return {}; }
  bool is_ok() const { return code_ == 0; }
  explicit operator bool() const { return is_ok(); }
  int code() const { return code_; }
  const std::string& message() const { return message_; }

 private:
  int code_ = 0;
  std::string message_;
};

// Evaluates an expression yielding Status and returns it from the caller on
// failure.
#define XB_TRY(expr)                   \
  do {                                 \
    ::xbase::Status xb_st_ = (expr);   \
    if (!xb_st_.is_ok()) return xb_st_; \
  } while (0)

}  // namespace xbase
