// Value types and limits shared by every part of the expression engine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xbase::expr {

// What a node yields. Dates travel as day numbers (0 for a blank date),
// date-times as the sixteen characters "CCYYMMDDhh:mm:ss" (blanks when
// empty), so they compare as text in time order.
enum class Type : uint8_t { kText, kNumber, kDate, kLogical, kDateTime };

// A text value: bytes owned by the record buffer, a constant or the scratch
// buffer of the node that made it; valid until that node is evaluated again.
struct TextView {
  const char* data = "";
  size_t size = 0;
};

// Nesting beyond this is refused at parse time, so that parsing, compiling
// and evaluation recurse a bounded number of times.
inline constexpr int kMaxDepth = 256;
// Text values are cut at 1 MiB, and static widths too: it bounds what one
// expression can make REPLICATE or SPACE allocate. Memo values longer than
// this are seen cut.
inline constexpr size_t kMaxTextLen = size_t{1} << 20;
// Computed numbers (type 'n') are shown right-aligned in 20 characters:
// expr4len answers 20 and expr4str formats the double with the decimals the
// expression's operands suggest (see Node::dec).
inline constexpr uint32_t kNumberWidth = 20;
inline constexpr uint32_t kMaxDecimals = 10;
// Date-times are "CCYYMMDDhh:mm:ss".
inline constexpr uint32_t kDateTimeWidth = 16;
inline constexpr uint32_t kDateWidth = 8;
// A memo's static width (its values vary): what expr4str of a bare memo, or
// of UPPER(memo), shows. LEFT and SUBSTR with constant lengths narrow it.
inline constexpr uint32_t kMemoWidth = 255;
// Date pictures longer than this are cut (code4dateFormatSet keeps 255).
inline constexpr size_t kMaxPicture = 255;
// Width given to a text result that has neither a constant length nor a text
// operand to take its width from (SPACE(n), STR(x, n) with n not constant).
inline constexpr uint32_t kDefaultWidth = 10;

const char* type_name(Type t);

}  // namespace xbase::expr
