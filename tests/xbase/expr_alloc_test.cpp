// Evaluation must not allocate once an expression's buffers have taken the
// size of the longest value seen: this program counts operator new calls
// around evaluations on records already visited.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "expr_fixture.h"

namespace {
std::atomic<uint64_t> g_allocs{0};
}  // namespace

// GCC sees the malloc/free pair through these replacements and warns of a
// mismatch that is none.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(size_t n) {
  g_allocs.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept {
  g_allocs.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(n ? n : 1);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

namespace expr_test {
namespace {

using ExprAlloc = ExprTest;

TEST_F(ExprAlloc, SteadyStateEvaluationDoesNotAllocate) {
  const char* texts[] = {
      "AMOUNT > 500 .AND. UPPER(CITY) = 'PARIS' .AND. YEAR(BIRTH) >= 1970",
      "UPPER(NAME)+DTOS(BIRTH)",
      "TRIM(NAME)+', '+LTRIM(CITY)-STR(AMOUNT,12,3)+DTOC(BIRTH+30)",
      "IIF(ACTIVE, PADL(TRIM(NAME), 15, '*'), REPLICATE('-', QTY))",
      "'needle' $ NOTES .OR. LEN(TRIM(NOTES)) > 10",
      "UPPER(SUBSTR(NOTES, 2, 40)) + CMONTH(BIRTH) + TTOC(STAMP)",
      "CITIES->CNAME + STRZERO(CITIES->POP * 2, 12)",
      "ROUND(AMOUNT / QTY, 2) * 3 + MOD(COUNT, 5) + VAL(CODE)",
  };
  std::vector<EXPR4*> exprs;
  for (const char* t : texts) {
    exprs.push_back(parse(t));
    ASSERT_NE(exprs.back(), nullptr) << t;
  }
  auto evaluate_all = [&] {
    for (EXPR4* e : exprs) {
      expr4str(e);
      expr4double(e);
      if (expr4type(e) == 'L') expr4true(e);
    }
  };
  // Buffers are sized to the static widths when parsed: values no longer
  // than those never allocate, even on the first evaluation.
  ASSERT_EQ(d4go(people_, 1), 0);
  for (size_t i = 0; i < exprs.size(); ++i) {
    if (std::string(texts[i]).find("NOTES") != std::string::npos) continue;
    const uint64_t before = g_allocs.load();
    expr4str(exprs[i]);
    EXPECT_EQ(g_allocs.load() - before, 0u) << texts[i];
  }
  // First pass: buffers grow to the longest values (the 5000-byte memo).
  for (int rec = 1; rec <= 3; ++rec) {
    ASSERT_EQ(d4go(people_, rec), 0);
    evaluate_all();
  }
  for (int rec = 1; rec <= 3; ++rec) {
    ASSERT_EQ(d4go(people_, rec), 0);
    const uint64_t before = g_allocs.load();
    evaluate_all();
    EXPECT_EQ(g_allocs.load() - before, 0u) << "record " << rec;
  }
}

}  // namespace
}  // namespace expr_test
