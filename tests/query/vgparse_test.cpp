// The statement reader: how lines split into a verb and typed arguments, the errors a statement
// or a conversion records (and raises while RaiseErrors), and what a quiet conversion answers.
#include <gtest/gtest.h>

#include <string>

#include "query/Vgparse.h"

namespace vg {
namespace {

// The verb, then each argument as [text] followed by its type letter; a quoted argument is
// one of type C or S.
std::string shape(TVGParse& p) {
  std::string out = p.GetVerb() + ":";
  for (int n = 1; n <= p.GetParamCount(); ++n) {
    out += "[" + p.GetArg(n)->Text() + "]" + p.GetArg(n)->GetArgType();
  }
  return out;
}

// The message of the EVGParseError `run` raises; "<none>" when it raises nothing.
template <typename Run>
std::string raised(Run run) {
  try {
    run();
  } catch (const EVGParseError& e) {
    return e.what();
  }
  return "<none>";
}

TEST(Vgparse, StatementsSplitIntoVerbAndTypedArguments) {
  const std::pair<const char*, const char*> cases[] = {
      {"FIELD(NAME, 'X', 10, 0)", "FIELD:[NAME]U[X]C[ 10]I[ 0]I"},  // blanks stay unquoted
      {" x ( 'a,b' ) trailing, (ignored", "X:[a,b]S"},
      {"nopar", "NOPAR:"},
      {"EMPTY()", "EMPTY:[]I"},  // empty text passes the integer test
      {"V( true ,False)", "V:[ true ]L[False]L"},
      {"V(a(b), 'x')", "V:[ab]U"},  // a second "(" is dropped, the first ")" ends the list
      {"V('a' b 'c' , 'd')", "V:[abc]S[d]C"},  // text after a closing quote joins, blanks not
      {"V(a(b, 'x)y(', ,'')", "V:[ab]U[x)y(]S[ ]I[]S"},
      {"S('it''s')", "S:[its]S"},
      // Comments: no arguments and no error, whatever follows.
      {"* FIELD(A, 'unterminated", "*:"},
      {"   *(", "*:"},
      {"x*(1)", "X*:[1]I"},  // not a comment
  };
  TVGParse p;
  for (const auto& [line, expected] : cases) {
    p.SetCommandLine(line);
    EXPECT_EQ(raised([&] { p.Parse(); }), "<none>") << line;
    EXPECT_EQ(shape(p), expected) << line;
  }
  EXPECT_EQ(p.ErrorCode(), 0);
}

TEST(Vgparse, AcceptedConversions) {
  TVGParse p;
  p.SetCommandLine("field(' x ', 'X', -10, ' FALSE ')");
  p.Parse();
  EXPECT_EQ(p.Verb(), "field");
  EXPECT_EQ(p.GetArg(1)->GetAsString(), " x ");
  EXPECT_EQ(p.GetArg(2)->GetAsChar(), 'X');
  EXPECT_EQ(p.GetArg(2)->GetAsString(), "X");
  EXPECT_EQ(p.GetArg(3)->GetAsInteger(), -10);
  EXPECT_FALSE(p.GetArg(4)->GetAsBoolean());  // quoted, still a Boolean
  EXPECT_EQ(p.GetArg(4)->Position(), 4);
  p.Parse();  // parsing again starts from an empty list and verb
  EXPECT_EQ(p.GetParamCount(), 4);
}

TEST(Vgparse, StatementErrors) {
  TVGParse p;
  const auto parse = [&](const std::string& line) {
    p.SetCommandLine(line);
    return raised([&] { p.Parse(); });
  };
  EXPECT_EQ(parse("V('"), "Unterminated argument list.");  // the list first
  EXPECT_EQ(p.ErrorCode(), 1);
  EXPECT_EQ(parse("V(a, b"), "Unterminated argument list.");
  EXPECT_EQ(parse("V(x 'a')"), "Invalid parameter.");
  EXPECT_EQ(p.ErrorCode(), 8);

  p.SetRaiseErrors(false);
  p.SetErrorCode(0);
  EXPECT_EQ(parse("V('"), "<none>");
  EXPECT_EQ(p.ErrorCode(), 2);  // both recorded, the second last
  parse("V(x 'a')");
  EXPECT_EQ(p.ErrorCode(), 8);
  EXPECT_EQ(shape(p), "V:[a]C");  // the unquoted text is dropped
  parse("V(1)");
  EXPECT_EQ(p.ErrorCode(), 8) << "a clean parse does not clear an earlier error";
}

// A conversion that an argument of kRefusing refuses: the message raised, the error code, and
// what it answers when errors are not raised.
constexpr const char* kRefusing = "V(name, ' False ', 12, '', 'ab', 1_0, -, 2147483648)";
struct RefusedConversion {
  int arg;
  std::string (*convert)(TArgument&);
  const char* message;
  int code;
  const char* quiet_answer;
};

std::string as_boolean(TArgument& a) { return a.GetAsBoolean() ? "true" : "false"; }
std::string as_integer(TArgument& a) { return std::to_string(a.GetAsInteger()); }
std::string as_string(TArgument& a) { return a.GetAsString(); }
std::string as_char(TArgument& a) { return std::string(1, a.GetAsChar()); }

TEST(Vgparse, RefusedConversionsRaiseOrAnswerTheirDefault) {
  const RefusedConversion cases[] = {
      {1, as_boolean, "Argument 1 should be boolean.", 3, "false"},
      {1, as_integer, "Argument 1 should be an integer.", 4, "0"},
      {3, as_string, "Argument 3 should be a string.", 5, ""},
      {4, as_char, "Argument 4 should be a character.", 7, " "},  // empty quoted text
      {5, as_char, "Argument 5 should be a character.", 7, " "},
      // Integer-looking text that is no number: type "I", but refused as an integer.
      {6, as_integer, "Argument 6 should be an integer.", 4, "0"},
      {7, as_integer, "Argument 7 should be an integer.", 4, "0"},
      {8, as_integer, "Argument 8 should be an integer.", 4, "0"},
  };
  TVGParse p;
  p.SetCommandLine(kRefusing);
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 8);
  for (const RefusedConversion& c : cases) {
    p.SetRaiseErrors(true);
    p.SetErrorCode(0);
    EXPECT_EQ(raised([&] { c.convert(*p.GetArg(c.arg)); }), c.message);
    EXPECT_EQ(p.ErrorCode(), c.code) << c.message;
    p.SetRaiseErrors(false);
    p.SetErrorCode(0);
    EXPECT_EQ(c.convert(*p.GetArg(c.arg)), c.quiet_answer) << c.message;
    EXPECT_EQ(p.ErrorCode(), c.code) << c.message;
  }
}

TEST(Vgparse, ArgumentsOutOfRange) {
  TVGParse p;
  p.SetCommandLine("V(a, b)");
  p.Parse();
  EXPECT_EQ(raised([&] { p.GetArg(3); }), "Not enough arguments supplied.");
  EXPECT_EQ(raised([&] { p.GetArg(0); }), "Not enough arguments supplied.");
  p.SetRaiseErrors(false);
  p.SetErrorCode(0);
  EXPECT_EQ(p.GetArg(3), nullptr);
  EXPECT_EQ(p.ErrorCode(), 6);
}

}  // namespace
}  // namespace vg
