#include <gtest/gtest.h>

#include <string>

#include "query/Vgparse.h"

namespace vg {
namespace {

// Parses `line` without exceptions; the error code starts at 0.
void parse_quietly(TVGParse& p, const std::string& line) {
  p.SetRaiseErrors(false);
  p.SetErrorCode(0);
  p.SetCommandLine(line);
  p.Parse();
}

std::string raised_message(TVGParse& p, const std::string& line) {
  p.SetCommandLine(line);
  try {
    p.Parse();
  } catch (const EVGParseError& e) {
    return e.what();
  }
  return "<none>";
}

TEST(Vgparse, FieldStatement) {
  TVGParse p;
  EXPECT_EQ(p.ErrorCode(), 0);
  EXPECT_TRUE(p.RaiseErrors());
  p.SetCommandLine("FIELD(NAME, 'X', 10, 0)");
  p.Parse();
  EXPECT_EQ(p.GetVerb(), "FIELD");
  ASSERT_EQ(p.GetParamCount(), 4);
  EXPECT_EQ(p.GetArg(1)->Text(), "NAME");
  EXPECT_EQ(p.GetArg(1)->GetArgType(), 'U');
  EXPECT_EQ(p.GetArg(2)->Text(), "X");
  EXPECT_TRUE(p.GetArg(2)->Quoted());
  EXPECT_EQ(p.GetArg(2)->GetArgType(), 'C');
  EXPECT_EQ(p.GetArg(3)->Text(), " 10");  // blanks stay in unquoted text
  EXPECT_EQ(p.GetArg(3)->GetArgType(), 'I');
  EXPECT_EQ(p.GetArg(3)->GetAsInteger(), 10);
  EXPECT_EQ(p.GetArg(4)->Text(), " 0");
  EXPECT_EQ(p.GetArg(4)->GetArgType(), 'I');
  EXPECT_EQ(p.GetArg(4)->Position(), 4);
  EXPECT_EQ(p.GetArg(2)->GetAsChar(), 'X');
  EXPECT_EQ(p.GetArg(2)->GetAsString(), "X");
}

TEST(Vgparse, VerbsQuotesAndParentheses) {
  TVGParse p;
  p.SetCommandLine(" x ( 'a,b' ) trailing, (ignored");
  p.Parse();
  EXPECT_EQ(p.GetVerb(), "X");
  EXPECT_EQ(p.Verb(), " x ");
  ASSERT_EQ(p.GetParamCount(), 1);
  EXPECT_EQ(p.GetArg(1)->Text(), "a,b");
  EXPECT_EQ(p.GetArg(1)->GetAsString(), "a,b");
  EXPECT_EQ(p.GetArg(1)->GetArgType(), 'S');

  p.SetCommandLine("nopar");
  p.Parse();
  EXPECT_EQ(p.GetVerb(), "NOPAR");
  EXPECT_EQ(p.GetParamCount(), 0);

  p.SetCommandLine("EMPTY()");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 1);
  EXPECT_EQ(p.GetArg(1)->Text(), "");
  EXPECT_FALSE(p.GetArg(1)->Quoted());
  EXPECT_EQ(p.GetArg(1)->GetArgType(), 'I');  // empty text passes the integer test

  p.SetCommandLine("V(a(b), 'x')");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 1);  // a second "(" is dropped, the first ")" ends the list
  EXPECT_EQ(p.GetArg(1)->Text(), "ab");
  p.SetCommandLine("V('a' b 'c' , 'd')");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 2);
  EXPECT_EQ(p.GetArg(1)->Text(), "abc");  // text after a closing quote joins, blanks do not
  p.SetCommandLine("V(a(b, 'x)y(', ,'')");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 4);
  EXPECT_EQ(p.GetArg(1)->Text(), "ab");
  EXPECT_EQ(p.GetArg(2)->Text(), "x)y(");
  EXPECT_EQ(p.GetArg(3)->Text(), " ");
  EXPECT_EQ(p.GetArg(4)->Text(), "");
  EXPECT_TRUE(p.GetArg(4)->Quoted());
  EXPECT_EQ(p.GetArg(4)->GetArgType(), 'S');  // an empty quoted string

  p.SetCommandLine("S('it''s')");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 1);
  EXPECT_EQ(p.GetArg(1)->Text(), "its");
  EXPECT_TRUE(p.GetArg(1)->Quoted());
  EXPECT_EQ(p.ErrorCode(), 0);

  // Parsing again starts from an empty list and verb.
  p.Parse();
  EXPECT_EQ(p.GetParamCount(), 1);
}

