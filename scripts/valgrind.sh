#!/usr/bin/env bash
# The whole-module tests under valgrind's memcheck. valgrind does not decode
# AVX-512, so the module's vector level is capped at AVX2; every error, and
# every leak of the module's, fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
export EFFECTS_SIMD=avx2
run() {
  echo "valgrind: $*"
  valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite,indirect \
    --show-leak-kinds=definite,indirect --track-origins=yes "$@"
}
run build/tests/module_test
run build/fuzz/fuzz_replay fuzz/corpus fuzz/regressions >/dev/null
echo "valgrind: clean"
