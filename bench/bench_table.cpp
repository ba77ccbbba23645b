// Table-core benchmarks through the C interface alone: appending, scanning and
// random positioning on a 10-field FoxPro table (one record in ten has a memo).
//
// The table is built once per process from fixed data and shared by the read
// benchmarks. Environment:
//   VGX_BENCH_RECORDS  records in the table (default 1000000)
//   VGX_BENCH_DIR      folder that holds the table BENCH.DBF/.FPT and keeps it after the
//                      run (default: a temporary folder removed at exit). A table already
//                      there with the expected record count is reused by the read
//                      benchmarks, so a later run can time reads of an earlier run's file.
//
// The measured work of each benchmark sits in one function of its own
// (append_records, scan_records, go_records, read_file_bytes) so an
// instruction count can be restricted to it: valgrind --tool=callgrind
// --toggle-collect='*scan_records*' ...
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_runs.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;

// ---- fixed data ----------------------------------------------------------

using bench::Rng;

constexpr uint64_t kDataSeed = 0x9E3779B97F4A7C15ull;
constexpr uint64_t kGoSeed = 0xD1B54A32D192ED03ull;

// Value pools: records pick from them, so generating a record costs a few
// shifts and the benchmark measures the engine, not the data source.
struct Pools {
  std::vector<std::string> names, cities, codes, dates, memos;

  Pools() {
    static const char* const kSyl[] = {"ka", "lo", "mi", "ne", "ru", "sa", "to", "vi",
                                       "be", "da", "fu", "go", "hi", "ja", "po", "ze"};
    for (int i = 0; i < 256; ++i) {
      std::string n;
      for (int k = 0; k < 3 + i % 4; ++k) n += kSyl[(i * 7 + k * 5) % 16];
      n[0] = static_cast<char>(n[0] - 'a' + 'A');
      names.push_back(n + " " + kSyl[i % 16] + kSyl[(i / 16) % 16]);
      cities.push_back("City of " + n + (i % 3 ? " upon the river" : ""));
      char code[16];
      std::snprintf(code, sizeof code, "X%04d-%c%c", i * 37 % 10000, 'A' + i % 26,
                    'A' + i / 26 % 26);
      codes.push_back(code);
    }
    for (int i = 0; i < 1024; ++i) {
      char d[16];
      std::snprintf(d, sizeof d, "%04d%02d%02d", 1950 + i % 70, 1 + i / 70 % 12, 1 + i % 28);
      dates.push_back(d);
    }
    for (int i = 0; i < 64; ++i) {
      std::string m;
      for (int k = 0; k < 2 + i * 3 % 40; ++k)
        m += names[static_cast<size_t>(i * 11 + k) % 256] + " said hello. ";
      memos.push_back(m);
    }
  }
};

const Pools& pools() {
  static const Pools p;
  return p;
}

struct RecordValues {
  const std::string* name;
  const std::string* city;
  int64_t amount_cents;  // AMOUNT N(12,2)
  int32_t qty;           // QTY N(8)
  const std::string* born;
  bool active;
  const std::string* memo;  // null: no memo
  const std::string* code;
  int64_t rate_milli;  // RATE N(10,3)
  const std::string* since;
};

RecordValues values_for(Rng& rng, int64_t i) {
  const Pools& p = pools();
  uint64_t a = rng.next(), b = rng.next();
  RecordValues v;
  v.name = &p.names[a & 255];
  v.city = &p.cities[(a >> 8) & 255];
  v.amount_cents = static_cast<int64_t>((a >> 16) % 10000000) * ((a >> 40) & 1 ? -1 : 1);
  v.qty = static_cast<int32_t>((a >> 41) % 10000000);
  v.born = &p.dates[b & 1023];
  v.active = (b >> 10) & 1;
  v.memo = i % 10 == 3 ? &p.memos[(b >> 11) & 63] : nullptr;
  v.code = &p.codes[(b >> 17) & 255];
  v.rate_milli = static_cast<int64_t>((b >> 25) % 1000000);
  v.since = &p.dates[(b >> 45) & 1023];
  return v;
}