TEST(Vgparse, Comments) {
  TVGParse p;
  for (const char* line : {"* FIELD(A, 'unterminated", "   *(", "*"}) {
    p.SetCommandLine(line);
    EXPECT_NO_THROW(p.Parse()) << line;
    EXPECT_EQ(p.GetVerb(), "*");
    EXPECT_EQ(p.GetParamCount(), 0);
  }
  EXPECT_EQ(p.ErrorCode(), 0);
  p.SetCommandLine("x*(1)");  // not a comment: the verb is x*
  p.Parse();
  EXPECT_EQ(p.GetVerb(), "X*");
  EXPECT_EQ(p.GetParamCount(), 1);
}

TEST(Vgparse, StatementErrors) {
  TVGParse p;
  EXPECT_EQ(raised_message(p, "V('"), "Unterminated argument list.");  // the list first
  EXPECT_EQ(p.ErrorCode(), 1);
  EXPECT_EQ(raised_message(p, "V(a, b"), "Unterminated argument list.");
  EXPECT_EQ(raised_message(p, "V(x 'a')"), "Invalid parameter.");
  EXPECT_EQ(p.ErrorCode(), 8);

  parse_quietly(p, "V('");
  EXPECT_EQ(p.ErrorCode(), 2);  // both recorded, the second last
  parse_quietly(p, "V(x 'a')");
  EXPECT_EQ(p.ErrorCode(), 8);
  ASSERT_EQ(p.GetParamCount(), 1);
  EXPECT_EQ(p.GetArg(1)->Text(), "a");  // the unquoted text is dropped
  // A clean parse does not clear an earlier error.
  p.SetCommandLine("V(1)");
  p.Parse();
  EXPECT_EQ(p.ErrorCode(), 8);
}

TEST(Vgparse, ConversionErrors) {
  TVGParse p;
  p.SetCommandLine("V(name, 'true', ' False ', 12, '', 'ab', x y, 1,000)");
  p.Parse();
  ASSERT_EQ(p.GetParamCount(), 9);
  EXPECT_TRUE(p.GetArg(2)->GetAsBoolean());  // quoted, still a Boolean
  EXPECT_FALSE(p.GetArg(3)->GetAsBoolean());
  EXPECT_EQ(p.GetArg(3)->GetArgType(), 'S');
  auto message = [&](auto&& call) -> std::string {
    try {
      call();
    } catch (const EVGParseError& e) {
      return e.what();
    }
    return "<none>";
  };
  EXPECT_EQ(message([&] { p.GetArg(1)->GetAsBoolean(); }), "Argument 1 should be boolean.");
  EXPECT_EQ(message([&] { p.GetArg(1)->GetAsInteger(); }), "Argument 1 should be an integer.");
  EXPECT_EQ(message([&] { p.GetArg(4)->GetAsString(); }), "Argument 4 should be a string.");
  EXPECT_EQ(message([&] { p.GetArg(5)->GetAsChar(); }), "Argument 5 should be a character.");
  EXPECT_EQ(p.ErrorCode(), 7);
  EXPECT_EQ(message([&] { p.GetArg(6)->GetAsChar(); }), "Argument 6 should be a character.");
  EXPECT_EQ(message([&] { p.GetArg(10); }), "Not enough arguments supplied.");
  EXPECT_EQ(message([&] { p.GetArg(0); }), "Not enough arguments supplied.");
  EXPECT_EQ(p.GetArg(7)->GetArgType(), 'U');

  p.SetRaiseErrors(false);
  EXPECT_EQ(p.GetArg(10), nullptr);
  EXPECT_EQ(p.ErrorCode(), 6);
  EXPECT_FALSE(p.GetArg(1)->GetAsBoolean());
  EXPECT_EQ(p.ErrorCode(), 3);
  EXPECT_EQ(p.GetArg(1)->GetAsInteger(), 0);
  EXPECT_EQ(p.ErrorCode(), 4);
  EXPECT_EQ(p.GetArg(4)->GetAsString(), "");
  EXPECT_EQ(p.ErrorCode(), 5);
  EXPECT_EQ(p.GetArg(5)->GetAsChar(), ' ');
  EXPECT_EQ(p.ErrorCode(), 7);
  EXPECT_EQ(p.GetArg(5)->GetAsString(), "");  // an empty quoted string is a string
  EXPECT_EQ(p.ErrorCode(), 7);
  // Integer-looking text that is no number: "I", but refused as an integer.
  EXPECT_EQ(p.GetArg(9)->Text(), "000");
  p.SetCommandLine("V(1_0, -, 2147483648)");
  p.Parse();
  for (int n = 1; n <= 3; ++n) {
    EXPECT_EQ(p.GetArg(n)->GetArgType(), 'I') << n;
    p.SetErrorCode(0);
    EXPECT_EQ(p.GetArg(n)->GetAsInteger(), 0) << n;
    EXPECT_EQ(p.ErrorCode(), 4) << n;
  }
}

}  // namespace
}  // namespace vg
