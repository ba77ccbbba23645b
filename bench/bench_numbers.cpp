// Reading numbers stored as text, as f4double, f4long, numeric index keys and
// VAL() do, apart from the table: right-aligned N(12,2), N(8,0) and N(10,3)
// texts with random values and signs, already in the CPU cache. Signs and
// widths that vary from value to value are what a reader's branches must not
// pay for (skipping blanks one at a time and branching on the sign cost a
// mispredicted jump per value: 16.6 -> 12.1 ns a value when they went).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "bench_runs.h"
#include "table/number_text.h"

namespace {

constexpr int kWidths[] = {12, 8, 10};
constexpr int kRows = 20000;

const std::string& texts() {
  static const std::string bytes = [] {
    std::string b;
    bench::Rng rng{42};
    for (int i = 0; i < kRows; ++i) {
      uint64_t a = rng.next();
      char t[3][24];
      std::snprintf(t[0], sizeof t[0], "%12.2f", static_cast<double>(static_cast<int64_t>(a % 20000000) - 10000000) / 100);
      std::snprintf(t[1], sizeof t[1], "%8d", static_cast<int>((a >> 32) % 10000000));
      std::snprintf(t[2], sizeof t[2], "%10.3f", static_cast<double>((a >> 8) % 1000000) / 1000);
      for (const auto& s : t) b += s;
    }
    return b;
  }();
  return bytes;
}

void BM_ParseNumber(benchmark::State& state) {
  const std::string& bytes = texts();
  for (auto _ : state) {
    double sum = 0;
    const char* p = bytes.data();
    for (int i = 0; i < kRows; ++i)
      for (int w : kWidths) {
        sum += xbase::table::parse_number(p, static_cast<size_t>(w));
        p += w;
      }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows * 3);
}
BENCHMARK(BM_ParseNumber);

}  // namespace