// What a full scan must find: a check that the engine wrote and read the
// right values, not only fast ones. The decimal fields are summed as the
// doubles read: the engine must give exactly cents / 100.0 (the one correctly
// rounded double), so sums in the same order agree bit for bit, and the
// check costs an addition rather than a rounding call.
struct Totals {
  int64_t qty = 0, memos = 0, memo_bytes = 0, active = 0, text = 0;
  double amount = 0, rate = 0;
  bool operator==(const Totals&) const = default;
};

void add_text(Totals& t, const char* s) {
  t.text += static_cast<unsigned char>(s[0]) + static_cast<unsigned char>(s[1]);
}

Totals expected_totals(int32_t n) {
  Totals t;
  Rng rng{kDataSeed};
  for (int32_t i = 0; i < n; ++i) {
    RecordValues v = values_for(rng, i);
    t.qty += v.qty;
    t.amount += static_cast<double>(v.amount_cents) / 100.0;
    t.rate += static_cast<double>(v.rate_milli) / 1000.0;
    t.active += v.active;
    if (v.memo) {
      ++t.memos;
      t.memo_bytes += static_cast<int64_t>(v.memo->size());
    }
    for (const std::string* s : {v.name, v.city, v.born, v.code, v.since}) add_text(t, s->c_str());
  }
  return t;
}

// ---- the table -----------------------------------------------------------

int32_t record_target() {
  const char* e = std::getenv("VGX_BENCH_RECORDS");
  long n = e ? std::strtol(e, nullptr, 10) : 0;
  return n > 0 ? static_cast<int32_t>(n) : 1000000;
}

class Workspace {
 public:
  Workspace() {
    if (const char* d = std::getenv("VGX_BENCH_DIR"); d && *d) {
      dir_ = d;
      keep_ = true;
      fs::create_directories(dir_);
    } else {
      std::string tmpl = (fs::temp_directory_path() / "vgx-bench-XXXXXX").string();
      if (mkdtemp(tmpl.data()) == nullptr) std::abort();
      dir_ = tmpl;
    }
  }
  ~Workspace() {
    std::error_code ec;
    if (!keep_) fs::remove_all(dir_, ec);
  }
  std::string table_path() const { return (fs::path(dir_) / "BENCH.DBF").string(); }

  bool built = false;
  int32_t records = 0;

 private:
  std::string dir_;
  bool keep_ = false;
};

Workspace& workspace() {
  static Workspace w;
  return w;
}

struct Fields {
  FIELD4 *name, *city, *amount, *qty, *born, *active, *notes, *code, *rate, *since;
  explicit Fields(DATA4* d)
      : name(d4field(d, "NAME")),
        city(d4field(d, "CITY")),
        amount(d4field(d, "AMOUNT")),
        qty(d4field(d, "QTY")),
        born(d4field(d, "BORN")),
        active(d4field(d, "ACTIVE")),
        notes(d4field(d, "NOTES")),
        code(d4field(d, "CODE")),
        rate(d4field(d, "RATE")),
        since(d4field(d, "SINCE")) {}
  bool ok() const {
    return name && city && amount && qty && born && active && notes && code && rate && since;
  }
};

CODE4* new_context() {
  CODE4* c4 = code4initP();
  code4indexFormat(c4, u4formatFox);
  code4accessMode(c4, 1);
  code4safety(c4, 0);
  code4autoOpen(c4, 0);
  return c4;
}

