#include "expr/compiler.h"

#include <strings.h>

#include <cctype>
#include <cmath>
#include <cstdlib>

#include "expr/binding.h"
#include "expr/field_nodes.h"
#include "expr/operators.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

constexpr size_t kQuoteLen = 60;

double const_number(Program&, const Node& n) { return n.num; }
int32_t const_date(Program&, const Node& n) { return n.day; }
bool const_logical(Program&, const Node& n) { return n.day != 0; }
TextView const_text(Program& p, const Node& n) {
  const std::string& s = p.constant_text(n);
  return {s.data(), s.size()};
}

const char* operator_name(Tok op) {
  if (const char* name = relation_name(op)) return name;
  switch (op) {
    case Tok::kAnd: return ".AND.";
    case Tok::kOr: return ".OR.";
    case Tok::kNot: return ".NOT.";
    case Tok::kPlus: return "+";
    case Tok::kMinus: return "-";
    case Tok::kStar: return "*";
    case Tok::kSlash: return "/";
    case Tok::kPercent: return "%";
    case Tok::kPower: return "**";
    default: return "operator";
  }
}

class Compiler {
 public:
  Compiler(std::string_view text, RecordSource& data, Program* p) : text_(text), data_(&data), p_(*p) {}

  Status run(const Ast& ast) {
    p_.tables.assign(1, data_);
    p_.date_picture = data_->context().settings.date_format.substr(0, kMaxPicture);
    uint32_t root = kNoIndex;
    XB_TRY(node(ast, &root));
    p_.root = root;
    return Status::ok();
  }

 private:
  // Adds the expression and the column to a message.
  Status located(const Status& st, size_t pos) const {
    std::string quoted(text_.substr(0, kQuoteLen));
    if (text_.size() > kQuoteLen) quoted += "...";
    return Status(st.code(), st.message() + " at column " + std::to_string(pos + 1) + " of \"" +
                                 quoted + "\"");
  }
  Status error(int code, const std::string& what, size_t pos) const {
    return located(Status(code, what), pos);
  }

  uint32_t push(Node n) {
    p_.nodes.push_back(n);
    return static_cast<uint32_t>(p_.nodes.size() - 1);
  }

  Status node(const Ast& a, uint32_t* out) {
    switch (a.kind) {
      case Ast::Kind::kNumber: return number(a, out);
      case Ast::Kind::kString: {
        Node n;
        n.type = Type::kText;
        n.constant = n.fixed = true;
        n.width = static_cast<uint32_t>(a.text.size());
        n.fn.text = const_text;
        n.scratch = p_.add_scratch(a.text);
        *out = push(n);
        return Status::ok();
      }
      case Ast::Kind::kLogical: *out = push(logical_constant(a.truth)); return Status::ok();
      case Ast::Kind::kName: return name(a, out);
      case Ast::Kind::kAlias: return alias(a, out);
      case Ast::Kind::kCall: return call(a, out);
      case Ast::Kind::kUnary:
      case Ast::Kind::kBinary: return operation(a, out);
    }
    return error(e4expr, "unknown construct", a.pos);
  }

  static Node logical_constant(bool truth) {
    Node n;
    n.type = Type::kLogical;
    n.constant = true;
    n.width = 1;
    n.day = truth ? 1 : 0;
    n.fn.logical = const_logical;
    return n;
  }

  Status number(const Ast& a, uint32_t* out) {
    const std::string& t = a.text;
    const double v = std::strtod(t.c_str(), nullptr);
    if (!std::isfinite(v))
      return error(e4expr, "number " + t.substr(0, 20) + "... is too large", a.pos);
    const size_t point = t.find('.');
    const size_t dec = point == std::string::npos ? 0 : t.size() - point - 1;
    Node n;
    n.type = Type::kNumber;
    n.constant = true;
    n.width = kNumberWidth;
    n.dec = static_cast<uint8_t>(dec < kMaxDecimals ? dec : kMaxDecimals);
    n.num = v;
    n.fn.number = const_number;
    *out = push(n);
    return Status::ok();
  }

  // The user field of `d` named `name` (an index of its header's fields),
  // or kNoIndex.
  static size_t find_field(const RecordSource& d, std::string_view name) {
    const table::TableHeader& h = d.header();
    auto matches = [&](size_t i, size_t len) {
      const std::string& fn = h.fields[i].name;
      return static_cast<int>(i) != h.null_flags_field && fn.size() == len &&
             strncasecmp(fn.data(), name.data(), len) == 0;
    };
    for (size_t i = 0; i < h.fields.size(); ++i)
      if (matches(i, name.size())) return i;
    // Field names are significant to ten characters: tables of a FoxPro
    // database keep long names in the database and the first ten in the
    // table, and its index expressions use the long ones.
    constexpr size_t kSignificant = 10;
    if (name.size() > kSignificant)
      for (size_t i = 0; i < h.fields.size(); ++i)
        if (matches(i, kSignificant)) return i;
    return kNoIndex;
  }

