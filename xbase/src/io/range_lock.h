// RangeLock: a granted byte-range lock that is given back exactly once, when
// the guard is reset or goes out of scope, so that no exit of a function
// leaves a lock behind.
//
// The guard does not unlock the bytes itself: it calls the release function
// it was given. A file whose open file description holds several locks must
// not unlock bytes another of them still covers (an unlock punches holes
// into every lock of the description), so such a file hands in its own
// release rule; `unlocking` is for bytes nothing else of the description
// locks.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "io/file.h"

namespace xbase::io {

class RangeLock {
 public:
  using Release = std::function<void(uint64_t offset, uint64_t len)>;

  RangeLock() = default;
  // Takes charge of a lock already granted on [offset, offset + len).
  RangeLock(uint64_t offset, uint64_t len, Release release)
      : offset_(offset), len_(len), release_(std::move(release)) {}
  // A lock given back by unlocking its bytes of `file` directly.
  static RangeLock unlocking(File& file, uint64_t offset, uint64_t len) {
    return RangeLock(offset, len, [&file](uint64_t at, uint64_t n) { file.unlock(at, n); });
  }

  RangeLock(RangeLock&& other) noexcept
      : offset_(other.offset_), len_(other.len_), release_(std::exchange(other.release_, nullptr)) {}
  RangeLock& operator=(RangeLock&& other) noexcept {
    if (this != &other) {
      reset();
      offset_ = other.offset_;
      len_ = other.len_;
      release_ = std::exchange(other.release_, nullptr);
    }
    return *this;
  }
  RangeLock(const RangeLock&) = delete;
  RangeLock& operator=(const RangeLock&) = delete;
  ~RangeLock() { reset(); }

  bool held() const { return static_cast<bool>(release_); }
  // Gives the lock back now; nothing when none is held.
  void reset() {
    if (!release_) return;
    Release release = std::exchange(release_, nullptr);
    release(offset_, len_);
  }

 private:
  uint64_t offset_ = 0;
  uint64_t len_ = 0;
  Release release_;
};

}  // namespace xbase::io
