#include "query/Vgparse.h"

#include <utility>

#include "framework/sys_utils.h"
#include "values/Vgfunc.h"

namespace vg {

namespace {
std::string argument_message(int32_t position, const char* what) {
  return "Argument " + std::to_string(position) + " should be " + what + ".";
}
}  // namespace

// --- TArgument -------------------------------------------------------------------

TArgument::TArgument(TVGParse& Parser, std::string Text, bool Quoted, int32_t Position)
    : parser_(Parser), text_(std::move(Text)), quoted_(Quoted), position_(Position) {}

char TArgument::GetArgType() const {
  if (quoted_) return text_.size() == 1 ? 'C' : 'S';
  const std::string trimmed = AllTrim(text_);
  const std::string upper = AnsiUpperCase(trimmed);
  if (upper == "TRUE" || upper == "FALSE") return 'L';
  if (IsIntegerString(trimmed)) return 'I';
  return 'U';
}

bool TArgument::GetAsBoolean() const {
  const std::string upper = AnsiUpperCase(AllTrim(text_));
  if (upper == "TRUE") return true;
  if (upper == "FALSE") return false;
  parser_.Error(3, argument_message(position_, "boolean"));
  return false;
}

int32_t TArgument::GetAsInteger() const {
  int32_t value = 0;
  if (GetArgType() == 'I' && TryStrToInt(AllTrim(text_), value)) return value;
  parser_.Error(4, argument_message(position_, "an integer"));
  return 0;
}

std::string TArgument::GetAsString() const {
  const char type = GetArgType();
  if (type == 'C' || type == 'S') return text_;
  parser_.Error(5, argument_message(position_, "a string"));
  return std::string();
}

char TArgument::GetAsChar() const {
  if (GetArgType() == 'C') return text_[0];
  parser_.Error(7, argument_message(position_, "a character"));
  return ' ';
}

// --- TVGParse --------------------------------------------------------------------

TVGParse::~TVGParse() { ClearArgList(); }

void TVGParse::SetCommandLine(const std::string& Text) {
  ResetVariables();
  command_line_ = Text;
}

void TVGParse::ResetVariables() {
  ClearArgList();
  verb_.clear();
}

void TVGParse::ClearArgList() {
  while (!args_.empty()) args_.pop_back();
}

void TVGParse::Error(int32_t Code, const std::string& Message) {
  error_code_ = Code;
  if (raise_errors_) throw EVGParseError(Message);
}

std::string TVGParse::GetVerb() const { return AllTrim(AnsiUpperCase(verb_)); }

TArgument* TVGParse::GetArg(int32_t n) {
  if (n < 1 || n > GetParamCount()) {
    Error(6, "Not enough arguments supplied.");
    return nullptr;
  }
  return args_[static_cast<size_t>(n - 1)].get();
}

void TVGParse::add_argument(std::string& text, bool& quoted) {
  args_.push_back(std::make_unique<TArgument>(*this, text, quoted, GetParamCount() + 1));
  text.clear();
  quoted = false;
}

void TVGParse::Parse() {
  ResetVariables();
  bool in_list = false, closed = false, in_quotes = false, comment = false;
  std::string text;
  bool quoted = false;
  for (const char c : command_line_) {
    if (c == '(' && !comment && !in_quotes) {
      in_list = true;  // a second "(" in the list is dropped the same way
    } else if (!in_list) {
      verb_ += c;
      if (AllTrim(verb_) == "*") comment = true;
    } else if (c == '\'') {
      if (in_quotes) {
        in_quotes = false;
      } else {
        in_quotes = true;
        // Reopening a quoted argument continues it; opening one after
        // unquoted text is an error.
        if (!quoted) {
          if (!AllTrim(text).empty()) Error(8, "Invalid parameter.");
          text.clear();
          quoted = true;
        }
      }
    } else if (in_quotes) {
      text += c;
    } else if (c == ')') {
      add_argument(text, quoted);
      closed = true;
    } else if (c == ',') {
      add_argument(text, quoted);
    } else if (!(quoted && c == ' ')) {
      // Text after a closing quote joins the argument; blanks there are
      // dropped, as blanks before the opening quote are.
      text += c;
    }
    if (comment || (in_list && closed)) break;
  }
  if (comment) return;
  if (in_list && !closed) Error(1, "Unterminated argument list.");
  if (in_quotes) Error(2, "Unterminated string argument.");
}

}  // namespace vg
