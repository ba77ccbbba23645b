// How operators and functions bind: given a node whose operands are
// compiled and typed, a binder checks the operand types (e4type when they
// do not fit), sets the node's result type, width and decimals, and picks
// its evaluation function. Each function group lives in its own file and
// exports a table of FunctionDef.
#pragma once

#include <cmath>
#include <cstdint>
#include <span>
#include <string>

#include "expr/program.h"

namespace xbase::expr {

struct Call {
  Program& program;
  Node& node;        // argc and arg[] set; the binder fills the rest
  const char* name;  // function or operator, for messages

  const Node& arg(int i) const { return program.nodes[node.arg[i]]; }
  Type type(int i) const { return arg(i).type; }
  bool is_const(int i) const { return arg(i).constant; }
  // Values of constant operands.
  double const_number(int i) const { return program.number(node.arg[i]); }
  TextView const_text(int i) const { return program.text(node.arg[i]); }

  // e4type naming the function and the operand.
  Status type_error(int i, const char* wanted) const;
  Status expect(int i, Type t) const {
    return type(i) == t ? Status::ok() : type_error(i, type_name(t));
  }
  // Sets the node up as text of `width` (cut to kMaxTextLen) with a scratch
  // buffer when `needs_scratch`.
  void text_result(TextFn fn, uint64_t width, bool needs_scratch);
  void number_result(NumberFn fn, uint32_t dec);
};

struct FunctionDef {
  const char* name;
  uint8_t min_args;
  uint8_t max_args;
  Status (*bind)(Call& call);
};

std::span<const FunctionDef> text_functions();
std::span<const FunctionDef> number_functions();
std::span<const FunctionDef> date_functions();
std::span<const FunctionDef> misc_functions();

// The function named `name` (case ignored; a unique prefix of four letters
// or more also names it, as xBase allows), or null.
const FunctionDef* find_function(std::string_view name);

// Numbers used as lengths and positions: NaN reads as 0, and the value is
// truncated towards zero and held within [lo, hi].
inline int64_t clamp_int(double v, int64_t lo, int64_t hi) {
  if (!(v == v)) return 0 < lo ? lo : (0 > hi ? hi : 0);
  if (v <= double(lo)) return lo;
  if (v >= double(hi)) return hi;
  return static_cast<int64_t>(v);
}

// Writes `value` right-aligned in `width` characters with `dec` decimals,
// rounding half away from zero; all asterisks when it does not fit.
void format_fixed(double value, uint32_t width, uint32_t dec, char* out);

}  // namespace xbase::expr
