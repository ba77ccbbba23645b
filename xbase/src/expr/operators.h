// Operator binding: each group checks its operand types and picks the
// evaluation function (see binding.h for the shape).
#pragma once

#include "expr/binding.h"
#include "expr/lexer.h"

namespace xbase::expr {

// The relational operators and how messages spell them. The parser gives
// them one precedence and the compiler binds them alike, both from this list.
struct RelationOp {
  Tok tok;
  const char* name;
};
inline constexpr RelationOp kRelations[] = {
    {Tok::kEq, "="},  {Tok::kExactEq, "=="}, {Tok::kNe, "<>"}, {Tok::kLt, "<"},
    {Tok::kLe, "<="}, {Tok::kGt, ">"},       {Tok::kGe, ">="}, {Tok::kContains, "$"},
};
// The spelling of a relational operator; null for any other token.
constexpr const char* relation_name(Tok t) {
  for (const RelationOp& r : kRelations)
    if (r.tok == t) return r.name;
  return nullptr;
}
constexpr bool is_relation(Tok t) { return relation_name(t) != nullptr; }

// + - * / % ** ^ over numbers; + and - over text and dates; unary + and -.
Status bind_arithmetic(Call& call, Tok op);
// = == <> # != < <= > >= and $.
Status bind_relation(Call& call, Tok op);
// .AND. .OR. .NOT. !
Status bind_logic(Call& call, Tok op);

// A result outside the double range (or NaN) reads as 0, as division by zero
// does: numbers stay finite everywhere.
// xBase modulus: the result takes the divisor's sign (-7 % 3 is 2); 0 for a
// zero divisor.
double xbase_mod(double a, double b);

inline double finite_or_zero(double v) { return std::isfinite(v) ? v : 0.0; }

}  // namespace xbase::expr
