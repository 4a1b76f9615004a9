#!/usr/bin/env bash
# Builds the libFuzzer targets (preset 'fuzz': clang, address and undefined-behaviour sanitizers) and runs each
# for SECONDS (default 60) on a scratch copy of its checked-in seed corpus, together with its regression inputs.
# The checked-in corpus never grows. Fails when any target finds a crash, a leak or a hang; the input that did it
# stays under build/fuzz/artifacts/<target>/ and its path is printed.
#
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]   (default: every target)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

seconds=${1:-60}
if ! [[ "${seconds}" =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh [SECONDS] [TARGET...]" >&2
  exit 2
fi
shift || true
all_targets=(fuzz_candump_parser fuzz_typed_read fuzz_profile5_check fuzz_replay fuzz_candump_long_reader
  fuzz_asc_reader fuzz_blf_reader)
targets=("$@")
if ((${#targets[@]} == 0)); then
  targets=("${all_targets[@]}")
fi

# Longest input per target: past the log reader's 4096-byte line limit for the parser, a few payloads of the
# largest group for the reads, two full scans of every group for the replay; past the line limit for the text
# readers and room for a few containers for the BLF reader.
declare -A max_len=(
  [fuzz_candump_parser]=9000
  [fuzz_typed_read]=256
  [fuzz_profile5_check]=2048
  [fuzz_replay]=16384
  [fuzz_candump_long_reader]=9000
  [fuzz_asc_reader]=9000
  [fuzz_blf_reader]=16384
)

# --- what the build needs, installed only when missing -------------------------------------------------------
sudo=""
if [[ "$(id -u)" -ne 0 ]]; then
  sudo="sudo"
fi
missing=()
for package in cmake ninja-build clang; do
  if ! dpkg-query -W -f='${Status}' "${package}" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("${package}")
  fi
done
# libFuzzer itself: on Debian 12 it comes with the clang runtime package, not with clang. Probe by linking a
# trivial target, which also catches a clang whose runtime version does not match.
probe_dir=$(mktemp -d "${TMPDIR:-/tmp}/fsrl_fuzz_probe.XXXXXX")
links_fuzzer() {
  command -v clang++ >/dev/null 2>&1 &&
    printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' |
    clang++ -fsanitize=fuzzer,address,undefined -x c++ - -o "${probe_dir}/probe" >/dev/null 2>&1
}
if ! links_fuzzer; then
  missing+=(libclang-rt-dev)
fi
if ((${#missing[@]} > 0)); then
  echo "fuzz: installing ${missing[*]}" >&2
  ${sudo} apt-get update -qq
  DEBIAN_FRONTEND=noninteractive ${sudo} apt-get install -y -qq --no-install-recommends "${missing[@]}"
  if ! links_fuzzer; then
    rm -rf "${probe_dir}"
    echo "fuzz: clang++ cannot link a libFuzzer target (-fsanitize=fuzzer); is the clang runtime installed?" >&2
    exit 1
  fi
fi
rm -rf "${probe_dir}"

# --- build -----------------------------------------------------------------------------------------------------
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

# --- run -------------------------------------------------------------------------------------------------------
work=$(mktemp -d "${TMPDIR:-/tmp}/fsrl_fuzz.XXXXXX")
trap 'rm -rf "${work}"' EXIT

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

failed=()
summary=()
for target in "${targets[@]}"; do
  binary="${root}/build/fuzz/fuzz/${target}"
  if [[ ! -x "${binary}" || ! -d "${root}/fuzz/corpus/${target}" ]]; then
    echo "fuzz: unknown target '${target}' (known: ${all_targets[*]})" >&2
    exit 2
  fi
  corpus="${work}/${target}"
  mkdir -p "${corpus}"
  cp -R "${root}/fuzz/corpus/${target}/." "${corpus}/"
  regressions=()
  if [[ -d "${root}/fuzz/regressions/${target}" ]]; then
    regressions=("${root}/fuzz/regressions/${target}")
  fi
  artifacts="${root}/build/fuzz/artifacts/${target}/"
  mkdir -p "${artifacts}"
  log="${work}/${target}.log"

  echo "=== ${target}: ${seconds} s"
  status=0
  # New inputs go to the first directory only: the scratch copy. The regression inputs are read, never written.
  "${binary}" -max_total_time="${seconds}" -max_len="${max_len[${target}]:-4096}" -timeout=30 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="${artifacts}" "${corpus}" "${regressions[@]}" >"${log}" 2>&1 || status=$?
  grep -E '^#[0-9]+ +(INITED|DONE)' "${log}" || true
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "${log}")
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "${log}")
  if ((status != 0)); then
    failed+=("${target}")
    summary+=("${target}: FAILED (exit status ${status})")
    # The sanitizer's report and where libFuzzer put the input.
    grep -E 'ERROR:|runtime error:|SUMMARY:|fuzz invariant broken|Test unit written to|ALARM|timeout' "${log}" || tail -n 40 "${log}"
    echo "fuzz: ${target} failed; full log follows" >&2
    tail -n 80 "${log}" >&2
  else
    summary+=("${target}: ok, ${runs:-?} runs, ${rate:-?} exec/s")
  fi
done

echo
echo "=== fuzz summary (${seconds} s per target)"
printf '%s\n' "${summary[@]}"
if ((${#failed[@]} > 0)); then
  echo "fuzz: crashes in ${failed[*]}; inputs under build/fuzz/artifacts/ (add them to fuzz/regressions/<target>/)" >&2
  exit 1
fi
