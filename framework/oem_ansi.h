// Conversions between the OEM character set (code page 437, the one DOS-era
// tables hold) and the ANSI set (code page 1252, the one the components show),
// with the calling conventions of the platform functions of the same names.
// A character the target set lacks becomes its best fit: the same letter
// without its accent, an ASCII look-alike for symbols and box drawing
// ("+", "-", the broken bar for vertical lines), or "?".
#pragma once

#include <cstdint>

namespace vg {

// Convert a NUL-terminated string, the NUL included; `src` and `dst` may be
// the same buffer. False (nothing written) when either pointer is null.
bool OemToCharA(const char* src, char* dst);
bool CharToOemA(const char* src, char* dst);
// Convert exactly `length` bytes, NULs included; `src` and `dst` may be the
// same buffer. False when either pointer is null.
bool OemToCharBuffA(const char* src, char* dst, uint32_t length);
bool CharToOemBuffA(const char* src, char* dst, uint32_t length);

// One character.
char OemToAnsiChar(char c);
char AnsiToOemChar(char c);

}  // namespace vg
