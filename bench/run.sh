#!/usr/bin/env bash
# Builds the release preset, runs every benchmark program and the two whole-program
# measurements (replay of a generated capture against cat, and one hour of --fast recording
# for memory), then writes docs/PERFORMANCE.md through bench/report.py.
#
# Environment:
#   VELIFACE_BENCH_E2E_MB       size of the generated capture in MiB (default 1024; 64 for a quick run)
#   VELIFACE_BENCH_MEM_SECONDS  audio seconds of the memory recording (default 3600)
#   VELIFACE_BENCH_REPS         Google Benchmark repetitions (default 3; medians are reported)
#   VELIFACE_BENCH_FILTER       benchmark filter (default BM_Path_, the hot path contract)
#   VELIFACE_BENCH_WORK         scratch directory for captures and recordings
#                               (default build/release/bench-work; removed afterwards)
#   VELIFACE_BENCH_OUT          page to write (default docs/PERFORMANCE.md)
#   VELIFACE_BENCH_SKIP_BUILD=1 use build/release as it is
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

build=build/release
e2e_mb="${VELIFACE_BENCH_E2E_MB:-1024}"
mem_seconds="${VELIFACE_BENCH_MEM_SECONDS:-3600}"
reps="${VELIFACE_BENCH_REPS:-3}"
filter="${VELIFACE_BENCH_FILTER:-BM_Path_}"
work="${VELIFACE_BENCH_WORK:-$root/$build/bench-work}"
page="${VELIFACE_BENCH_OUT:-$root/docs/PERFORMANCE.md}"
results="$work/results"

log() { echo "== $*" >&2; }
now_ns() { date +%s%N; }
seconds_since() { awk -v a="$1" -v b="$(now_ns)" 'BEGIN { printf "%.6f", (b - a) / 1e9 }'; }
note_load() { printf '%s\t%s\n' "$1" "$(cut -d' ' -f1-3 /proc/loadavg | tr ' ' '\t')" >>"$results/load.tsv"; }

# ---- dependencies and build
if ! command -v cmake >/dev/null || ! command -v python3 >/dev/null || [ ! -x /usr/bin/time ] ||
   ! dpkg-query -W -f='${Status}' libbenchmark-dev 2>/dev/null | grep -q "install ok installed"; then
  log "installing dependencies"
  bash scripts/install-deps.sh
fi
if [ "${VELIFACE_BENCH_SKIP_BUILD:-0}" != 1 ]; then
  log "building the release preset"
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake --preset release "${launcher[@]}" >/dev/null
  cmake --build "$build" -j2
fi
velrec="$build/tools/velrec/velrec"
make_capture="$build/bench/make_capture"

# Only what this script creates is removed, whatever VELIFACE_BENCH_WORK points at.
rm -rf "$results" "$work/e2e" "$work/mem"
mkdir -p "$results/gbench"
trap 'rm -rf "$work/e2e" "$work/mem"' EXIT

compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")"
{
  echo "compiler=$("${compiler:-c++}" --version | head -n1)"
  echo "build_type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")"
  echo "cxx_flags=$(sed -n 's/^CMAKE_CXX_FLAGS_RELEASE:[A-Z]*=//p' "$build/CMakeCache.txt")"
  echo "date=$(date -u '+%Y-%m-%d %H:%M UTC')"
  echo "reps=$reps"
  echo "filter=$filter"
  echo "fs=$(df -PT "$work" | awk 'NR == 2 { print $2 " (" $7 ")" }')"
} >"$results/machine.env"
note_load "start"

