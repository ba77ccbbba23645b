// Tag: one ordering of a table (a TAG4): its definition, the shape of its
// keys, the expressions that make them and the tree that holds them.
//
// Keys are computed on the index set's key source (a record buffer loaded
// with whatever record is to be keyed), so that no user cursor moves while
// its table's indexes are kept up to date.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "index/btree.h"
#include "index/key_encoding.h"
#include "index/node_store.h"
#include "util/status.h"
#include "vgxbase/xbase.h"

// The C handles are the engine's objects seen through an empty base.
struct TAG4 {};
struct INDEX4 {};

namespace xbase::expr {
class Expression;
class RecordSource;
}

namespace xbase::index {

class IndexFile;

inline constexpr size_t kMaxTagName = 10;

struct TagDefinition {
  std::string name;  // upper case
  std::string key_expr;
  std::string filter;  // empty: every record
  int unique = 0;      // 0, r4unique or r4uniqueContinue
  bool descending = false;
  Collation collation = Collation::kMachine;
};

// What keys of a tag look like.
struct KeyShape {
  KeyKind kind = KeyKind::kText;
  uint32_t len = 0;       // bytes, the null mark included
  bool nullable = false;  // keys carry a null mark in front
  // Null flags of the fields the key reads: any of them set makes the key
  // null, as a null operand makes an expression null.
  std::vector<int> null_bits;
};

// Parses `def`'s expressions against `eval` and derives the key shape a new
// tag gets: e4expr, e4type (key not of a key type, filter not logical) or
// e4index (key too long, bad name).
Status shape_for(const TagDefinition& def, expr::RecordSource& eval, KeyShape* out);

class Tag : public TAG4 {
 public:
  Tag(IndexFile* file, TagDefinition def, KeyShape shape, std::unique_ptr<NodeStore> store);
  ~Tag();

  const TagDefinition& def() const { return def_; }
  const std::string& name() const { return def_.name; }
  IndexFile& file() const { return *file_; }
  const KeyShape& shape() const { return shape_; }
  uint32_t key_len() const { return shape_.len; }
  bool descending() const { return def_.descending; }
  int unique_mode() const { return unique_mode_; }
  void set_unique_mode(int mode) { unique_mode_ = mode; }
  uint8_t pad() const { return pad_byte(shape_.kind, def_.collation); }

  NodeStore& store() { return *store_; }
  BTree& tree() { return tree_; }

  // Parses the expressions against the key source. A tag whose keys
  // cannot be made here (an expression this engine cannot evaluate, a key
  // length that disagrees, a collation it does not know) still reads, but
  // is not maintainable: changes to its table are refused.
  void bind(expr::RecordSource& eval);
  bool maintainable() const { return unusable_.empty(); }
  const std::string& unusable_reason() const { return unusable_; }
  void set_unusable(std::string why) { unusable_ = std::move(why); }
  // Whether entries can be walked at all (false for kinds of tag whose
  // pages this engine does not read).
  bool readable() const { return readable_; }
  void set_unreadable(std::string why);

  // Whether the key source's record belongs in the tag (its filter)
  // and, when it does (or `always`), its key into `out` (key_len bytes).
  void evaluate(uint8_t* out, bool* included, bool always = false);
  // A seek value as key bytes; *compare_len is how many take part.
  void seek_key(std::string_view text, uint8_t* out, size_t* compare_len) const;

  // Scratch of one update (see TableIndexes): old and new key, membership.
  std::vector<uint8_t> old_key, new_key;
  bool old_in = false, new_in = false, skip_new = false;

 private:
  IndexFile* file_;
  TagDefinition def_;
  KeyShape shape_;
  std::unique_ptr<NodeStore> store_;
  BTree tree_;
  int unique_mode_ = 0;
  std::unique_ptr<expr::Expression> key_;
  std::unique_ptr<expr::Expression> filter_;
  expr::RecordSource* eval_ = nullptr;
  std::string unusable_;
  bool readable_ = true;
};

}  // namespace xbase::index
