// CachedFile: a File seen through a page cache. The file is reached only
// when a read misses the cache or a write goes out, never per cached read.
//
// Pages are kPageSize bytes, found through a table indexed by page number
// and evicted in clock order once the budget is reached. With read caching
// off every read goes to the file (a shared file that other processes
// write); with write caching off every write goes straight to the file and
// also refreshes a cached copy. Write caching implies read caching, so that
// reads always see this process's own unwritten changes.
//
// Write-back order is what keeps a crash harmless: dirty pages go out in
// ascending order, and a file that depends on another (a table on its memo
// file) registers a hook that runs before any of its dirty pages is written,
// so the memo blocks reach the file before the records that point at them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "io/file.h"

namespace xbase::io {

class CachedFile {
 public:
  static constexpr size_t kPageSize = 16384;
  static constexpr size_t kDefaultBudget = size_t(256) << 20;

  CachedFile() = default;
  explicit CachedFile(std::unique_ptr<File> file) : file_(std::move(file)) {}

  // The file underneath; only a CachedFile made from a file has one.
  File& file() { return *file_; }
  const std::string& path() const { return file_->path(); }

  void set_caching(bool read_cache, bool write_cache);
  bool read_cache() const { return read_cache_; }
  bool write_cache() const { return write_cache_; }
  void set_budget(size_t bytes);
  void set_before_write_back(std::function<Status()> hook) { before_write_back_ = std::move(hook); }

  // Reads up to len bytes; *got is short only at the logical end of file.
  Status read(uint64_t offset, void* buf, size_t len, size_t* got);
  Status read_exact(uint64_t offset, void* buf, size_t len);
  // read_exact's common case, inline for record-at-a-time scans: the bytes
  // lie inside one cached page. False (nothing copied) otherwise.
  bool read_cached(uint64_t offset, void* buf, size_t len) {
    const uint64_t number = offset / kPageSize;
    const size_t at = static_cast<size_t>(offset % kPageSize);
    if (!read_cache_ || !size_known_ || offset + len > size_ || at + len > kPageSize || number >= page_table_.size() ||
        page_table_[number] < 0)
      return false;
    Page& p = pages_[static_cast<size_t>(page_table_[number])];
    p.referenced = true;
    std::memcpy(buf, p.data + at, len);
    return true;
  }
  // Asks the processor to fetch the cached bytes at `offset` ahead of a
  // read (walks in index order read records in no file order); nothing
  // when the page is not cached.
  void prefetch(uint64_t offset) const {
    const uint64_t number = offset / kPageSize;
    if (number >= page_table_.size() || page_table_[number] < 0) return;
    const uint8_t* at = pages_[static_cast<size_t>(page_table_[number])].data + offset % kPageSize;
#if defined(__x86_64__) || defined(__i386__)
    // GCC drops __builtin_prefetch of an address loaded from a table.
    asm volatile("prefetcht0 %0" : : "m"(*at));
    asm volatile("prefetcht0 %0" : : "m"(*(at + 63)));
#else
    __builtin_prefetch(at);
    __builtin_prefetch(at + 63);
#endif
  }
  Status write(uint64_t offset, const void* buf, size_t len);
  // Writes to the file now (after the caller has flushed what must precede
  // it) and keeps any cached copy equal.
  Status write_through(uint64_t offset, const void* buf, size_t len);

  // Pages held in memory now (for tests and statistics).
  size_t pages_held() const {
    size_t n = 0;
    for (const Page& p : pages_) n += p.in_use;
    return n;
  }
  // Logical size: the file's size, or more when cached writes extend it.
  Status size(uint64_t* out);
  Status truncate(uint64_t size);
  // Writes every dirty page back, in ascending order.
  Status flush();
  // Flushes, then forgets every cached page so later reads see the file.
  Status invalidate();

 private:
  struct Page {
    uint64_t number = 0;
    uint8_t* data = nullptr;  // kPageSize bytes inside one of chunks_
    uint32_t valid = 0;  // bytes of the page that hold file content
    uint32_t dirty_lo = 0, dirty_hi = 0;
    bool referenced = false;
    bool in_use = false;
  };

  Status load_page(uint64_t number, Page** out);
  Status claim_slot(size_t* slot);
  bool recycle_behind_scan(uint64_t number, size_t* slot);
  Status refresh_size();
  uint8_t* new_page_memory();

  struct FreeChunk {
    void operator()(uint8_t* p) const noexcept { std::free(p); }
  };
  static constexpr size_t kChunkSize = size_t(2) << 20;
  static constexpr uint64_t kScanWindow = 32;

  std::unique_ptr<File> file_;
  bool read_cache_ = false;
  bool write_cache_ = false;
  size_t max_pages_ = kDefaultBudget / kPageSize;
  std::vector<std::unique_ptr<uint8_t, FreeChunk>> chunks_;
  size_t pages_in_last_chunk_ = 0;
  std::vector<Page> pages_;
  std::vector<int32_t> page_table_;  // page number -> index in pages_, -1 absent
  size_t clock_hand_ = 0;
  uint64_t scan_next_ = 0;  // the page a scan would load next
  uint64_t scan_run_ = 0;   // pages loaded in ascending order so far
  uint64_t size_ = 0;  // logical size while caching
  bool size_known_ = false;
  std::function<Status()> before_write_back_;
};

}  // namespace xbase::io
