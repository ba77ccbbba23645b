// Number functions and the conversions between numbers and text. Rounding
// (ROUND, STR, STRZERO) is half away from zero on the decimal value, so
// ROUND(2.675, 2) is 2.68 although the double is a little below it. STR
// and STRZERO fill their width with asterisks when the number does not fit.
#include <algorithm>
#include <cstring>

#include "expr/compare.h"
#include "expr/operators.h"
#include "table/field_codec.h"

namespace xbase::expr {

namespace {

// STR widths beyond this are cut: no number needs more characters.
constexpr int64_t kMaxStrWidth = 60;
constexpr int64_t kMaxStrDecimals = 18;
constexpr int64_t kMaxRoundDigits = 15;
// VAL's result shows two decimals, as xBase's default SET DECIMALS does.
constexpr uint32_t kValDecimals = 2;
// Beyond this the double holds no fraction worth rounding.
constexpr double kExactLimit = 9.0e15;

double fn_abs(Program& p, const Node& n) { return std::fabs(p.number(n.arg[0])); }
double fn_int(Program& p, const Node& n) { return std::trunc(p.number(n.arg[0])); }
double fn_mod(Program& p, const Node& n) {
  return xbase_mod(p.number(n.arg[0]), p.number(n.arg[1]));
}

double round_half_away(double x, int64_t digits) {
  // Negative digits round to tens, hundreds...: dividing and multiplying by
  // an exact power of ten keeps 1234 -> 1200 exact.
  const double scale = std::pow(10.0, static_cast<double>(digits < 0 ? -digits : digits));
  const double v = digits < 0 ? std::fabs(x) / scale : std::fabs(x) * scale;
  if (v >= kExactLimit || !std::isfinite(v)) return x;
  // The same nudge as the number formatter: values whose decimal text ends
  // in 5 round up even when their double lies just below.
  const double whole = std::floor(v + 0.5 + 1e-9 + v * 4e-16);
  const double r = digits < 0 ? whole * scale : whole / scale;
  return finite_or_zero(x < 0 ? -r : r);
}

double fn_round(Program& p, const Node& n) {
  return round_half_away(p.number(n.arg[0]),
                         clamp_int(p.number(n.arg[1]), -kMaxRoundDigits, kMaxRoundDigits));
}

template <bool kMax>
double fn_minmax_number(Program& p, const Node& n) {
  const double a = p.number(n.arg[0]);
  const double b = p.number(n.arg[1]);
  return (kMax ? compare_numbers(b, a) > 0 : compare_numbers(b, a) < 0) ? b : a;
}

template <bool kMax>
int32_t fn_minmax_date(Program& p, const Node& n) {
  const int32_t a = p.date(n.arg[0]);
  const int32_t b = p.date(n.arg[1]);
  return (kMax ? b > a : b < a) ? b : a;
}

template <bool kMax>
TextView fn_minmax_text(Program& p, const Node& n) {
  const TextView a = p.text(n.arg[0]);
  const TextView b = p.text(n.arg[1]);
  const int c = compare_padded(b, a);
  return (kMax ? c > 0 : c < 0) ? b : a;
}

// Width and decimals of STR/STRZERO: constants from the node, else per call.
void str_layout(Program& p, const Node& n, uint32_t* width, uint32_t* dec) {
  *width = n.argc > 1 ? static_cast<uint32_t>(clamp_int(p.number(n.arg[1]), 0, kMaxStrWidth)) : 10;
  *dec = n.argc > 2 ? static_cast<uint32_t>(clamp_int(p.number(n.arg[2]), 0, kMaxStrDecimals)) : 0;
}

TextView fn_str(Program& p, const Node& n) {
  const double v = p.number(n.arg[0]);
  uint32_t width, dec;
  str_layout(p, n, &width, &dec);
  char* out = p.scratch(n, width);
  format_fixed(v, width, dec, out);
  return {out, width};
}

// Leading blanks become zeros; a minus sign moves to the front.
TextView fn_strzero(Program& p, const Node& n) {
  const TextView s = fn_str(p, n);
  char* out = const_cast<char*>(s.data);
  size_t lead = 0;
  while (lead < s.size && out[lead] == ' ') ++lead;
  if (lead < s.size && out[lead] == '-') {
    if (lead > 0) {
      out[lead] = '0';
      out[0] = '-';
      for (size_t i = 1; i < lead; ++i) out[i] = '0';
    }
  } else {
    for (size_t i = 0; i < lead; ++i) out[i] = '0';
  }
  return s;
}

// The number at the start of the text (blanks, a sign, digits, one point);
// 0 when there is none.
double fn_val(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  size_t s = 0;
  while (s < v.size && v.data[s] == ' ') ++s;
  size_t e = s;
  if (e < v.size && (v.data[e] == '-' || v.data[e] == '+')) ++e;
  bool point = false;
  while (e < v.size && ((v.data[e] >= '0' && v.data[e] <= '9') || (v.data[e] == '.' && !point))) {
    point |= v.data[e] == '.';
    ++e;
  }
  return finite_or_zero(table::parse_number(v.data + s, e - s));
}

Status expect_numbers(Call& c) {
  for (int i = 0; i < c.node.argc; ++i) XB_TRY(c.expect(i, Type::kNumber));
  return Status::ok();
}

Status bind_abs(Call& c) {
  XB_TRY(expect_numbers(c));
  c.number_result(fn_abs, c.arg(0).dec);
  return Status::ok();
}

Status bind_int(Call& c) {
  XB_TRY(expect_numbers(c));
  c.number_result(fn_int, 0);
  return Status::ok();
}

Status bind_round(Call& c) {
  XB_TRY(expect_numbers(c));
  const uint32_t dec = c.is_const(1)
                           ? static_cast<uint32_t>(clamp_int(c.const_number(1), 0, kMaxDecimals))
                           : c.arg(0).dec;
  c.number_result(fn_round, dec);
  return Status::ok();
}

Status bind_mod(Call& c) {
  XB_TRY(expect_numbers(c));
  c.number_result(fn_mod, std::max(c.arg(0).dec, c.arg(1).dec));
  return Status::ok();
}

template <bool kMax>
Status bind_minmax(Call& c) {
  const Type t = c.type(0);
  if (c.type(1) != t) return c.type_error(1, type_name(t));
  switch (t) {
    case Type::kNumber:
      c.number_result(fn_minmax_number<kMax>, std::max(c.arg(0).dec, c.arg(1).dec));
      return Status::ok();
    case Type::kDate:
      c.node.type = Type::kDate;
      c.node.width = kDateWidth;
      c.node.fn.date = fn_minmax_date<kMax>;
      return Status::ok();
    case Type::kText:
    case Type::kDateTime:
      c.text_result(fn_minmax_text<kMax>, std::max(c.arg(0).width, c.arg(1).width), false);
      c.node.type = t;
      c.node.fixed = c.arg(0).fixed && c.arg(1).fixed && c.arg(0).width == c.arg(1).width;
      return Status::ok();
    case Type::kLogical: break;
  }
  return c.type_error(0, "number, date or text");
}

template <bool kZero>
Status bind_str(Call& c) {
  XB_TRY(expect_numbers(c));
  const bool fixed = c.node.argc < 2 || c.is_const(1);
  const int64_t width = c.node.argc < 2 ? 10
                        : fixed         ? clamp_int(c.const_number(1), 0, kMaxStrWidth)
                                        : kDefaultWidth;
  c.text_result(kZero ? fn_strzero : fn_str, static_cast<uint64_t>(width), true);
  c.node.fixed = fixed;
  return Status::ok();
}

Status bind_val(Call& c) {
  XB_TRY(c.expect(0, Type::kText));
  c.number_result(fn_val, kValDecimals);
  return Status::ok();
}

constexpr FunctionDef kFunctions[] = {
    {"ABS", 1, 1, bind_abs},           {"INT", 1, 1, bind_int},
    {"ROUND", 2, 2, bind_round},       {"MOD", 2, 2, bind_mod},
    {"MIN", 2, 2, bind_minmax<false>}, {"MAX", 2, 2, bind_minmax<true>},
    {"STR", 1, 3, bind_str<false>},    {"STRZERO", 1, 3, bind_str<true>},
    {"VAL", 1, 1, bind_val},
};

}  // namespace

std::span<const FunctionDef> number_functions() { return kFunctions; }

}  // namespace xbase::expr
