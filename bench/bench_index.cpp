// Index benchmarks through the C interface: building three tags on a large
// table, random seeks, a walk in tag order, and appends that keep three
// tags up to date.
//
// The table (NAME C(20), AMOUNT N(12,2), BIRTH D) is built once per process
// from fixed data. Tags: UPPER(NAME), AMOUNT, DTOS(BIRTH). Environment:
//   VGX_BENCH_RECORDS  records in the table (default 1000000)
//   VGX_BENCH_APPENDS  records appended by BM_AppendThreeTags (default 100000)
//   VGX_BENCH_DIR      keeps PEOPLE.DBF there (a later run reuses it), for
//                      the peer scripts in bench/peers
//
// BM_BuildThreeTags also reports `sort_s`: the time std::sort takes to
// order the same keys (fixed-size byte arrays with their record numbers,
// compared with memcmp), measured in the same repetition outside the timed
// region, and `vs_sort`, the ratio of the two.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_runs.h"
#include "index/key_encoding.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;

using bench::env_number;
using bench::Rng;

const std::vector<std::string>& syllables() {
  static const std::vector<std::string> s = {"ka", "lo", "mi", "ne", "ru", "sa", "to", "vi",
                                             "be", "da", "fu", "go", "hi", "ja", "po", "ze"};
  return s;
}

struct Row {
  char name[21];
  double amount;
  char birth[9];
};

Row make_row(Rng& rng) {
  Row r{};
  const uint64_t v = rng.next();
  std::string n;
  for (int k = 0; k < 3 + static_cast<int>(v % 4); ++k) n += syllables()[(v >> (4 + 4 * k)) % 16];
  n[0] = static_cast<char>(n[0] - 'a' + 'A');
  n += " " + std::to_string((v >> 24) % 100000);
  std::snprintf(r.name, sizeof r.name, "%-20.20s", n.c_str());
  r.amount = static_cast<double>(static_cast<int64_t>((v >> 20) % 20000000) - 10000000) / 100.0;
  std::snprintf(r.birth, sizeof r.birth, "%04d%02d%02d", 1930 + static_cast<int>((v >> 40) % 90),
                1 + static_cast<int>((v >> 48) % 12), 1 + static_cast<int>((v >> 52) % 28));
  return r;
}

struct Fixture {
  std::string dir;
  std::string table;
  long records = 0;
  bool keep = false;
  std::vector<std::string> names;  // every record's NAME, upper-cased

  Fixture() {
    records = env_number("VGX_BENCH_RECORDS", 1000000);
    const char* keep_dir = std::getenv("VGX_BENCH_DIR");
    keep = keep_dir != nullptr && *keep_dir != 0;
    if (keep) {
      dir = keep_dir;
      fs::create_directories(dir);
    } else {
      std::string tmpl = (fs::temp_directory_path() / "vgx-bench-index-XXXXXX").string();
      if (mkdtemp(tmpl.data()) == nullptr) std::abort();
      dir = tmpl;
    }
    table = dir + "/PEOPLE";
    Rng rng{0x9E3779B97F4A7C15ull};
    std::vector<Row> rows;
    for (long i = 0; i < records; ++i) {
      rows.push_back(make_row(rng));
      std::string up(rows.back().name, 20);
      for (char& c : up) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      names.push_back(up);
    }
    if (keep && table_has(records)) return;
    CODE4* c4 = code4initP();
    code4accessMode(c4, 1);
    code4safety(c4, 0);
    DATA4* d = d4create(c4, table.c_str(), fields(), nullptr);
    for (const Row& r : rows) {
      d4appendStart(d, 0);
      f4assignN(d4field(d, "NAME"), r.name, 20);
      f4assignDouble(d4field(d, "AMOUNT"), r.amount);
      f4assignN(d4field(d, "BIRTH"), r.birth, 8);
      d4append(d);
    }
    d4close(d);
    code4initUndo(c4);
  }
  ~Fixture() {
    if (!keep) fs::remove_all(dir);
  }

  // A kept table from an earlier run, with the expected record count.
  bool table_has(long count) const {
    CODE4* c4 = code4initP();
    code4errOff(c4, 1);
    code4autoOpen(c4, 0);
    DATA4* d = d4open(c4, table.c_str());
    const bool ok = d != nullptr && d4recCount(d) == count;
    code4initUndo(c4);
    return ok;
  }

