#include "memo/memo_file.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "io/endian.h"
#include "memo/memo_layout.h"
#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::memo {

namespace {

constexpr uint64_t kMaxBlockNumber = std::numeric_limits<uint32_t>::max();
// Terminated memos are scanned in chunks of this many bytes.
constexpr size_t kScanChunk = 8192;
// Memos up to this size go out in one write; larger ones in three.
constexpr uint64_t kOneWriteLimit = 64 * 1024;

uint64_t ceil_div(uint64_t a, uint64_t b) { return a / b + (a % b != 0); }

}  // namespace

std::string MemoFile::block_place(uint32_t block) const {
  return "memo file " + file_.path() + ": block " + std::to_string(block) + " (offset " +
         std::to_string(uint64_t(block) * block_size_) + ")";
}

Status MemoFile::open(std::unique_ptr<io::File> file, MemoKind kind, std::unique_ptr<MemoFile>* out) {
  std::unique_ptr<MemoFile> memo(new MemoFile(std::move(file), kind));
  XB_TRY(memo->read_header());
  *out = std::move(memo);
  return Status::ok();
}

Status MemoFile::read_header() {
  uint8_t header[kDbt4HeaderFields] = {};
  size_t got = 0;
  XB_TRY(file_.read(0, header, header_fields_len(kind_), &got));
  if (got < header_fields_len(kind_))
    return damaged("memo file " + file_.path(),
                   "the header is cut short (" + std::to_string(got) + " bytes)");
  const char* why = "";
  if (!parse_block_size(kind_, header, &block_size_, &why))
    return damaged("memo file " + file_.path(), why);
  return Status::ok();
}

Status MemoFile::create(std::unique_ptr<io::File> file, MemoKind kind, uint32_t block_size,
                        const std::string& table_name, std::unique_ptr<MemoFile>* out) {
  if (block_size == 0) block_size = default_block_size(kind);
  if (!valid_block_size(kind, block_size))
    return Status(e4parm, "cannot create memo file " + file->path() + ": block size " +
                              std::to_string(block_size) + " is not possible for its kind");
  std::unique_ptr<MemoFile> memo(new MemoFile(std::move(file), kind));
  memo->block_size_ = block_size;
  std::string header = new_header(kind, block_size, io::path_base_name(table_name));
  Status st = memo->file_.truncate(0);
  if (st) st = memo->file_.write(0, header.data(), header.size());
  if (!st) return Status(e4create, "cannot create memo file: " + st.message());
  *out = std::move(memo);
  return Status::ok();
}

uint32_t MemoFile::first_data_block() const {
  return memo::first_data_block(kind_, block_size_);
}

uint32_t MemoFile::blocks_for(uint64_t len) const {
  uint64_t blocks = ceil_div(len + value_overhead(kind_), block_size_);
  return static_cast<uint32_t>(std::min(blocks, kMaxBlockNumber));
}

Status MemoFile::next_free(uint32_t* out) {
  uint8_t word[4];
  XB_TRY(file_.read_exact(0, word, sizeof word));
  *out = std::max(load_next_free(kind_, word), first_data_block());
  return Status::ok();
}

Status MemoFile::write_header_next_free(uint32_t next_free) {
  uint8_t word[4];
  store_next_free(kind_, next_free, word);
  return file_.write(0, word, sizeof word);
}

Status MemoFile::allocation_start(uint32_t* out) {
  uint32_t next = 0;
  XB_TRY(next_free(&next));
  uint64_t size = 0;
  XB_TRY(file_.size(&size));
  // A stale or damaged next-free word must not let new memos overwrite data
  // that is already in the file.
  uint64_t end = ceil_div(size, block_size_);
  if (end > kMaxBlockNumber)
    return Status(e4write, "memo file " + file_.path() + " is full: no block number is left");
  *out = std::max<uint32_t>(next, static_cast<uint32_t>(end));
  return Status::ok();
}

Status MemoFile::scan_terminated(uint64_t offset, uint64_t file_size, Extent* ext,
                                 std::string* data) {
  // The memo runs to its first 0x1A; one missing it ends at the file's end
  // (what is there is the value) or is cut at kMaxMemoBytes.
  uint64_t limit = std::min(file_size - offset, kMaxMemoBytes);
  uint8_t chunk[kScanChunk];
  uint64_t pos = 0;
  bool found = false;
  if (data) data->clear();
  while (pos < limit && !found) {
    auto want = static_cast<size_t>(std::min<uint64_t>(kScanChunk, limit - pos));
    size_t got = 0;
    XB_TRY(file_.read(offset + pos, chunk, want, &got));
    if (got == 0) break;  // the file shrank under us
    const void* stop = std::memchr(chunk, kDbt3Terminator, got);
    size_t take = stop ? static_cast<size_t>(static_cast<const uint8_t*>(stop) - chunk) : got;
    if (data) data->append(reinterpret_cast<const char*>(chunk), take);
    pos += take;
    found = stop != nullptr;
  }
  ext->data_offset = offset;
  ext->data_len = pos;
  ext->used = found ? pos + 1 : pos;
  ext->type = kFptText;
  ext->scanned = true;
  ext->complete = found || offset + pos >= file_size;
  return Status::ok();
}

