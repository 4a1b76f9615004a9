#!/usr/bin/env bash
# Test set-up and run of the MCAP check: installs the reference reader's packages (package-lock.json, from the npm
# registry) into node_modules here when they are missing, writes a simulated run in every format with the fixture
# program, and reads both MCAP files (zstd and uncompressed chunks) with check_mcap.js.
#   run_mcap_check.sh FIXTURE_PROGRAM WORK_DIR
# Exit status 77 (skipped) only when node or npm is not installed.
set -euo pipefail

fixture=$1
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
"${fixture}" "${work}" 60 >/dev/null 2>"${work}/fixture.err" || { cat "${work}/fixture.err" >&2; exit 1; }
node "${here}/check_mcap.js" "${work}/replay.mcap" "${work}/replay.jsonl" zstd
node "${here}/check_mcap.js" "${work}/replay_none.mcap" "${work}/replay.jsonl" ""
