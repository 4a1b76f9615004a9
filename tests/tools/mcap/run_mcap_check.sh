#!/usr/bin/env bash
# Test set-up and run of the MCAP check: installs the reference reader's packages (package-lock.json, from the npm
# registry) into node_modules here when they are missing, simulates a radar log with `fsrl simulate`, replays it
# with `fsrl replay` writing JSON lines and MCAP in the same run (zstd chunks, and again with uncompressed chunks),
# and reads both MCAP files with check_mcap.js against the JSON lines.
#   run_mcap_check.sh FSRL_TOOL WORK_DIR
# Exit status 77 (skipped) only when node or npm is not installed.
set -euo pipefail

fsrl=$1
work=$2
here=$(cd "$(dirname "$0")" && pwd)

if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
  echo "SKIPPED: node and npm are needed to read the MCAP output with the reference reader (@mcap/core)" >&2
  exit 77
fi

cd "${here}"
if ! node -e 'for (const m of ["@mcap/core", "@foxglove/schemas/jsonschema", "fzstd", "ajv"]) require(m)' 2>/dev/null; then
  echo "installing the reader's packages with npm ci" >&2
  npm ci --no-audit --no-fund --loglevel=error
fi

rm -rf "${work}"
mkdir -p "${work}"
run() {
  "$@" >/dev/null 2>"${work}/command.err" || { echo "failed: $*" >&2; cat "${work}/command.err" >&2; exit 1; }
}
# A CRC error, a dropped group and a silence long enough for lost communication: statuses with faults and scans
# that stay incomplete. 400 scans make about 2 MB of uncompressed chunks: more than one 1 MiB chunk, so that the
# chunk and message indexes are exercised.
run "${fsrl}" simulate --scans 400 --out "${work}/radar.log" --seed 5 --fault crc:3:RSDS4Detn045To049 \
  --fault drop:6:RSDS4Detn100To104 --fault silence:10:400
run "${fsrl}" replay "${work}/radar.log" --out "${work}/replay.jsonl" --mcap "${work}/replay.mcap"
run "${fsrl}" replay "${work}/radar.log" --out "${work}/replay_none.jsonl" --mcap "${work}/replay_none.mcap" \
  --mcap-compression none
# Writing MCAP beside the JSON lines leaves them as they were.
cmp "${work}/replay.jsonl" "${work}/replay_none.jsonl"
node "${here}/check_mcap.js" "${work}/replay.mcap" "${work}/replay.jsonl" zstd 1
node "${here}/check_mcap.js" "${work}/replay_none.mcap" "${work}/replay.jsonl" "" 2