  uint32_t field_node(uint32_t table, size_t field) {
    Node n;
    bind_field(p_, n, table, p_.tables[table]->header().fields[field], field);
    return push(n);
  }

  Status name(const Ast& a, uint32_t* out) {
    if (size_t f = find_field(*data_, a.text); f != kNoIndex) {
      *out = field_node(0, f);
      return Status::ok();
    }
    if (strcasecmp(a.text.c_str(), "TRUE") == 0 || strcasecmp(a.text.c_str(), "FALSE") == 0) {
      *out = push(logical_constant(toupper(static_cast<unsigned char>(a.text[0])) == 'T'));
      return Status::ok();
    }
    return error(e4expr, "no field " + a.text + " in " + data_->alias(), a.pos);
  }

  Status alias(const Ast& a, uint32_t* out) {
    RecordSource* d = strcasecmp(data_->alias().c_str(), a.alias.c_str()) == 0
                          ? data_
                          : data_->context().source_named(a.alias);
    if (d == nullptr)
      return error(e4expr, "no table with the alias " + a.alias + " is open", a.pos);
    const size_t f = find_field(*d, a.text);
    if (f == kNoIndex) return error(e4expr, "no field " + a.text + " in " + a.alias, a.pos);
    uint32_t table = 0;
    while (table < p_.tables.size() && p_.tables[table] != d) ++table;
    if (table == p_.tables.size()) p_.tables.push_back(d);
    *out = field_node(table, f);
    return Status::ok();
  }

  Status call(const Ast& a, uint32_t* out) {
    const FunctionDef* def = find_function(a.text);
    if (def == nullptr) return error(e4expr, "unknown function " + a.text, a.pos);
    const size_t argc = a.args.size();
    if (argc < def->min_args || argc > def->max_args) {
      std::string wanted = std::to_string(def->min_args);
      if (def->max_args != def->min_args) wanted += " to " + std::to_string(def->max_args);
      return error(
          e4expr,
          std::string(def->name) + " takes " + wanted + " operands, not " + std::to_string(argc),
          a.pos);
    }
    return bind(
        a, def->name, [def](Call& c) { return def->bind(c); }, out);
  }

  Status operation(const Ast& a, uint32_t* out) {
    const Tok op = a.op;
    return bind(
        a, operator_name(op),
        [op](Call& c) {
          if (is_relation(op)) return bind_relation(c, op);
          switch (op) {
            case Tok::kAnd:
            case Tok::kOr:
            case Tok::kNot: return bind_logic(c, op);
            default: return bind_arithmetic(c, op);
          }
        },
        out);
  }

  // Compiles the operands, makes the node, lets `binder` type it, folds it.
  template <class Binder>
  Status bind(const Ast& a, const char* name, Binder&& binder, uint32_t* out) {
    Node n;
    n.argc = static_cast<uint8_t>(a.args.size());
    for (size_t i = 0; i < a.args.size(); ++i) XB_TRY(node(*a.args[i], &n.arg[i]));
    const uint32_t index = push(n);
    Call c{p_, p_.nodes[index], name};
    Status st = binder(c);
    if (!st) return located(st, a.pos);
    fold(index);
    *out = index;
    return Status::ok();
  }

  // A node whose value cannot change becomes a constant.
  void fold(uint32_t index) {
    Node& n = p_.nodes[index];
    bool operands_constant = true;
    for (int i = 0; i < n.argc; ++i) operands_constant &= p_.nodes[n.arg[i]].constant;
    if (!n.constant && !(n.pure && operands_constant)) return;
    Node k;
    k.type = n.type;
    k.width = n.width;
    k.dec = n.dec;
    k.constant = true;
    switch (n.type) {
      case Type::kNumber:
        k.num = p_.number(index);
        k.fn.number = const_number;
        break;
      case Type::kDate:
        k.day = p_.date(index);
        k.fn.date = const_date;
        break;
      case Type::kLogical:
        k.day = p_.logical(index) ? 1 : 0;
        k.fn.logical = const_logical;
        break;
      case Type::kText:
      case Type::kDateTime: {
        const TextView v = p_.text(index);
        std::string value(v.data, v.size);  // before add_scratch can move buffers
        k.fixed = value.size() == k.width;
        k.scratch = p_.add_scratch(std::move(value));
        k.fn.text = const_text;
        break;
      }
    }
    p_.nodes[index] = k;
  }

  std::string_view text_;
  RecordSource* data_;
  Program& p_;
};

}  // namespace

Status compile(const Ast& ast, std::string_view text, RecordSource& data, Program* out) {
  return Compiler(text, data, out).run(ast);
}

}  // namespace xbase::expr
