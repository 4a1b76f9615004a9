#!/usr/bin/env bash
# Soak test: streams CYCLES simulated radar scans with faults (default 1,000,000, one per 50 ms cycle of virtual time)
# through the HAL in the asan preset's build, with LeakSanitizer on. Prints the resident set size at every tenth of
# the run and the outcome; fails when memory grows, the HAL stops publishing, or anything leaks at exit.
#
#   scripts/soak-test.sh [CYCLES]
#
# Builds only the soak test, in build/asan (configured with the asan preset unless .ci/run already did that).
# FSRL_SOAK_BUILD_DIR names another, already configured, build directory instead.
set -euo pipefail
cd "$(dirname "$0")/.."

cycles=${1:-${FSRL_SOAK_CYCLES:-1000000}}
if [[ ! ${cycles} =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: $0 [CYCLES]   (CYCLES: a positive number of cycles, default 1000000)" >&2
  exit 2
fi
build_dir=${FSRL_SOAK_BUILD_DIR:-build/asan}

if [[ ! -f ${build_dir}/CMakeCache.txt ]]; then
  if [[ ${build_dir} != build/asan ]]; then
    echo "soak: ${build_dir} is not a configured build directory" >&2
    exit 2
  fi
  cmake --preset asan
fi
if ! grep -q '^FSRL_SANITIZER:.*address' "${build_dir}/CMakeCache.txt"; then
  echo "soak: warning: ${build_dir} is not built with the address sanitizer; no leak check at exit" >&2
fi
cmake --build "${build_dir}" --target soak_hal

# As the asan test preset runs the suite: a leak or an error ends the run with a report and a failing status.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

start=${SECONDS}
status=0
"${build_dir}/tests/soak/soak_hal" "${cycles}" || status=$?
if [[ ${status} -eq 0 ]]; then
  echo "soak: passed: ${cycles} cycles in $((SECONDS - start)) s, memory flat, nothing leaked"
else
  echo "soak: FAILED (exit status ${status}) after $((SECONDS - start)) s" >&2
fi
exit "${status}"
