#include "expr/binding.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "table/field_codec.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

// xBase accepts a function name cut to its first four letters or more.
constexpr size_t kMinAbbreviation = 4;

}  // namespace

Status Call::type_error(int i, const char* wanted) const {
  return Status(e4type, std::string(name) + ": operand " + std::to_string(i + 1) + " is " +
                            type_name(type(i)) + " where " + wanted + " is needed");
}

void Call::text_result(TextFn fn, uint64_t width, bool needs_scratch) {
  node.type = Type::kText;
  node.fn.text = fn;
  node.width = static_cast<uint32_t>(std::min<uint64_t>(width, kMaxTextLen));
  if (needs_scratch) node.scratch = program.add_scratch(size_t{node.width});
}

void Call::number_result(NumberFn fn, uint32_t dec) {
  node.type = Type::kNumber;
  node.fn.number = fn;
  node.width = kNumberWidth;
  node.dec = static_cast<uint8_t>(std::min(dec, kMaxDecimals));
}

const FunctionDef* find_function(std::string_view name) {
  const std::span<const FunctionDef> groups[] = {text_functions(), number_functions(),
                                                  date_functions(), misc_functions()};
  for (const auto& group : groups) {
    for (const FunctionDef& f : group) {
      if (std::strlen(f.name) == name.size() && strncasecmp(f.name, name.data(), name.size()) == 0)
        return &f;
    }
  }
  if (name.size() < kMinAbbreviation) return nullptr;
  const FunctionDef* found = nullptr;
  for (const auto& group : groups) {
    for (const FunctionDef& f : group) {
      if (std::strlen(f.name) > name.size() && strncasecmp(f.name, name.data(), name.size()) == 0) {
        if (found) return nullptr;  // ambiguous
        found = &f;
      }
    }
  }
  return found;
}

void format_fixed(double value, uint32_t width, uint32_t dec, char* out) {
  if (!table::format_number(value, width, dec, out)) std::memset(out, '*', width);
}

}  // namespace xbase::expr
