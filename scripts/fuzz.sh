#!/usr/bin/env bash
# Runs the fuzz target for $1 seconds (default 600) on every core, from the
# corpus kept in fuzz/corpus, and merges what it learnt back into it. An
# input that fails lands in fuzz/findings/; once fixed, it moves to
# fuzz/regressions/, which every `make test` replays.
# Usage: scripts/fuzz.sh [SECONDS] [JOBS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
jobs=${2:-$(nproc 2>/dev/null || echo 1)}
fuzzer=build-fuzz/fuzz/effects_fuzz
mkdir -p fuzz/findings
export FXHOST_MODULE="$PWD/build-fuzz/libeffects.so"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

fresh=$(mktemp -d)
trap 'rm -rf "$fresh"' EXIT
status=0
"$fuzzer" -fork="$jobs" -max_total_time="$seconds" -print_final_stats=1 \
  -artifact_prefix=fuzz/findings/ "$fresh" fuzz/corpus fuzz/regressions || status=$?

# Keep the corpus small: only the inputs that add coverage stay.
merged=$(mktemp -d)
"$fuzzer" -merge=1 "$merged" fuzz/corpus "$fresh" >/dev/null 2>&1
find fuzz/corpus -type f ! -name .keep -delete
cp "$merged"/* fuzz/corpus/ 2>/dev/null || true
rm -rf "$merged"
echo "fuzz: corpus now $(find fuzz/corpus -type f ! -name .keep | wc -l) inputs"
if [ "$status" -ne 0 ]; then
  echo "fuzz: the fuzzer stopped on a finding; see fuzz/findings/" >&2
fi
exit "$status"
