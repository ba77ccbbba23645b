#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo on the built-in sample database.
# Extra arguments go to the demo.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

scripts/setup.sh
scripts/build.sh

vgx=build/tools/vgx/vgx
if [[ ! -x "$vgx" ]]; then
  echo "demo: $vgx was not built (tools/vgx has no sources yet?)" >&2
  exit 1
fi
exec "$vgx" demo "$@"
