// Byte layouts of the three memo file kinds, with no I/O: MemoFile reads
// and writes the bytes, this codec says what they mean.
//
// DBT III header (block 0, 512 bytes)     DBT IV header (block 0, one whole block)
//   0-3   u32le next free block             0-3   u32le next free block (or free chain head)
//   4-7   u32le 512 (written, not read)     4-7   zero
//   16    0x03 (written, not read)          8-15  table base name, blank-padded
//                                           16-19 zero
//                                           20-21 u16le block size in bytes
// FPT header (512 bytes, whatever the block size)
//   0-3   u32be next free block
//   4-5   zero
//   6-7   u16be block size in bytes (1 is legal)
//
// A memo starts at a block boundary:
//   DBT III  data, then 1A 1A. No length word, so a value cannot hold 0x1A.
//   DBT IV   FF FF 08 00, u32le length counting these 8 bytes, data.
//   FPT      u32be type, u32be data length (header excluded), data.
// Slack after a memo up to its last block boundary is written as zeros.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "memo/memo_file.h"

namespace xbase::memo {

inline constexpr uint32_t kDbt3BlockSize = 512;
inline constexpr uint32_t kDbt4DefaultBlockSize = 512;
// Block 0 holds the header fields, so a DBT IV block is never smaller than
// the smallest size dBASE offers (64).
inline constexpr uint32_t kDbt4MinBlockSize = 64;
inline constexpr uint32_t kFptDefaultBlockSize = 64;
inline constexpr uint32_t kMaxBlockSize = 0xFFFF;  // both layouts store it in 16 bits
inline constexpr uint32_t kFptHeaderBytes = 512;

inline constexpr size_t kDbt3HeaderFields = 4;   // next free
inline constexpr size_t kDbt4HeaderFields = 22;  // through the block size
inline constexpr size_t kFptHeaderFields = 8;    // through the block size

inline constexpr size_t kDbt4BlockSizeAt = 20;
inline constexpr size_t kDbt4NameAt = 8;
inline constexpr size_t kDbt4NameLen = 8;
inline constexpr size_t kFptBlockSizeAt = 6;

inline constexpr uint8_t kDbt3Terminator = 0x1A;
inline constexpr size_t kDbt3TerminatorBytes = 2;
inline constexpr size_t kBlockHeaderBytes = 8;  // DBT IV and FPT memo block header

// Header bytes a file must have for its header to be read.
size_t header_fields_len(MemoKind kind);
// Block size from the first header_fields_len(kind) bytes of a file; false
// with `*why` when the value is impossible.
bool parse_block_size(MemoKind kind, const uint8_t* header, uint32_t* block_size,
                      const char** why);
bool valid_block_size(MemoKind kind, uint32_t block_size);
uint32_t default_block_size(MemoKind kind);
uint32_t first_data_block(MemoKind kind, uint32_t block_size);

// The header of a new, empty file: one block (FPT: 512 bytes).
std::string new_header(MemoKind kind, uint32_t block_size, std::string_view table_name);

uint32_t load_next_free(MemoKind kind, const uint8_t* word);
void store_next_free(MemoKind kind, uint32_t next_free, uint8_t* word);

// Bytes a stored value needs beyond its data: block header or terminator.
size_t value_overhead(MemoKind kind);

// DBT IV memo block header: true when `b` starts FF FF 08 00; `*total`
// receives the length word (header included).
bool decode_dbt4_block(const uint8_t* b, uint32_t* total);
// Writes what precedes the data of a memo of `len` bytes (DBT IV, FPT: 8
// bytes; DBT III: nothing) and answers its size.
size_t encode_block_header(MemoKind kind, uint32_t type, uint64_t len, uint8_t* out);

}  // namespace xbase::memo