  static const FIELD4INFO* fields() {
    static const FIELD4INFO f[] = {{const_cast<char*>("NAME"), 'C', 20, 0, 0},
                                   {const_cast<char*>("AMOUNT"), 'N', 12, 2, 0},
                                   {const_cast<char*>("BIRTH"), 'D', 8, 0, 0},
                                   {}};
    return f;
  }
  static const TAG4INFO* tags() {
    static const TAG4INFO t[] = {
        {const_cast<char*>("NAME"), const_cast<char*>("UPPER(NAME)"), const_cast<char*>(""), 0, 0},
        {const_cast<char*>("AMOUNT"), const_cast<char*>("AMOUNT"), const_cast<char*>(""), 0, 0},
        {const_cast<char*>("BIRTH"), const_cast<char*>("DTOS(BIRTH)"), const_cast<char*>(""), 0, 0},
        {}};
    return t;
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

// The keys of the three tags as fixed byte arrays, sorted with std::sort.
template <size_t N>
struct Keyed {
  std::array<uint8_t, N> key;
  uint32_t rec;
};

template <size_t N>
double sort_seconds(std::vector<Keyed<N>> v) {
  const auto t0 = std::chrono::steady_clock::now();
  std::sort(v.begin(), v.end(), [](const Keyed<N>& a, const Keyed<N>& b) {
    const int c = std::memcmp(a.key.data(), b.key.data(), N);
    return c != 0 ? c < 0 : a.rec < b.rec;
  });
  benchmark::DoNotOptimize(v.data());
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

double sort_same_keys() {
  Fixture& f = fixture();
  std::vector<Keyed<20>> names(static_cast<size_t>(f.records));
  std::vector<Keyed<8>> amounts(static_cast<size_t>(f.records)),
      births(static_cast<size_t>(f.records));
  Rng rng{0x9E3779B97F4A7C15ull};
  for (long i = 0; i < f.records; ++i) {
    const Row r = make_row(rng);
    const uint32_t rec = static_cast<uint32_t>(i + 1);
    std::memcpy(names[static_cast<size_t>(i)].key.data(), f.names[static_cast<size_t>(i)].data(),
                20);
    names[static_cast<size_t>(i)].rec = rec;
    xbase::index::encode_number(r.amount, amounts[static_cast<size_t>(i)].key.data());
    amounts[static_cast<size_t>(i)].rec = rec;
    std::memcpy(births[static_cast<size_t>(i)].key.data(), r.birth, 8);
    births[static_cast<size_t>(i)].rec = rec;
  }
  return sort_seconds(std::move(names)) + sort_seconds(std::move(amounts)) +
         sort_seconds(std::move(births));
}

void BM_BuildThreeTags(benchmark::State& state) {
  Fixture& f = fixture();
  double built = 0, sorted = 1;
  for (auto _ : state) {
    CODE4* c4 = code4initP();
    code4accessMode(c4, 1);
    code4safety(c4, 0);
    DATA4* d = d4open(c4, f.table.c_str());
    const auto t0 = std::chrono::steady_clock::now();
    INDEX4* ix = i4create(d, (f.dir + "/BUILD").c_str(), Fixture::tags());
    d4close(d);
    built = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    if (ix == nullptr) state.SkipWithError("i4create failed");
    code4initUndo(c4);
    state.PauseTiming();
    sorted = sort_same_keys();
    state.ResumeTiming();
  }
  state.counters["build_s"] = built;
  state.counters["sort_s"] = sorted;
  state.counters["vs_sort"] = built / sorted;
}

// A table open with its three-tag index, for the read benchmarks.
struct Open {
  CODE4* c4;
  DATA4* d;
  Open() {
    Fixture& f = fixture();
    c4 = code4initP();
    code4accessMode(c4, 1);
    code4safety(c4, 0);
    d = d4open(c4, f.table.c_str());
    // The first benchmark that opens it builds the index.
    code4errOff(c4, 1);
    INDEX4* ix = i4open(d, (f.dir + "/READ").c_str());
    code4errOff(c4, 0);
    code4errorCode(c4, 0);
    if (ix == nullptr) ix = i4create(d, (f.dir + "/READ").c_str(), Fixture::tags());
    d4tagSelectP(d, i4tag(ix, "NAME"));
  }
  ~Open() { code4initUndo(c4); }
};

void BM_Seek(benchmark::State& state) {
  Fixture& f = fixture();
  Open o;
  // Warm: one walk brings every page into the cache.
  for (int rc = d4top(o.d); rc == 0; rc = d4skip(o.d, 1)) {
  }
  const long seeks = f.records;
  Rng rng{0xD1B54A32D192ED03ull};
  std::vector<const char*> keys(static_cast<size_t>(seeks));
  for (auto& k : keys) k = f.names[rng.next() % f.names.size()].c_str();
  long found = 0;
  for (auto _ : state) {
    for (const char* k : keys) found += d4seek(o.d, k) == r4success;
  }
  if (found != seeks * static_cast<long>(state.iterations())) state.SkipWithError("a seek missed");
  state.SetItemsProcessed(state.iterations() * seeks);
}

void BM_SkipInTagOrder(benchmark::State& state) {
  Fixture& f = fixture();
  Open o;
  long n = 0;
  // The first walk reads the table and decodes the tag's pages; the timed
  // walks find both in the engine's caches.
  for (int rc = d4top(o.d); rc == 0; rc = d4skip(o.d, 1)) {
  }
  for (auto _ : state) {
    n = 0;
    for (int rc = d4top(o.d); rc == 0; rc = d4skip(o.d, 1)) ++n;
  }
  if (n != f.records) state.SkipWithError("the walk missed records");
  state.SetItemsProcessed(state.iterations() * n);
}

void BM_AppendThreeTags(benchmark::State& state) {
  Fixture& f = fixture();
  const long appends = env_number("VGX_BENCH_APPENDS", 100000);
  for (auto _ : state) {
    state.PauseTiming();
    CODE4* c4 = code4initP();
    code4accessMode(c4, 1);
    code4safety(c4, 0);
    DATA4* d = d4create(c4, (f.dir + "/APPEND").c_str(), Fixture::fields(), Fixture::tags());
    Rng rng{0x2545F4914F6CDD1Dull};
    std::vector<Row> rows;
    for (long i = 0; i < appends; ++i) rows.push_back(make_row(rng));
    state.ResumeTiming();
    for (const Row& r : rows) {
      d4appendStart(d, 0);
      f4assignN(d4field(d, "NAME"), r.name, 20);
      f4assignDouble(d4field(d, "AMOUNT"), r.amount);
      f4assignN(d4field(d, "BIRTH"), r.birth, 8);
      d4append(d);
    }
    d4close(d);
    state.PauseTiming();
    code4initUndo(c4);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * appends);
}

BENCHMARK(BM_BuildThreeTags)->Apply(bench::three_runs);
BENCHMARK(BM_Seek)->Apply(bench::three_runs);
BENCHMARK(BM_SkipInTagOrder)->Apply(bench::three_runs);
BENCHMARK(BM_AppendThreeTags)->Apply(bench::three_runs);

}  // namespace