# ---- Google Benchmark programs: all repetitions kept, the report takes the medians.
for prog in "$build"/bench/*_bench; do
  [ -x "$prog" ] || continue
  name="$(basename "$prog")"
  log "running $name"
  if ! "$prog" --benchmark_filter="$filter" --benchmark_repetitions="$reps" \
       --benchmark_out="$results/gbench/$name.json" --benchmark_out_format=json >"$results/$name.txt" 2>&1; then
    log "$name failed (its paths are reported as not measured); output in $results/$name.txt"
    tail -n 5 "$results/$name.txt" >&2 || true
  fi
done
note_load "after the benchmarks"

# ---- end to end: velrec --replay of a generated capture against cat of it to a file.
if [ -x "$make_capture" ] && [ -x "$velrec" ]; then
  log "end to end: generating a $e2e_mb MiB capture"
  mkdir -p "$work/e2e"
  capture="$work/e2e/waveform.bin"
  "$make_capture" "$capture" "$e2e_mb" >/dev/null
  bytes="$(stat -c %s "$capture")"
  cat "$capture" >/dev/null  # both sides start from the page cache

  cat_seconds=()
  run_cat() {
    local t0; t0="$(now_ns)"
    cat "$capture" >"$work/e2e/copy.bin"
    cat_seconds+=("$(seconds_since "$t0")")
    rm -f "$work/e2e/copy.bin"
  }
  run_cat
  log "end to end: velrec --replay"
  t0="$(now_ns)"
  set +e
  /usr/bin/time -f '%M %U %S' -o "$results/replay.time" \
    "$velrec" --replay "$capture" --out "$work/e2e/wav" >"$results/replay.txt" 2>&1
  replay_rc=$?
  set -e
  replay_seconds="$(seconds_since "$t0")"
  rm -rf "$work/e2e/wav"
  run_cat
  read -r maxrss user sys <"$results/replay.time" || true
  summary="$(grep -E 'waveform samples=' "$results/replay.txt" | tail -n1 || true)"
  {
    echo "capture_bytes=$bytes"
    echo "size_note=VELIFACE_BENCH_E2E_MB=$e2e_mb"
    echo "cat_seconds=${cat_seconds[*]}"
    echo "replay_seconds=$replay_seconds"
    echo "replay_rc=$replay_rc"
    echo "replay_cpu=$(awk -v u="${user:-0}" -v s="${sys:-0}" 'BEGIN { print u + s }')"
    echo "replay_maxrss_kb=${maxrss:-0}"
    echo "sample_bytes=$(sed -n 's/.* bytes=\([0-9]*\).*/\1/p' <<<"$summary")"
    echo "wav_files=$(sed -n 's/.* files=\([0-9]*\).*/\1/p' <<<"$summary")"
  } >"$results/e2e.env"
  rm -rf "$work/e2e"
  note_load "after the replay"
else
  log "end to end: $make_capture or $velrec missing, not measured"
fi

# ---- memory: one hour of simulated recording, peak RSS and open files sampled from /proc.
if [ -x "$velrec" ]; then
  log "memory: velrec --fast --duration $mem_seconds --period 60"
  mkdir -p "$work/mem"
  t0="$(now_ns)"
  /usr/bin/time -v -o "$results/mem.time" \
    "$velrec" --fast --duration "$mem_seconds" --period 60 --out "$work/mem/rec" >"$results/mem.txt" 2>&1 &
  timer=$!
  : >"$results/mem_samples.tsv"
  pid=""
  while kill -0 "$timer" 2>/dev/null; do
    # velrec is the only child of the time process.
    [ -n "$pid" ] || pid="$(cat "/proc/$timer/task/$timer/children" 2>/dev/null | awk '{ print $1 }')"
    if [ -n "$pid" ] && [ -d "/proc/$pid" ]; then
      fds="$(ls "/proc/$pid/fd" 2>/dev/null | wc -l)"
      rss="$(awk '/^VmRSS:/ { print $2 }' "/proc/$pid/status" 2>/dev/null || true)"
      [ -n "$rss" ] && [ "$fds" -gt 0 ] &&
        printf '%s\t%s\t%s\n' "$(seconds_since "$t0")" "$fds" "$rss" >>"$results/mem_samples.tsv"
    fi
    sleep 0.2
  done
  set +e
  wait "$timer"
  mem_rc=$?
  set -e
  {
    echo "rc=$mem_rc"
    echo "seconds=$mem_seconds"
    echo "wall=$(seconds_since "$t0")"
    echo "maxrss_kb=$(awk -F': ' '/Maximum resident set size/ { print $2 }' "$results/mem.time")"
    echo "files=$(find "$work/mem/rec" -type f | wc -l)"
  } >"$results/mem.env"
  rm -rf "$work/mem"
  note_load "after the hour of recording"
fi

log "writing $page"
python3 bench/report.py --results "$results" --out "$page"
log "done (raw results in $results)"
