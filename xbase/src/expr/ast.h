// The syntax tree the parser builds: names are not resolved yet and nothing
// is typed; the compiler does both against the table.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "expr/lexer.h"

namespace xbase::expr {

struct Ast {
  enum class Kind : uint8_t {
    kNumber,   // text: the digits as written
    kString,   // text: the literal
    kLogical,  // truth
    kName,     // text: field name, or TRUE/FALSE
    kAlias,    // alias->text
    kCall,     // text: function name, args
    kUnary,    // op, args[0]
    kBinary,   // op, args[0] op args[1]
  };

  Kind kind = Kind::kNumber;
  Tok op = Tok::kEnd;
  bool truth = false;
  size_t pos = 0;  // byte offset of the construct, for messages
  int depth = 1;   // height of this subtree
  std::string text;
  std::string alias;
  std::vector<std::unique_ptr<Ast>> args;
};

}  // namespace xbase::expr
