#!/usr/bin/env bash
# Builds the whole release preset and runs the benchmark suite. Arguments go to the benchmark binary, e.g.
#   scripts/bench.sh --benchmark_filter=ProcessFsrlInput --benchmark_repetitions=5
# Without arguments every benchmark runs once, briefly (CI proves they build and run; bench/RESULTS.md has the
# measured figures and how to reproduce them).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset release >/dev/null
# Every target, not only the benchmarks: the optimiser's warnings (with -Werror) appear only at -O3, and this is
# the one CI stage that builds the release configuration users build.
cmake --build --preset release
if (($# == 0)); then
  set -- --benchmark_min_time=0.05
fi
build/release/bench/fsrl_benchmarks "$@"
