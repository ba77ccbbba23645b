// RangeLock: a granted byte-range lock that is given back exactly once, when
// the guard is reset or goes out of scope, so that no exit of a function
// leaves a lock behind.
//
// The guard does not unlock the bytes itself: it calls the release function
// it was given. A file whose open file description holds several locks must
// not unlock bytes another of them still covers (an unlock punches holes
// into every lock of the description), so such a file hands in its own
// release rule; `unlocking` is for bytes nothing else of the description
// locks. The release is a plain function and an owner pointer, so that an
// unused guard costs no more than a null test (appends make one each).
#pragma once

#include <cstdint>
#include <utility>

#include "io/file.h"

namespace xbase::io {

class RangeLock {
 public:
  using Release = void (*)(void* owner, uint64_t offset, uint64_t len);

  RangeLock() = default;
  // Takes charge of a lock already granted on [offset, offset + len);
  // release(owner, offset, len) gives it back.
  RangeLock(uint64_t offset, uint64_t len, void* owner, Release release)
      : offset_(offset), len_(len), owner_(owner), release_(release) {}
  // A lock given back by owner->Member(offset, len).
  template <class T, void (T::*Member)(uint64_t, uint64_t)>
  static RangeLock through(T* owner, uint64_t offset, uint64_t len) {
    return RangeLock(offset, len, owner,
                     [](void* o, uint64_t at, uint64_t n) { (static_cast<T*>(o)->*Member)(at, n); });
  }
  // A lock given back by unlocking its bytes of `file` directly.
  static RangeLock unlocking(File& file, uint64_t offset, uint64_t len) {
    return through<File, &File::unlock>(&file, offset, len);
  }

  RangeLock(RangeLock&& other) noexcept { take(other); }
  RangeLock& operator=(RangeLock&& other) noexcept {
    if (this != &other) {
      reset();
      take(other);
    }
    return *this;
  }
  RangeLock(const RangeLock&) = delete;
  RangeLock& operator=(const RangeLock&) = delete;
  ~RangeLock() {
    if (release_) release_(owner_, offset_, len_);
  }

  bool held() const { return release_ != nullptr; }
  // Gives the lock back now; nothing when none is held.
  void reset() {
    if (Release release = std::exchange(release_, nullptr)) release(owner_, offset_, len_);
  }

 private:
  void take(RangeLock& other) {
    release_ = std::exchange(other.release_, nullptr);
    if (!release_) return;
    offset_ = other.offset_;
    len_ = other.len_;
    owner_ = other.owner_;
  }

  // Meaningful only while release_ is set: an empty guard, made on every
  // append, sets nothing else.
  uint64_t offset_;
  uint64_t len_;
  void* owner_;
  Release release_ = nullptr;
};

}  // namespace xbase::io
