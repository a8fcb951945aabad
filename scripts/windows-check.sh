#!/usr/bin/env bash
# Compiles the portable sources (listed by the build) for 64-bit Windows with mingw-w64, against the
# system's own COM and OLE DB headers: the library, the maker's headers, the
# basic I/O library, the framework classes and the settings library. Only the
# compile is checked (nothing is linked); it keeps the library's use of the
# Windows interfaces identical to what Windows builds.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cxx="${MINGW_CXX:-x86_64-w64-mingw32-g++}"
command -v "$cxx" >/dev/null || { echo "missing $cxx (package g++-mingw-w64-x86-64)"; exit 1; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# Boost is header-only here; expose just its folder, not the host's C headers.
mkdir -p "$work/inc"
[ -d /usr/include/boost ] && ln -s /usr/include/boost "$work/inc/boost"

flags=(-std=c++20 -fsyntax-only -Wall -Wno-unknown-pragmas -DUNICODE -D_UNICODE -DHALDENDB_BUILDING
       -I"$root" -I"$root/include" -I"$root/basicio" -I"$root/platform/include"
       -isystem "$work/inc")

# The sources come from the build: a file naming one per line.
list="${1:?usage: windows-check.sh <file listing the portable sources>}"
mapfile -t sources < "$list"
# Headers that no source includes yet are checked on their own.
for h in "$root"/include/*.h "$root"/haldendb/*.h \
         "$root"/platform/include/hdbplatform/{Com,ComPtr,ComObject,ClassFactory,OleDbApi,Framework,Haldensettings}.h; do
  [ -e "$h" ] || continue
  tu="$work/$(basename "$h" .h)_header.cpp"
  printf '#include "%s"\n' "$h" > "$tu"
  sources+=("$tu")
done

failed=0
for f in "${sources[@]}"; do
  if ! "$cxx" "${flags[@]}" "$f"; then
    echo "windows compile failed: ${f#$root/}"
    failed=1
  fi
done
echo "windows compile: ${#sources[@]} sources, $([ $failed -eq 0 ] && echo ok || echo FAILED)"
exit $failed
