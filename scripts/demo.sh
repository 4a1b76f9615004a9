#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the project and runs the example application.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh
cmake --preset default >/dev/null
cmake --build --preset default --target fsrl_example
build/default/examples/fsrl_example
