#include "expr/operators.h"

namespace xbase::expr {

namespace {

bool logic_and(Program& p, const Node& n) { return p.logical(n.arg[0]) && p.logical(n.arg[1]); }
bool logic_or(Program& p, const Node& n) { return p.logical(n.arg[0]) || p.logical(n.arg[1]); }
bool logic_not(Program& p, const Node& n) { return !p.logical(n.arg[0]); }

}  // namespace

Status bind_logic(Call& call, Tok op) {
  for (int i = 0; i < call.node.argc; ++i) XB_TRY(call.expect(i, Type::kLogical));
  call.node.type = Type::kLogical;
  call.node.width = 1;
  call.node.fn.logical = op == Tok::kAnd ? logic_and : op == Tok::kOr ? logic_or : logic_not;
  return Status::ok();
}

}  // namespace xbase::expr
