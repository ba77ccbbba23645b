// Program: the compiled form of an expression. A flat array of typed nodes;
// each node carries the function that evaluates it (chosen when the
// expression was compiled, by operand types) and the indexes of its
// operands. Evaluation calls the root's function, which calls its operands'
// functions: no dispatch on types at run time, no allocation. Text results
// live in per-node scratch buffers that only grow when a value is longer
// than any before it (a long memo, a data-dependent REPLICATE).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "expr/value.h"
#include "table/dbf_header.h"
#include "expr/record_source.h"
#include "util/status.h"

namespace xbase::expr {

class Program;
struct Node;

using NumberFn = double (*)(Program&, const Node&);
using DateFn = int32_t (*)(Program&, const Node&);
using LogicalFn = bool (*)(Program&, const Node&);
using TextFn = TextView (*)(Program&, const Node&);  // also date-times

union EvalFn {
  NumberFn number;
  DateFn date;
  LogicalFn logical;
  TextFn text;
};

inline constexpr uint32_t kNoIndex = 0xFFFFFFFFu;

struct Node {
  EvalFn fn{};
  Type type = Type::kNumber;
  bool constant = false;  // value known when compiled (literals and what folds from them)
  bool pure = true;       // the function depends on its operands only
  bool fixed = false;     // text whose length always equals `width`
  uint8_t argc = 0;
  uint8_t dec = 0;     // decimals shown for numbers
  uint32_t width = 0;  // static width: text, or a bare field's width
  uint32_t arg[3] = {kNoIndex, kNoIndex, kNoIndex};
  // Payload, by node kind.
  double num = 0;             // number constant
  int32_t day = 0;            // date constant, logical constant (0/1), small parameters
  uint32_t table = 0;         // index into Program::tables
  uint32_t field = kNoIndex;  // index into Program::fields
  uint32_t offset = 0;        // field bytes in the record
  uint32_t len = 0;
  uint32_t scratch = kNoIndex;  // buffer for text results and text constants
};

// A field the expression reads: a copy of its descriptor (the header may be
// re-read while the expression lives) and its place in the header, so that
// a memo value assigned but not yet written is what the expression sees.
struct FieldRef {
  table::FieldDesc desc;
  size_t index = 0;              // in the header's field list
  uint64_t memo_generation = 0;  // record load whose memo the node's buffer holds
};

class Program {
 public:
  // Evaluation of operand `i` (an index from Node::arg).
  double number(uint32_t i) {
    const Node& n = nodes[i];
    return n.fn.number(*this, n);
  }
  int32_t date(uint32_t i) {
    const Node& n = nodes[i];
    return n.fn.date(*this, n);
  }
  bool logical(uint32_t i) {
    const Node& n = nodes[i];
    return n.fn.logical(*this, n);
  }
  TextView text(uint32_t i) {
    const Node& n = nodes[i];
    return n.fn.text(*this, n);
  }

  // The node's scratch buffer with room for `size` bytes (at most
  // kMaxTextLen); grows only past the longest value so far.
  char* scratch(const Node& n, size_t size) {
    std::string& s = scratch_[n.scratch];
    if (s.size() < size) s.resize(size);
    return s.data();
  }
  const std::string& constant_text(const Node& n) const { return scratch_[n.scratch]; }
  std::string& scratch_string(const Node& n) { return scratch_[n.scratch]; }

  const uint8_t* record(const Node& n) const { return tables[n.table]->record.data(); }
  RecordSource* table(uint32_t i) const { return tables[i]; }
  // Evaluation failures (a memo that cannot be read) go to the context; the
  // value in question reads as empty.
  void fail(const Status& st);

  // A new buffer holding a text constant; answers its index.
  uint32_t add_scratch(std::string initial);
  // A new scratch buffer made `size` bytes long at once, so that values up to
  // the node's static width never make evaluation allocate.
  uint32_t add_scratch(size_t size) { return add_scratch(std::string(size, '\0')); }

  std::vector<Node> nodes;
  std::vector<RecordSource*> tables;  // [0] is the table the expression was parsed for
  std::vector<FieldRef> fields;
  uint32_t root = kNoIndex;
  // The context's date picture when the expression was parsed: CTOD, DTOC
  // and TTOC keep using it, so widths and folded constants stay true.
  std::string date_picture;

 private:
  std::vector<std::string> scratch_;
};

}  // namespace xbase::expr
