// Expression parser and evaluator: the input is expression text. It is
// parsed against a small table made once in a private folder (every field
// kind, a memo file, a deleted record, a second table for ALIAS->FIELD);
// a parsed expression is evaluated in every form on each record and at
// end of file. Any text must give an expression or a null handle with
// e4expr/e4type, never a fault, a hang or unbounded memory.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "vgxbase/xbase.h"

namespace {

// Longer texts only make longer chains of what shorter ones already cover.
constexpr size_t kMaxInput = 1024;

FIELD4INFO fld(const char* name, int type, int len, int dec = 0) {
  return {const_cast<char*>(name), static_cast<int16_t>(type), static_cast<uint16_t>(len),
          static_cast<uint16_t>(dec), 0};
}

struct Fixture {
  std::string dir;
  CODE4* c4 = nullptr;
  DATA4* people = nullptr;
  DATA4* cities = nullptr;

  Fixture() {
    const char* tmp = std::getenv("TMPDIR");
    dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_expr_XXXXXX";
    if (!mkdtemp(dir.data())) std::abort();
    c4 = code4initP();
    code4errOff(c4, 1);
    code4compatibility(c4, 30);
    FIELD4INFO pf[] = {fld("NAME", 'C', 10),
                       fld("CITY", 'C', 12),
                       fld("AMOUNT", 'N', 10, 2),
                       fld("QTY", 'N', 5),
                       fld("BIRTH", 'D', 8),
                       fld("ACTIVE", 'L', 1),
                       fld("NOTES", 'M', 4),
                       fld("STAMP", 'T', 8),
                       fld("COUNT", 'I', 4),
                       fld("PRICE", 'B', 8, 2),
                       fld("CASH", 'Y', 8),
                       fld("TRUE", 'C', 3),
                       FIELD4INFO{}};
    people = d4create(c4, (dir + "/people").c_str(), pf, nullptr);
    FIELD4INFO cf[] = {fld("CODE", 'C', 3), fld("CNAME", 'C', 15), fld("POP", 'N', 8),
                       FIELD4INFO{}};
    cities = d4create(c4, (dir + "/cities").c_str(), cf, nullptr);
    if (!people || !cities) std::abort();
    const char* rows[][7] = {
        {"Alice", "Paris", "1234.56", "19700315", "T", "first memo\nline", "2024022913:45:30"},
        {"bob", "  London", "-0.5", "", "F", "", ""},
        {"", "", "99999999", "20000229", "?", "x", "1999123123:59:59"},
    };
    for (const auto& r : rows) {
      d4appendStart(people, 0);
      d4blank(people);
      f4assign(d4field(people, "NAME"), r[0]);
      f4assign(d4field(people, "CITY"), r[1]);
      f4assign(d4field(people, "AMOUNT"), r[2]);
      f4assign(d4field(people, "QTY"), "3");
      f4assign(d4field(people, "BIRTH"), r[3]);
      f4assign(d4field(people, "ACTIVE"), r[4]);
      if (*r[5]) f4memoAssign(d4field(people, "NOTES"), r[5]);
      if (*r[6]) f4assignDateTime(d4field(people, "STAMP"), r[6]);
      f4assignLong(d4field(people, "COUNT"), -7);
      f4assignDouble(d4field(people, "PRICE"), 1e300);
      f4assignDouble(d4field(people, "CASH"), 12.5);
      d4append(people);
      d4appendStart(cities, 0);
      d4blank(cities);
      f4assign(d4field(cities, "CODE"), "PAR");
      f4assign(d4field(cities, "CNAME"), r[1]);
      d4append(cities);
    }
    d4go(people, 2);
    d4delete(people);
    d4flush(people);
  }
  ~Fixture() {
    code4initUndo(c4);
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

void evaluate(EXPR4* e) {
  const int len = expr4len(e);
  const char* s = expr4str(e);
  // Touch the whole result: the sanitizer checks every byte is ours.
  volatile char sink = 0;
  for (int i = 0; i <= len; ++i) sink = static_cast<char>(sink ^ s[i]);
  if (s[len] != '\0') std::abort();
  (void)expr4double(e);
  const int t = expr4true(e);
  if ((expr4type(e) == 'L') != (t >= 0)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  Fixture& f = fixture();
  const std::string text(reinterpret_cast<const char*>(data), size);
  code4errorCode(f.c4, 0);
  EXPR4* e = expr4parse(f.people, text.c_str());
  const int code = code4errorCode(f.c4, 0);
  if (e == nullptr) {
    if (code != e4expr && code != e4type) std::abort();
    return 0;
  }
  for (int32_t rec = 1; rec <= 3; ++rec) {
    d4go(f.people, rec);
    d4go(f.cities, 4 - rec);
    evaluate(e);
  }
  d4goEof(f.people);
  evaluate(e);
  expr4free(e);
  return 0;
}
