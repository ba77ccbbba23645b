// The compound index file (.CDX) and its pages. Every number is
// little-endian unless marked BE; every pointer is a byte offset, a
// multiple of 512, with 0xFFFFFFFF for none.
//
// File: 512-byte pages. Offset 0 holds the header of the tag directory: a
// tree like any tag's, whose keys are the tag names (10 bytes, upper case,
// blank padded) and whose record numbers are the offsets of the tags' own
// headers. Each tag header (1024 bytes) points to its tree's root.
//
// Tag header (also the directory header):
//   0-3    root page            4-7   free page list (we never make one)
//   8-11   change counter (the directory header's counts every update)
//   12-13  key length           14    options (below)   15  signature
//   494-501 collation name, NUL padded ("GENERAL"; empty for machine)
//   502-503 1 = descending      504-505 FOR expression offset in the pool
//   506-507 FOR length with NUL 508-509 key expression offset
//   510-511 key expression length with NUL
//   512-1023 expression pool
// Options: 0x01 unique, 0x02 nullable key, 0x04 candidate, 0x08 FOR,
//   0x20 compact, 0x40 compound, 0x80 directory.
//
// Node header: 0-1 attributes (bit 0 root, bit 1 leaf), 2-3 key count,
//   4-7 left sibling, 8-11 right sibling.
// Interior node: from 12, count entries of key_len + 8 bytes: the key,
//   the record number BE, the child page BE.
// Compact leaf: 12-13 free bytes, 14-17 record-number mask, 18 duplicate
//   count mask, 19 trailing count mask, 20-22 bits for record number,
//   duplicate count and trailing count, 23 bytes per entry (E). From 24,
//   count E-byte little-endian entries [rec | dup << RN | trail << RN+DC];
//   the keys' new bytes are packed from the page end downwards. A key is
//   `dup` bytes of the previous key on the page, its new bytes, then
//   `trail` pad bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xbase::index::cdx {

inline constexpr uint32_t kPageSize = 512;
inline constexpr uint32_t kHeaderSize = 1024;
inline constexpr uint32_t kNone = 0xFFFFFFFFu;

// Tag header.
inline constexpr size_t kHdrRoot = 0;
inline constexpr size_t kHdrFreeList = 4;
inline constexpr size_t kHdrCounter = 8;
inline constexpr size_t kHdrKeyLen = 12;
inline constexpr size_t kHdrOptions = 14;
inline constexpr size_t kHdrSignature = 15;
inline constexpr size_t kHdrCollation = 494;
inline constexpr size_t kHdrCollationLen = 8;
inline constexpr size_t kHdrDescending = 502;
inline constexpr size_t kHdrForOffset = 504;
inline constexpr size_t kHdrForLen = 506;
inline constexpr size_t kHdrKeyOffset = 508;
inline constexpr size_t kHdrKeyExprLen = 510;
inline constexpr size_t kHdrPool = 512;
inline constexpr size_t kPoolSize = 512;

inline constexpr uint8_t kOptUnique = 0x01;
inline constexpr uint8_t kOptNullable = 0x02;
inline constexpr uint8_t kOptCandidate = 0x04;
inline constexpr uint8_t kOptFor = 0x08;
inline constexpr uint8_t kOptBitmap = 0x10;
inline constexpr uint8_t kOptCompact = 0x20;
inline constexpr uint8_t kOptCompound = 0x40;
inline constexpr uint8_t kOptDirectory = 0x80;

// The signature byte of tags of the later versions' bitmap ("binary")
// indexes, whose leaves hold a bit per record instead of keys.
inline constexpr uint8_t kSignatureBitmap = 5;

// Node header.
inline constexpr size_t kNodeAttr = 0;
inline constexpr size_t kNodeCount = 2;
inline constexpr size_t kNodeLeft = 4;
inline constexpr size_t kNodeRight = 8;
inline constexpr size_t kNodeHeader = 12;
inline constexpr uint16_t kAttrRoot = 0x01;
inline constexpr uint16_t kAttrLeaf = 0x02;

// Compact leaf.
inline constexpr size_t kLeafFree = 12;
inline constexpr size_t kLeafRecMask = 14;
inline constexpr size_t kLeafDupMask = 18;
inline constexpr size_t kLeafTrailMask = 19;
inline constexpr size_t kLeafRecBits = 20;
inline constexpr size_t kLeafDupBits = 21;
inline constexpr size_t kLeafTrailBits = 22;
inline constexpr size_t kLeafEntryBytes = 23;
inline constexpr size_t kLeafEntries = 24;
inline constexpr size_t kLeafSpace = kPageSize - kLeafEntries;     // 488
inline constexpr size_t kInteriorSpace = kPageSize - kNodeHeader;  // 500

inline constexpr uint32_t kMaxKeyLen = 240;
inline constexpr size_t kTagNameLen = 10;

}  // namespace xbase::index::cdx
