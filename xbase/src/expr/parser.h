// Parser: expression text to a syntax tree, by precedence climbing.
//
// Precedence, lowest first: .OR.; .AND.; .NOT. and !; the relations
// = == <> # != < <= > >= and $; + -; * / %; ** ^; unary + -. Binary
// operators group from the left (2^3^2 is 64, as in xBase). Trees deeper
// than kMaxDepth are refused, which bounds every later recursion.
#pragma once

#include <memory>
#include <string_view>

#include "expr/ast.h"
#include "util/status.h"

namespace xbase::expr {

// e4expr with a message naming the column on any syntax error.
Status parse_text(std::string_view text, std::unique_ptr<Ast>* out);

}  // namespace xbase::expr
