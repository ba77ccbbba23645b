#!/usr/bin/env bash
# Times independent xBase readers and writers against this engine on one table: the
# benchmark's 10-field FoxPro table (1,000,000 records, one in ten with a memo), built
# by the engine itself. Run by hand; it is not part of the test command.
#
#   bench/peers/run_peers.sh [RECORDS]
#
# Environment: VGX_PEERS_DIR   work folder (default ${TMPDIR:-/tmp}/vgx-peers)
#              VGX_PEERS_RUNS  timed runs per fast command (default 5)
#              VGX_PEERS_PY_APPEND  records python3-dbf appends (default 100000; the
#                                   time is scaled up to RECORDS and marked as such)
# Peers (Debian packages): shapelib (dbfdump), pgdbf, python3-dbfread, python3-dbf,
# and hyperfine for the timing (/usr/bin/time is used when it is missing).
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
records=${1:-1000000}
work=${VGX_PEERS_DIR:-${TMPDIR:-/tmp}/vgx-peers}
runs=${VGX_PEERS_RUNS:-5}
py_append=${VGX_PEERS_PY_APPEND:-100000}
build=$work/build
table_dir=$work/table
report=$work/report.txt
python=/usr/bin/python3  # Debian's modules are seen by the system interpreter only

missing=()
command -v dbfdump >/dev/null || missing+=(shapelib)
command -v pgdbf >/dev/null || missing+=(pgdbf)
$python -c 'import dbfread' 2>/dev/null || missing+=(python3-dbfread)
$python -c 'import dbf' 2>/dev/null || missing+=(python3-dbf)
if ((${#missing[@]})); then
  echo "missing peers; install them with: apt-get install ${missing[*]}" >&2
  exit 1
fi
have_hyperfine=0
command -v hyperfine >/dev/null && have_hyperfine=1

mkdir -p "$work" "$table_dir"
: >"$report"
say() { echo "$*" | tee -a "$report"; }

# ---- build: the benchmark always, the command-line tool when it builds -------------
tools=ON
if ! cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVGX_TESTS=OFF -DVGX_TOOLS=ON \
  >"$work/configure.log" 2>&1; then
  tools=OFF
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVGX_TESTS=OFF -DVGX_TOOLS=OFF \
    >"$work/configure.log" 2>&1
fi
cmake --build "$build" -j2 --target bench_table >"$work/build.log" 2>&1
bench=$build/bench/bench_table
vgx=""
if [[ $tools == ON ]] && cmake --build "$build" -j2 --target vgx >>"$work/build.log" 2>&1; then
  vgx=$build/tools/vgx/vgx
fi

say "date: $(date -u '+%Y-%m-%d %H:%M UTC'); cores: $(nproc);" \
  "load: $(cut -d' ' -f1-3 /proc/loadavg)"
say "records: $records; table: $table_dir/BENCH.DBF"

# ---- the table, written by the engine (its append time is the first figure) --------
rm -f "$table_dir"/BENCH.*
VGX_BENCH_DIR=$table_dir VGX_BENCH_RECORDS=$records VGX_BENCH_REPEATS=1 \
  "$bench" --benchmark_filter='BM_Append' | tee -a "$report"
dbf=$table_dir/BENCH.DBF
fpt=$table_dir/BENCH.FPT
say "file sizes: $(stat -c '%n %s' "$dbf" "$fpt" | tr '\n' ' ')"

# The engine's own in-process figures on the same file.
VGX_BENCH_DIR=$table_dir VGX_BENCH_RECORDS=$records \
  "$bench" --benchmark_filter='BM_(ReadFileBytes|Scan/1|ScanCached|Go)' \
  --benchmark_report_aggregates_only=true | tee -a "$report"

# ---- whole-process timings on the same file --------------------------------------
engine_scan="env VGX_BENCH_DIR=$table_dir VGX_BENCH_RECORDS=$records VGX_BENCH_REPEATS=1"
engine_scan+=" $bench --benchmark_filter='BM_Scan/1/'"
fast=(
  "cat $dbf $fpt > /dev/null"
  "$engine_scan > /dev/null"
  "dbfdump $dbf > /dev/null"
  "pgdbf -m $fpt $dbf > /dev/null"
)
[[ -n $vgx ]] && fast+=("$vgx dump $dbf --csv > /dev/null")
slow=("$python $here/dbfread_scan.py $dbf")

time_commands() {  # RUNS WARMUP NAME COMMAND...
  local n=$1 warm=$2 name=$3
  shift 3
  if ((have_hyperfine)); then
    hyperfine --runs "$n" --warmup "$warm" --export-markdown "$work/$name.md" "$@" |
      tee -a "$report"
  else
    local c i
    for c in "$@"; do
      say "$c"
      for ((i = 0; i < n; ++i)); do
        /usr/bin/time -f '  %e s elapsed, %U s user, %S s system' bash -c "$c" 2>&1 >/dev/null |
          tee -a "$report"
      done
    done
  fi
}

say ""
say "== full reads of the table (the engine's scan process also recomputes the expected totals"
say "   and reads the file once more outside its timed scan)"
time_commands "$runs" 1 reads "${fast[@]}"
time_commands 2 0 reads_slow "${slow[@]}"

# ---- appends with python3-dbf, capped and extrapolated -----------------------------
say ""
say "== python3-dbf appends ($py_append records, scaled to $records)"
$python "$here/dbf_append.py" "$work/pyappend" "$py_append" "$records" | tee -a "$report"

say ""
say "report: $report"
