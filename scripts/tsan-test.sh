#!/usr/bin/env bash
# Builds every target with ThreadSanitizer (the tsan preset) and runs the whole test suite under it, the stress
# tests included: the notification path (stress_notification) and two execution contexts cycling at once, each
# with its own transactions (stress_transaction_contexts). Installs nothing: scripts/bootstrap.sh has set up the
# machine, and the sanitizer's runtime comes with g++.
set -euo pipefail
cd "$(dirname "$0")/.."

start=${SECONDS}
# Through ccache where the machine has it: a sanitised build of everything is long, and most objects rarely change.
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake --preset tsan "${launcher[@]}"
cmake --build --preset tsan

# GCC 12's ThreadSanitizer runtime cannot lay out its shadow memory when the kernel randomises more than 28 bits of
# mmap addresses (newer kernels may use 32); the tests then run with address randomisation off, for them alone.
run=()
if [[ "$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)" -gt 28 ]]; then
  run=(setarch "$(uname -m)" --addr-no-randomize)
fi
"${run[@]}" ctest --preset tsan

echo "tsan-test: configured, built and tested in $((SECONDS - start)) s"
