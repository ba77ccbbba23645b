// MemoFile: the memo file beside a table, in one of its three layouts.
//
//   kDbt3  dBASE III / Clipper .DBT: 512-byte blocks, header word 0 = next
//          free block (u32le); a memo runs from its first block to a 0x1A.
//   kDbt4  dBASE IV .DBT: block size at header 20-21 (u16le), next free at 0;
//          each memo starts FF FF 08 00 + u32le length including those 8 bytes.
//   kFpt   FoxPro .FPT: header u32be next free at 0, u16be block size at 6;
//          each memo starts u32be type + u32be length, then the data.
//
// Block numbers are what a record stores; 0 means "no memo". All access
// goes through the CachedFile so that caching and write-back order follow
// the table's mode. Allocation reads the next-free word from the file each
// time, so the caller must hold the memo allocation lock on a shared file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "io/cached_file.h"

namespace xbase::memo {

enum class MemoKind { kDbt3, kDbt4, kFpt };

// FPT block types.
inline constexpr uint32_t kFptPicture = 0;
inline constexpr uint32_t kFptText = 1;
inline constexpr uint32_t kFptObject = 2;

// Upper bound on one memo value, to survive a missing terminator or a
// length word that lies.
inline constexpr uint64_t kMaxMemoBytes = uint64_t(1) << 30;

class MemoFile {
 public:
  // Opens an existing memo file and validates its header (e4data when the
  // header is impossible, e.g. a zero or absurd block size). A DBT IV header
  // with a zero block size is a dBASE III-style file: 512-byte blocks.
  static Status open(std::unique_ptr<io::File> file, MemoKind kind, std::unique_ptr<MemoFile>* out);
  // Creates a new, empty memo file. block_size 0 picks the format default
  // (DBT 512, FPT 64). table_name fills the dBASE IV header's name field.
  static Status create(std::unique_ptr<io::File> file, MemoKind kind, uint32_t block_size,
                       const std::string& table_name, std::unique_ptr<MemoFile>* out);

  MemoKind kind() const { return kind_; }
  uint32_t block_size() const { return block_size_; }
  io::CachedFile& file() { return file_; }

  // Reads the memo starting at `block` (0 gives an empty value). `type`, when
  // given, receives the FPT block type (kFptText for the DBT layouts).
  // A block past the end of the file, a bad block header or a length running
  // past the end of the file is e4data.
  Status read(uint32_t block, std::string* out, uint32_t* type = nullptr);

  // Stores `value` for a record whose reference is `*block` (0: none yet).
  // Rewrites in place when the value still fits the blocks the old value
  // occupied, otherwise allocates at the next free block (updating the
  // header) and answers the new block; an empty value answers 0. Data is
  // written before the header word that accounts for it. DBT III has no
  // length word: a value holding 0x1A is stored whole but reads back cut there.
  Status write(uint32_t* block, std::string_view value, uint32_t type);

  // Number of blocks a value of `len` bytes occupies (header or terminator
  // included).
  uint32_t blocks_for(uint64_t len) const;
  // First block that can hold data (after the file header).
  uint32_t first_data_block() const;
  // Current next-free block as stored in the header (re-read from the file).
  Status next_free(uint32_t* out);

  // Used by memo compression: writes `value` at `block` unconditionally, and
  // sets the header's next-free block and cuts the file there.
  Status write_at(uint32_t block, std::string_view value, uint32_t type);
  Status set_end(uint32_t next_free);

  Status flush() { return file_.flush(); }

 private:
  // Where a stored memo lies.
  struct Extent {
    uint64_t data_offset = 0;
    uint64_t data_len = 0;
    uint64_t used = 0;        // bytes spanned from the block start: header, data, terminator
    uint32_t type = kFptText;
    bool scanned = false;     // data already collected by the terminator scan
    bool complete = true;     // false when the scan stopped at kMaxMemoBytes
  };

  MemoFile(std::unique_ptr<io::File> file, MemoKind kind) : file_(std::move(file)), kind_(kind) {}
  Status read_header();
  Status write_header_next_free(uint32_t next_free);
  // Blocks the memo stored at `block` occupies now (0 when unknown).
  Status blocks_in_use(uint32_t block, uint32_t* out);
  // Block where a new memo goes: next free, but never inside the data that
  // the file already holds.
  Status allocation_start(uint32_t* out);
  // Finds the memo at `block` in a file of `file_size` bytes. Terminated
  // memos collect their data into `data` (when given) while being scanned.
  Status locate(uint32_t block, uint64_t file_size, Extent* ext, std::string* data);
  Status scan_terminated(uint64_t offset, uint64_t file_size, Extent* ext, std::string* data);
  // "memo file <path>: block <n> (offset <o>)", where damage is reported.
  std::string block_place(uint32_t block) const;

  io::CachedFile file_;
  MemoKind kind_;
  uint32_t block_size_ = 512;
};

}  // namespace xbase::memo