// Creates the table and appends `n` records; the work a user's import does.
__attribute__((noinline)) bool append_records(CODE4* c4, const std::string& path, int32_t n) {
  static const FIELD4INFO kFields[] = {{const_cast<char*>("NAME"), 'C', 20, 0, 0},
                                       {const_cast<char*>("CITY"), 'C', 30, 0, 0},
                                       {const_cast<char*>("AMOUNT"), 'N', 12, 2, 0},
                                       {const_cast<char*>("QTY"), 'N', 8, 0, 0},
                                       {const_cast<char*>("BORN"), 'D', 8, 0, 0},
                                       {const_cast<char*>("ACTIVE"), 'L', 1, 0, 0},
                                       {const_cast<char*>("NOTES"), 'M', 10, 0, 0},
                                       {const_cast<char*>("CODE"), 'C', 10, 0, 0},
                                       {const_cast<char*>("RATE"), 'N', 10, 3, 0},
                                       {const_cast<char*>("SINCE"), 'D', 8, 0, 0},
                                       {nullptr, 0, 0, 0, 0}};
  DATA4* d = d4create(c4, path.c_str(), kFields, nullptr);
  if (d == nullptr) return false;
  Fields f(d);
  if (!f.ok()) return false;
  Rng rng{kDataSeed};
  for (int32_t i = 0; i < n; ++i) {
    RecordValues v = values_for(rng, i);
    if (d4appendStart(d, 0) != 0) return false;
    f4assign(f.name, v.name->c_str());
    f4assign(f.city, v.city->c_str());
    f4assignDouble(f.amount, static_cast<double>(v.amount_cents) / 100.0);
    f4assignLong(f.qty, v.qty);
    f4assign(f.born, v.born->c_str());
    f4assign(f.active, v.active ? "T" : "F");
    if (v.memo) f4memoAssignN(f.notes, v.memo->data(), static_cast<unsigned>(v.memo->size()));
    f4assign(f.code, v.code->c_str());
    f4assignDouble(f.rate, static_cast<double>(v.rate_milli) / 1000.0);
    f4assign(f.since, v.since->c_str());
    if (d4append(d) != 0) return false;
  }
  return d4close(d) == 0;
}

// Reads every field of every record the way a report does.
__attribute__((noinline)) Totals scan_records(DATA4* d) {
  Fields f(d);
  Totals t;
  for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) {
    add_text(t, f4str(f.name));
    add_text(t, f4str(f.city));
    t.amount += f4double(f.amount);
    t.qty += f4long(f.qty);
    add_text(t, f4str(f.born));
    t.active += f4str(f.active)[0] == 'T';
    const char* ref = f4str(f.notes);
    if (ref[0] != ' ' || ref[9] != ' ') {  // a filled memo reference
      ++t.memos;
      t.memo_bytes += static_cast<int64_t>(std::strlen(f4memoStr(f.notes)));
    }
    add_text(t, f4str(f.code));
    t.rate += f4double(f.rate);
    add_text(t, f4str(f.since));
  }
  return t;
}

__attribute__((noinline)) int64_t go_records(DATA4* d, const std::vector<int32_t>& order) {
  int64_t sum = 0;
  for (int32_t rec : order) {
    if (d4go(d, rec) != 0) return -1;
    sum += d4recordLow(d)[1];
  }
  return sum;
}

// The floor for a scan: the file's bytes read once, 1 MB at a time.
__attribute__((noinline)) int64_t read_file_bytes(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0) return -1;
  static std::vector<char> buf(size_t(1) << 20);
  int64_t total = 0;
  for (;;) {
    ssize_t n = ::read(fd, buf.data(), buf.size());
    if (n <= 0) break;
    total += n;
  }
  ::close(fd);
  return total;
}

// The floor for an append run: as many bytes written to a new file, 1 MB at a time.
__attribute__((noinline)) bool write_file_bytes(const std::string& path, uint64_t bytes) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  static const std::vector<char> buf(size_t(1) << 20, 'x');
  bool ok = true;
  for (uint64_t done = 0; ok && done < bytes;) {
    size_t want = static_cast<size_t>(std::min<uint64_t>(buf.size(), bytes - done));
    ssize_t n = ::write(fd, buf.data(), want);
    ok = n > 0;
    done += ok ? static_cast<uint64_t>(n) : 0;
  }
  ::close(fd);
  ::unlink(path.c_str());
  return ok;
}

uint64_t table_bytes(const std::string& dbf_path) {
  std::error_code ec;
  uint64_t total = fs::file_size(dbf_path, ec);
  uint64_t memo = fs::file_size(fs::path(dbf_path).replace_extension(".FPT"), ec);
  return ec ? total : total + memo;
}

int32_t record_count_of(const std::string& path) {
  CODE4* c4 = new_context();
  code4errOff(c4, 1);
  DATA4* d = d4open(c4, path.c_str());
  int32_t n = d ? d4recCount(d) : -1;
  code4initUndo(c4);
  return n;
}

