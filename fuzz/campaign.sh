#!/usr/bin/env bash
# A campaign over every fuzz target: fuzz/campaign.sh MINUTES_PER_TARGET [PARALLEL]
#
# Runs fuzz/run.sh for each target in one process, PARALLEL targets at a time (default 2,
# one per core), so that every target gets MINUTES_PER_TARGET of one core. The logs stay in
# build/fuzz/campaign/TARGET/ (or $FUZZ_WORK/TARGET) for fuzz/reliability.py, the output of
# each run in build/fuzz/campaign-TARGET.out. Exits non-zero when any target had findings.
#
# With FUZZ_RUNS=N set, a target whose last logs already show N executions or more in all and
# no findings is not run again, so that a campaign cut short (a machine shut down) goes on where
# it stopped when it is started again.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
minutes=${1:?usage: fuzz/campaign.sh MINUTES_PER_TARGET [PARALLEL]}
parallel=${2:-2}
targets=$(cd "$root/fuzz" && ls *_fuzz.cpp | sed 's/_fuzz\.cpp$//')

# Build everything first, so that the parallel runs do not race on the build tree.
[[ -f $root/build/fuzz/build.ninja ]] || (cd "$root" && cmake --preset fuzz >/dev/null)
cmake --build "$root/build/fuzz" -j2 >/dev/null || exit 1

done_already() {
  local work=${FUZZ_WORK:-$root/build/fuzz/campaign}/$1 log n total=0
  [[ -n ${FUZZ_RUNS:-} ]] || return 1
  [[ -z $(ls -A "$work/artifacts" 2>/dev/null) ]] || return 1
  # The processes of one campaign share its corpus, so their executions add up, as in the
  # report; a log without final statistics (a run cut short) leaves the target to be run again.
  for log in "$work"/fuzz-*.log; do
    [[ -f $log ]] || return 1
    grep -qE 'ERROR: |runtime error:|fuzz check failed' "$log" && return 1
    n=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n1)
    [[ -n $n ]] || return 1
    total=$((total + n))
  done
  [[ $total -ge $FUZZ_RUNS ]]
}
todo=()
for t in $targets; do
  if done_already "$t"; then echo "$t: $FUZZ_RUNS executions already logged; not run again"; else todo+=("$t"); fi
done
[[ ${#todo[@]} -gt 0 ]] || exit 0

status=0
printf '%s\n' "${todo[@]}" | xargs -P "$parallel" -I{} bash -c \
  '"$0/fuzz/run.sh" "$1" "$2" 1 > "$0/build/fuzz/campaign-$1.out" 2>&1; s=$?; echo "$1: exit $s";
   [[ $s -eq 0 ]] || tail -n 40 "$0/build/fuzz/campaign-$1.out"; exit $s' \
  "$root" {} "$minutes" || status=1
exit $status
