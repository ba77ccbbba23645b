// Expression evaluation over a table of 1,000,000 records (NAME C20, CITY
// C20, AMOUNT N10.2, BIRTH D), opened exclusively so that the page cache
// holds it:
//   - the filter AMOUNT > 500 .AND. UPPER(CITY) = "PARIS" .AND.
//     YEAR(BIRTH) >= 1970 over a whole d4skip scan, next to the same scan
//     testing the record bytes by hand and the scan alone;
//   - expr4str of UPPER(NAME)+DTOS(BIRTH) per record, with and without the
//     scan, next to building the same key by hand.
// Counters: time_per_record (CPU time), and allocs_per_record, the operator
// new calls during the timed loops: evaluation must not allocate. For
// instruction counts run it under callgrind with VGX_BENCH_RECORDS=20000 and
// --toggle-collect on d4top, d4skip, expr4true, expr4str and the *_by_hand
// functions.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>

#include "vgxbase/xbase.h"

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
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

// VGX_BENCH_RECORDS makes the table smaller for runs under callgrind, where
// only instructions per record matter.
int32_t record_count() {
  static const int32_t n = [] {
    const char* env = std::getenv("VGX_BENCH_RECORDS");
    const long v = env ? std::atol(env) : 0;
    return v > 0 && v <= 100'000'000 ? static_cast<int32_t>(v) : 1'000'000;
  }();
  return n;
}
constexpr const char* kFilter =
    "AMOUNT > 500 .AND. UPPER(CITY) = \"PARIS\" .AND. YEAR(BIRTH) >= 1970";
constexpr const char* kKey = "UPPER(NAME)+DTOS(BIRTH)";

// Record layout: deletion flag, NAME 1-20, CITY 21-40, AMOUNT 41-50, BIRTH 51-58.
constexpr size_t kName = 1, kCity = 21, kAmount = 41, kBirth = 51;

struct Table {
  std::string dir;
  CODE4* c4 = nullptr;
  DATA4* d = nullptr;
  int32_t expected_matches = 0;

  Table() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "vgx_bench_expr_XXXXXX").string();
    if (!mkdtemp(tmpl.data())) std::abort();
    dir = tmpl;
    c4 = code4initP();
    code4accessMode(c4, 1);
    code4errOff(c4, 1);
    FIELD4INFO fields[] = {{const_cast<char*>("NAME"), 'C', 20, 0, 0},
                           {const_cast<char*>("CITY"), 'C', 20, 0, 0},
                           {const_cast<char*>("AMOUNT"), 'N', 10, 2, 0},
                           {const_cast<char*>("BIRTH"), 'D', 8, 0, 0},
                           {nullptr, 0, 0, 0, 0}};
    d = d4create(c4, (dir + "/people").c_str(), fields, nullptr);
    if (!d) std::abort();
    fill();
  }
  ~Table() {
    code4initUndo(c4);
    std::filesystem::remove_all(dir);
  }

  void fill() {
    static const char* kNames[] = {"Alice", "bob",          "Charlotte", "dimitri",
                                   "Eve",   "Fran\xe7oise", "Gunnar",    "hanna"};
    static const char* kCities[] = {"Paris",   "paris",  "London", "Berlin", "PARIS",
                                    "Parisot", "Madrid", "Rome",   "Lyon"};
    FIELD4* name = d4field(d, "NAME");
    FIELD4* city = d4field(d, "CITY");
    FIELD4* amount = d4field(d, "AMOUNT");
    FIELD4* birth = d4field(d, "BIRTH");
    uint32_t x = 12345;
    char date[9];
    for (int32_t i = 0; i < record_count(); ++i) {
      x = x * 1103515245u + 12345u;
      d4appendStart(d, 0);
      d4blank(d);
      f4assign(name, kNames[(x >> 8) % 8]);
      const char* c = kCities[(x >> 12) % 9];
      f4assign(city, c);
      const double amt = ((x >> 4) % 100000) / 100.0;
      f4assignDouble(amount, amt);
      const int year = 1940 + static_cast<int>((x >> 16) % 66);
      std::snprintf(date, sizeof date, "%04d%02d%02d", year, 1 + (x >> 3) % 12, 1 + (x >> 9) % 28);
      f4assign(birth, date);
      d4append(d);
      const bool paris = strncasecmp(c, "PARIS", 5) == 0;
      if (amt > 500 && paris && year >= 1970) ++expected_matches;
    }
    d4flush(d);
  }
};

Table& table() {
  static Table t;
  return t;
}

// The filter by hand: the same three tests on the record bytes. Not inlined,
// so that it costs the call expr4true costs and callgrind can count it.
__attribute__((noinline)) bool filter_by_hand(const char* rec) {
  double amount = 0;
  double scale = 0;
  for (size_t i = kAmount; i < kAmount + 10; ++i) {
    const char c = rec[i];
    if (c >= '0' && c <= '9') {
      amount = amount * 10 + (c - '0');
      scale *= 10;
    } else if (c == '.') {
      scale = 1;
    }
  }
  if (scale > 0) amount /= scale;
  if (!(amount > 500)) return false;
  static const char kParis[] = "PARIS";
  for (size_t i = 0; i < 5; ++i) {
    char c = rec[kCity + i];
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (c != kParis[i]) return false;
  }
  const int year = (rec[kBirth] - '0') * 1000 + (rec[kBirth + 1] - '0') * 100 +
                   (rec[kBirth + 2] - '0') * 10 + (rec[kBirth + 3] - '0');
  return year >= 1970;
}

