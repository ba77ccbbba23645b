#!/usr/bin/env bash
# Instruction counts per appended, scanned and sought record: bench_table's measured
# functions under callgrind on a smaller table. Unlike times, these do not depend on
# what else the machine is doing (kernel work, such as the file copies, is not counted).
#
#   bench/callgrind_table.sh BENCH_TABLE_BINARY [RECORDS] [OUT_DIR]
#
# Leaves callgrind.<name>.out files in OUT_DIR for callgrind_annotate --inclusive=yes.
set -euo pipefail

bench=$1
records=${2:-100000}
out=${3:-${TMPDIR:-/tmp}/vgx-callgrind}
mkdir -p "$out/table"
export VGX_BENCH_RECORDS=$records VGX_BENCH_DIR=$out/table VGX_BENCH_REPEATS=1

# name, benchmark filter, measured function, records handled per run
runs=(
  "append BM_Append append_records $records"
  "scan BM_Scan/1/ scan_records $records"
  "go BM_Go go_records $records"
)
# The scan and go runs reuse the table the append run leaves in $out/table.
for run in "${runs[@]}"; do
  read -r name filter function count <<<"$run"
  valgrind --tool=callgrind --callgrind-out-file="$out/callgrind.$name.out" \
    --toggle-collect="*${function}*" "$bench" --benchmark_filter="$filter" \
    >/dev/null 2>"$out/callgrind.$name.log"
  ir=$(grep -o 'Collected : [0-9]*' "$out/callgrind.$name.log" | awk '{print $3}')
  echo "$name: $ir instructions, $((ir / count)) per record ($count records)"
done
