#!/usr/bin/env bash
# Builds the release preset and runs the benchmark suite. Arguments go to the benchmark binary, e.g.
#   scripts/bench.sh --benchmark_filter=ProcessFsrlInput --benchmark_repetitions=5
# Without arguments every benchmark runs once, briefly (CI proves they build and run; bench/RESULTS.md has the
# measured figures and how to reproduce them).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset release >/dev/null
cmake --build --preset release --target fsrl_benchmarks
if (($# == 0)); then
  set -- --benchmark_min_time=0.05
fi
build/release/bench/fsrl_benchmarks "$@"
