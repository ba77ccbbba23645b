// Lexer: splits expression text into tokens. Names and the dotted words
// (.AND., .T., ...) are case-insensitive; string literals come in "", '' and
// [] quotes and hold any byte but their closing quote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xbase::expr {

enum class Tok : uint8_t {
  kEnd,
  kError,   // text says why
  kName,    // identifier: field, alias, function, TRUE/FALSE
  kNumber,  // digits with an optional point
  kString,  // text is the literal without its quotes
  kTrue,    // .T. .Y.
  kFalse,   // .F. .N.
  kAnd,     // .AND.
  kOr,      // .OR.
  kNot,     // .NOT. !
  kPlus,
  kMinus,
  kStar,
  kSlash,
  kPercent,
  kPower,  // ** and ^ are both kPower
  kEq,
  kExactEq,
  kNe,
  kLt,
  kLe,
  kGt,
  kGe,
  kContains,
  kLParen,
  kRParen,
  kComma,
  kArrow,
};

struct Token {
  Tok kind = Tok::kEnd;
  std::string_view text;  // for names, numbers, strings; the message for kError
  size_t pos = 0;         // byte offset in the expression, for messages
};

class Lexer {
 public:
  explicit Lexer(std::string_view src) : src_(src) {}
  Token next();

 private:
  Token dotted(size_t start);
  Token number(size_t start);
  Token quoted(size_t start, char close);
  Token make(Tok kind, size_t start, size_t end);

  std::string_view src_;
  size_t at_ = 0;
};

}  // namespace xbase::expr