Status MemoFile::locate(uint32_t block, uint64_t file_size, Extent* ext, std::string* data) {
  if (block < first_data_block()) return damaged(block_place(block), "the reference lies inside the header");
  uint64_t offset = uint64_t(block) * block_size_;
  if (offset >= file_size) return damaged(block_place(block), "the reference lies past the end of the file");
  if (kind_ == MemoKind::kDbt3) return scan_terminated(offset, file_size, ext, data);

  uint8_t head[kBlockHeaderBytes];
  size_t got = 0;
  XB_TRY(file_.read(offset, head, sizeof head, &got));
  uint64_t room = file_size - offset;
  if (kind_ == MemoKind::kDbt4) {
    uint32_t total = 0;
    // The file ends inside a block header that has begun: damaged, not a
    // value of those few bytes.
    static constexpr uint8_t kMark[4] = {0xFF, 0xFF, 0x08, 0x00};
    if (got < sizeof head && std::equal(head, head + std::min<size_t>(got, 4), kMark))
      return damaged(block_place(block), "the memo block header is cut short");
    // Files written the dBASE III way beside a dBASE IV table exist; their
    // memos have no block header and end at 0x1A.
    if (got < sizeof head || !decode_dbt4_block(head, &total))
      return scan_terminated(offset, file_size, ext, data);
    if (total < kBlockHeaderBytes)
      return damaged(block_place(block), "the memo length " + std::to_string(total) + " is below 8");
    ext->data_len = total - kBlockHeaderBytes;
    ext->type = kFptText;
  } else {
    if (got < sizeof head) return damaged(block_place(block), "the memo block header is cut short");
    ext->type = io::load_u32be(head);
    ext->data_len = io::load_u32be(head + 4);
  }
  if (kBlockHeaderBytes + ext->data_len > room)
    return damaged(block_place(block),
                   "the memo length " + std::to_string(ext->data_len) + " runs past the end of the file");
  if (ext->data_len > kMaxMemoBytes)
    return damaged(block_place(block), "the memo length " + std::to_string(ext->data_len) + " is too large");
  ext->data_offset = offset + kBlockHeaderBytes;
  ext->used = kBlockHeaderBytes + ext->data_len;
  ext->scanned = false;
  ext->complete = true;
  return Status::ok();
}

Status MemoFile::read(uint32_t block, std::string* out, uint32_t* type) {
  out->clear();
  if (type) *type = kFptText;
  if (block == 0) return Status::ok();
  uint64_t size = 0;
  XB_TRY(file_.size(&size));
  Extent ext;
  XB_TRY(locate(block, size, &ext, out));
  if (!ext.scanned) {
    out->resize(static_cast<size_t>(ext.data_len));
    XB_TRY(file_.read_exact(ext.data_offset, out->data(), out->size()));
  }
  if (type) *type = ext.type;
  return Status::ok();
}

Status MemoFile::blocks_in_use(uint32_t block, uint32_t* out) {
  *out = 0;
  if (block == 0) return Status::ok();
  uint64_t size = 0;
  XB_TRY(file_.size(&size));
  Extent ext;
  Status st = locate(block, size, &ext, nullptr);
  // A damaged old memo is simply not reused: the new value goes to fresh blocks.
  if (!st) return st.code() == e4data ? Status::ok() : st;
  if (ext.complete) *out = static_cast<uint32_t>(ceil_div(ext.used, block_size_));
  return Status::ok();
}

Status MemoFile::write(uint32_t* block, std::string_view value, uint32_t type) {
  if (value.size() > kMaxMemoBytes)
    return Status(e4parm, "memo file " + file_.path() + ": a value of " +
                              std::to_string(value.size()) + " bytes is too large");
  if (value.empty()) {
    *block = 0;
    return Status::ok();
  }
  uint32_t need = blocks_for(value.size());
  if (*block != 0) {
    uint32_t used = 0;
    XB_TRY(blocks_in_use(*block, &used));
    if (need <= used) return write_at(*block, value, type);
  }
  uint32_t start = 0;
  XB_TRY(allocation_start(&start));
  if (uint64_t(start) + need > kMaxBlockNumber)
    return Status(e4write, "memo file " + file_.path() + " is full: no block number is left");
  // Data first, then the word that accounts for it. With write caching the
  // cache writes pages in ascending order (header first); a crash between
  // them leaves the header ahead of the data, which only wastes the blocks.
  XB_TRY(write_at(start, value, type));
  XB_TRY(write_header_next_free(start + need));
  *block = start;
  return Status::ok();
}

Status MemoFile::write_at(uint32_t block, std::string_view value, uint32_t type) {
  if (block < first_data_block())
    return Status(e4parm, "memo file " + file_.path() + ": block " + std::to_string(block) +
                              " lies inside the header");
  if (value.size() > kMaxMemoBytes)
    return Status(e4parm, "memo file " + file_.path() + ": a value of " +
                              std::to_string(value.size()) + " bytes is too large");
  uint64_t offset = uint64_t(block) * block_size_;
  uint64_t total = uint64_t(blocks_for(value.size())) * block_size_;
  uint8_t head[kBlockHeaderBytes];
  size_t head_len = encode_block_header(kind_, type, value.size(), head);
  // Terminator (DBT III) and zero slack up to the last block's end.
  std::string tail(static_cast<size_t>(total - head_len - value.size()), '\0');
  if (kind_ == MemoKind::kDbt3)
    std::fill_n(tail.begin(), kDbt3TerminatorBytes, char(kDbt3Terminator));

  if (total <= kOneWriteLimit) {
    std::string image(reinterpret_cast<const char*>(head), head_len);
    image.append(value);
    image.append(tail);
    return file_.write(offset, image.data(), image.size());
  }
  if (head_len) XB_TRY(file_.write(offset, head, head_len));
  XB_TRY(file_.write(offset + head_len, value.data(), value.size()));
  return file_.write(offset + head_len + value.size(), tail.data(), tail.size());
}

Status MemoFile::set_end(uint32_t next_free) {
  if (next_free < first_data_block())
    return Status(e4parm, "memo file " + file_.path() + ": next free block " +
                              std::to_string(next_free) + " lies inside the header");
  XB_TRY(write_header_next_free(next_free));
  return file_.truncate(uint64_t(next_free) * block_size_);
}

}  // namespace xbase::memo
