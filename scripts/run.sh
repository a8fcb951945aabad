#!/usr/bin/env bash
# Installs what is missing, builds the command-line program (release
# configuration in build/release, only what hdb needs) and runs it on the
# demo script against the embedded database haldendb.db in the working
# directory. Arguments are passed to hdb, after the demo script; with
# arguments that name SQL of their own (-c, a file) the demo still runs first.
# Safe to run again: the demo makes its table afresh.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

"$root/scripts/install-deps.sh"

build="$root/build/release"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build" -j "$(nproc)" --target hdb

exec "$build/tools/hdb" "$root/tools/demo.sql" "$@"
