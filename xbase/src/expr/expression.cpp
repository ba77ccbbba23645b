#include "expr/expression.h"

#include <algorithm>
#include <cstring>

#include "expr/binding.h"
#include "expr/compiler.h"
#include "expr/field_nodes.h"
#include "expr/operators.h"
#include "expr/parser.h"
#include "table/field_codec.h"
#include "util/date.h"
#include "vgxbase/xbase.h"

namespace xbase::expr {

namespace {

constexpr double kSecondsPerDay = 86400.0;

// A date-time's "CCYYMMDDhh:mm:ss" as a day number with the time of day as
// a fraction.
double datetime_number(TextView t) {
  if (t.size < kDateTimeWidth) return 0;
  const int32_t day = date::day_from_ccyymmdd(t.data);
  if (day <= 0) return 0;
  auto two = [&](size_t at) {
    const char a = t.data[at], b = t.data[at + 1];
    return (a >= '0' && a <= '9' && b >= '0' && b <= '9') ? (a - '0') * 10 + (b - '0') : 0;
  };
  return day + (two(8) * 3600 + two(11) * 60 + two(14)) / kSecondsPerDay;
}

}  // namespace

Status Expression::parse(RecordSource& data, std::string_view text, std::unique_ptr<Expression>* out) {
  std::unique_ptr<Ast> ast;
  XB_TRY(parse_text(text, &ast));
  std::unique_ptr<Expression> e(new Expression());
  XB_TRY(compile(*ast, text, data, &e->program_));
  const Node& root = e->program_.nodes[e->program_.root];
  const bool bare = is_bare_text_field(e->program_, root);
  switch (root.type) {
    case Type::kText:
      e->type_ = 'C';
      e->len_ = root.width;
      break;
    case Type::kNumber:
      e->type_ = bare ? 'N' : 'n';
      e->len_ = bare ? root.len : kNumberWidth;
      break;
    case Type::kDate:
      e->type_ = bare ? 'D' : 'd';
      e->len_ = kDateWidth;
      break;
    case Type::kLogical:
      e->type_ = 'L';
      e->len_ = 1;
      break;
    case Type::kDateTime:
      e->type_ = 'T';
      e->len_ = kDateTimeWidth;
      break;
  }
  e->result_.assign(e->len_ + 1, '\0');
  *out = std::move(e);
  return Status::ok();
}

const char* Expression::str() {
  Program& p = program_;
  const Node& root = p.nodes[p.root];
  char* out = result_.data();
  switch (type_) {
    case 'C':
    case 'T': {
      const TextView v = p.text(p.root);
      const size_t n = std::min<size_t>(v.size, len_);
      if (n) std::memmove(out, v.data, n);
      std::memset(out + n, ' ', len_ - n);
      break;
    }
    case 'N':
    case 'D': std::memcpy(out, p.record(root) + root.offset, len_); break;
    case 'n': format_fixed(p.number(p.root), len_, root.dec, out); break;
    case 'd': date::ccyymmdd_from_day(p.date(p.root), out); break;
    case 'L': out[0] = p.logical(p.root) ? 'T' : 'F'; break;
    default: break;
  }
  out[len_] = '\0';
  return out;
}

double Expression::number() {
  Program& p = program_;
  switch (type_) {
    case 'N':
    case 'n': return p.number(p.root);
    case 'D':
    case 'd': return p.date(p.root);
    case 'L': return p.logical(p.root) ? 1.0 : 0.0;
    case 'T': return datetime_number(p.text(p.root));
    default: {
      const TextView v = p.text(p.root);
      return finite_or_zero(table::parse_number(v.data, v.size));
    }
  }
}

int Expression::truth() {
  if (type_ != 'L') {
    program_.fail(
        Status(e4type, std::string("the expression is of type ") + type_ + ", not logical"));
    return e4type;
  }
  return program_.logical(program_.root) ? 1 : 0;
}

}  // namespace xbase::expr
