#include "index/tag.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

#include "expr/expression.h"
#include "index/collation.h"
#include "table/field_codec.h"

namespace xbase::index {

namespace {

inline constexpr uint32_t kMaxKeyLen = 240;

// The field an expression consists of alone, or null.
const table::FieldDesc* bare_field(const expr::Expression& e) {
  const expr::Program& p = e.program();
  const expr::Node& root = p.nodes[p.root];
  if (root.field == expr::kNoIndex || root.field >= p.fields.size()) return nullptr;
  return &p.fields[root.field].desc;
}

// The key shape an expression gives.
Status shape_of(const expr::Expression& e, Collation collation, KeyShape* out) {
  KeyShape s;
  switch (e.type()) {
    case 'C':
      s.kind = KeyKind::kText;
      s.len = collation == Collation::kGeneral ? e.len() * 2 : e.len();
      break;
    case 'N':
    case 'n': {
      const table::FieldDesc* f = bare_field(e);
      const bool int32 = f != nullptr && f->storage == table::Storage::kInt32;
      s.kind = int32 ? KeyKind::kInt32 : KeyKind::kNumber;
      s.len = int32 ? kInt32KeyLen : kNumberKeyLen;
      break;
    }
    case 'D':
    case 'd':
      s.kind = KeyKind::kDate;
      s.len = kNumberKeyLen;
      break;
    case 'T':
      s.kind = KeyKind::kDateTime;
      s.len = kNumberKeyLen;
      break;
    case 'L':
      s.kind = KeyKind::kLogical;
      s.len = 1;
      break;
    default:
      return Status(e4type, std::string("an index key cannot be of type ") + e.type());
  }
  for (const expr::FieldRef& f : e.program().fields)
    if (f.desc.null_bit >= 0) s.null_bits.push_back(f.desc.null_bit);
  s.nullable = !s.null_bits.empty();
  if (s.nullable) ++s.len;
  if (s.len == 0) return Status(e4index, "the key expression gives empty keys");
  *out = s;
  return Status::ok();
}

}  // namespace

Status shape_for(const TagDefinition& def, expr::RecordSource& eval, KeyShape* out) {
  if (def.name.empty() || def.name.size() > kMaxTagName)
    return Status(e4index, "tag name '" + def.name + "' must have 1 to 10 characters");
  for (char c : def.name)
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_'))
      return Status(e4index, "tag name '" + def.name + "' may hold letters, digits and '_' only");
  std::unique_ptr<expr::Expression> key;
  Status st = expr::Expression::parse(eval, def.key_expr, &key);
  if (!st) return Status(st.code(), "tag " + def.name + ": " + st.message());
  XB_TRY(shape_of(*key, def.collation, out));
  if (out->len > kMaxKeyLen)
    return Status(e4index, "tag " + def.name + ": keys of " + std::to_string(out->len) +
                               " bytes exceed the limit of " + std::to_string(kMaxKeyLen));
  if (!def.filter.empty()) {
    std::unique_ptr<expr::Expression> filter;
    st = expr::Expression::parse(eval, def.filter, &filter);
    if (!st) return Status(st.code(), "tag " + def.name + " filter: " + st.message());
    if (filter->type() != 'L')
      return Status(e4type, "tag " + def.name + ": the filter is not logical");
  }
  return Status::ok();
}

Tag::Tag(IndexFile* file, TagDefinition def, KeyShape shape, std::unique_ptr<NodeStore> store)
    : file_(file),
      def_(std::move(def)),
      shape_(shape),
      store_(std::move(store)),
      tree_(*store_),
      unique_mode_(def_.unique) {
  old_key.resize(shape.len);
  new_key.resize(shape.len);
}

Tag::~Tag() = default;

void Tag::set_unreadable(std::string why) {
  readable_ = false;
  unusable_ = std::move(why);
}

void Tag::bind(expr::RecordSource& eval) {
  eval_ = &eval;
  key_.reset();
  filter_.reset();
  if (!unusable_.empty()) return;
  Status st = expr::Expression::parse(eval, def_.key_expr, &key_);
  if (!st) {
    unusable_ = "its key expression cannot be evaluated here: " + st.message();
    return;
  }
  KeyShape s;
  st = shape_of(*key_, def_.collation, &s);
  if (!st) {
    unusable_ = st.message();
    key_.reset();
    return;
  }
  // The file tells whether keys carry a null mark; the expression which
  // fields' flags decide it.
  if (s.nullable) --s.len;
  if (shape_.nullable) ++s.len;
  if (s.len != shape_.len) {
    unusable_ = "its key expression gives keys of " + std::to_string(s.len) +
                " bytes, the tag holds " + std::to_string(shape_.len);
    key_.reset();
    return;
  }
  s.nullable = shape_.nullable;
  if (!s.nullable) s.null_bits.clear();
  shape_ = s;
  if (!def_.filter.empty()) {
    st = expr::Expression::parse(eval, def_.filter, &filter_);
    if (!st || filter_->type() != 'L') {
      unusable_ =
          "its filter cannot be evaluated here" + (st ? std::string() : ": " + st.message());
      key_.reset();
      filter_.reset();
    }
  }
}

void Tag::evaluate(uint8_t* out, bool* included, bool always) {
  *included = filter_ == nullptr || filter_->truth() == 1;
  if (!*included && !always) return;
  uint8_t* k = out;
  size_t body = shape_.len;
  if (shape_.nullable) {
    for (int bit : shape_.null_bits)
      if (table::null_bit(eval_->header(), bit, eval_->record.data())) {
        std::memset(out, 0, shape_.len);
        return;
      }
    *k++ = kNotNullMark;
    --body;
  }
  switch (shape_.kind) {
    case KeyKind::kText: {
      const char* s = key_->str();
      if (def_.collation == Collation::kGeneral) {
        general_key(s, key_->len(), k, body);
      } else {
        const size_t n = std::min<size_t>(key_->len(), body);
        std::memcpy(k, s, n);
        std::memset(k + n, ' ', body - n);
      }
      return;
    }
    case KeyKind::kNumber:
    case KeyKind::kDate:
    case KeyKind::kDateTime:
      encode_number(key_->number(), k);
      return;
    case KeyKind::kInt32: {
      double v = key_->number();
      v = std::isnan(v) ? 0 : std::clamp(v, double(INT32_MIN), double(INT32_MAX));
      encode_int32(static_cast<int32_t>(v), k);
      return;
    }
    case KeyKind::kLogical:
      *k = key_->number() != 0 ? 'T' : 'F';
      return;
  }
}

void Tag::seek_key(std::string_view text, uint8_t* out, size_t* compare_len) const {
  size_t at = 0;
  if (shape_.nullable) out[at++] = kNotNullMark;
  const size_t body = shape_.len - at;
  switch (shape_.kind) {
    case KeyKind::kText:
      if (def_.collation == Collation::kGeneral) {
        *compare_len = at + general_seek_key(text.data(), text.size(), out + at, body);
      } else {
        const size_t n = std::min(text.size(), body);
        std::memcpy(out + at, text.data(), n);
        *compare_len = at + n;
      }
      return;
    default:
      key_from_text(shape_.kind, text, out + at);
      *compare_len = shape_.len;
      return;
  }
}

}  // namespace xbase::index
