#include "framework/oem_ansi.h"

#include "framework/oem_ansi_tables.h"

namespace vg {

namespace {

bool convert_string(const unsigned char* table, const char* src, char* dst) {
  if (src == nullptr || dst == nullptr) return false;
  while (true) {
    const auto c = static_cast<unsigned char>(*src++);
    *dst++ = static_cast<char>(table[c]);
    if (c == 0) return true;
  }
}

bool convert_buffer(const unsigned char* table, const char* src, char* dst, uint32_t length) {
  if (src == nullptr || dst == nullptr) return false;
  for (uint32_t i = 0; i < length; ++i)
    dst[i] = static_cast<char>(table[static_cast<unsigned char>(src[i])]);
  return true;
}

}  // namespace

bool OemToCharA(const char* src, char* dst) {
  return convert_string(oem_ansi::kOemToAnsi, src, dst);
}

bool CharToOemA(const char* src, char* dst) {
  return convert_string(oem_ansi::kAnsiToOem, src, dst);
}

bool OemToCharBuffA(const char* src, char* dst, uint32_t length) {
  return convert_buffer(oem_ansi::kOemToAnsi, src, dst, length);
}

bool CharToOemBuffA(const char* src, char* dst, uint32_t length) {
  return convert_buffer(oem_ansi::kAnsiToOem, src, dst, length);
}

char OemToAnsiChar(char c) {
  return static_cast<char>(oem_ansi::kOemToAnsi[static_cast<unsigned char>(c)]);
}

char AnsiToOemChar(char c) {
  return static_cast<char>(oem_ansi::kAnsiToOem[static_cast<unsigned char>(c)]);
}

}  // namespace vg
