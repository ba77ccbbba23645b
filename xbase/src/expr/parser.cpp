#include "expr/parser.h"

#include <algorithm>

#include "expr/operators.h"
#include "expr/value.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

constexpr int kPrecOr = 1;
constexpr int kPrecAnd = 2;
constexpr int kPrecNot = 3;
constexpr int kPrecRelation = 4;
constexpr int kPrecAdd = 5;
constexpr int kPrecMul = 6;
constexpr int kPrecPower = 7;
constexpr int kPrecUnary = 8;
// Messages quote at most this much of the expression.
constexpr size_t kQuoteLen = 60;

int binary_precedence(Tok t) {
  if (is_relation(t)) return kPrecRelation;
  switch (t) {
    case Tok::kOr: return kPrecOr;
    case Tok::kAnd: return kPrecAnd;
    case Tok::kPlus:
    case Tok::kMinus: return kPrecAdd;
    case Tok::kStar:
    case Tok::kSlash:
    case Tok::kPercent: return kPrecMul;
    case Tok::kPower: return kPrecPower;
    default: return 0;
  }
}

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text), lex_(text) { advance(); }

  Status run(std::unique_ptr<Ast>* out) {
    std::unique_ptr<Ast> root = binary(kPrecOr);
    if (root && tok_.kind != Tok::kEnd) fail(tok_.pos, "unexpected text after the expression");
    if (!error_.is_ok()) return error_;
    *out = std::move(root);
    return Status::ok();
  }

 private:
  void advance() {
    tok_ = lex_.next();
    if (tok_.kind == Tok::kError) fail(tok_.pos, std::string(tok_.text));
  }

  // Keeps the first error only: later ones follow from it.
  std::unique_ptr<Ast> fail(size_t pos, const std::string& what) {
    if (error_.is_ok()) {
      std::string quoted(text_.substr(0, kQuoteLen));
      if (text_.size() > kQuoteLen) quoted += "...";
      error_ = Status(e4expr, "expression error at column " + std::to_string(pos + 1) + ": " +
                                  what + " in \"" + quoted + "\"");
    }
    return nullptr;
  }

  std::unique_ptr<Ast> node(Ast::Kind kind, size_t pos) {
    auto a = std::make_unique<Ast>();
    a->kind = kind;
    a->pos = pos;
    return a;
  }

  // Adds `child` under `parent`, refusing trees deeper than kMaxDepth.
  bool adopt(Ast* parent, std::unique_ptr<Ast> child) {
    parent->depth = std::max(parent->depth, child->depth + 1);
    parent->args.push_back(std::move(child));
    if (parent->depth > kMaxDepth) {
      fail(parent->pos,
           "the expression nests deeper than " + std::to_string(kMaxDepth) + " levels");
      return false;
    }
    return true;
  }

  std::unique_ptr<Ast> binary(int min_prec) {
    // Every nesting passes here; the counter bounds the parser's recursion
    // even where no tree level is made (parentheses).
    struct Nest {
      explicit Nest(int* n) : n_(n) { ++*n_; }
      ~Nest() { --*n_; }
      int* n_;
    } nest(&nesting_);
    if (nesting_ > kMaxDepth)
      return fail(tok_.pos,
                  "the expression nests deeper than " + std::to_string(kMaxDepth) + " levels");

    std::unique_ptr<Ast> lhs = prefix(min_prec);
    while (lhs) {
      const int prec = binary_precedence(tok_.kind);
      if (prec == 0 || prec < min_prec) break;
      auto op = node(Ast::Kind::kBinary, tok_.pos);
      op->op = tok_.kind;
      advance();
      std::unique_ptr<Ast> rhs = binary(prec + 1);
      if (!rhs || !adopt(op.get(), std::move(lhs)) || !adopt(op.get(), std::move(rhs)))
        return nullptr;
      lhs = std::move(op);
    }
    return lhs;
  }

  std::unique_ptr<Ast> prefix(int min_prec) {
    const Tok t = tok_.kind;
    if (t != Tok::kNot && t != Tok::kMinus && t != Tok::kPlus) return primary();
    auto op = node(Ast::Kind::kUnary, tok_.pos);
    op->op = t;
    advance();
    std::unique_ptr<Ast> operand =
        binary(t == Tok::kNot ? std::max(kPrecNot + 1, min_prec) : kPrecUnary);
    if (!operand || !adopt(op.get(), std::move(operand))) return nullptr;
    return op;
  }

  std::unique_ptr<Ast> primary() {
    const Token t = tok_;
    switch (t.kind) {
      case Tok::kNumber: {
        auto a = node(Ast::Kind::kNumber, t.pos);
        a->text = std::string(t.text);
        advance();
        return a;
      }
      case Tok::kString: {
        if (t.text.size() > kMaxTextLen) return fail(t.pos, "text literal longer than 1 MiB");
        auto a = node(Ast::Kind::kString, t.pos);
        a->text = std::string(t.text);
        advance();
        return a;
      }
      case Tok::kTrue:
      case Tok::kFalse: {
        auto a = node(Ast::Kind::kLogical, t.pos);
        a->truth = t.kind == Tok::kTrue;
        advance();
        return a;
      }
      case Tok::kLParen: {
        advance();
        std::unique_ptr<Ast> inner = binary(kPrecOr);
        if (!inner) return nullptr;
        if (tok_.kind != Tok::kRParen) return fail(tok_.pos, "missing )");
        advance();
        return inner;
      }
      case Tok::kName: return name();
      case Tok::kError: return nullptr;  // already reported
      case Tok::kEnd: return fail(t.pos, "the expression ends where a value should follow");
      default: return fail(t.pos, "a value should come before '" + std::string(t.text) + "'");
    }
  }

  std::unique_ptr<Ast> name() {
    const Token t = tok_;
    advance();
    if (tok_.kind == Tok::kArrow) {
      advance();
      if (tok_.kind != Tok::kName) return fail(tok_.pos, "a field name should follow ->");
      auto a = node(Ast::Kind::kAlias, t.pos);
      a->alias = std::string(t.text);
      a->text = std::string(tok_.text);
      advance();
      return a;
    }
    if (tok_.kind != Tok::kLParen) {
      auto a = node(Ast::Kind::kName, t.pos);
      a->text = std::string(t.text);
      return a;
    }
    auto call = node(Ast::Kind::kCall, t.pos);
    call->text = std::string(t.text);
    advance();
    if (tok_.kind == Tok::kRParen) {
      advance();
      return call;
    }
    for (;;) {
      std::unique_ptr<Ast> arg = binary(kPrecOr);
      if (!arg || !adopt(call.get(), std::move(arg))) return nullptr;
      if (tok_.kind == Tok::kComma) {
        advance();
        continue;
      }
      if (tok_.kind != Tok::kRParen)
        return fail(tok_.pos, "missing , or ) in the call of " + call->text);
      advance();
      return call;
    }
  }

  std::string_view text_;
  Lexer lex_;
  Token tok_;
  Status error_;
  int nesting_ = 0;
};

}  // namespace

Status parse_text(std::string_view text, std::unique_ptr<Ast>* out) {
  return Parser(text).run(out);
}

}  // namespace xbase::expr
