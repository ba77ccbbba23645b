// Compiler: a syntax tree to a Program bound to a table. Resolves names
// (fields of the table, ALIAS->FIELD through the context, TRUE and FALSE
// where no field has those names), checks operand types (e4type), picks
// each node's evaluation function and folds constant subtrees, so that
// SUBSTR(NAME, 1, 2 + 3) has the static width 5 and costs nothing per
// record for its constant part.
#pragma once

#include <string_view>

#include "expr/ast.h"
#include "expr/program.h"

namespace xbase::expr {

// `text` is the expression's source, quoted in messages.
Status compile(const Ast& ast, std::string_view text, RecordSource& data, Program* out);

}  // namespace xbase::expr
