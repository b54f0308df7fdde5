#!/usr/bin/env bash
# Runs every libFuzzer target of the fuzz preset for a fixed time from its seed corpus, with the
# protocol's dictionary, two at a time. Fails on any crash, leak, sanitizer report or input that
# takes over a second, and prints the executions each target reached.
#
#   scripts/fuzz.sh [seconds per target, default 60]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
build=build/fuzz
work=$build/fuzz-runs
rm -rf "$work"
mkdir -p "$work"

run_target() {
  local binary=$1 name
  name=$(basename "$binary")
  name=${name#fuzz_}
  mkdir -p "$work/$name/corpus"
  # New inputs go to the first corpus folder, a scratch copy; the seeds stay untouched.
  "$binary" -max_total_time="$seconds" -timeout=1 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict=tests/fuzz/protocol.dict -artifact_prefix="$work/$name/" \
    "$work/$name/corpus" "tests/fuzz/corpus/$name" >"$work/$name/log" 2>&1
}

pids=()
names=()
for binary in "$build"/tests/fuzz/fuzz_*; do
  [ -x "$binary" ] || continue
  run_target "$binary" &
  pids+=("$!")
  names+=("$(basename "$binary")")
  if [ ${#pids[@]} -ge 2 ]; then
    wait "${pids[0]}" || true
    pids=("${pids[@]:1}")
  fi
done
for pid in "${pids[@]}"; do wait "$pid" || true; done

failed=0
for name in "${names[@]}"; do
  short=${name#fuzz_}
  log="$work/$short/log"
  runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
  if grep -qE '^==[0-9]+==ERROR|SUMMARY: .*Sanitizer|ALARM: working on the last Unit|deadly signal|libFuzzer: out-of-memory' "$log" ||
     ! grep -q 'Done [0-9]* runs' "$log"; then
    echo "fuzz $short: FAILED after $runs executions (log: $log)"
    grep -E 'ERROR|SUMMARY|ALARM|Test unit written' "$log" | head -5
    failed=1
  else
    echo "fuzz $short: $runs executions in ${seconds}s, no fault"
  fi
done
exit $failed
