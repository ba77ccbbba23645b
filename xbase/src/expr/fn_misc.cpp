// IIF, EMPTY and the record functions. IIF evaluates only the branch it
// returns. DELETED(), RECNO() and RECCOUNT() speak of the table the
// expression was parsed for.
#include <algorithm>

#include "expr/binding.h"

namespace xbase::expr {

namespace {

template <class T, T (Program::*Get)(uint32_t)>
T fn_iif(Program& p, const Node& n) {
  return (p.*Get)(p.logical(n.arg[0]) ? n.arg[1] : n.arg[2]);
}

bool fn_deleted(Program& p, const Node&) { return p.table(0)->record[0] == table::kDeletedMark; }

double fn_recno(Program& p, const Node&) { return p.table(0)->record_number(); }

double fn_reccount(Program& p, const Node&) { return p.table(0)->record_count(); }

bool fn_empty_text(Program& p, const Node& n) {
  const TextView v = p.text(n.arg[0]);
  return std::all_of(v.data, v.data + v.size, [](char c) { return c == ' '; });
}
bool fn_empty_number(Program& p, const Node& n) { return p.number(n.arg[0]) == 0; }
bool fn_empty_date(Program& p, const Node& n) { return p.date(n.arg[0]) == 0; }
bool fn_empty_logical(Program& p, const Node& n) { return !p.logical(n.arg[0]); }

Status bind_iif(Call& c) {
  XB_TRY(c.expect(0, Type::kLogical));
  const Type t = c.type(1);
  if (c.type(2) != t) return c.type_error(2, type_name(t));
  const Node& a = c.arg(1);
  const Node& b = c.arg(2);
  Node& n = c.node;
  n.type = t;
  n.width = std::max(a.width, b.width);
  n.dec = std::max(a.dec, b.dec);
  n.fixed = a.fixed && b.fixed && a.width == b.width;
  switch (t) {
    case Type::kText:
    case Type::kDateTime: n.fn.text = fn_iif<TextView, &Program::text>; break;
    case Type::kNumber:
      n.fn.number = fn_iif<double, &Program::number>;
      n.width = kNumberWidth;
      break;
    case Type::kDate:
      n.fn.date = fn_iif<int32_t, &Program::date>;
      n.width = kDateWidth;
      break;
    case Type::kLogical:
      n.fn.logical = fn_iif<bool, &Program::logical>;
      n.width = 1;
      break;
  }
  return Status::ok();
}

Status bind_deleted(Call& c) {
  c.node.type = Type::kLogical;
  c.node.width = 1;
  c.node.fn.logical = fn_deleted;
  c.node.pure = false;
  return Status::ok();
}

Status bind_recno(Call& c) {
  c.number_result(fn_recno, 0);
  c.node.pure = false;
  return Status::ok();
}

Status bind_reccount(Call& c) {
  c.number_result(fn_reccount, 0);
  c.node.pure = false;
  return Status::ok();
}

Status bind_empty(Call& c) {
  Node& n = c.node;
  n.type = Type::kLogical;
  n.width = 1;
  switch (c.type(0)) {
    case Type::kText:
    case Type::kDateTime: n.fn.logical = fn_empty_text; break;
    case Type::kNumber: n.fn.logical = fn_empty_number; break;
    case Type::kDate: n.fn.logical = fn_empty_date; break;
    case Type::kLogical: n.fn.logical = fn_empty_logical; break;
  }
  return Status::ok();
}

constexpr FunctionDef kFunctions[] = {
    {"IIF", 3, 3, bind_iif},           {"DELETED", 0, 0, bind_deleted}, {"RECNO", 0, 0, bind_recno},
    {"RECCOUNT", 0, 0, bind_reccount}, {"EMPTY", 1, 1, bind_empty},
};

}  // namespace

std::span<const FunctionDef> misc_functions() { return kFunctions; }

}  // namespace xbase::expr
