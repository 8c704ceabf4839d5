#!/usr/bin/env bash
# Installs the build and test dependencies with apt-get. Safe to run again: it only calls
# apt-get (and apt-get update) when a package is missing.
set -euo pipefail

# time: /usr/bin/time -v gives bench/run.sh the peak memory of velrec.
packages=(cmake ninja-build g++ clang libgtest-dev libgmock-dev libbenchmark-dev pkg-config time strace)
# The fuzz preset: clang 14 with libFuzzer (which lives in libclang-rt-14-dev) and the
# symbolizer of llvm-14 for readable crash reports.
packages+=(clang-14 libclang-rt-14-dev llvm-14)

# The tools (simulator, recorder, inspector) and their interop tests need a few more.
here="$(cd "$(dirname "$0")/.." && pwd)"
if [ -f "$here/tools/DEPENDENCIES.txt" ]; then
  while read -r p; do
    [ -n "$p" ] && packages+=("$p")
  done < <(grep -v -E '^\s*(#|$)' "$here/tools/DEPENDENCIES.txt")
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all dependencies present"
  exit 0
fi

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update
"${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
