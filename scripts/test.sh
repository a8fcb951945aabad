#!/usr/bin/env bash
# Installs what is missing, starts the private database servers, builds every
# configuration once and runs every test through ctest: the regular build (with the Windows compile check and
# the installed-package check) and an AddressSanitizer build.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"

scripts/install-deps.sh

# The private database servers run for the whole test run and are stopped
# however it ends; their connection strings reach the tests through the
# environment.
scripts/servers.sh start
trap 'scripts/servers.sh stop' EXIT
eval "$(scripts/servers.sh env)"

jobs="$(nproc)"

build_and_test() {
  local dir="$1"; shift
  cmake -S "$root" -B "$dir" -G Ninja "$@"
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 300
}

build_and_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHALDENDB_WINDOWS_CHECK=ON -DHALDENDB_INSTALL_CHECK=ON -DHALDENDB_BUILD_BENCH=ON
ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" \
  build_and_test build/asan -DCMAKE_BUILD_TYPE=Debug -DHALDENDB_SANITIZE=address
