#!/usr/bin/env bash
# Builds every target with ThreadSanitizer (the tsan preset) and runs the whole test suite under it, the stress
# tests of the notification path included. Installs nothing: scripts/bootstrap.sh has set up the machine, and the
# sanitizer's runtime comes with g++.
set -euo pipefail
cd "$(dirname "$0")/.."

start=${SECONDS}
cmake --preset tsan
cmake --build --preset tsan

# GCC 12's ThreadSanitizer runtime cannot lay out its shadow memory when the kernel randomises more than 28 bits of
# mmap addresses (newer kernels may use 32); the tests then run with address randomisation off, for them alone.
run=()
if [[ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)" -gt 28 ]]; then
  run=(setarch "$(uname -m)" --addr-no-randomize)
fi
"${run[@]}" ctest --preset tsan

echo "tsan-test: configured, built and tested in $((SECONDS - start)) s"
