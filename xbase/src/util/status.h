// Status: the outcome of an engine operation. OK costs one int; a failure
// carries one of the engine's negative error codes and a message naming the
// file and what was wrong with it. Positive codes (r4eof, r4locked, ...) are
// results, not failures, and travel as plain ints.
#pragma once

#include <memory>
#include <string>
#include <utility>

namespace xbase {

class Status {
 public:
  Status() = default;
  Status(int code, std::string message)
      : code_(code), message_(std::make_unique<std::string>(std::move(message))) {}
  Status(const Status& other)
      : code_(other.code_),
        message_(other.message_ ? std::make_unique<std::string>(*other.message_) : nullptr) {}
  Status& operator=(const Status& other) {
    if (this != &other) *this = Status(other);
    return *this;
  }
  Status(Status&&) noexcept = default;
  Status& operator=(Status&&) noexcept = default;

  static Status ok() { return {}; }
  bool is_ok() const { return code_ == 0; }
  explicit operator bool() const { return is_ok(); }
  int code() const { return code_; }
  const std::string& message() const {
    static const std::string kNone;
    return message_ ? *message_ : kNone;
  }

 private:
  int code_ = 0;
  // Held apart, so that the success path (every record read) builds and
  // destroys nothing but an int and a null pointer.
  std::unique_ptr<std::string> message_;
};

// Evaluates an expression yielding Status and returns it from the caller on
// failure.
#define XB_TRY(expr)                   \
  do {                                 \
    ::xbase::Status xb_st_ = (expr);   \
    if (!xb_st_.is_ok()) return xb_st_; \
  } while (0)

}  // namespace xbase
