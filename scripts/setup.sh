#!/usr/bin/env bash
# Installs the Debian packages the build, tests, fuzzing and benchmarks need.
# Quick and silent when everything is already there; apt is touched only for what is missing.
set -euo pipefail

# Needed by every build and test run.
required=(
  build-essential cmake g++ clang libclang-rt-14-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  python3 python3-dbf python3-dbfread libdbd-xbase-perl
  shapelib pgdbf
)
# Nice to have: the build falls back to make without it.
optional=(ninja-build)

is_installed() {
  dpkg-query -W -f='${db:Status-Abbrev}\n' "$1" 2>/dev/null | grep -q '^ii'
}

missing_of() {
  local pkg
  for pkg in "$@"; do
    is_installed "$pkg" || printf '%s\n' "$pkg"
  done
}

mapfile -t missing_required < <(missing_of "${required[@]}")
mapfile -t missing_optional < <(missing_of "${optional[@]}")

if ((${#missing_required[@]} == 0 && ${#missing_optional[@]} == 0)); then
  exit 0
fi

if [[ $(id -u) -eq 0 ]]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "setup: missing packages (${missing_required[*]} ${missing_optional[*]})," \
    "and neither root nor sudo is available" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive
# Other apt users on the machine may hold the lock for a while; wait rather than fail.
apt_opts=(-o DPkg::Lock::Timeout=600 -o Dpkg::Use-Pty=0)

echo "setup: installing ${missing_required[*]} ${missing_optional[*]}"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${apt_opts[@]}" update -qq
if ((${#missing_required[@]} > 0)); then
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${apt_opts[@]}" install -y -qq \
    --no-install-recommends "${missing_required[@]}"
fi
if ((${#missing_optional[@]} > 0)); then
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get "${apt_opts[@]}" install -y -qq \
    --no-install-recommends "${missing_optional[@]}" ||
    echo "setup: optional packages not installed: ${missing_optional[*]}" >&2
fi

mapfile -t still_missing < <(missing_of "${required[@]}")
if ((${#still_missing[@]} > 0)); then
  echo "setup: still missing after install: ${still_missing[*]}" >&2
  exit 1
fi
