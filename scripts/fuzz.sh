#!/usr/bin/env bash
# Runs the fuzz target for $1 seconds (default 600) in $2 workers (default:
# one a core) that share what they find, from the corpus kept in
# fuzz/corpus, and merges what they learnt back into it. An input that fails
# lands in fuzz/findings/; once fixed, it moves to fuzz/regressions/, which
# every `make test` replays.
# Usage: scripts/fuzz.sh [SECONDS] [WORKERS]
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
workers=${2:-$(nproc 2>/dev/null || echo 1)}
fuzzer=build-fuzz/fuzz/effects_fuzz
mkdir -p fuzz/findings
export FXHOST_MODULE="$PWD/build-fuzz/libeffects.so"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

work=$(mktemp -d)
pids=()
stop() {
  kill "${pids[@]}" 2>/dev/null
  wait
  rm -rf "$work"
}
trap 'stop; exit 130' INT TERM
mkdir "$work/new"
for ((i = 0; i < workers; ++i)); do
  "$fuzzer" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix=fuzz/findings/ \
    "$work/new" fuzz/corpus fuzz/regressions >"$work/worker-$i.log" 2>&1 &
  pids+=($!)
done
wait
# A worker that ends on a finding says so in its log.
status=0
grep -q -E 'ERROR: (libFuzzer|AddressSanitizer|LeakSanitizer)|runtime error|deadly signal' \
  "$work"/worker-*.log && status=1

executions=0
for log in "$work"/worker-*.log; do
  n=$(grep -oP 'stat::number_of_executed_units: \K[0-9]+' "$log" || echo 0)
  executions=$((executions + n))
  grep -E '^#[0-9]+' "$log" | tail -1
done
echo "fuzz: $executions executions in $workers workers"

# Keep the corpus small: only the inputs that add coverage stay.
merged="$work/merged"
mkdir "$merged"
"$fuzzer" -merge=1 "$merged" fuzz/corpus "$work/new" >"$work/merge.log" 2>&1
find fuzz/corpus -type f ! -name .keep -delete
cp "$merged"/* fuzz/corpus/ 2>/dev/null
echo "fuzz: corpus now $(find fuzz/corpus -type f ! -name .keep | wc -l) inputs"
if [ "$status" -ne 0 ]; then
  echo "fuzz: a worker stopped on a finding; its log:" >&2
  for log in "$work"/worker-*.log; do
    grep -q -E 'ERROR|runtime error|deadly signal' "$log" && tail -60 "$log" >&2
  done
  echo "fuzz: the input is in fuzz/findings/" >&2
fi
rm -rf "$work"
exit "$status"
