// The reader of the system's line-oriented text formats (the data
// dictionary, structure files, field definitions): one statement of the form
// VERB(argument, argument, ...) becomes a verb and a list of arguments, each
// converted on demand to a Boolean, integer, string or character. The parser
// knows no verbs; its callers interpret them.
//
// Format: the text before the first "(" is the verb; a statement without one
// is a verb without arguments. Arguments are separated by "," and end at ")";
// whatever follows the ")" is ignored. An argument between single quotes may
// hold commas and parentheses; there is no escape, so two quotes in a row
// close and reopen the same argument ('it''s' reads as its). Blanks around an
// unquoted argument stay in its text; blanks outside the quotes of a quoted
// one do not, other text after its closing quote joins it. "VERB()" has one empty argument. A line
// whose first non-blank character is "*" is a comment: verb "*", no
// arguments, no error.
//
// Errors are numbered (ErrorCode) and, while RaiseErrors is true, raised as
// EVGParseError; otherwise only recorded. ErrorCode keeps the last error until
// another replaces it: neither a new statement nor a new parse clears it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/Vgglobal.h"
#include "framework/component.h"

namespace vg {

class TVGParse;

class TArgument : public TObject {
 public:
  TArgument(TVGParse& Parser, std::string Text, bool Quoted, int32_t Position);

  // "C" a quoted single character, "S" any other quoted text (an empty one
  // too), "L" unquoted TRUE or FALSE (any case, blanks around), "I" unquoted
  // integer text (IsIntegerString of the trimmed text, so an empty argument
  // is "I"), "U" anything else.
  char GetArgType() const;
  // TRUE or FALSE, quoted or not (error 3, false).
  bool GetAsBoolean() const;
  // Type "I" converted (error 4, 0; also for "I" text that is no number,
  // such as "" or "1,000").
  int32_t GetAsInteger() const;
  // Type "C" or "S": the text between the quotes (error 5, "").
  std::string GetAsString() const;
  // Type "C": the character (error 7, a blank).
  char GetAsChar() const;

  const std::string& Text() const { return text_; }
  bool Quoted() const { return quoted_; }
  // 1-based place in the argument list.
  int32_t Position() const { return position_; }

 private:
  TVGParse& parser_;
  std::string text_;
  bool quoted_;
  int32_t position_;
};

class TVGParse : public TPersistent {
 public:
  TVGParse() = default;
  ~TVGParse() override;

  // Empties the argument list and the verb, then keeps the statement.
  void SetCommandLine(const std::string& Text);
  const std::string& CommandLine() const { return command_line_; }
  // Reads CommandLine into the verb and the arguments. Errors: 1 an argument
  // list without ")", 2 an unterminated quoted argument, 8 unquoted text
  // before an opening quote.
  void Parse();

  // The verb upper-cased and trimmed of blanks.
  std::string GetVerb() const;
  // The verb as written.
  const std::string& Verb() const { return verb_; }
  int32_t GetParamCount() const { return static_cast<int32_t>(args_.size()); }
  // The argument at 1-based `n`; out of range: error 6 and, without
  // RaiseErrors, nullptr.
  TArgument* GetArg(int32_t n);

  // Empties the argument list and the verb.
  void ResetVariables();
  // Frees the arguments, last first.
  void ClearArgList();

  int32_t ErrorCode() const { return error_code_; }
  void SetErrorCode(int32_t Value) { error_code_ = Value; }
  bool RaiseErrors() const { return raise_errors_; }
  void SetRaiseErrors(bool Value) { raise_errors_ = Value; }

  // Records error `Code` and raises it as EVGParseError while RaiseErrors.
  void Error(int32_t Code, const std::string& Message);

 private:
  void add_argument(std::string& text, bool& quoted);

  int32_t error_code_ = 0;
  bool raise_errors_ = true;
  std::string command_line_;
  std::string verb_;
  std::vector<std::unique_ptr<TArgument>> args_;
};

}  // namespace vg
