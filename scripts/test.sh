#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the default (debug) preset and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset default
cmake --build --preset default
ctest --preset default
