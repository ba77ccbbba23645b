// Numbers stored as text (N and F fields, numeric index keys, VAL()).
#pragma once

#include <cstddef>
#include <cstdint>

namespace xbase::table {

// Reads the number a field's text holds: leading blanks, a sign, digits with
// one decimal point, trailing blanks; anything else as the C library reads it.
// Exact (one rounding) for up to 15 significant digits; 0 for text that is not
// a finite number.
double parse_number(const char* text, size_t len);
// parse_number cut toward zero and clamped to the 32-bit range.
int32_t parse_long(const char* text, size_t len);
// Writes `value` right-aligned in `width` characters with `dec` decimals,
// rounded half away from zero; asterisks when it does not fit. Answers
// false on overflow.
bool format_number(double value, uint32_t width, uint32_t dec, char* out);

}  // namespace xbase::table
