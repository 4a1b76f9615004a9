#!/usr/bin/env bash
# Installs the Debian packages the build needs, and only those that are missing.
set -euo pipefail

# libcli11-dev: the fsrl commands' option parser; zlib1g-dev: the fsrl tool reads and writes BLF logs;
# nlohmann-json3-dev: the tool and the tests read JSON with it; libzstd-dev: MCAP chunks are zstd-compressed.
# python3-canmatrix: the DBC tool that proves autogen/signal_adapters/fsrl.dbc in the tests; python3-can and
# can-utils: the tests write their recordings with them; python3-pandas: the tests read the CSV output with it.
# The MCAP test needs node and npm as well (not installed here: a machine may have its own node); it installs its
# packages itself, see tests/tools/mcap/run_mcap_check.sh.
packages=(cmake ninja-build g++ make libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev python3 python3-canmatrix
  zlib1g-dev python3-can can-utils nlohmann-json3-dev libzstd-dev python3-pandas)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "${package}" 2>/dev/null | grep -q "install ok installed"; then
    # A python3 from elsewhere on PATH serves the code generator just as well.
    if [[ "${package}" == python3 ]] && command -v python3 >/dev/null 2>&1; then
      continue
    fi
    missing+=("${package}")
  fi
done

if ((${#missing[@]} > 0)); then
  echo "bootstrap: installing ${missing[*]}" >&2
  sudo=""
  if [[ "$(id -u)" -ne 0 ]]; then
    sudo="sudo"
  fi
  ${sudo} apt-get update -qq
  DEBIAN_FRONTEND=noninteractive ${sudo} apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
