// TableFile: one open table file within a context, shared by every handle
// on it. It owns the descriptor, the parsed header, the memo file and the
// lock bookkeeping; handles (cursors) own only their record buffers.
//
// Write order, the rules a crash must never break:
//  1. memo blocks (and the memo header's next-free word) reach the file
//     before a record that points at them;
//  2. record bytes reach the file before the header count that includes
//     them; the header count is the last write of an append;
//  3. pack and zap move records only towards the front, so every live
//     record exists in the file at every instant, and cut the file last.
//
// Locks: each lock is owned by a handle. Conflicts among handles of this
// context are settled in the tables here; conflicts with other contexts
// and processes by open-file-description locks on the scheme's bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "io/cached_file.h"
#include "io/range_lock.h"
#include "memo/memo_file.h"
#include "table/dbf_header.h"
#include "table/lock_scheme.h"
#include "util/context.h"

namespace xbase::table {

using LockOwner = const void*;

using RetryPolicy = xbase::RetryPolicy;

// Calls `attempt` until it answers true, at most retry.attempts times
// (for ever when -1), sleeping retry.delay_ms between calls.
bool wait_for_lock(const RetryPolicy& retry, const std::function<bool()>& attempt);

struct OpenOptions {
  bool exclusive = false;
  bool read_only = false;
  int format = 1;  // lock scheme
  int optimize = -1;
  int optimize_write = -1;
  io::FileSystem* fs = &io::FileSystem::posix();  // where the table and its memo file live
};

class TableFile {
 public:
  static Status open(const std::string& path, const OpenOptions& options,
                     std::unique_ptr<TableFile>* out);
  // Creates the table (and its memo file when a field needs one). `safety`
  // refuses to replace existing files.
  static Status create(const std::string& path, const TableHeader& header, bool safety,
                       const OpenOptions& options, std::unique_ptr<TableFile>* out);
  ~TableFile();

  const TableHeader& header() const { return header_; }
  const std::string& path() const { return dbf_.path(); }
  bool exclusive() const { return options_.exclusive; }
  bool read_only() const { return options_.read_only; }
  // Where the table lives; its index files live there too.
  io::FileSystem& file_system() const { return *options_.fs; }
  memo::MemoFile* memo() { return memo_.get(); }
  uint64_t dev() const { return dev_; }
  uint64_t ino() const { return ino_; }

  // Records: count and whole-record transfers (buffers of record_len).
  // count(fresh): fresh re-reads the header and the file size unless no
  // other process can have changed them.
  Status count(bool fresh, int32_t* out);
  int32_t cached_count() const { return count_; }
  Status read_record(int32_t rec, uint8_t* buf);
  // read_record when the record's bytes are cached: no call chain, no
  // status. False (buffer untouched) when read_record must do the work.
  bool read_cached_record(int32_t rec, uint8_t* buf) {
    return rec >= 1 && dbf_.read_cached(record_offset(rec), buf, header_.record_len);
  }
  // A hint that record `rec` is read soon.
  void prefetch_record(int32_t rec) {
    if (rec >= 1 && rec <= count_) dbf_.prefetch(record_offset(rec));
  }
  Status write_record(int32_t rec, const uint8_t* buf);
  // Appends `buf` as a new last record (taking the append lock on a shared
  // file) and answers its number. Autoincrement fields get their next
  // values, in `buf` too, under the same lock.
  Status append_record(uint8_t* buf, LockOwner owner, const RetryPolicy& retry, int32_t* rec);
  // Reads, then writes a memo value for a record being written.
  Status read_memo(uint32_t block, std::string* out, uint32_t* type);
  Status write_memo(uint32_t* block, std::string_view value, uint32_t type, const RetryPolicy& retry);

  // Writes everything cached back in the safe order (memo, records, header).
  Status flush();
  // Forgets cached pages so that other processes' writes are seen.
  Status refresh();

  // Sets or clears bits of the header's table flags (byte 28).
  Status set_table_flags(uint8_t bits, bool on);

  // Exclusive maintenance (the index files are rebuilt by their owner).
  Status pack();
  Status zap(int32_t first, int32_t last);
  Status memo_compress();

  // Locks. try_* answer true when granted now, false when held elsewhere.
  bool try_lock_record(LockOwner owner, int32_t rec);
  bool try_lock_file(LockOwner owner);
  bool try_lock_append(LockOwner owner);
  void unlock_record(LockOwner owner, int32_t rec);
  void unlock_append(LockOwner owner);
  void unlock_file(LockOwner owner);
  void unlock_all(LockOwner owner);
  bool holds_record(LockOwner owner, int32_t rec) const;
  bool holds_file(LockOwner owner) const { return file_owner_ == owner && owner != nullptr; }
  bool file_locked() const { return file_owner_ != nullptr; }
  // Records locked by `owner`, for tests and diagnostics.
  std::vector<int32_t> records_locked_by(LockOwner owner) const;

  // Whether writes by `owner` to `rec` are covered by a lock (always true
  // for an exclusive file).
  bool covered(LockOwner owner, int32_t rec) const;

 private:
  explicit TableFile(const OpenOptions& options);
  Status open_memo(const std::string& dbf_path);
  Status read_count_from_file(int32_t* out);
  Status write_header_count();
  Status assign_autoincrements(uint8_t* buf);
  uint64_t record_offset(int32_t rec) const {
    return header_.header_len + uint64_t(rec - 1) * header_.record_len;
  }
  void release_os_range(uint64_t offset, uint64_t len);
  // A guard for an operating-system lock taken here outside the lock
  // tables; it releases through release_os_range.
  io::RangeLock os_range_lock(uint64_t offset, uint64_t len);

  OpenOptions options_;
  LockScheme scheme_;
  io::CachedFile dbf_;
  std::unique_ptr<memo::MemoFile> memo_;
  // Why memo values cannot be had when the memo file is absent or its
  // header is damaged; the table still opens for its other fields.
  Status memo_unusable_;
  TableHeader header_;
  uint64_t dev_ = 0, ino_ = 0;
  int32_t count_ = 0;
  bool header_dirty_ = false;  // count or date changed and not yet written
  bool stamped_ = false;       // update date set since open
  bool eof_pending_ = false;   // cached appends owe the end-of-file mark

  std::unordered_map<int32_t, LockOwner> record_locks_;
  LockOwner file_owner_ = nullptr;
  LockOwner append_owner_ = nullptr;
};

}  // namespace xbase::table
