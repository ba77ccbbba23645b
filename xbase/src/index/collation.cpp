#include "index/collation.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace xbase::index {

namespace {

constexpr uint8_t kFirstPunct = 0x11;  // blank
constexpr uint8_t kLastSymbol = 0x55;
constexpr uint8_t kFirstDigit = 0x56;
constexpr uint8_t kFirstLetter = 0x60;  // a

// Weights of the letters a..z, with room left where letters of other
// alphabets sort between them (eth after d, n-tilde after n, thorn last).
constexpr uint8_t kLetter[26] = {0x60, 0x61, 0x62, 0x64, 0x66, 0x67, 0x68, 0x69, 0x6A,
                                 0x6B, 0x6C, 0x6D, 0x6E, 0x6F, 0x72, 0x73, 0x74, 0x75,
                                 0x76, 0x77, 0x78, 0x79, 0x7A, 0x7C, 0x7D, 0x7E};
constexpr uint8_t kEth = 0x65;
constexpr uint8_t kNTilde = 0x70;
constexpr uint8_t kThorn = 0x7F;

constexpr uint8_t letter(char c) { return kLetter[c - 'a']; }

// The base letter of the accented letters of code page 1252 (0xC0-0xFF and the
// few in 0x80-0x9F), 0 for those that are not letters.
constexpr uint8_t latin1_base(uint8_t c) {
  switch (c) {
    case 0x8A:
    case 0x9A:
      return letter('s');  // S and s caron
    case 0x8C:
    case 0x9C:
      return letter('o');  // OE ligature
    case 0x8E:
    case 0x9E:
      return letter('z');  // Z and z caron
    case 0x9F:
      return letter('y');  // Y diaeresis
    case 0x83:
      return letter('f');  // f hook
    default:
      break;
  }
  if (c < 0xC0 || c == 0xD7 || c == 0xF7) return 0;                  // times and divide are symbols
  const uint8_t u = c >= 0xE0 ? static_cast<uint8_t>(c - 0x20) : c;  // to upper
  if (u <= 0xC5) return letter('a');
  if (u == 0xC6) return letter('a');  // AE ligature
  if (u == 0xC7) return letter('c');
  if (u <= 0xCB) return letter('e');
  if (u <= 0xCF) return letter('i');
  if (u == 0xD0) return kEth;
  if (u == 0xD1) return kNTilde;
  if (u <= 0xD6 || u == 0xD8) return letter('o');
  if (u <= 0xDC) return letter('u');
  if (u == 0xDD) return letter('y');
  if (u == 0xDE) return kThorn;
  if (c == 0xDF) return letter('s');  // sharp s
  if (c == 0xFF) return letter('y');
  return 0;
}

constexpr std::array<uint8_t, 256> make_weights() {
  std::array<uint8_t, 256> w{};
  // Control characters sort before blank.
  for (int c = 0; c < 0x20; ++c) w[c] = static_cast<uint8_t>(1 + c / 2);
  // Blank through '/' in ASCII order, then the other ASCII punctuation,
  // then every other symbol in byte order.
  uint8_t next = kFirstPunct;
  for (int c = 0x20; c <= 0x2F; ++c) w[c] = next++;
  for (int c :
       {':', ';', '<', '=', '>', '?', '@', '[', '\\', ']', '^', '_', '`', '{', '|', '}', '~'})
    w[c] = next++;
  for (int c = 0x7F; c <= 0xFF; ++c) {
    if (latin1_base(static_cast<uint8_t>(c)) != 0) continue;
    w[c] = next < kLastSymbol ? next++ : kLastSymbol;
  }
  for (int c = '0'; c <= '9'; ++c) w[c] = static_cast<uint8_t>(kFirstDigit + (c - '0'));
  for (int c = 'a'; c <= 'z'; ++c) w[c] = w[c - 0x20] = letter(static_cast<char>(c));
  for (int c = 0x80; c <= 0xFF; ++c)
    if (uint8_t b = latin1_base(static_cast<uint8_t>(c)); b != 0) w[c] = b;
  return w;
}

constexpr std::array<uint8_t, 256> kWeights = make_weights();
static_assert(kWeights[' '] == 0x11 && kWeights['.'] == 0x1F && kWeights['1'] == 0x57);
static_assert(kWeights['A'] == kFirstLetter && kWeights['x'] == 0x7C);

}  // namespace

uint8_t general_weight(uint8_t c) { return kWeights[c]; }

size_t general_key(const char* text, size_t len, uint8_t* out, size_t out_len) {
  while (len > 0 && text[len - 1] == ' ') --len;
  const size_t n = std::min(len, out_len);
  for (size_t i = 0; i < n; ++i) out[i] = kWeights[static_cast<uint8_t>(text[i])];
  std::memset(out + n, 0, out_len - n);
  return n;
}

size_t general_seek_key(const char* text, size_t len, uint8_t* out, size_t out_len) {
  const size_t n = std::min(len, out_len);
  size_t body = n;
  while (body > 0 && text[body - 1] == ' ') --body;
  for (size_t i = 0; i < body; ++i) out[i] = kWeights[static_cast<uint8_t>(text[i])];
  std::memset(out + body, 0, n - body);  // trailing blanks stand for the key's padding
  return n;
}

}  // namespace xbase::index