__attribute__((noinline)) void key_by_hand(const char* rec, char* out) {
  for (size_t i = 0; i < 20; ++i) {
    const char c = rec[kName + i];
    out[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
  }
  std::memcpy(out + 20, rec + kBirth, 8);
  out[28] = '\0';
}

void report(benchmark::State& state, uint64_t allocs, int64_t records) {
  state.SetItemsProcessed(records);
  state.counters["time_per_record"] = benchmark::Counter(
      static_cast<double>(records), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["allocs_per_record"] = static_cast<double>(allocs) / static_cast<double>(records);
}

void BM_FilterScan(benchmark::State& state) {
  Table& t = table();
  EXPR4* filter = expr4parse(t.d, kFilter);
  if (!filter) std::abort();
  expr4true(filter);  // scratch buffers take their size
  uint64_t allocs = 0;
  int64_t records = 0;
  for (auto _ : state) {
    const uint64_t a0 = g_allocs.load();
    int32_t matches = 0;
    for (int rc = d4top(t.d); rc == 0; rc = d4skip(t.d, 1)) matches += expr4true(filter);
    allocs += g_allocs.load() - a0;
    records += record_count();
    if (matches != t.expected_matches) state.SkipWithError("wrong match count");
  }
  expr4free(filter);
  report(state, allocs, records);
}

void BM_FilterScanByHand(benchmark::State& state) {
  Table& t = table();
  int64_t records = 0;
  for (auto _ : state) {
    int32_t matches = 0;
    for (int rc = d4top(t.d); rc == 0; rc = d4skip(t.d, 1))
      matches += filter_by_hand(d4recordLow(t.d));
    records += record_count();
    if (matches != t.expected_matches) state.SkipWithError("wrong match count");
  }
  report(state, 0, records);
}

void BM_ScanOnly(benchmark::State& state) {
  Table& t = table();
  uint64_t allocs = 0;
  int64_t records = 0;
  for (auto _ : state) {
    const uint64_t a0 = g_allocs.load();
    int32_t n = 0;
    for (int rc = d4top(t.d); rc == 0; rc = d4skip(t.d, 1)) ++n;
    benchmark::DoNotOptimize(n);
    allocs += g_allocs.load() - a0;
    records += record_count();
  }
  report(state, allocs, records);
}

// Evaluation alone: the filter on the current record, cycling through 64
// records loaded beforehand so that the data varies.
void BM_FilterEvalOnly(benchmark::State& state) {
  Table& t = table();
  EXPR4* filter = expr4parse(t.d, kFilter);
  if (!filter) std::abort();
  d4top(t.d);
  const int record_len = 59;
  std::string recs;
  for (int i = 0; i < 64; ++i, d4skip(t.d, 1)) recs.append(d4recordLow(t.d), record_len);
  char* buf = d4recordLow(t.d);
  expr4true(filter);
  const uint64_t a0 = g_allocs.load();
  int64_t records = 0;
  int matches = 0;
  for (auto _ : state) {
    std::memcpy(buf, recs.data() + (records & 63) * record_len, record_len);
    matches += expr4true(filter);
    ++records;
  }
  benchmark::DoNotOptimize(matches);
  report(state, g_allocs.load() - a0, records);
  expr4free(filter);
}

void BM_KeyStrScan(benchmark::State& state) {
  Table& t = table();
  EXPR4* key = expr4parse(t.d, kKey);
  if (!key) std::abort();
  expr4str(key);
  uint64_t allocs = 0;
  int64_t records = 0;
  for (auto _ : state) {
    const uint64_t a0 = g_allocs.load();
    unsigned sum = 0;
    for (int rc = d4top(t.d); rc == 0; rc = d4skip(t.d, 1))
      sum += static_cast<unsigned char>(expr4str(key)[3]);
    benchmark::DoNotOptimize(sum);
    allocs += g_allocs.load() - a0;
    records += record_count();
  }
  expr4free(key);
  report(state, allocs, records);
}

void BM_KeyStrEvalOnly(benchmark::State& state) {
  Table& t = table();
  EXPR4* key = expr4parse(t.d, kKey);
  if (!key) std::abort();
  d4top(t.d);
  expr4str(key);
  const uint64_t a0 = g_allocs.load();
  int64_t records = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(expr4str(key));
    ++records;
  }
  report(state, g_allocs.load() - a0, records);
  expr4free(key);
}

void BM_KeyByHand(benchmark::State& state) {
  Table& t = table();
  d4top(t.d);
  char out[29];
  int64_t records = 0;
  for (auto _ : state) {
    key_by_hand(d4recordLow(t.d), out);
    benchmark::DoNotOptimize(out);
    ++records;
  }
  report(state, 0, records);
}

void BM_Parse(benchmark::State& state) {
  Table& t = table();
  for (auto _ : state) {
    EXPR4* e = expr4parse(t.d, kFilter);
    benchmark::DoNotOptimize(e);
    expr4free(e);
  }
}

BENCHMARK(BM_ScanOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterScan)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterScanByHand)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterEvalOnly);
BENCHMARK(BM_KeyStrScan)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeyStrEvalOnly);
BENCHMARK(BM_KeyByHand);
BENCHMARK(BM_Parse);

}  // namespace
