// The table file header and field descriptors.
//
// Level-5 layout (dBASE III/IV, FoxPro, Clipper):
//   0     version byte          4-7  u32le record count
//   1-3   last update YY MM DD  8-9  u16le header length (offset of record 1)
//   10-11 u16le record length, deletion flag included
//   28    table flags           29   code page mark
//   32..  32-byte descriptors, then 0x0D; the later FoxPro table adds a
//         263-byte backlink after the terminator.
// Descriptor: 0-10 name (NUL-padded), 11 type, 12-15 displacement (FoxPro),
//   16 length, 17 decimals (Clipper: high byte of a C length), 18 FoxPro
//   field flags, 19-22 next autoincrement value, 23 autoincrement step.
// Level-7 layout (dBASE 7): header 68 bytes, descriptors 48 bytes:
//   0-31 name, 32 type, 33 length, 34 decimals, 40-43 next autoincrement.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "memo/memo_file.h"
#include "util/status.h"

namespace xbase::table {

inline constexpr uint8_t kTerminator = 0x0D;
inline constexpr uint8_t kEofMark = 0x1A;
inline constexpr uint8_t kDeletedMark = '*';
inline constexpr size_t kVfpBacklinkSize = 263;

// FoxPro field flags (descriptor byte 18).
inline constexpr uint8_t kFieldSystem = 0x01;
inline constexpr uint8_t kFieldNullable = 0x02;
inline constexpr uint8_t kFieldBinary = 0x04;
inline constexpr uint8_t kFieldAutoinc = 0x08;

// Table flags (header byte 28).
inline constexpr uint8_t kTableHasIndex = 0x01;
inline constexpr uint8_t kTableHasMemo = 0x02;

// How a field's bytes are stored; the type letter alone is ambiguous
// (B is a double in FoxPro tables and a memo in dBASE ones).
enum class Storage : uint8_t {
  kText,        // C, V: bytes, blank padded
  kNumber,      // N, F: right-aligned decimal text
  kDate,        // D: CCYYMMDD
  kLogical,     // L
  kMemoText,    // M, G, B, P, W in 10-digit text reference form
  kMemoBinary,  // M, G, P, W in FoxPro's u32le reference form
  kInt32,       // I (FoxPro): i32le
  kDouble,      // B (FoxPro): f64le
  kCurrency,    // Y: i64le x 10000
  kDateTime,    // T: i32le day number + i32le milliseconds
  kLong7,       // I, + (dBASE 7): u32be with the sign bit flipped
  kDouble7,     // O (dBASE 7): sortable f64be
  kTimestamp7,  // @ (dBASE 7): f64be milliseconds since 0001-01-01 less a day
  kNullFlags,   // _NullFlags system field
  kRaw,         // anything else: bytes as stored
};

struct FieldDesc {
  std::string name;  // upper case
  char type = 'C';
  uint32_t len = 0;
  uint8_t dec = 0;
  uint8_t flags = 0;  // FoxPro field flags
  uint32_t offset = 0;  // within the record; the deletion flag is byte 0
  Storage storage = Storage::kRaw;
  int null_bit = -1;    // bit in _NullFlags, -1 when not nullable
  int varlen_bit = -1;  // V/Q: bit telling the length sits in the last byte
  uint32_t autoinc_next = 0;
  uint8_t autoinc_step = 0;

  bool is_memo() const { return storage == Storage::kMemoText || storage == Storage::kMemoBinary; }
  bool is_binary() const;  // padded with zero bytes rather than blanks
};

enum class Family { kDbase3, kDbase4, kDbase7, kFox2, kVfp };

struct TableHeader {
  uint8_t version = 0x03;
  uint8_t update_yy = 0, update_mm = 1, update_dd = 1;
  uint32_t record_count = 0;
  uint16_t header_len = 0;
  uint16_t record_len = 1;
  uint8_t table_flags = 0;
  uint8_t code_page = 0;
  int level = 5;  // 5 or 7
  Family family = Family::kDbase3;
  std::vector<FieldDesc> fields;  // every descriptor, _NullFlags included
  int null_flags_field = -1;      // index in fields, -1 when none
  bool needs_memo = false;
  std::vector<uint8_t> raw;  // the header bytes as read or built

  size_t user_field_count() const { return fields.size() - (null_flags_field >= 0 ? 1 : 0); }
};

// Parses `size` bytes of header (at least 32; the caller reads header_len
// bytes once it knows it). Checks every length and offset against the
// header and record lengths: e4data when they lie, e4open when the version
// byte is not one this engine can honour. `file_size` (0 when unknown)
// settles a record length that the fields overrun.
Status parse_header(const uint8_t* data, size_t size, uint64_t file_size, TableHeader* out);
// Bytes 8-9 of a header prefix, or 0 when fewer than 32 bytes are given.
uint16_t header_length_of(const uint8_t* data, size_t size);

// Which memo layout a version byte implies when the table has memo fields.
memo::MemoKind memo_kind_for(const TableHeader& header);

// Builds a new header for `fields` (user fields; the null-flags field is
// added when any is nullable). Fills offsets, storage, null bits, lengths.
struct CreateOptions {
  Family family = Family::kFox2;
  uint8_t code_page = 0;
  bool clipper_terminator = false;  // Clipper ends the descriptors with 0D 00
};
Status build_header(const std::vector<FieldDesc>& fields, const CreateOptions& options,
                    TableHeader* out);

// Serialises bytes 1-7 (update date and record count) for a header rewrite.
void encode_count_and_date(const TableHeader& header, uint8_t out[7]);
// Sets the header's update date to today.
void stamp_today(TableHeader* header);

// Version byte of a table of this family with or without memo fields.
uint8_t version_byte_for(Family family, bool has_memo, bool has_autoinc, bool has_varlen);

}  // namespace xbase::table
