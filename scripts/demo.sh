#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the project and runs `fsrl demo`: a simulated radar with a handful of
# faults, replayed through the real HAL, summarised, and drawn into demo/bev.svg.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset default >/dev/null
cmake --build --preset default --target fsrl
build/default/tools/fsrl demo "$@"
