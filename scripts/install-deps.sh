#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, only those
# that are missing. Safe to run again. Extra package names may be passed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libboost-dev libsqlite3-dev sqlite3 unixodbc-dev
  g++-mingw-w64-x86-64 mingw-w64-x86-64-dev
  clang-format
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
