#include "table/table_file.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <thread>

#include "io/companion.h"
#include "io/endian.h"
#include "table/field_codec.h"
#include "vgxbase/xbase.h"

namespace xbase::table {

namespace {

bool cache_wanted(int setting, bool implied) { return setting == 1 || (setting == -1 && implied); }

Status read_only_error(const std::string& path) {
  return Status(e4access, "table " + path + " is open read-only");
}

}  // namespace

TableFile::TableFile(const OpenOptions& options)
    : options_(options), scheme_(lock_scheme_for(options.format)) {}

TableFile::~TableFile() {
  // Best effort: a handle that wanted to know about a failed write-back
  // flushed before closing.
  if (!options_.read_only) (void)flush();
}

Status TableFile::open(const std::string& path, const OpenOptions& options,
                       std::unique_ptr<TableFile>* out) {
  std::unique_ptr<TableFile> t(new TableFile(options));
  std::unique_ptr<io::File> file;
  XB_TRY(options.fs->open(path, options.read_only ? io::OpenMode::kReadOnly : io::OpenMode::kReadWrite, &file));
  if (!file->try_flock(options.exclusive))
    return Status(e4access, "table " + path + " is open elsewhere in a conflicting mode");
  XB_TRY(file->identity(&t->dev_, &t->ino_));
  uint8_t prefix[32];
  size_t got = 0;
  XB_TRY(file->read_at(0, prefix, sizeof prefix, &got));
  if (got < sizeof prefix) return Status(e4open, "not a table: " + path + " is shorter than a header");
  uint16_t header_len = header_length_of(prefix, got);
  std::vector<uint8_t> raw(std::max<size_t>(header_len, 32));
  XB_TRY(file->read_at(0, raw.data(), raw.size(), &got));
  uint64_t file_size = 0;
  XB_TRY(file->size(&file_size));
  Status st = parse_header(raw.data(), got, file_size, &t->header_);
  if (!st) return Status(st.code(), path + ": " + st.message());
  t->dbf_ = io::CachedFile(std::move(file));
  t->dbf_.set_caching(cache_wanted(options.optimize, options.exclusive || options.read_only),
                      cache_wanted(options.optimize_write, options.exclusive) && !options.read_only);
  XB_TRY(t->read_count_from_file(&t->count_));
  if (t->header_.needs_memo) XB_TRY(t->open_memo(path));
  t->dbf_.set_before_write_back([raw_t = t.get()] {
    return raw_t->memo_ ? raw_t->memo_->flush() : Status::ok();
  });
  *out = std::move(t);
  return Status::ok();
}

Status TableFile::open_memo(const std::string& dbf_path) {
  using memo::MemoKind;
  MemoKind kind = memo_kind_for(header_);
  const bool fpt_first = kind == MemoKind::kFpt;
  // A database container (.DBC) keeps its memos in a .DCT file of the FPT layout.
  std::string ext = io::path_extension(dbf_path);
  for (char& c : ext) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const std::string fpt_ext = ext == "DBC" ? "DCT" : "FPT";
  io::FileSystem& fs = *options_.fs;
  std::string fpt = fs.resolve_case(io::path_replace_extension(dbf_path, fpt_ext));
  std::string dbt = fs.resolve_case(io::path_replace_extension(dbf_path, "DBT"));
  if (!fs.exists(dbt)) dbt = fs.resolve_case(io::path_replace_extension(dbf_path, "dbt"));
  std::string chosen;
  if (fpt_first) chosen = fs.exists(fpt) ? fpt : fs.exists(dbt) ? dbt : "";
  else chosen = fs.exists(dbt) ? dbt : fs.exists(fpt) ? fpt : "";
  if (chosen.empty()) {
    // The table still opens: its other fields are readable, and every use
    // of a memo value reports the missing file.
    memo_unusable_ = Status(e4open, "memo file " + io::path_replace_extension(dbf_path, fpt_first ? fpt_ext : "DBT") +
                                        " of table " + dbf_path + " is missing");
    return Status::ok();
  }
  bool is_fpt = chosen == fpt;
  if (is_fpt) {
    kind = MemoKind::kFpt;
  } else if (kind == MemoKind::kFpt || (header_.version & 0x0F) == 0x03) {
    // A .DBT beside a table whose version byte does not say which layout:
    // the dBASE IV header stores a block size at 20-21, the older one not.
    std::unique_ptr<io::File> probe;
    XB_TRY(fs.open(chosen, io::OpenMode::kReadOnly, &probe));
    uint8_t h[24] = {};
    size_t got = 0;
    XB_TRY(probe->read_at(0, h, sizeof h, &got));
    uint16_t bs = io::load_u16le(h + 20);
    kind = (got == sizeof h && h[16] != 0x03 && bs >= 64 && bs % 64 == 0) ? MemoKind::kDbt4 : MemoKind::kDbt3;
    if (header_.version == 0x83) kind = MemoKind::kDbt3;
  }
  std::unique_ptr<io::File> file;
  XB_TRY(fs.open(chosen, options_.read_only ? io::OpenMode::kReadOnly : io::OpenMode::kReadWrite, &file));
  Status st = memo::MemoFile::open(std::move(file), kind, &memo_);
  if (!st) {
    memo_.reset();
    memo_unusable_ = st;
    return Status::ok();
  }
  memo_->file().set_caching(dbf_.read_cache(), dbf_.write_cache());
  return Status::ok();
}

Status TableFile::create(const std::string& path, const TableHeader& header, bool safety,
                         const OpenOptions& options, std::unique_ptr<TableFile>* out) {
  std::unique_ptr<TableFile> t(new TableFile(options));
  io::FileSystem& fs = *options.fs;
  std::string target = fs.resolve_case(path);
  const bool exists = fs.exists(target);
  if (exists && safety) return Status(e4create, "cannot create " + target + ": it exists");
  // The memo file is settled before the table is touched, so that a refusal
  // leaves no half-made table behind.
  memo::MemoKind kind = memo_kind_for(header);
  std::string memo_path;
  if (header.needs_memo) {
    memo_path = io::companion_path(target, kind == memo::MemoKind::kFpt ? "FPT" : "DBT", fs);
    if (fs.exists(memo_path) && safety) return Status(e4create, "cannot create " + memo_path + ": it exists");
  }
  std::unique_ptr<io::File> file;
  XB_TRY(fs.open(target, exists ? io::OpenMode::kReadWrite : io::OpenMode::kCreateExclusive, &file));
  // Claim the file before emptying it, so a table open elsewhere is never
  // cut from under its users.
  if (!file->try_flock(true))
    return Status(e4access, "cannot create " + target + ": it is open elsewhere");
  XB_TRY(file->truncate(0));
  t->header_ = header;
  std::vector<uint8_t> bytes = header.raw;
  bytes.push_back(kEofMark);
  XB_TRY(file->write_at(0, bytes.data(), bytes.size()));
  if (!options.exclusive && !file->try_flock(false))
    return Status(e4access, "cannot share " + target + " after creating it");
  XB_TRY(file->identity(&t->dev_, &t->ino_));
  t->dbf_ = io::CachedFile(std::move(file));
  t->dbf_.set_caching(cache_wanted(options.optimize, options.exclusive),
                      cache_wanted(options.optimize_write, options.exclusive));
  if (header.needs_memo) {
    std::unique_ptr<io::File> mf;
    Status st = fs.open(memo_path, io::OpenMode::kCreate, &mf);
    if (st) st = memo::MemoFile::create(std::move(mf), kind, 0, io::path_base_name(target), &t->memo_);
    if (!st) {
      // A table this call made is of no use without its memo file.
      if (!exists) (void)fs.remove(target);
      return st;
    }
    t->memo_->file().set_caching(t->dbf_.read_cache(), t->dbf_.write_cache());
  }
  t->dbf_.set_before_write_back([raw_t = t.get()] {
    return raw_t->memo_ ? raw_t->memo_->flush() : Status::ok();
  });
  t->count_ = 0;
  *out = std::move(t);
  return Status::ok();
}

Status TableFile::read_count_from_file(int32_t* out) {
  uint8_t b[4];
  XB_TRY(dbf_.file().read_exact(4, b, 4));
  uint64_t header_count = io::load_u32le(b);
  uint64_t size = 0;
  XB_TRY(dbf_.file().size(&size));
  uint64_t present = size > header_.header_len ? (size - header_.header_len) / header_.record_len : 0;
  uint64_t n = std::min(header_count, present);
  // Records appended elsewhere (and their memos) lie past the end that a
  // read cache of a shared file remembers: it must read the file anew.
  if (!options_.exclusive && dbf_.read_cache() && n > static_cast<uint64_t>(count_)) {
    XB_TRY(dbf_.invalidate());
    if (memo_) XB_TRY(memo_->file().invalidate());
  }
  *out = static_cast<int32_t>(std::min<uint64_t>(n, INT32_MAX - 1));
  return Status::ok();
}

Status TableFile::count(bool fresh, int32_t* out) {
  if (fresh && !options_.exclusive && file_owner_ == nullptr) XB_TRY(read_count_from_file(&count_));
  *out = count_;
  return Status::ok();
}

Status TableFile::read_record(int32_t rec, uint8_t* buf) {
  if (rec < 1) return Status(e4parm, "record " + std::to_string(rec) + " does not exist");
  return dbf_.read_exact(record_offset(rec), buf, header_.record_len);
}

Status TableFile::write_record(int32_t rec, const uint8_t* buf) {
  if (options_.read_only) return read_only_error(path());
  if (rec < 1 || rec > count_) return Status(e4parm, "record " + std::to_string(rec) + " does not exist");
  XB_TRY(dbf_.write(record_offset(rec), buf, header_.record_len));
  if (!stamped_) {
    stamp_today(&header_);
    stamped_ = true;
    header_dirty_ = true;
  }
  return Status::ok();
}

Status TableFile::write_header_count() {
  uint8_t b[7];
  encode_count_and_date(header_, b);
  // A shared file's count belongs to whoever holds the append lock: outside
  // it only the date may be rewritten.
  size_t len = options_.exclusive || append_owner_ != nullptr ? 7 : 3;
  XB_TRY(dbf_.write_through(1, b, len));
  header_dirty_ = false;
  return Status::ok();
}

Status TableFile::append_record(uint8_t* buf, LockOwner owner, const RetryPolicy& retry,
                                int32_t* rec) {
  if (options_.read_only) return read_only_error(path());
  const bool shared = !options_.exclusive;
  const bool had_append = append_owner_ == owner && owner != nullptr;
  // Released in reverse order on every exit: the new record's byte, then
  // the append lock (unless the caller held it already).
  io::RangeLock append_lock;
  if (shared && !had_append) {
    if (!wait_for_lock(retry, [&] { return try_lock_append(owner); }))
      return Status(r4locked, "the append lock of " + path() + " is held elsewhere");
    // Given back through unlock_append, which forgets the owner too.
    append_lock = io::RangeLock(scheme_.header_byte, 1, this, [](void* self, uint64_t, uint64_t) {
      auto* t = static_cast<TableFile*>(self);
      t->unlock_append(t->append_owner_);
    });
  }
  if (shared) XB_TRY(read_count_from_file(&count_));
  if (count_ >= INT32_MAX - 1) return Status(e4write, "table " + path() + " is full");
  int32_t n = count_ + 1;
  // The new record's byte too: a file lock held elsewhere covers it in every
  // scheme, the header byte not in the Clipper one.
  io::RangeLock record_lock;
  if (shared) {
    if (!wait_for_lock(retry, [&] { return dbf_.file().try_lock(scheme_.record_byte(n), 1, true); }))
      return Status(r4locked, "record " + std::to_string(n) + " of " + path() + " is locked elsewhere");
    record_lock = os_range_lock(scheme_.record_byte(n), 1);
  }
  XB_TRY(assign_autoincrements(buf));
  const uint8_t eof = kEofMark;
  Status st = shared ? dbf_.write_through(record_offset(n), buf, header_.record_len)
                     : dbf_.write(record_offset(n), buf, header_.record_len);
  // A cached run of appends writes its end-of-file mark once, at flush.
  if (st && (shared || !dbf_.write_cache())) {
    st = shared ? dbf_.write_through(record_offset(n + 1), &eof, 1) : dbf_.write(record_offset(n + 1), &eof, 1);
  } else if (st) {
    eof_pending_ = true;
  }
  if (!st) return st;
  count_ = n;
  header_.record_count = static_cast<uint32_t>(n);
  if (!stamped_) {
    stamp_today(&header_);
    stamped_ = true;
  }
  header_dirty_ = true;
  if (shared || !dbf_.write_cache()) XB_TRY(write_header_count());
  *rec = n;
  return Status::ok();
}

// Hands out the next value of every autoincrement field and stores the
// one after it in the field's descriptor. The caller holds the append lock;
// on a shared file the descriptor is re-read, since another process may
// have counted on since.
Status TableFile::assign_autoincrements(uint8_t* buf) {
  if (!(header_.version == 0x31 || header_.version == 0x32)) return Status::ok();  // no counters
  for (size_t i = 0; i < header_.fields.size(); ++i) {
    FieldDesc& f = header_.fields[i];
    if (!(f.flags & kFieldAutoinc) || f.storage != Storage::kInt32) continue;
    const uint64_t at = 32 + 32 * i + 19;
    if (!options_.exclusive) {
      uint8_t word[4];
      XB_TRY(dbf_.file().read_exact(at, word, 4));
      f.autoinc_next = io::load_u32le(word);
    }
    io::store_u32le(buf + f.offset, f.autoinc_next);
    f.autoinc_next += f.autoinc_step ? f.autoinc_step : 1;
    uint8_t word[4];
    io::store_u32le(word, f.autoinc_next);
    XB_TRY(options_.exclusive ? dbf_.write(at, word, 4) : dbf_.write_through(at, word, 4));
    if (header_.raw.size() >= at + 4) std::memcpy(header_.raw.data() + at, word, 4);
  }
  return Status::ok();
}

Status TableFile::read_memo(uint32_t block, std::string* out, uint32_t* type) {
  if (!memo_) {
    out->clear();
    if (block != 0 && !memo_unusable_.is_ok()) return memo_unusable_;
    return Status::ok();
  }
  return memo_->read(block, out, type);
}

Status TableFile::write_memo(uint32_t* block, std::string_view value, uint32_t type, const RetryPolicy& retry) {
  if (!memo_) return memo_unusable_.is_ok() ? Status(e4data, "table " + path() + " has no memo file") : memo_unusable_;
  if (options_.read_only) return read_only_error(path());
  if (options_.exclusive) return memo_->write(block, value, type);
  io::File& f = memo_->file().file();
  if (!wait_for_lock(retry, [&] { return f.try_lock(scheme_.memo_byte, 1, true); }))
    return Status(r4locked, "the memo file of " + path() + " is locked elsewhere");
  // The memo file's description holds no other lock: a plain unlock.
  io::RangeLock lock = io::RangeLock::unlocking(f, scheme_.memo_byte, 1);
  XB_TRY(memo_->write(block, value, type));
  return memo_->flush();
}

Status TableFile::set_table_flags(uint8_t bits, bool on) {
  if (options_.read_only) return read_only_error(path());
  const uint8_t flags = on ? (header_.table_flags | bits) : (header_.table_flags & ~bits);
  if (flags == header_.table_flags) return Status::ok();
  XB_TRY(dbf_.write_through(28, &flags, 1));
  header_.table_flags = flags;
  if (header_.raw.size() > 28) header_.raw[28] = flags;
  return Status::ok();
}

Status TableFile::flush() {
  if (eof_pending_) {
    const uint8_t eof = kEofMark;
    XB_TRY(dbf_.write(record_offset(count_ + 1), &eof, 1));
    eof_pending_ = false;
  }
  if (memo_) XB_TRY(memo_->flush());
  XB_TRY(dbf_.flush());
  if (header_dirty_ && !options_.read_only) XB_TRY(write_header_count());
  return Status::ok();
}

Status TableFile::refresh() {
  XB_TRY(flush());
  XB_TRY(dbf_.invalidate());
  if (memo_) XB_TRY(memo_->file().invalidate());
  if (!options_.exclusive) XB_TRY(read_count_from_file(&count_));
  return Status::ok();
}

// ---- maintenance -------------------------------------------------------

namespace {

Status need_exclusive(const TableFile& t, const char* what) {
  if (t.read_only()) return Status(e4access, std::string(what) + " of " + t.path() + ": the table is read-only");
  if (!t.exclusive()) return Status(e4access, std::string(what) + " of " + t.path() + " needs exclusive use");
  return Status::ok();
}

}  // namespace

Status TableFile::pack() {
  XB_TRY(need_exclusive(*this, "pack"));
  std::vector<uint8_t> rec(header_.record_len);
  int32_t kept = 0;
  for (int32_t i = 1; i <= count_; ++i) {
    XB_TRY(read_record(i, rec.data()));
    if (rec[0] == kDeletedMark) continue;
    ++kept;
    if (kept != i) XB_TRY(dbf_.write(record_offset(kept), rec.data(), rec.size()));
  }
  return zap(kept + 1, count_ + 1);  // cuts the tail; nothing left to move
}

Status TableFile::zap(int32_t first, int32_t last) {
  XB_TRY(need_exclusive(*this, "zap"));
  if (first < 1) first = 1;
  if (last > count_) last = count_;
  int32_t kept = count_;
  if (first <= last) {
    std::vector<uint8_t> rec(header_.record_len);
    kept = first - 1;
    for (int32_t i = last + 1; i <= count_; ++i) {
      XB_TRY(read_record(i, rec.data()));
      ++kept;
      XB_TRY(dbf_.write(record_offset(kept), rec.data(), rec.size()));
    }
  }
  // Moved records first, then the smaller count, then the cut.
  XB_TRY(dbf_.flush());
  count_ = kept;
  header_.record_count = static_cast<uint32_t>(kept);
  stamp_today(&header_);
  stamped_ = true;
  header_dirty_ = true;
  XB_TRY(write_header_count());
  const uint8_t eof = kEofMark;
  XB_TRY(dbf_.write_through(record_offset(kept + 1), &eof, 1));
  XB_TRY(dbf_.truncate(record_offset(kept + 1) + 1));
  return Status::ok();
}

Status TableFile::memo_compress() {
  XB_TRY(need_exclusive(*this, "memo compression"));
  if (!memo_unusable_.is_ok()) return memo_unusable_;
  if (!memo_) return Status::ok();
  struct Ref {
    uint32_t block;
    int32_t rec;
    uint16_t field;
  };
  std::vector<Ref> refs;
  std::vector<uint8_t> rec(header_.record_len);
  for (int32_t i = 1; i <= count_; ++i) {
    XB_TRY(read_record(i, rec.data()));
    for (size_t f = 0; f < header_.fields.size(); ++f) {
      const FieldDesc& fd = header_.fields[f];
      if (!fd.is_memo()) continue;
      uint32_t b = field_memo_block(fd, rec.data());
      if (b != 0) refs.push_back({b, i, static_cast<uint16_t>(f)});
    }
  }
  std::sort(refs.begin(), refs.end(), [](const Ref& a, const Ref& b) {
    return a.block != b.block ? a.block < b.block : a.rec < b.rec;
  });
  // Every value must read before anything moves. The same pass finds where
  // the live values end: past there a value may be parked.
  std::string value;
  uint32_t type = 0;
  uint32_t park = 0;
  XB_TRY(memo_->next_free(&park));
  for (size_t i = 0; i < refs.size(); ++i)
    if (i == 0 || refs[i].block != refs[i - 1].block) {
      XB_TRY(memo_->read(refs[i].block, &value, &type));
      park = std::max<uint32_t>(park, refs[i].block + memo_->blocks_for(value.size()));
    }

  // Slide each value down to the lowest free block. The records are
  // repointed after the value is written and reach the file before a later
  // value may cover the old place, so a crash leaves every record readable.
  // A value whose new place overlaps its old one goes by way of the parking
  // place, so that one whole copy exists at every instant.
  auto relocate = [&](size_t first, size_t end, uint32_t to) -> Status {
    XB_TRY(memo_->write_at(to, value, type));
    XB_TRY(memo_->flush());
    for (size_t k = first; k < end; ++k) {
      XB_TRY(read_record(refs[k].rec, rec.data()));
      store_memo_block(header_.fields[refs[k].field], rec.data(), to);
      XB_TRY(dbf_.write(record_offset(refs[k].rec), rec.data(), rec.size()));
    }
    return dbf_.flush();
  };
  uint32_t dest = memo_->first_data_block();
  size_t i = 0;
  while (i < refs.size()) {
    size_t j = i;
    while (j < refs.size() && refs[j].block == refs[i].block) ++j;
    uint32_t src = refs[i].block;
    XB_TRY(memo_->read(src, &value, &type));
    uint32_t n = memo_->blocks_for(value.size());
    if (src < dest) {
      // Overlaps a value already placed (damaged file): leave it be.
      dest = std::max(dest, src + n);
    } else if (src == dest) {
      dest = src + n;
    } else {
      if (dest + n > src) XB_TRY(relocate(i, j, park));
      XB_TRY(relocate(i, j, dest));
      dest += n;
    }
    i = j;
  }
  XB_TRY(dbf_.flush());
  return memo_->set_end(dest);
}

// ---- locks ----------------------------------------------------------------

bool wait_for_lock(const RetryPolicy& retry, const std::function<bool()>& attempt) {
  const int attempts = retry.attempts == 0 ? 1 : retry.attempts;
  for (int i = 0; attempts < 0 || i < attempts; ++i) {
    if (attempt()) return true;
    if (attempts >= 0 && i + 1 >= attempts) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(std::max(0, retry.delay_ms)));
  }
  return false;
}