// Builds the shared table unless this process (or, with VGX_BENCH_DIR, an
// earlier run) already did.
bool ensure_table() {
  Workspace& w = workspace();
  const int32_t n = record_target();
  if (w.built && w.records == n) return true;
  if (fs::exists(w.table_path()) && record_count_of(w.table_path()) == n) {
    w.built = true;
    w.records = n;
    return true;
  }
  CODE4* c4 = new_context();
  bool ok = append_records(c4, w.table_path(), n);
  code4initUndo(c4);
  w.built = ok;
  w.records = n;
  return ok;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// This thread's processor time, the figure that compares with the benchmark's CPU column.
double cpu_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Wall and processor time of one raw file transfer, measured outside the timed region.
struct RawTimes {
  double wall = 0, cpu = 0;
  template <class F>
  void add(F&& transfer) {
    auto t0 = std::chrono::steady_clock::now();
    double c0 = cpu_seconds();
    transfer();
    cpu += cpu_seconds() - c0;
    wall += seconds_since(t0);
  }
  void report(benchmark::State& state, const char* name) const {
    const double n = static_cast<double>(state.iterations());
    state.counters[std::string(name) + "_s"] = wall / n;
    state.counters[std::string(name) + "_cpu_s"] = cpu / n;
  }
};

void per_record_counters(benchmark::State& state, int64_t items) {
  state.SetItemsProcessed(items);
  state.counters["time_per_rec"] = benchmark::Counter(
      static_cast<double>(items) / static_cast<double>(state.iterations()),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- benchmarks ------------------------------------------------------------

void BM_Append(benchmark::State& state) {
  Workspace& w = workspace();
  const int32_t n = record_target();
  RawTimes raw;
  for (auto _ : state) {
    CODE4* c4 = new_context();
    bool ok = append_records(c4, w.table_path(), n);
    code4initUndo(c4);
    if (!ok) {
      state.SkipWithError("append failed");
      return;
    }
    state.PauseTiming();
    raw.add([&] { write_file_bytes(w.table_path() + ".raw", table_bytes(w.table_path())); });
    state.ResumeTiming();
  }
  w.built = true;
  w.records = n;
  per_record_counters(state, int64_t(n) * state.iterations());
  raw.report(state, "raw_write");
  state.SetLabel("create + append + close; target < 0.5 s for 1M");
}

void BM_ReadFileBytes(benchmark::State& state) {
  if (!ensure_table()) return state.SkipWithError("table build failed");
  const std::string path = workspace().table_path();
  int64_t bytes = 0;
  for (auto _ : state) bytes += read_file_bytes(path);
  state.SetBytesProcessed(bytes);
}

// Opens the table in a new context (exclusive or shared), scans it and
// closes everything: the timed work of the cold-cache scans.
Totals open_and_scan(const std::string& path, int exclusive) {
  CODE4* c4 = new_context();
  code4accessMode(c4, exclusive);
  DATA4* d = d4open(c4, path.c_str());
  Totals got = d ? scan_records(d) : Totals{};
  code4initUndo(c4);
  return got;
}

// Open, read every field of every record, close: from a cold engine cache
// (the file itself is in the operating system's cache).
void BM_Scan(benchmark::State& state) {
  if (!ensure_table()) return state.SkipWithError("table build failed");
  Workspace& w = workspace();
  const Totals want = expected_totals(w.records);
  const int exclusive = static_cast<int>(state.range(0));
  RawTimes raw;
  for (auto _ : state) {
    state.PauseTiming();
    raw.add([&] { benchmark::DoNotOptimize(read_file_bytes(w.table_path())); });
    state.ResumeTiming();
    if (!(open_and_scan(w.table_path(), exclusive) == want))
      return state.SkipWithError("scan read wrong values");
  }
  per_record_counters(state, int64_t(w.records) * state.iterations());
  raw.report(state, "raw_read");
  state.SetLabel(exclusive ? "exclusive; target < 0.15 s for 1M and <= 4x raw_read"
                           : "shared (no read cache); information only");
}

// Drops a file's pages from the operating system's cache, so that the next
// read comes from storage. False when the file cannot be opened.
bool evict_from_os_cache(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0) return false;
  ::fdatasync(fd);
  const bool ok = ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) == 0;
  ::close(fd);
  return ok;
}

// The scan with the table's files read from storage, not from the operating
// system's cache; raw_read is then one read of the .DBF and .FPT bytes from
// storage too. This is the floor that "within 4x of reading the bytes once"
// compares with when the data is not already in memory.
void BM_ScanFromStorage(benchmark::State& state) {
  if (!ensure_table()) return state.SkipWithError("table build failed");
  Workspace& w = workspace();
  const Totals want = expected_totals(w.records);
  const std::string memo = fs::path(w.table_path()).replace_extension(".FPT").string();
  auto evict = [&] { return evict_from_os_cache(w.table_path()) && evict_from_os_cache(memo); };
  RawTimes raw;
  for (auto _ : state) {
    state.PauseTiming();
    if (!evict()) return state.SkipWithError("cannot evict the table from the OS cache");
    raw.add([&] {
      benchmark::DoNotOptimize(read_file_bytes(w.table_path()));
      benchmark::DoNotOptimize(read_file_bytes(memo));
    });
    if (!evict()) return state.SkipWithError("cannot evict the table from the OS cache");
    state.ResumeTiming();
    if (!(open_and_scan(w.table_path(), 1) == want))
      return state.SkipWithError("scan read wrong values");
  }
  per_record_counters(state, int64_t(w.records) * state.iterations());
  raw.report(state, "raw_read");
  state.SetLabel("exclusive, files read from storage; information");
}

// The same scan on a table whose pages the engine already caches.
void BM_ScanCached(benchmark::State& state) {
  if (!ensure_table()) return state.SkipWithError("table build failed");
  Workspace& w = workspace();
  const Totals want = expected_totals(w.records);
  CODE4* c4 = new_context();
  DATA4* d = d4open(c4, w.table_path().c_str());
  if (d == nullptr || !(scan_records(d) == want)) {
    code4initUndo(c4);
    return state.SkipWithError("scan read wrong values");
  }
  for (auto _ : state) benchmark::DoNotOptimize(scan_records(d));
  code4initUndo(c4);
  per_record_counters(state, int64_t(w.records) * state.iterations());
}

// Random d4go over records the engine holds in its cache after a scan.
void BM_Go(benchmark::State& state) {
  if (!ensure_table()) return state.SkipWithError("table build failed");
  Workspace& w = workspace();
  std::vector<int32_t> order(static_cast<size_t>(w.records));
  Rng rng{kGoSeed};
  for (auto& rec : order)
    rec = static_cast<int32_t>(rng.next() % static_cast<uint64_t>(w.records)) + 1;
  CODE4* c4 = new_context();
  DATA4* d = d4open(c4, w.table_path().c_str());
  if (d == nullptr) {
    code4initUndo(c4);
    return state.SkipWithError("open failed");
  }
  benchmark::DoNotOptimize(scan_records(d));  // warm-up: every page cached
  for (auto _ : state) {
    int64_t sum = go_records(d, order);
    if (sum < 0) {
      code4initUndo(c4);
      return state.SkipWithError("d4go failed");
    }
    benchmark::DoNotOptimize(sum);
  }
  code4initUndo(c4);
  per_record_counters(state, static_cast<int64_t>(order.size()) * state.iterations());
  state.SetLabel("target < 1 us per d4go");
}

using bench::five_runs;
using bench::three_runs;

BENCHMARK(BM_Append)->Apply(three_runs);
BENCHMARK(BM_ReadFileBytes)->Apply(five_runs);
BENCHMARK(BM_Scan)->Arg(1)->Apply(five_runs);
BENCHMARK(BM_Scan)->Arg(0)->Apply(three_runs);
BENCHMARK(BM_ScanFromStorage)->Apply(three_runs);
BENCHMARK(BM_ScanCached)->Apply(five_runs);
BENCHMARK(BM_Go)->Apply(five_runs);

}  // namespace
