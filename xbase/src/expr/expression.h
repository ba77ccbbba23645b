// Expression: a parsed, compiled xBase expression bound to a table, and
// its results in the forms the C interface hands out.
//
// Result types (expr4type): 'C' text; 'N' a numeric text field alone (its
// bytes as stored); 'n' any other number (a double); 'D' a date field alone
// (its CCYYMMDD bytes); 'd' any other date (a day number); 'L' logical;
// 'T' date-time.
// Widths (expr4len): text its static width (see the function groups); 'N'
// the field's width; 'n' kNumberWidth (20, the display width: numbers are
// shown right-aligned with the decimals their operands suggest); dates 8;
// logicals 1; date-times 16.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "expr/program.h"

namespace xbase::expr {

class Expression {
 public:
  // e4expr (syntax, unknown names, wrong operand counts) or e4type.
  static Status parse(RecordSource& data, std::string_view text, std::unique_ptr<Expression>* out);

  char type() const { return type_; }
  uint32_t len() const { return len_; }

  // Evaluate on the current records. str() answers len() bytes and a NUL,
  // valid until the next call; text is padded with blanks or cut.
  const char* str();
  // Numbers; dates as day numbers (0 blank); date-times as day numbers with
  // the time as a fraction; logicals 1 or 0; text read as a number.
  double number();
  // 1 or 0; e4type (also stored in the context) when not logical.
  int truth();

  RecordSource& data() const { return *program_.tables[0]; }
  // For tests and tools: the compiled form.
  const Program& program() const { return program_; }

 private:
  Expression() = default;

  Program program_;
  char type_ = 'C';
  uint32_t len_ = 0;
  std::string result_;
};

}  // namespace xbase::expr
