#!/bin/sh
# Instructions per operation of every benchmark, counted by callgrind: reproducible where timings are not.
#
# Usage: bench/instruction_counts.sh [BENCHMARK_BINARY] [OUTPUT_DIR]
#   BENCHMARK_BINARY  default build/h19-rel/bench/fsrl_benchmarks (a Release build)
#   OUTPUT_DIR        where the callgrind files go; default a new temporary directory
#
# Each benchmark runs alone under callgrind for a short time; the script prints the calls to the function that does
# the benchmark's operation, its inclusive instruction count and the count per call. For the tool throughput
# benchmarks the count per call is that of one whole run over the log (104,000 frames, 2,000 scans).
set -eu

BIN=${1:-build/h19-rel/bench/fsrl_benchmarks}
OUT=${2:-$(mktemp -d /tmp/fsrl_icount.XXXXXX)}
HERE=$(dirname "$0")
# Long enough for thousands of calls of the fast operations; the count per call then does not depend on the first
# calls, which also resolve symbols (made eager with LD_BIND_NOW, so that no call pays for lazy binding).
MIN_TIME=${FSRL_ICOUNT_MIN_TIME:-0.5}
export LD_BIND_NOW=1
mkdir -p "$OUT"

# run NAME FILTER PATTERN: the benchmarks matching FILTER under callgrind, then Ir per call of PATTERN.
run() {
  name=$1
  filter=$2
  pattern=$3
  valgrind --tool=callgrind --callgrind-out-file="$OUT/$name.out" "$BIN" --benchmark_filter="$filter" \
    --benchmark_min_time="$MIN_TIME" >"$OUT/$name.log" 2>&1
  printf '%-40s ' "$name"
  python3 "$HERE/callgrind_per_call.py" "$OUT/$name.out" "$pattern" | sed 's/^[^ ]* *//'
}

run FullScan_cycle0 'BM_ProcessFsrlInput_FullScan/cycle_ms:0/' 'FrontSideRadarLeftHal::ProcessFsrlInput\('
run FullScan_cycle50 'BM_ProcessFsrlInput_FullScan/cycle_ms:50/' 'FrontSideRadarLeftHal::ProcessFsrlInput\('
run Floor_InputCycle '^BM_Floor_InputCycle/' 'FloorCycle'
run NoNewData '^BM_ProcessFsrlInput_NoNewData' 'FrontSideRadarLeftHal::ProcessFsrlInput\('
run TypedRead_DetectionGroup '^BM_TypedRead_DetectionGroup/' 'ReadGroup<initialfrontsideradarlefthal::types::RSDS4Detn'
run TypedRead_Status1 '^BM_TypedRead_Status1/' 'ReadGroup<initialfrontsideradarlefthal::types::RSDS4SigSts1>'
run E2eP05_Check48 '^BM_E2eP05_Check48$' 'E2eProtectionProfile5::Check\('
run Decode_DetectionGroup '^BM_Decode_DetectionGroup$' '^zol::e2e::CheckSignalGroup\('
run ScanManager_TranslateAndPublish '^BM_ScanManager_TranslateAndPublish$' 'TranslateAndPublishScan\('
run GetFsrlDetections '^BM_GetFsrlDetections$' 'FrontSideRadarLeftHal::GetFsrlDetections\('
run CandumpParse '^BM_CandumpParse$' '^fsrl::ParseCandumpLine\('
run FsrlDecode_Throughput '^BM_FsrlDecode_Throughput$' '^fsrl::RunDecode\('
if "$BIN" --benchmark_list_tests | grep -q BM_FsrlReplay_Throughput; then
  run FsrlReplay_Throughput '^BM_FsrlReplay_Throughput$' '^fsrl::RunReplay\('
fi
echo "callgrind files in $OUT"
