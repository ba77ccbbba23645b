// The framework's exception family. Every failure a component reports is
// one of these (or a descendant); EAbort is the silent abort that ends an
// operation without a message to the user.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace vg {

class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const std::string& Message() const { return message_; }
  void SetMessage(std::string message) { message_ = std::move(message); }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

class EAbort : public Exception {
 public:
  EAbort() : Exception("Operation aborted") {}
  explicit EAbort(std::string message) : Exception(std::move(message)) {}
};

class EDatabaseError : public Exception {
 public:
  using Exception::Exception;
};

class EConvertError : public Exception {
 public:
  using Exception::Exception;
};

// A variant that cannot become the type asked for, or overflows it.
class EVariantError : public Exception {
 public:
  using Exception::Exception;
};

// A list index out of range or an operation the list refuses.
class EListError : public Exception {
 public:
  using Exception::Exception;
};

class EStringListError : public EListError {
 public:
  using EListError::EListError;
};

// A file that cannot be opened or created.
class EFOpenError : public Exception {
 public:
  using Exception::Exception;
};

class EFCreateError : public Exception {
 public:
  using Exception::Exception;
};

// Raises a silent abort.
[[noreturn]] inline void Abort() { throw EAbort(); }

}  // namespace vg
