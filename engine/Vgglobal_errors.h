// The exception family of the library. Two roots: the component family under EVGError, and
// the dataset family under the framework's EDatabaseError, which data-aware controls treat as
// database errors.
#pragma once

#include <string>

#include "framework/exceptions.h"

namespace vg {

class EVGError : public Exception {
 public:
  // The one constructor of the family: a complete message; the extra fields stay clear.
  explicit EVGError(const std::string& Msg) : Exception(Msg) {}

  // Two spare (code, text) pairs; nothing in the library fills them.
  int ErrorCode() const { return error_code_; }
  const std::string& ErrorText() const { return error_text_; }
  int DetailCode() const { return detail_code_; }
  const std::string& DetailText() const { return detail_text_; }

 private:
  int error_code_ = 0;
  std::string error_text_;
  int detail_code_ = 0;
  std::string detail_text_;
};

// Engine start and connect failures, maintenance needing exclusive use, refused creations.
class EVGEngineError : public EVGError {
 public:
  using EVGError::EVGError;
};

// Root of the data-source failures.
class EVGDataSourceError : public EVGError {
 public:
  using EVGError::EVGError;
};

class EVGOpenError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGTagError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGFieldError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGScopeError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGFilterError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGCreateError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGIndexError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGQueryError : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGUniqueTagViolation : public EVGDataSourceError {
 public:
  using EVGDataSourceError::EVGDataSourceError;
};

class EVGGridError : public EVGError {
 public:
  using EVGError::EVGError;
};

class EVGMasterError : public EVGError {
 public:
  using EVGError::EVGError;
};

class EVGDictionaryError : public EVGError {
 public:
  using EVGError::EVGError;
};

class EVGParseError : public EVGError {
 public:
  using EVGError::EVGError;
};

// The record-buffer datasets.
class EVGDataSetError : public EDatabaseError {
 public:
  using EDatabaseError::EDatabaseError;
};

// A record lock refused while a dataset edits, posts or deletes.
class EVGDSRLockError : public EVGDataSetError {
 public:
  using EVGDataSetError::EVGDataSetError;
};

class EVGMemSetError : public EDatabaseError {
 public:
  using EDatabaseError::EDatabaseError;
};

class EVGReconcileError : public EVGMemSetError {
 public:
  using EVGMemSetError::EVGMemSetError;
};

}  // namespace vg