bool TableFile::holds_record(LockOwner owner, int32_t rec) const {
  auto it = record_locks_.find(rec);
  return it != record_locks_.end() && it->second == owner;
}

bool TableFile::covered(LockOwner owner, int32_t rec) const {
  return options_.exclusive || holds_file(owner) || holds_record(owner, rec);
}

std::vector<int32_t> TableFile::records_locked_by(LockOwner owner) const {
  std::vector<int32_t> out;
  for (const auto& [rec, who] : record_locks_)
    if (who == owner) out.push_back(rec);
  std::sort(out.begin(), out.end());
  return out;
}

bool TableFile::try_lock_record(LockOwner owner, int32_t rec) {
  if (holds_record(owner, rec) || holds_file(owner)) return true;
  if (file_owner_ != nullptr) return false;
  if (record_locks_.count(rec)) return false;
  if (!options_.exclusive && !dbf_.file().try_lock(scheme_.record_byte(rec), 1, true)) return false;
  record_locks_[rec] = owner;
  return true;
}

bool TableFile::try_lock_file(LockOwner owner) {
  if (holds_file(owner)) return true;
  if (file_owner_ != nullptr) return false;
  if (append_owner_ != nullptr && append_owner_ != owner) return false;
  for (const auto& entry : record_locks_)
    if (entry.second != owner) return false;
  if (!options_.exclusive && !dbf_.file().try_lock(scheme_.file_start, scheme_.file_len, true)) return false;
  file_owner_ = owner;
  // Others may have appended before the lock was granted; from now on the
  // count cannot change behind this context's back.
  if (!options_.exclusive) (void)read_count_from_file(&count_);
  return true;
}

