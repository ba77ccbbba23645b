// The general collation: text keys made of sort weights, so that the byte
// order of keys is an order that ignores case and accents.
//
// Each character of the text (trailing blanks dropped) becomes one weight
// byte: blank and the ASCII punctuation from 0x11 in ASCII order, other
// symbols after them, digits from 0x56, letters from 0x60 with upper and
// lower case and accented forms sharing their letter's weight. The key is
// twice the text's width, as the FoxPro products size such keys, and the
// unused part is zero bytes. These weights agree with the keys FoxPro
// writes for ASCII text; accented letters sort with their base letter but
// their keys lack the diacritic part FoxPro appends.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xbase::index {

// Weight of one byte of code page 1252 (ANSI) text.
uint8_t general_weight(uint8_t c);

// Writes the weights of `text` (trailing blanks dropped) into `out` and
// zero-fills it to `out_len`; answers how many weight bytes there are.
size_t general_key(const char* text, size_t len, uint8_t* out, size_t out_len);

// Weights of a seek value, one byte per character; its trailing blanks
// become the keys' zero padding, so "ABC  " finds the key of "ABC". Answers the number of bytes
// written (at most out_len).
size_t general_seek_key(const char* text, size_t len, uint8_t* out, size_t out_len);

}  // namespace xbase::index
