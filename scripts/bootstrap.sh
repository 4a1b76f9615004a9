#!/usr/bin/env bash
# Installs the Debian packages the build needs, and only those that are missing.
set -euo pipefail

# libcli11-dev: the fsrl commands' option parser; zlib1g-dev: the fsrl tool reads BLF logs.
# python3-canmatrix: the DBC tool that proves autogen/signal_adapters/fsrl.dbc in the tests; python3-can and
# can-utils: the tests write their recordings with them.
packages=(cmake ninja-build g++ make libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev python3 python3-canmatrix
  zlib1g-dev python3-can can-utils)

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
