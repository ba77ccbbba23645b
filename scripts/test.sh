#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the CTest suites of build/, the
# engine's suites again under AddressSanitizer and UBSan, then each fuzz target for a short
# fixed time. Every stage runs even when an earlier one failed, so one run shows everything;
# the exit status is non-zero if anything failed.
set -uo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo" || exit 1

fuzz_seconds=${VGX_FUZZ_SECONDS:-15}
samples_dir=${VGX_SAMPLES_DIR:-$repo/../shared/samples}

passed=0
failed=0
failures=()

note_failure() {
  failures+=("$1")
}

# Runs ctest in a build folder and adds its counts to the totals.
run_ctest() {
  local dir=$1 label=$2 log status summary bad=0 total=0
  if [[ ! -f "$dir/CTestTestfile.cmake" ]]; then
    echo "$label: not configured, no tests to run"
    return
  fi
  log=$(mktemp)
  (cd "$dir" && ctest --output-on-failure --timeout 600) 2>&1 | tee "$log"
  status=${PIPESTATUS[0]}
  summary=$(grep -E '[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -1)
  rm -f "$log"
  if [[ -n "$summary" ]]; then
    bad=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$summary")
    total=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\2/' <<<"$summary")
  fi
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  if ((bad > 0)); then
    note_failure "$label: $bad test(s) failed"
  elif ((status != 0)); then
    # ctest itself failed (a test list it could not read, say): count that once.
    failed=$((failed + 1))
    note_failure "$label: ctest exited with status $status"
  fi
}

# Prints the sample file extensions that seed a fuzz target, chosen by the target's name.
sample_extensions_for() {
  case "$1" in
    *memo* | *dbt* | *fpt*) echo "dbt fpt" ;;
    *cdx*) echo "cdx" ;;
    *mdx*) echo "mdx" ;;
    *ntx*) echo "ntx" ;;
    *index*) echo "cdx mdx ntx ndx" ;;
    *table* | *dbf* | *header* | *record*) echo "dbf" ;;
    *) echo "" ;;
  esac
}

# Copies the small sample files with the given extensions into a seed folder.
collect_samples() {
  local dest=$1
  shift
  mkdir -p "$dest"
  [[ -d "$samples_dir" ]] || return 0
  local ext find_args=()
  for ext in "$@"; do
    find_args+=(-o -iname "*.$ext")
  done
  ((${#find_args[@]} > 0)) || return 0
  local i=0 file
  while IFS= read -r -d '' file; do
    i=$((i + 1))
    cp "$file" "$dest/sample_$i"
  done < <(find "$samples_dir" -type f -size -64k \( "${find_args[@]:1}" \) -print0 | sort -z)
}

run_fuzzers() {
  local dir=$repo/build-fuzz
  local work=$dir/fuzz-run
  rm -rf "$work"
  mkdir -p "$work"
  local target
  local found=0
  while IFS= read -r -d '' target; do
    found=1
    local name
    name=$(basename "$target")
    local corpus=$work/$name/corpus seeds=$work/$name/seeds artifacts=$work/$name/artifacts
    mkdir -p "$corpus" "$artifacts"
    local inputs=("$corpus") options=()
    [[ -f "$repo/fuzz/$name.dict" ]] && options+=(-dict="$repo/fuzz/$name.dict")
    [[ -d "$repo/fuzz/corpus/$name" ]] && inputs+=("$repo/fuzz/corpus/$name")
    local extensions
    extensions=$(sample_extensions_for "$name")
    if [[ -n "$extensions" ]]; then
      # shellcheck disable=SC2086 # the list of extensions is split on purpose
      collect_samples "$seeds" $extensions
      inputs+=("$seeds")
    fi
    echo "fuzz: $name for ${fuzz_seconds}s"
    local log=$work/$name/log.txt
    if "$target" -max_total_time="$fuzz_seconds" -timeout=5 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$artifacts/" "${options[@]}" "${inputs[@]}" \
      >"$log" 2>&1; then
      passed=$((passed + 1))
      grep -E '^stat::number_of_executed_units' "$log" | sed "s/^/fuzz: $name /"
    else
      failed=$((failed + 1))
      note_failure "fuzz: $name crashed (artifacts in ${artifacts#"$repo"/})"
      tail -n 60 "$log"
    fi
  done < <(find "$dir/fuzz" -maxdepth 1 -type f -name 'fuzz_*' -perm -u+x -print0 2>/dev/null |
    sort -z)
  ((found)) || echo "fuzz: no fuzz targets built"
}

if ! scripts/setup.sh; then
  echo "setup failed" >&2
  echo "0 passed, 1 failed"
  exit 1
fi

# Builds one folder; a failed build is counted, and whatever did build is still run.
build_stage() {
  local label=$1
  shift
  echo "== building $label"
  if ! scripts/build.sh "$@"; then
    failed=$((failed + 1))
    note_failure "$label did not build completely"
  fi
}

build_stage build/
echo "== ctest in build/"
run_ctest build build/

build_stage build-asan/ --asan
echo "== ctest in build-asan/"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
run_ctest build-asan build-asan/

build_stage build-fuzz/ --fuzz
run_fuzzers

echo
for failure in "${failures[@]}"; do
  echo "FAILED: $failure"
done
echo "$passed passed, $failed failed"
((failed == 0))
