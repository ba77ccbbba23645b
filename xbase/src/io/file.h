// File: one open descriptor, the only place the engine touches the operating
// system's file calls. Positioned reads and writes retry on EINTR and on
// short transfers; a read past the end reports how much was there.
// Byte-range locks are Linux open-file-description locks: they belong to
// this descriptor's open file description, so two File objects on the same
// path conflict exactly as two processes do.
#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <string>

#include "util/status.h"

namespace xbase::io {

enum class OpenMode { kReadOnly, kReadWrite, kCreate, kCreateExclusive };

class File {
 public:
  File() = default;
  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Opens `path` as given. Creation modes make the file with mode 0666 less
  // the umask; kCreate truncates an existing file.
  Status open(const std::string& path, OpenMode mode);
  void close();
  bool is_open() const { return fd_ >= 0; }
  const std::string& path() const { return path_; }
  int fd() const { return fd_; }

  // Reads up to `len` bytes at `offset`; `*got` tells how many arrived
  // (fewer only at end of file).
  Status read_at(uint64_t offset, void* buf, size_t len, size_t* got) const;
  // Reads exactly `len` bytes or fails with e4read.
  Status read_exact(uint64_t offset, void* buf, size_t len) const;
  Status write_at(uint64_t offset, const void* buf, size_t len);
  // Writes the pieces back to back starting at `offset`, in as few calls
  // as the system allows.
  Status write_pieces_at(uint64_t offset, const iovec* pieces, int count);
  Status size(uint64_t* out) const;
  Status truncate(uint64_t size);
  Status sync();

  // Whole-file advisory lock marking how the file is open: shared for a
  // shared open, exclusive for an exclusive one. Never blocks; false when
  // another open file description holds a conflicting one.
  bool try_flock(bool exclusive);

  // Byte-range locks. try_lock answers false when another open file
  // description holds a conflicting lock.
  bool try_lock(uint64_t offset, uint64_t len, bool exclusive);
  void unlock(uint64_t offset, uint64_t len);

  // Identity of the underlying file (device, inode), for sharing one open
  // table among handles that name it differently.
  Status identity(uint64_t* dev, uint64_t* ino) const;

 private:
  int fd_ = -1;
  std::string path_;
};

// Resolves a file name the way tables written on DOS and Windows need: the
// exact name when it exists, otherwise the one entry of its folder whose name
// matches ignoring ASCII case. Answers the name to use (the input itself when
// nothing matches, so that creation uses the case given).
std::string resolve_case(const std::string& path);
bool file_exists(const std::string& path);

// Path helpers over '/'-separated names.
std::string path_base_name(const std::string& path);  // no folder, no extension
std::string path_extension(const std::string& path);  // without the dot; "" when none
std::string path_replace_extension(const std::string& path, const std::string& ext);

}  // namespace xbase::io
