#include "expr/lexer.h"

#include <strings.h>

#include <cstring>

namespace xbase::expr {

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_name_start(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool is_name_char(char c) { return is_name_start(c) || is_digit(c); }
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

struct Dotted {
  const char* word;  // between the dots
  Tok kind;
};
constexpr Dotted kDotted[] = {
    {"T", Tok::kTrue},  {"Y", Tok::kTrue}, {"F", Tok::kFalse}, {"N", Tok::kFalse},
    {"AND", Tok::kAnd}, {"OR", Tok::kOr},  {"NOT", Tok::kNot},
};

}  // namespace

Token Lexer::make(Tok kind, size_t start, size_t end) {
  at_ = end;
  return Token{kind, src_.substr(start, end - start), start};
}

Token Lexer::next() {
  while (at_ < src_.size() && is_space(src_[at_])) ++at_;
  const size_t s = at_;
  if (s >= src_.size()) return Token{Tok::kEnd, {}, s};
  const char c = src_[s];
  const char n = s + 1 < src_.size() ? src_[s + 1] : '\0';
  if (is_name_start(c)) {
    size_t e = s + 1;
    while (e < src_.size() && is_name_char(src_[e])) ++e;
    return make(Tok::kName, s, e);
  }
  if (is_digit(c)) return number(s);
  switch (c) {
    case '.': return is_digit(n) ? number(s) : dotted(s);
    case '"': return quoted(s, '"');
    case '\'': return quoted(s, '\'');
    case '[': return quoted(s, ']');
    case '+': return make(Tok::kPlus, s, s + 1);
    case '-': return n == '>' ? make(Tok::kArrow, s, s + 2) : make(Tok::kMinus, s, s + 1);
    case '*': return n == '*' ? make(Tok::kPower, s, s + 2) : make(Tok::kStar, s, s + 1);
    case '/': return make(Tok::kSlash, s, s + 1);
    case '%': return make(Tok::kPercent, s, s + 1);
    case '^': return make(Tok::kPower, s, s + 1);
    case '$': return make(Tok::kContains, s, s + 1);
    case '#': return make(Tok::kNe, s, s + 1);
    case '(': return make(Tok::kLParen, s, s + 1);
    case ')': return make(Tok::kRParen, s, s + 1);
    case ',': return make(Tok::kComma, s, s + 1);
    case '=':
      if (n == '=') return make(Tok::kExactEq, s, s + 2);
      // "=>" and "=<" are the older spellings of ">=" and "<=".
      if (n == '>') return make(Tok::kGe, s, s + 2);
      if (n == '<') return make(Tok::kLe, s, s + 2);
      return make(Tok::kEq, s, s + 1);
    case '!': return n == '=' ? make(Tok::kNe, s, s + 2) : make(Tok::kNot, s, s + 1);
    case '<':
      if (n == '=') return make(Tok::kLe, s, s + 2);
      if (n == '>') return make(Tok::kNe, s, s + 2);
      return make(Tok::kLt, s, s + 1);
    case '>': return n == '=' ? make(Tok::kGe, s, s + 2) : make(Tok::kGt, s, s + 1);
    default: break;
  }
  at_ = s + 1;
  return Token{Tok::kError, "unexpected character", s};
}

Token Lexer::dotted(size_t start) {
  size_t e = start + 1;
  while (e < src_.size() && is_name_start(src_[e]) && e - start <= 4) ++e;
  if (e < src_.size() && src_[e] == '.') {
    std::string_view word = src_.substr(start + 1, e - start - 1);
    for (const Dotted& d : kDotted) {
      if (word.size() == strlen(d.word) && strncasecmp(word.data(), d.word, word.size()) == 0)
        return make(d.kind, start, e + 1);
    }
  }
  at_ = start + 1;
  return Token{Tok::kError, "unknown word between dots", start};
}

Token Lexer::number(size_t start) {
  size_t e = start;
  while (e < src_.size() && is_digit(src_[e])) ++e;
  // A point followed by a letter starts a dotted word, so that "1.AND." reads
  // as 1 .AND.; otherwise it belongs to the number ("5." and ".5" included).
  if (e < src_.size() && src_[e] == '.' && !(e + 1 < src_.size() && is_name_start(src_[e + 1]))) {
    ++e;
    while (e < src_.size() && is_digit(src_[e])) ++e;
  }
  return make(Tok::kNumber, start, e);
}

Token Lexer::quoted(size_t start, char close) {
  size_t e = start + 1;
  while (e < src_.size() && src_[e] != close) ++e;
  if (e >= src_.size()) {
    at_ = src_.size();
    return Token{Tok::kError, "text without its closing quote", start};
  }
  at_ = e + 1;
  return Token{Tok::kString, src_.substr(start + 1, e - start - 1), start};
}

}  // namespace xbase::expr
