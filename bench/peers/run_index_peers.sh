#!/usr/bin/env bash
# Runs the index benchmarks of this engine and of two independent engines on the same
# 1,000,000-record table (NAME C(20), AMOUNT N(12,2), BIRTH D), which bench_index builds
# and keeps. Run by hand; it is not part of the test command.
#
#   bench/peers/run_index_peers.sh
#
# Environment: VGX_PEERS_DIR    work folder (default ${TMPDIR:-/tmp}/vgx-index-peers)
#              VGX_PEERS_SEEKS  random seeks for the peers (default 100000)
# Peers: Free Pascal's TDbf (Debian's fpc and fp-units-db: dBASE IV tables with .MDX
# indexes) and SQLite through Debian's python3 (B-tree indexes on expressions).
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
work=${VGX_PEERS_DIR:-${TMPDIR:-/tmp}/vgx-index-peers}
seeks=${VGX_PEERS_SEEKS:-100000}
build=$work/build
data=$work/data

missing=()
command -v fpc >/dev/null || missing+=(fpc fp-units-db)
/usr/bin/python3 -c 'import sqlite3' 2>/dev/null || missing+=(python3)
if ((${#missing[@]})); then
  echo "missing peers; install them with: apt-get install ${missing[*]}" >&2
  exit 1
fi
mkdir -p "$work" "$data"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVGX_TESTS=OFF -DVGX_TOOLS=ON \
  >"$work/configure.log"
cmake --build "$build" -j"$(nproc)" --target bench_index vgx >"$work/build.log"

echo "== this engine (bench_index; CPU and wall per benchmark, minimum of 3)"
VGX_BENCH_DIR=$data "$build/bench/bench_index" --benchmark_report_aggregates_only=true |
  grep -E '_min|_median'

echo "== TDbf (Free Pascal)"
fpc -O2 -FE"$work" "$here/tdbf_index.pas" >"$work/fpc.log"
rm -f "$work"/TDBF*.*
"$work/tdbf_index" "$data/PEOPLE.DBF" "$work" "$seeks"

echo "== SQLite (same rows, loaded untimed)"
"$build/tools/vgx/vgx" dump "$data/PEOPLE.DBF" --csv >"$work/people.csv"
/usr/bin/python3 "$here/sqlite_index.py" "$work/people.csv" "$work" "$seeks"
