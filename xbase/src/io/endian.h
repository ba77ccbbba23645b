// Little- and big-endian loads and stores over raw bytes. Every multi-byte
// word of the xBase formats goes through these; they never assume alignment.
#pragma once

#include <cstdint>
#include <cstring>

namespace xbase::io {

inline uint16_t load_u16le(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<uint16_t>(b[0] | (b[1] << 8));
}
inline uint32_t load_u32le(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return uint32_t(b[0]) | (uint32_t(b[1]) << 8) | (uint32_t(b[2]) << 16) | (uint32_t(b[3]) << 24);
}
inline uint64_t load_u64le(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return uint64_t(load_u32le(b)) | (uint64_t(load_u32le(b + 4)) << 32);
}
inline uint16_t load_u16be(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return static_cast<uint16_t>((b[0] << 8) | b[1]);
}
inline uint32_t load_u32be(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
}
inline uint64_t load_u64be(const void* p) {
  const auto* b = static_cast<const uint8_t*>(p);
  return (uint64_t(load_u32be(b)) << 32) | uint64_t(load_u32be(b + 4));
}

inline void store_u16le(void* p, uint16_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = uint8_t(v);
  b[1] = uint8_t(v >> 8);
}
inline void store_u32le(void* p, uint32_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = uint8_t(v);
  b[1] = uint8_t(v >> 8);
  b[2] = uint8_t(v >> 16);
  b[3] = uint8_t(v >> 24);
}
inline void store_u64le(void* p, uint64_t v) {
  auto* b = static_cast<uint8_t*>(p);
  store_u32le(b, uint32_t(v));
  store_u32le(b + 4, uint32_t(v >> 32));
}
inline void store_u16be(void* p, uint16_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = uint8_t(v >> 8);
  b[1] = uint8_t(v);
}
inline void store_u32be(void* p, uint32_t v) {
  auto* b = static_cast<uint8_t*>(p);
  b[0] = uint8_t(v >> 24);
  b[1] = uint8_t(v >> 16);
  b[2] = uint8_t(v >> 8);
  b[3] = uint8_t(v);
}
inline void store_u64be(void* p, uint64_t v) {
  auto* b = static_cast<uint8_t*>(p);
  store_u32be(b, uint32_t(v >> 32));
  store_u32be(b + 4, uint32_t(v));
}

inline double load_f64le(const void* p) {
  uint64_t u = load_u64le(p);
  double d;
  std::memcpy(&d, &u, sizeof d);
  return d;
}
inline void store_f64le(void* p, double d) {
  uint64_t u;
  std::memcpy(&u, &d, sizeof u);
  store_u64le(p, u);
}
inline double load_f64be(const void* p) {
  uint64_t u = load_u64be(p);
  double d;
  std::memcpy(&d, &u, sizeof d);
  return d;
}

}  // namespace xbase::io
