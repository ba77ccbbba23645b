// What the benchmark programs share: a fixed pseudo-random sequence, numbers
// from the environment, and the repetition policy for passes over large
// tables.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace bench {

// xorshift64: the same data on every run and machine.
struct Rng {
  uint64_t s;
  uint64_t next() {
    s ^= s << 13;
    s ^= s >> 7;
    s ^= s << 17;
    return s;
  }
};

inline long env_number(const char* name, long fallback) {
  const char* v = std::getenv(name);
  const long n = v && *v ? std::strtol(v, nullptr, 10) : 0;
  return n > 0 ? n : fallback;
}

inline double min_of(const std::vector<double>& v) {
  return v.empty() ? 0 : *std::min_element(v.begin(), v.end());
}

// One pass over a million records takes a good fraction of a second: single
// iterations, repeated (VGX_BENCH_REPEATS overrides the count), with the
// minimum as the figure least disturbed by other work on the machine.
inline void single_runs(benchmark::internal::Benchmark* b, int fallback_repeats) {
  b->Iterations(1)
      ->Repetitions(static_cast<int>(env_number("VGX_BENCH_REPEATS", fallback_repeats)))
      ->ComputeStatistics("min", min_of);
  b->Unit(benchmark::kMillisecond);
}
inline void three_runs(benchmark::internal::Benchmark* b) { single_runs(b, 3); }
inline void five_runs(benchmark::internal::Benchmark* b) { single_runs(b, 5); }

}  // namespace bench
