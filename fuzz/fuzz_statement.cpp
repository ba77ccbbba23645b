// Statement parser: the input is one statement line. Parsing must end in a
// verb and arguments or a numbered parse error, never a fault; every
// argument must answer every conversion with a value or a parse error, and
// without RaiseErrors nothing may be raised at all.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "query/Vgparse.h"

namespace {

constexpr size_t kMaxInput = 4096;

void check(bool condition) {
  if (!condition) std::abort();
}

void exercise_arguments(vg::TVGParse& parser) {
  const int32_t count = parser.GetParamCount();
  check(count >= 0);
  for (int32_t n = 1; n <= count; ++n) {
    vg::TArgument* arg = parser.GetArg(n);
    check(arg != nullptr && arg->Position() == n);
    const char type = arg->GetArgType();
    check(type == 'C' || type == 'S' || type == 'L' || type == 'I' || type == 'U');
    check(arg->Quoted() == (type == 'C' || type == 'S'));
    try {
      (void)arg->GetAsBoolean();
    } catch (const vg::EVGParseError&) {
      check(parser.ErrorCode() == 3);
    }
    try {
      (void)arg->GetAsInteger();
    } catch (const vg::EVGParseError&) {
      check(parser.ErrorCode() == 4);
    }
    try {
      check(arg->GetAsString() == arg->Text());
    } catch (const vg::EVGParseError&) {
      check(parser.ErrorCode() == 5 && !arg->Quoted());
    }
    try {
      check(arg->GetAsChar() == arg->Text()[0] && type == 'C');
    } catch (const vg::EVGParseError&) {
      check(parser.ErrorCode() == 7 && type != 'C');
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  const std::string line(reinterpret_cast<const char*>(data), size);

  vg::TVGParse raising;
  raising.SetCommandLine(line);
  try {
    raising.Parse();
    check(raising.ErrorCode() == 0);
  } catch (const vg::EVGParseError&) {
    const int32_t code = raising.ErrorCode();
    check(code == 1 || code == 2 || code == 8);
  }
  exercise_arguments(raising);
  try {
    (void)raising.GetArg(raising.GetParamCount() + 1);
    std::abort();
  } catch (const vg::EVGParseError&) {
    check(raising.ErrorCode() == 6);
  }

  vg::TVGParse quiet;
  quiet.SetRaiseErrors(false);
  quiet.SetCommandLine(line);
  quiet.Parse();  // must not raise
  const int32_t code = quiet.ErrorCode();
  check(code == 0 || code == 1 || code == 2 || code == 8);
  if (line.find('(') == std::string::npos) {
    // No list: the verb is the line (or its start, up to a comment's "*").
    check(quiet.GetParamCount() == 0 && code == 0 &&
          line.compare(0, quiet.Verb().size(), quiet.Verb()) == 0);
  }
  for (int32_t n = 1; n <= quiet.GetParamCount(); ++n) {
    vg::TArgument* arg = quiet.GetArg(n);
    (void)arg->GetAsBoolean();
    (void)arg->GetAsInteger();
    (void)arg->GetAsString();
    (void)arg->GetAsChar();
  }
  check(quiet.GetArg(0) == nullptr && quiet.ErrorCode() == 6);
  // The quiet parser reads at least every argument the raising one finished.
  check(quiet.GetParamCount() >= raising.GetParamCount());
  return 0;
}
