// Arithmetic. Numbers: + - * / % ** ^, division and modulus by zero give 0.
// Dates: date + n, n + date and date - n move by whole days (a blank date
// stays blank, a result outside years 1..9999 is blank); date - date counts
// days (0 when either is blank). Text: + joins; - joins too but first moves
// the left operand's trailing blanks to the end of the result.
#include <algorithm>
#include <cstring>

#include "expr/operators.h"
#include "util/date.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

// Days a date may move by: more than the whole calendar.
constexpr int64_t kMaxDayShift = 10'000'000;

double num_add(Program& p, const Node& n) {
  return finite_or_zero(p.number(n.arg[0]) + p.number(n.arg[1]));
}
double num_sub(Program& p, const Node& n) {
  return finite_or_zero(p.number(n.arg[0]) - p.number(n.arg[1]));
}
double num_mul(Program& p, const Node& n) {
  return finite_or_zero(p.number(n.arg[0]) * p.number(n.arg[1]));
}
double num_neg(Program& p, const Node& n) { return -p.number(n.arg[0]); }

double num_div(Program& p, const Node& n) {
  const double a = p.number(n.arg[0]);
  const double b = p.number(n.arg[1]);
  return b == 0 ? 0.0 : finite_or_zero(a / b);
}

double num_pow(Program& p, const Node& n) {
  return finite_or_zero(std::pow(p.number(n.arg[0]), p.number(n.arg[1])));
}

}  // namespace

// xBase modulus: the result takes the divisor's sign (-7 % 3 is 2).
double xbase_mod(double a, double b) {
  if (b == 0) return 0.0;
  double r = std::fmod(a, b);
  if (r != 0 && ((r < 0) != (b < 0))) r += b;
  return finite_or_zero(r);
}

namespace {

double num_mod(Program& p, const Node& n) {
  return xbase_mod(p.number(n.arg[0]), p.number(n.arg[1]));
}

int32_t shift_day(int32_t day, double by) {
  if (day == 0) return 0;
  const int64_t r = int64_t{day} + clamp_int(by, -kMaxDayShift, kMaxDayShift);
  return (r < date::kFirstDay || r > date::kLastDay) ? 0 : static_cast<int32_t>(r);
}

int32_t date_plus(Program& p, const Node& n) {
  return shift_day(p.date(n.arg[0]), p.number(n.arg[1]));
}
int32_t plus_date(Program& p, const Node& n) {
  return shift_day(p.date(n.arg[1]), p.number(n.arg[0]));
}
int32_t date_minus(Program& p, const Node& n) {
  return shift_day(p.date(n.arg[0]), -p.number(n.arg[1]));
}

double date_diff(Program& p, const Node& n) {
  const int32_t a = p.date(n.arg[0]);
  const int32_t b = p.date(n.arg[1]);
  return (a == 0 || b == 0) ? 0.0 : double(a) - double(b);
}

TextView text_join(Program& p, const Node& n) {
  const TextView a = p.text(n.arg[0]);
  const TextView b = p.text(n.arg[1]);
  const size_t an = std::min(a.size, kMaxTextLen);
  const size_t bn = std::min(b.size, kMaxTextLen - an);
  char* out = p.scratch(n, an + bn);
  if (an) std::memcpy(out, a.data, an);
  if (bn) std::memcpy(out + an, b.data, bn);
  return {out, an + bn};
}

TextView text_join_trim(Program& p, const Node& n) {
  const TextView a = p.text(n.arg[0]);
  const TextView b = p.text(n.arg[1]);
  const size_t an = std::min(a.size, kMaxTextLen);
  const size_t bn = std::min(b.size, kMaxTextLen - an);
  size_t kept = an;
  while (kept > 0 && a.data[kept - 1] == ' ') --kept;
  char* out = p.scratch(n, an + bn);
  if (kept) std::memcpy(out, a.data, kept);
  if (bn) std::memcpy(out + kept, b.data, bn);
  std::memset(out + kept + bn, ' ', an - kept);
  return {out, an + bn};
}

Status bind_unary(Call& call, Tok op) {
  XB_TRY(call.expect(0, Type::kNumber));
  if (op == Tok::kPlus) {
    // Keeps the operand's value; a computed number all the same.
    call.number_result([](Program& p, const Node& n) { return p.number(n.arg[0]); },
                       call.arg(0).dec);
  } else {
    call.number_result(num_neg, call.arg(0).dec);
  }
  return Status::ok();
}

Status bind_dates(Call& call, Tok op) {
  const Type a = call.type(0), b = call.type(1);
  Node& n = call.node;
  n.type = Type::kDate;
  n.width = kDateWidth;
  if (op == Tok::kPlus && a == Type::kDate && b == Type::kNumber)
    n.fn.date = date_plus;
  else if (op == Tok::kPlus && a == Type::kNumber && b == Type::kDate)
    n.fn.date = plus_date;
  else if (op == Tok::kMinus && a == Type::kDate && b == Type::kNumber)
    n.fn.date = date_minus;
  else if (op == Tok::kMinus && a == Type::kDate && b == Type::kDate)
    call.number_result(date_diff, 0);
  else
    return call.type_error(a == Type::kDate ? 1 : 0,
                           op == Tok::kPlus ? "number" : "number or date");
  return Status::ok();
}

}  // namespace

Status bind_arithmetic(Call& call, Tok op) {
  if (call.node.argc == 1) return bind_unary(call, op);
  const Type a = call.type(0), b = call.type(1);
  const bool additive = op == Tok::kPlus || op == Tok::kMinus;
  if (additive && (a == Type::kDate || b == Type::kDate)) return bind_dates(call, op);
  if (additive && a == Type::kText) {
    XB_TRY(call.expect(1, Type::kText));
    call.text_result(op == Tok::kPlus ? text_join : text_join_trim,
                     uint64_t{call.arg(0).width} + call.arg(1).width, true);
    call.node.fixed = call.arg(0).fixed && call.arg(1).fixed;
    return Status::ok();
  }
  XB_TRY(call.expect(0, Type::kNumber));
  XB_TRY(call.expect(1, Type::kNumber));
  const uint32_t da = call.arg(0).dec, db = call.arg(1).dec;
  switch (op) {
    case Tok::kPlus: call.number_result(num_add, std::max(da, db)); break;
    case Tok::kMinus: call.number_result(num_sub, std::max(da, db)); break;
    case Tok::kStar: call.number_result(num_mul, da + db); break;
    case Tok::kSlash: call.number_result(num_div, std::max({2u, da, db})); break;
    case Tok::kPercent: call.number_result(num_mod, std::max(da, db)); break;
    case Tok::kPower: call.number_result(num_pow, std::max({2u, da, db})); break;
    default: return Status(e4expr, std::string(call.name) + " is not an arithmetic operator");
  }
  return Status::ok();
}

}  // namespace xbase::expr
