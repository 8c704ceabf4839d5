#!/usr/bin/env bash
# One fuzzing campaign: fuzz/run.sh TARGET MINUTES [JOBS]
#
# Builds fuzz_TARGET in the fuzz preset's build tree (configuring it when needed) and runs
# it for MINUTES (a decimal number is fine) in JOBS processes (default 2, one per core)
# that share one corpus, with its dictionary, the -max_len its source names ("Campaign:" line),
# and these limits:
#   -rss_limit_mb=2048   the whole process;
#   -malloc_limit_mb=1   any single allocation. A parser never allocates for bytes that
#                        did not arrive, so its largest block is a frame's payload (at most
#                        64 KiB) plus, for sample data, the samples of that payload (at most
#                        64 KiB more); 1 MiB, the smallest limit the flag can express, is a
#                        bound no input may break.
# New inputs go to build/fuzz/campaign/TARGET/corpus (FUZZ_WORK replaces build/fuzz/campaign), crashes to .../artifacts, and each
# process writes its output, final statistics included, to .../fuzz-N.log (the logs of the
# campaign before are moved to .../old/<their date>/); the
# committed seeds in fuzz/corpus/TARGET are read, never written. A crash found is kept in
# the corpus by copying it to fuzz/corpus/TARGET/regress-<what> and committing it.
# FUZZ_RUNS=N also stops each process after N executions (a campaign of a set size, e.g.
# FUZZ_RUNS=10000000 for the ten million each target must reach).
# Exits 1 when the campaign found a crash, leak, timeout or allocation over the limit.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
if [[ $# -lt 1 ]]; then
  echo "usage: fuzz/run.sh TARGET [MINUTES] [JOBS]" >&2
  echo "targets:" $(cd "$root/fuzz" && ls *_fuzz.cpp | sed 's/_fuzz\.cpp$//') >&2
  exit 2
fi
target=$1
minutes=${2:-1}
jobs=${3:-2}
seconds=$(awk -v m="$minutes" 'BEGIN { s = int(m * 60); print (s < 1 ? 1 : s) }')
src=$root/fuzz/${target}_fuzz.cpp
if [[ ! -f $src ]]; then
  echo "no fuzz target '$target' (expected $src)" >&2
  exit 2
fi
max_len=$(sed -n 's|^// Campaign:.*-max_len=\([0-9]*\).*|\1|p' "$src" | head -n1)
max_len=${max_len:-4096}

build=$root/build/fuzz
if [[ ! -f $build/build.ninja ]]; then
  (cd "$root" && cmake --preset fuzz >/dev/null)
fi
cmake --build "$build" --target "fuzz_$target" -j2 >/dev/null

work=${FUZZ_WORK:-$build/campaign}/$target
mkdir -p "$work/corpus" "$work/artifacts"
# The last campaign's logs are what the reliability report reads. Keep them under old/ rather
# than delete them, so that a short run started by mistake cannot wipe out a long campaign.
if compgen -G "$work/fuzz-*.log" >/dev/null; then
  kept=$work/old/$(date -r "$(ls -t "$work"/fuzz-*.log | head -n1)" +%Y%m%dT%H%M%S)
  mkdir -p "$kept"
  mv "$work"/fuzz-*.log "$kept/"
fi
before=$(ls "$work/artifacts" | wc -l)

if command -v llvm-symbolizer-14 >/dev/null; then
  export ASAN_SYMBOLIZER_PATH=${ASAN_SYMBOLIZER_PATH:-$(command -v llvm-symbolizer-14)}
fi
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

runs=()
[[ -n ${FUZZ_RUNS:-} ]] && runs=(-runs="$FUZZ_RUNS")

cd "$work"
status=0
"$build/fuzz/fuzz_$target" -jobs="$jobs" -workers="$jobs" -max_total_time="$seconds" \
  -max_len="$max_len" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=1 \
  -dict="$root/fuzz/$target.dict" -artifact_prefix="$work/artifacts/" -print_final_stats=1 \
  "${runs[@]}" "$work/corpus" "$root/fuzz/corpus/$target" || status=$?
for log in fuzz-*.log; do
  [[ -f $log ]] && { echo "== $log"; tail -n 12 "$log"; }
done

after=$(ls "$work/artifacts" | wc -l)
if [[ $status -ne 0 || $after -gt $before ]]; then
  echo "fuzz_$target: findings in $work/artifacts:" >&2
  ls -t "$work/artifacts" >&2
  exit 1
fi
# The limit that ended the campaign may be the run count, not the time, so say what was done.
done_runs=$(cat fuzz-*.log 2>/dev/null | sed -n 's/^stat::number_of_executed_units: *//p' | awk '{ n += $1 } END { print n + 0 }')
echo "fuzz_$target: no findings in $done_runs executions (at most ${seconds}s) on $jobs cores"
