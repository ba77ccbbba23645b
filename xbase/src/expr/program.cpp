#include "expr/program.h"

namespace xbase::expr {

const char* type_name(Type t) {
  switch (t) {
    case Type::kText: return "text";
    case Type::kNumber: return "number";
    case Type::kDate: return "date";
    case Type::kLogical: return "logical";
    case Type::kDateTime: return "date-time";
  }
  return "value";
}

void Program::fail(const Status& st) {
  tables[0]->context().fail(st);
}

uint32_t Program::add_scratch(std::string initial) {
  scratch_.push_back(std::move(initial));
  return static_cast<uint32_t>(scratch_.size() - 1);
}

}  // namespace xbase::expr
