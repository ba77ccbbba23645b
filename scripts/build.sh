#!/usr/bin/env bash
# Configures and builds one of the three build folders:
#   scripts/build.sh          build/       everything, RelWithDebInfo
#   scripts/build.sh --asan   build-asan/  the engine's tests under AddressSanitizer and UBSan
#   scripts/build.sh --fuzz   build-fuzz/  the libFuzzer targets (clang)
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
mode=default
case "${1:-}" in
  "") ;;
  --asan) mode=asan ;;
  --fuzz) mode=fuzz ;;
  *)
    echo "usage: scripts/build.sh [--asan|--fuzz]" >&2
    exit 2
    ;;
esac

werror=OFF
[[ "${CI:-}" == "true" ]] && werror=ON

case "$mode" in
  default)
    dir=build
    args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DVGX_WERROR=$werror" -DVGX_SANITIZE=OFF
      -DVGX_FUZZ=OFF -DVGX_TESTS=ON -DVGX_BENCH=ON -DVGX_TOOLS=ON)
    targets=()
    ;;
  asan)
    dir=build-asan
    args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVGX_WERROR=OFF -DVGX_SANITIZE=ON
      -DVGX_FUZZ=OFF -DVGX_TESTS=ON -DVGX_TESTS_ENGINE_ONLY=ON -DVGX_BENCH=OFF -DVGX_TOOLS=OFF)
    targets=()
    ;;
  fuzz)
    dir=build-fuzz
    args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVGX_WERROR=OFF -DVGX_SANITIZE=OFF
      -DVGX_FUZZ=ON -DVGX_TESTS=OFF -DVGX_BENCH=OFF -DVGX_TOOLS=OFF
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)
    # Only the fuzzers and their instrumented engine; the plain libraries are not needed.
    targets=(--target vgx_fuzz_all)
    ;;
esac

# Keep the generator a folder was first configured with; prefer Ninja for new folders.
cache="$repo/$dir/CMakeCache.txt"
generator=()
if [[ ! -f "$cache" ]]; then
  if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
  else
    generator=(-G "Unix Makefiles")
  fi
fi

cmake -S "$repo" -B "$repo/$dir" "${generator[@]}" "${args[@]}" >/dev/null

# Keep going past a failed target so that one run shows every error and builds the rest.
if grep -q '^CMAKE_GENERATOR:INTERNAL=Ninja$' "$cache"; then
  keep_going=(-k 0)
else
  keep_going=(-k)
fi
cmake --build "$repo/$dir" -j2 "${targets[@]}" -- "${keep_going[@]}"
