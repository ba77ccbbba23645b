// Index keys as bytes whose unsigned byte order (memcmp) is the order of
// their values.
//
//   text      the bytes as the expression gives them, blank padded; with the
//             general collation the sort weights of the text (collation.h)
//   number    8 bytes: the IEEE double big-endian; sign bit flipped for
//             values >= 0, all 64 bits inverted for negative ones; -0 is 0
//   int32     4 bytes: the value XOR 0x80000000, big-endian (bare I fields)
//   date      8 bytes: the day number as a number key
//   date-time 8 bytes: day number plus fraction of the day, as a number key
//   logical   1 byte: 'T' or 'F'
// A key of a nullable expression carries one byte more in front: 0x80 for a
// value, and a null key is all zero bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace xbase::index {

enum class KeyKind : uint8_t { kText, kNumber, kInt32, kDate, kDateTime, kLogical };

enum class Collation : uint8_t { kMachine, kGeneral };

inline constexpr uint8_t kNotNullMark = 0x80;
inline constexpr size_t kNumberKeyLen = 8;
inline constexpr size_t kInt32KeyLen = 4;

void encode_number(double value, uint8_t out[8]);
double decode_number(const uint8_t in[8]);
void encode_int32(int32_t value, uint8_t out[4]);
int32_t decode_int32(const uint8_t in[4]);

// What trailing bytes a key is padded with (and what compact leaves drop):
// blanks for machine-collated text, zero bytes for everything else.
inline uint8_t pad_byte(KeyKind kind, Collation collation) {
  return kind == KeyKind::kText && collation == Collation::kMachine ? uint8_t(' ') : uint8_t(0);
}

// Reads a seek value given as text into the key of a non-text tag:
// numbers as decimal text, dates as CCYYMMDD, date-times as
// CCYYMMDDhh:mm:ss, logicals by their first letter. Answers the key length.
size_t key_from_text(KeyKind kind, std::string_view text, uint8_t* out);

std::string_view kind_name(KeyKind kind);

// A readable form of a key for messages and tools: machine text as it is,
// numbers and dates decoded, anything else as hex. `nullable` keys lose
// their mark first ("NULL" for a null key).
std::string describe_key(KeyKind kind, Collation collation, bool nullable, const uint8_t* key,
                         size_t len);

}  // namespace xbase::index
