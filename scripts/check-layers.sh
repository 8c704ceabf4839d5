#!/usr/bin/env bash
# Proves that the build enforces the layer order: on a scratch copy of the sources, a stream
# file that includes a record header, and a record file that includes another folder's
# internal header, each make their layer fail to build, while the unchanged layers build.
# Usage: scripts/check-layers.sh [SCRATCH_DIR]   (exit 0 when the layers hold)
set -euo pipefail

src="$(cd "$(dirname "$0")/.." && pwd)"
scratch="${1:-$(mktemp -d)}"
cleanup() { [ -n "${1:-}" ] || rm -rf "$scratch"; }
trap 'cleanup "${1:-}"' EXIT

copy="$scratch/src"
rm -rf "$copy"
mkdir -p "$copy"
# The library and what its configuration reads; no build trees, tools or tests.
cp -r "$src/CMakeLists.txt" "$src/cmake" "$src/mavcommon" "$src/veliface" "$copy/"

build() {  # build <layer target>: 0 when it builds
  cmake --build "$scratch/build" --target "$1" >"$scratch/$1.log" 2>&1
}

cmake -S "$copy" -B "$scratch/build" -G Ninja -DVELIFACE_BUILD_TESTS=OFF -DVELIFACE_BUILD_TOOLS=OFF \
      -DVELIFACE_BUILD_EXAMPLES=OFF -DCMAKE_BUILD_TYPE=Debug >"$scratch/configure.log" 2>&1 ||
  { cat "$scratch/configure.log"; exit 1; }

fail=0
expect() {  # expect <builds|fails> <target> <what>
  if build "$2"; then got=builds; else got=fails; fi
  if [ "$got" = "$1" ]; then
    echo "check-layers: ok: $3 $got"
  else
    echo "check-layers: FAILED: $3 $got (expected: $1); log: $scratch/$2.log"
    tail -20 "$scratch/$2.log"
    fail=1
  fi
}

expect builds veliface_stream "the stream layer as it is"
expect builds veliface_record "the record layer as it is"

echo '#include <veliface/record/WavRecorder.h>' >>"$copy/veliface/stream/VelStreamProcessor.cpp"
expect fails veliface_stream "a stream file that includes a record header"
grep -q "veliface/record/WavRecorder.h" "$scratch/veliface_stream.log" ||
  { echo "check-layers: FAILED: the stream layer failed for another reason"; fail=1; }

echo '#include <veliface/files/internal/FileIo.h>' >>"$copy/veliface/record/WavRecorder.cpp"
expect fails veliface_record "a record file that includes files/internal"
grep -q "veliface/files/internal/FileIo.h" "$scratch/veliface_record.log" ||
  { echo "check-layers: FAILED: the record layer failed for another reason"; fail=1; }

exit $fail
