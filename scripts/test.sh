#!/usr/bin/env bash
# Installs what is missing, checks the layout of the sources, starts the
# private database servers, builds every configuration once and runs every
# test through ctest: the regular build (with the Windows compile check and
# the installed-package check) and an AddressSanitizer build with the
# undefined-behaviour checks; then a ThreadSanitizer build of only the
# programs whose tests share objects between threads, running only those.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"

scripts/install-deps.sh

# Every source is laid out as the root .clang-format says; a difference fails
# the run before anything is built.
find basicio bench haldendb include platform providers tests tools \
  \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --dry-run -Werror

# The private database servers run for the whole test run and are stopped
# however it ends; their connection strings reach the tests through the
# environment.
scripts/servers.sh start
trap 'scripts/servers.sh stop' EXIT
eval "$(scripts/servers.sh env)"

jobs="$(nproc)"
# Compiler results are shared between checkouts in other folders (CI builds a
# fresh clone each time): paths are hashed relative to the checkout.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

build_and_test() {
  local dir="$1"; shift
  cmake -S "$root" -B "$dir" -G Ninja "$@"
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 300
}

build_and_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHALDENDB_WINDOWS_CHECK=ON -DHALDENDB_INSTALL_CHECK=ON -DHALDENDB_BUILD_BENCH=ON
ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" \
  LSAN_OPTIONS="suppressions=$root/scripts/lsan-drivers.supp:print_suppressions=0" \
  build_and_test build/asan -DCMAKE_BUILD_TYPE=Debug -DHALDENDB_SANITIZE=address

# The tests that share objects between threads name it: their suite or case
# says Thread, Concurren(t/cy), Cancel or LongRunning. The programs that hold
# them are the only ones built, which keeps this build small. Every race of
# the project's code is fixed, none is suppressed: the first report fails the
# run. Only reports inside an ODBC driver are suppressed (tsan-drivers.supp
# says which and why).
threaded_programs=(test_haldendb test_providers test_scripted test_com test_framework
  test_conformance test_scenarios)
threaded_tests='Thread|Concurren|Cancel|LongRunning'
cmake -S "$root" -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHALDENDB_SANITIZE=thread
cmake --build build/tsan -j "$jobs" --target "${threaded_programs[@]}"
TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$root/scripts/tsan-drivers.supp" \
  ctest --test-dir build/tsan -j "$jobs" --output-on-failure --timeout 300 --no-tests=error \
    -R "$threaded_tests"
