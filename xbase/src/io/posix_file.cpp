// The operating system's files: one descriptor per File, positioned
// transfers that retry on EINTR and short counts, and Linux
// open-file-description byte-range locks (F_OFD_SETLK).
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include "io/file.h"
#include "vgxbase/xbase.h"

namespace xbase::io {

namespace {

Status os_error(int code, const std::string& what, const std::string& path, int err) {
  return Status(code, what + " " + path + ": " + std::strerror(err));
}

class PosixFile final : public File {
 public:
  PosixFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
  ~PosixFile() override { ::close(fd_); }

  const std::string& path() const override { return path_; }

  Status read_at(uint64_t offset, void* buf, size_t len, size_t* got) const override {
    auto* p = static_cast<char*>(buf);
    size_t done = 0;
    while (done < len) {
      ssize_t n = ::pread(fd_, p + done, len - done, static_cast<off_t>(offset + done));
      if (n < 0) {
        if (errno == EINTR) continue;
        *got = done;
        return os_error(e4read, "cannot read", path_, errno);
      }
      if (n == 0) break;
      done += static_cast<size_t>(n);
    }
    *got = done;
    return Status::ok();
  }

  Status write_at(uint64_t offset, const void* buf, size_t len) override {
    const auto* p = static_cast<const char*>(buf);
    size_t done = 0;
    while (done < len) {
      ssize_t n = ::pwrite(fd_, p + done, len - done, static_cast<off_t>(offset + done));
      if (n < 0) {
        if (errno == EINTR) continue;
        return os_error(e4write, "cannot write", path_, errno);
      }
      if (n == 0) return Status(e4write, "cannot write " + path_ + ": no progress");
      done += static_cast<size_t>(n);
    }
    return Status::ok();
  }

  Status write_pieces_at(uint64_t offset, const iovec* pieces, int count) override {
    std::vector<iovec> rest(pieces, pieces + count);
    size_t first = 0;
    while (first < rest.size()) {
      int n = static_cast<int>(std::min<size_t>(rest.size() - first, IOV_MAX));
      ssize_t done = ::pwritev(fd_, rest.data() + first, n, static_cast<off_t>(offset));
      if (done < 0) {
        if (errno == EINTR) continue;
        return os_error(e4write, "cannot write", path_, errno);
      }
      if (done == 0) return Status(e4write, "cannot write " + path_ + ": no progress");
      offset += static_cast<uint64_t>(done);
      // Skip what went out, trimming a piece written in part.
      auto left = static_cast<size_t>(done);
      while (first < rest.size() && left >= rest[first].iov_len) left -= rest[first++].iov_len;
      if (left) {
        rest[first].iov_base = static_cast<char*>(rest[first].iov_base) + left;
        rest[first].iov_len -= left;
      }
    }
    return Status::ok();
  }

  Status size(uint64_t* out) const override {
    struct stat st;
    if (fstat(fd_, &st) != 0) return os_error(e4read, "cannot stat", path_, errno);
    *out = static_cast<uint64_t>(st.st_size);
    return Status::ok();
  }

  Status truncate(uint64_t size) override {
    int r;
    do {
      r = ::ftruncate(fd_, static_cast<off_t>(size));
    } while (r != 0 && errno == EINTR);
    if (r != 0) return os_error(e4write, "cannot truncate", path_, errno);
    return Status::ok();
  }

  Status sync() override {
    if (::fdatasync(fd_) != 0) return os_error(e4write, "cannot flush", path_, errno);
    return Status::ok();
  }

  bool try_flock(bool exclusive) override {
    int r;
    do {
      r = ::flock(fd_, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (r != 0 && errno == EINTR);
    return r == 0;
  }

  bool try_lock(uint64_t offset, uint64_t len, bool exclusive) override {
    struct flock fl = range(offset, len, exclusive ? F_WRLCK : F_RDLCK);
    int r;
    do {
      r = ::fcntl(fd_, F_OFD_SETLK, &fl);
    } while (r != 0 && errno == EINTR);
    return r == 0;
  }

  void unlock(uint64_t offset, uint64_t len) override {
    struct flock fl = range(offset, len, F_UNLCK);
    while (::fcntl(fd_, F_OFD_SETLK, &fl) != 0 && errno == EINTR) {
    }
  }

  Status identity(uint64_t* dev, uint64_t* ino) const override {
    struct stat st;
    if (fstat(fd_, &st) != 0) return os_error(e4read, "cannot stat", path_, errno);
    *dev = static_cast<uint64_t>(st.st_dev);
    *ino = static_cast<uint64_t>(st.st_ino);
    return Status::ok();
  }

 private:
  static struct flock range(uint64_t offset, uint64_t len, short type) {
    struct flock fl;
    std::memset(&fl, 0, sizeof fl);
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = static_cast<off_t>(offset);
    fl.l_len = static_cast<off_t>(len);
    return fl;
  }

  int fd_;
  std::string path_;
};

class PosixFileSystem final : public FileSystem {
 public:
  Status open(const std::string& path, OpenMode mode, std::unique_ptr<File>* out) override {
    int flags = O_CLOEXEC;
    int code = e4open;
    switch (mode) {
      case OpenMode::kReadOnly: flags |= O_RDONLY; break;
      case OpenMode::kReadWrite: flags |= O_RDWR; break;
      case OpenMode::kCreate: flags |= O_RDWR | O_CREAT | O_TRUNC; code = e4create; break;
      case OpenMode::kCreateExclusive: flags |= O_RDWR | O_CREAT | O_EXCL; code = e4create; break;
    }
    int fd;
    do {
      fd = ::open(path.c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return os_error(code, "cannot open", path, errno);
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
      ::close(fd);
      return Status(code, "cannot open " + path + ": is a folder");
    }
    *out = std::make_unique<PosixFile>(fd, path);
    return Status::ok();
  }

  bool exists(const std::string& path) override {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  }

  std::string resolve_case(const std::string& path) override {
    if (path.empty() || exists(path)) return path;
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    DIR* d = ::opendir(dir.c_str());
    if (!d) return path;
    std::string found;
    while (struct dirent* e = ::readdir(d)) {
      if (strcasecmp(e->d_name, name.c_str()) == 0) {
        std::string candidate = slash == std::string::npos ? std::string(e->d_name)
                                                           : path.substr(0, slash + 1) + e->d_name;
        if (exists(candidate)) {
          // Prefer a deterministic answer when several names differ only in case.
          if (found.empty() || candidate < found) found = candidate;
        }
      }
    }
    ::closedir(d);
    return found.empty() ? path : found;
  }

  Status remove(const std::string& path) override {
    if (::unlink(path.c_str()) != 0) return os_error(e4write, "cannot remove", path, errno);
    return Status::ok();
  }
};

}  // namespace

FileSystem& FileSystem::posix() {
  static PosixFileSystem fs;
  return fs;
}

}  // namespace xbase::io
