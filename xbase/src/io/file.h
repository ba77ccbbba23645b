// File and FileSystem: every read and write of the engine goes through
// these two interfaces, so that a test can put a file system of its own
// (in memory, or one that fails on cue) under the tables, memos and
// indexes. The operating system's implementation is FileSystem::posix().
//
// Positioned reads and writes transfer everything asked for or fail; a read
// past the end reports how much was there. Byte-range locks behave like
// Linux open-file-description locks: they belong to one open File, so two
// File objects on the same path conflict exactly as two processes do, and
// an unlock releases those bytes whatever lock of this File covered them.
#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <memory>
#include <string>

#include "util/status.h"

namespace xbase::io {

enum class OpenMode { kReadOnly, kReadWrite, kCreate, kCreateExclusive };

class File {
 public:
  virtual ~File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  virtual const std::string& path() const = 0;

  // Reads up to `len` bytes at `offset`; `*got` tells how many arrived
  // (fewer only at end of file).
  virtual Status read_at(uint64_t offset, void* buf, size_t len, size_t* got) const = 0;
  // Reads exactly `len` bytes or fails with e4read.
  Status read_exact(uint64_t offset, void* buf, size_t len) const;
  virtual Status write_at(uint64_t offset, const void* buf, size_t len) = 0;
  // Writes the pieces back to back starting at `offset`; a file that can
  // gather them into fewer calls overrides this.
  virtual Status write_pieces_at(uint64_t offset, const iovec* pieces, int count);
  virtual Status size(uint64_t* out) const = 0;
  virtual Status truncate(uint64_t size) = 0;
  virtual Status sync() = 0;

  // Whole-file advisory lock marking how the file is open: shared for a
  // shared open, exclusive for an exclusive one. Never blocks; false when
  // another open file holds a conflicting one.
  virtual bool try_flock(bool exclusive) = 0;

  // Byte-range locks. try_lock answers false when another open file holds
  // a conflicting lock.
  virtual bool try_lock(uint64_t offset, uint64_t len, bool exclusive) = 0;
  virtual void unlock(uint64_t offset, uint64_t len) = 0;

  // Identity of the underlying file (device, inode), for sharing one open
  // table among handles that name it differently.
  virtual Status identity(uint64_t* dev, uint64_t* ino) const = 0;

 protected:
  File() = default;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The operating system's files; lives as long as the program.
  static FileSystem& posix();

  // Opens `path` as given. Creation modes make the file with mode 0666 less
  // the umask; kCreate truncates an existing file.
  virtual Status open(const std::string& path, OpenMode mode, std::unique_ptr<File>* out) = 0;
  // Whether `path` names a regular file.
  virtual bool exists(const std::string& path) = 0;
  // Resolves a file name the way tables written on DOS and Windows need:
  // the exact name when it exists, otherwise the entry of its folder whose
  // name matches ignoring ASCII case (the least of several). Answers the
  // input itself when nothing matches, so that creation uses the case given.
  virtual std::string resolve_case(const std::string& path) = 0;
  virtual Status remove(const std::string& path) = 0;
};

// The e4read error of an exact read of `len` bytes at `offset` that ended
// early; every exact read reports through it.
Status read_past_end(const std::string& path, uint64_t offset, size_t len);

// The POSIX file system's name lookups, for callers that have no file
// system at hand.
inline std::string resolve_case(const std::string& path) { return FileSystem::posix().resolve_case(path); }
inline bool file_exists(const std::string& path) { return FileSystem::posix().exists(path); }

// Path helpers over '/'-separated names.
std::string path_base_name(const std::string& path);  // no folder, no extension
std::string path_extension(const std::string& path);  // without the dot; "" when none
std::string path_replace_extension(const std::string& path, const std::string& ext);

}  // namespace xbase::io
