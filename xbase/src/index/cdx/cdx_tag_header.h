// The 1024-byte tag header of a CDX file (layout in cdx_layout.h); the
// file header at offset 0 is the tag directory's header in the same form.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "util/status.h"

namespace xbase::index::cdx {

struct CdxTagHeader {
  uint32_t root = 0;
  uint32_t free_list = 0;
  uint32_t counter = 0;
  uint16_t key_len = 0;
  uint8_t options = 0;
  uint8_t signature = 1;
  std::string collation;  // as stored, upper case; empty for machine order
  bool descending = false;
  std::string key_expr;
  std::string filter;
};

// Reads a header found at byte offset `at`; e4data when its lengths or
// expression offsets contradict the header's size.
Status parse_tag_header(std::span<const uint8_t> bytes, uint64_t at, CdxTagHeader* out);

// Writes a header into 1024 bytes; e4index when the expressions do not fit
// the expression pool.
Status write_tag_header(const CdxTagHeader& header, std::span<uint8_t> out);

}  // namespace xbase::index::cdx
