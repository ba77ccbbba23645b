// Relations: both operands of one type (text, number, date, logical or
// date-time), rules as compare.h gives them; `$` finds text in text.
#include "expr/compare.h"
#include "expr/operators.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

enum class Rel { kEq, kExactEq, kNe, kLt, kLe, kGt, kGe };

// For types with a total order: the relation from a three-way result.
template <Rel R>
bool holds(int c) {
  switch (R) {
    case Rel::kEq:
    case Rel::kExactEq: return c == 0;
    case Rel::kNe: return c != 0;
    case Rel::kLt: return c < 0;
    case Rel::kLe: return c <= 0;
    case Rel::kGt: return c > 0;
    case Rel::kGe: return c >= 0;
  }
  return false;
}

template <Rel R>
bool rel_number(Program& p, const Node& n) {
  return holds<R>(compare_numbers(p.number(n.arg[0]), p.number(n.arg[1])));
}

template <Rel R>
bool rel_date(Program& p, const Node& n) {
  const int32_t a = p.date(n.arg[0]);
  const int32_t b = p.date(n.arg[1]);
  return holds<R>(a < b ? -1 : a > b ? 1 : 0);
}

template <Rel R>
bool rel_logical(Program& p, const Node& n) {
  const int a = p.logical(n.arg[0]) ? 1 : 0;
  const int b = p.logical(n.arg[1]) ? 1 : 0;
  return holds<R>(a - b);
}

template <Rel R>
bool rel_text(Program& p, const Node& n) {
  const TextView a = p.text(n.arg[0]);
  const TextView b = p.text(n.arg[1]);
  switch (R) {
    case Rel::kEq: return text_matches(a, b);
    case Rel::kNe: return !text_matches(a, b);
    case Rel::kExactEq: return text_identical(a, b);
    case Rel::kLt: return compare_padded(a, b) < 0;
    case Rel::kLe: return compare_padded(a, b) <= 0;
    case Rel::kGt: return compare_padded(a, b) > 0;
    case Rel::kGe: return compare_padded(a, b) >= 0;
  }
  return false;
}

bool text_contained(Program& p, const Node& n) {
  const TextView needle = p.text(n.arg[0]);
  return find_text(needle, p.text(n.arg[1])) >= 0;
}

template <Rel R>
LogicalFn pick(Type t) {
  switch (t) {
    case Type::kNumber: return rel_number<R>;
    case Type::kDate: return rel_date<R>;
    case Type::kLogical: return rel_logical<R>;
    case Type::kText:
    case Type::kDateTime: return rel_text<R>;
  }
  return nullptr;
}

}  // namespace

Status bind_relation(Call& call, Tok op) {
  Node& n = call.node;
  n.type = Type::kLogical;
  n.width = 1;
  if (op == Tok::kContains) {
    XB_TRY(call.expect(0, Type::kText));
    XB_TRY(call.expect(1, Type::kText));
    n.fn.logical = text_contained;
    return Status::ok();
  }
  const Type t = call.type(0);
  if (call.type(1) != t) return call.type_error(1, type_name(t));
  switch (op) {
    case Tok::kEq: n.fn.logical = pick<Rel::kEq>(t); break;
    case Tok::kExactEq: n.fn.logical = pick<Rel::kExactEq>(t); break;
    case Tok::kNe: n.fn.logical = pick<Rel::kNe>(t); break;
    case Tok::kLt: n.fn.logical = pick<Rel::kLt>(t); break;
    case Tok::kLe: n.fn.logical = pick<Rel::kLe>(t); break;
    case Tok::kGt: n.fn.logical = pick<Rel::kGt>(t); break;
    case Tok::kGe: n.fn.logical = pick<Rel::kGe>(t); break;
    default: return Status(e4expr, std::string(call.name) + " is not a relation");
  }
  return Status::ok();
}

}  // namespace xbase::expr
