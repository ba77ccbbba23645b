// Text functions. Positions and lengths out of range give shorter or empty
// results, never an error. Results that are parts of an operand (the trims,
// SUBSTR, LEFT, RIGHT) are views of it: no copy. Case mapping covers ASCII
// letters only: the engine does not know the table's character set.
//
// Static widths: a constant length gives the width (SUBSTR(X,3,5) is 5,
// LEFT(X,n) n, SPACE(n) n); otherwise the text operand's width (the trims,
// SUBSTR with a length that varies), as index keys of these expressions
// are padded to it.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "expr/binding.h"
#include "expr/compare.h"
#include "expr/fast_paths.h"

namespace xbase::expr {

namespace {

constexpr int64_t kMaxLen = static_cast<int64_t>(kMaxTextLen);

TextView left_trimmed(TextView v) {
  size_t s = 0;
  while (s < v.size && v.data[s] == ' ') ++s;
  return {v.data + s, v.size - s};
}

TextView right_trimmed(TextView v) {
  size_t e = v.size;
  while (e > 0 && v.data[e - 1] == ' ') --e;
  return {v.data, e};
}

TextView fn_alltrim(Program& p, const Node& n) {
  return right_trimmed(left_trimmed(p.text(n.arg[0])));
}
TextView fn_ltrim(Program& p, const Node& n) { return left_trimmed(p.text(n.arg[0])); }
TextView fn_rtrim(Program& p, const Node& n) { return right_trimmed(p.text(n.arg[0])); }

// The letters of code page 1252 beyond ASCII, for tables marked with that
// code page (the FoxPro products change their case as well).
inline constexpr uint8_t kAnsiCodePage = 0x03;

template <bool kUpper>
char ansi_case(unsigned char c) {
  if (kUpper) {
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<char>(c - 0x20);
    if (c == 0x9A || c == 0x9C || c == 0x9E) return static_cast<char>(c - 0x10);
    if (c == 0xFF) return static_cast<char>(0x9F);
  } else {
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<char>(c + 0x20);
    if (c == 0x8A || c == 0x8C || c == 0x8E) return static_cast<char>(c + 0x10);
    if (c == 0x9F) return static_cast<char>(0xFF);
  }
  return static_cast<char>(c);
}

template <bool kUpper>
TextView fn_case(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  char* out = p.scratch(n, v.size);
  ascii_case<kUpper>(v.data, v.size, out);
  if (p.table(0)->header().code_page == kAnsiCodePage)
    for (size_t i = 0; i < v.size; ++i)
      if (static_cast<unsigned char>(out[i]) >= 0x80) out[i] = ansi_case<kUpper>(static_cast<unsigned char>(out[i]));
  return {out, v.size};
}

// SUBSTR(s, start[, count]): start below 1 counts as 1.
TextView fn_substr(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  const int64_t start = clamp_int(p.number(n.arg[1]), 1, kMaxLen + 1);
  if (static_cast<size_t>(start) > v.size) return {v.data + v.size, 0};
  const size_t rest = v.size - static_cast<size_t>(start - 1);
  const size_t count =
      n.argc > 2 ? static_cast<size_t>(clamp_int(p.number(n.arg[2]), 0, kMaxLen)) : rest;
  return {v.data + (start - 1), std::min(count, rest)};
}

TextView fn_left(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  const auto count = static_cast<size_t>(clamp_int(p.number(n.arg[1]), 0, kMaxLen));
  return {v.data, std::min(count, v.size)};
}

TextView fn_right(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  const size_t count =
      std::min(static_cast<size_t>(clamp_int(p.number(n.arg[1]), 0, kMaxLen)), v.size);
  return {v.data + (v.size - count), count};
}

double fn_len(Program& p, const Node& n) { return static_cast<double>(p.text(n.arg[0]).size); }
double fn_len_fixed(Program&, const Node& n) { return n.num; }

double fn_at(Program& p, const Node& n) {
  const TextView needle = p.text(n.arg[0]);
  return static_cast<double>(find_text(needle, p.text(n.arg[1])) + 1);
}

TextView fn_space(Program& p, const Node& n) {
  const auto count = static_cast<size_t>(clamp_int(p.number(n.arg[0]), 0, kMaxLen));
  char* out = p.scratch(n, count);
  std::memset(out, ' ', count);
  return {out, count};
}

TextView fn_replicate(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  if (v.size == 0) return {v.data, 0};
  const auto times = static_cast<size_t>(clamp_int(
      p.number(n.arg[1]), 0, kMaxLen / static_cast<int64_t>(std::min(v.size, kMaxTextLen))));
  char* out = p.scratch(n, times * v.size);
  for (size_t i = 0; i < times; ++i) std::memcpy(out + i * v.size, v.data, v.size);
  return {out, times * v.size};
}

// PADL/PADR(s, n[, fill]): longer text is cut to its first n characters.
template <bool kLeft>
TextView fn_pad(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  const auto width = static_cast<size_t>(clamp_int(p.number(n.arg[1]), 0, kMaxLen));
  char fill = ' ';
  if (n.argc > 2) {
    const TextView f = p.text(n.arg[2]);
    if (f.size) fill = f.data[0];
  }
  if (v.size >= width) return {v.data, width};
  char* out = p.scratch(n, width);
  const size_t pad = width - v.size;
  if (kLeft) {
    std::memset(out, fill, pad);
    if (v.size) std::memcpy(out + pad, v.data, v.size);
  } else {
    if (v.size) std::memcpy(out, v.data, v.size);
    std::memset(out + v.size, fill, pad);
  }
  return {out, width};
}

// A constant length operand, held within 0..kMaxTextLen; -1 when not constant.
int64_t const_length(const Call& c, int i) {
  return c.is_const(i) ? clamp_int(c.const_number(i), 0, kMaxLen) : -1;
}

Status bind_trim(Call& c, TextFn fn) {
  XB_TRY(c.expect(0, Type::kText));
  c.text_result(fn, c.arg(0).width, false);
  return Status::ok();
}

Status bind_alltrim(Call& c) { return bind_trim(c, fn_alltrim); }
Status bind_ltrim(Call& c) { return bind_trim(c, fn_ltrim); }
Status bind_rtrim(Call& c) { return bind_trim(c, fn_rtrim); }

Status bind_case(Call& c, TextFn fn) {
  XB_TRY(c.expect(0, Type::kText));
  c.text_result(fn, c.arg(0).width, true);
  c.node.fixed = c.arg(0).fixed;
  return Status::ok();
}

Status bind_upper(Call& c) { return bind_case(c, fn_case<true>); }
Status bind_lower(Call& c) { return bind_case(c, fn_case<false>); }

Status bind_substr(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  XB_TRY(c.expect(1, Type::kNumber));
  if (c.node.argc > 2) XB_TRY(c.expect(2, Type::kNumber));
  const Node& s = c.arg(0);
  const int64_t start = c.is_const(1) ? clamp_int(c.const_number(1), 1, kMaxLen + 1) : -1;
  const int64_t count = c.node.argc > 2 ? const_length(c, 2) : -1;
  uint64_t width = s.width;
  if (count >= 0) {
    width = static_cast<uint64_t>(count);
    c.node.fixed = s.fixed && start >= 1 && start - 1 + count <= int64_t{s.width};
  } else if (c.node.argc == 2 && start >= 1 && s.fixed) {
    width = start - 1 < int64_t{s.width} ? s.width - static_cast<uint64_t>(start - 1) : 0;
    c.node.fixed = true;
  }
  c.text_result(fn_substr, width, false);
  return Status::ok();
}

Status bind_left_right(Call& c, TextFn fn) {
  XB_TRY(c.expect(0, Type::kText));
  XB_TRY(c.expect(1, Type::kNumber));
  const int64_t count = const_length(c, 1);
  c.text_result(fn, count >= 0 ? static_cast<uint64_t>(count) : c.arg(0).width, false);
  c.node.fixed = c.arg(0).fixed && count >= 0 && count <= int64_t{c.arg(0).width};
  return Status::ok();
}

Status bind_left(Call& c) { return bind_left_right(c, fn_left); }
Status bind_right(Call& c) { return bind_left_right(c, fn_right); }

// The length of a text that always fills its width is known when compiled.
Status bind_len(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  if (c.arg(0).fixed) {
    c.number_result(fn_len_fixed, 0);
    c.node.num = c.arg(0).width;
    c.node.constant = true;
  } else {
    c.number_result(fn_len, 0);
  }
  return Status::ok();
}

Status bind_at(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  XB_TRY(c.expect(1, Type::kText));
  c.number_result(fn_at, 0);
  return Status::ok();
}

Status bind_space(Call& c) {
  XB_TRY(c.expect(0, Type::kNumber));
  const int64_t count = const_length(c, 0);
  c.text_result(fn_space, count >= 0 ? static_cast<uint64_t>(count) : kDefaultWidth, true);
  c.node.fixed = count >= 0;
  return Status::ok();
}

Status bind_replicate(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  XB_TRY(c.expect(1, Type::kNumber));
  const int64_t times = const_length(c, 1);
  const uint64_t w = c.arg(0).width;
  c.text_result(fn_replicate, times >= 0 ? w * static_cast<uint64_t>(times) : w, true);
  c.node.fixed = times >= 0 && c.arg(0).fixed && w * static_cast<uint64_t>(times) <= kMaxTextLen;
  return Status::ok();
}

Status bind_pad(Call& c, TextFn fn) {
  XB_TRY(c.expect(0, Type::kText));
  XB_TRY(c.expect(1, Type::kNumber));
  if (c.node.argc > 2) XB_TRY(c.expect(2, Type::kText));
  const int64_t width = const_length(c, 1);
  c.text_result(fn, width >= 0 ? static_cast<uint64_t>(width) : c.arg(0).width, true);
  c.node.fixed = width >= 0;
  return Status::ok();
}

Status bind_padl(Call& c) { return bind_pad(c, fn_pad<true>); }
Status bind_padr(Call& c) { return bind_pad(c, fn_pad<false>); }

constexpr FunctionDef kFunctions[] = {
    {"ALLTRIM", 1, 1, bind_alltrim},
    {"LTRIM", 1, 1, bind_ltrim},
    {"RTRIM", 1, 1, bind_rtrim},
    {"TRIM", 1, 1, bind_rtrim},
    {"UPPER", 1, 1, bind_upper},
    {"LOWER", 1, 1, bind_lower},
    {"SUBSTR", 2, 3, bind_substr},
    {"LEFT", 2, 2, bind_left},
    {"RIGHT", 2, 2, bind_right},
    {"LEN", 1, 1, bind_len},
    {"AT", 2, 2, bind_at},
    {"SPACE", 1, 1, bind_space},
    {"REPLICATE", 2, 2, bind_replicate},
    {"PADL", 2, 3, bind_padl},
    {"PADR", 2, 3, bind_padr},
};

}  // namespace

std::span<const FunctionDef> text_functions() { return kFunctions; }

}  // namespace xbase::expr