bool TableFile::try_lock_append(LockOwner owner) {
  if (append_owner_ == owner) return true;
  if (append_owner_ != nullptr) return false;
  if (file_owner_ != nullptr && file_owner_ != owner) return false;
  if (!options_.exclusive && !dbf_.file().try_lock(scheme_.header_byte, 1, true)) return false;
  append_owner_ = owner;
  return true;
}

void TableFile::unlock_record(LockOwner owner, int32_t rec) {
  if (!holds_record(owner, rec)) return;
  record_locks_.erase(rec);
  release_os_range(scheme_.record_byte(rec), 1);
}

void TableFile::unlock_append(LockOwner owner) {
  if (append_owner_ != owner || owner == nullptr) return;
  append_owner_ = nullptr;
  release_os_range(scheme_.header_byte, 1);
}

void TableFile::unlock_all(LockOwner owner) {
  for (int32_t rec : records_locked_by(owner)) unlock_record(owner, rec);
  unlock_append(owner);
  unlock_file(owner);
}

void TableFile::unlock_file(LockOwner owner) {
  if (!holds_file(owner)) return;
  file_owner_ = nullptr;
  release_os_range(scheme_.file_start, scheme_.file_len);
}

io::RangeLock TableFile::os_range_lock(uint64_t offset, uint64_t len) {
  return io::RangeLock::through<TableFile, &TableFile::release_os_range>(this, offset, len);
}

// Unlocks [offset, offset+len) at the operating system, except the parts
// still covered by a lock held here (the same open file description holds
// them all, and an unlock would punch holes in them).
void TableFile::release_os_range(uint64_t offset, uint64_t len) {
  if (options_.exclusive) return;
  std::vector<std::pair<uint64_t, uint64_t>> held;
  if (file_owner_) held.emplace_back(scheme_.file_start, scheme_.file_start + scheme_.file_len);
  if (append_owner_) held.emplace_back(scheme_.header_byte, scheme_.header_byte + 1);
  for (const auto& entry : record_locks_) {
    uint64_t b = scheme_.record_byte(entry.first);
    held.emplace_back(b, b + 1);
  }
  std::sort(held.begin(), held.end());
  uint64_t at = offset;
  const uint64_t end = offset + len;
  for (const auto& [lo, hi] : held) {
    if (hi <= at || lo >= end) continue;
    if (lo > at) dbf_.file().unlock(at, lo - at);
    at = std::max(at, hi);
    if (at >= end) return;
  }
  if (at < end) dbf_.file().unlock(at, end - at);
}

}  // namespace xbase::table
