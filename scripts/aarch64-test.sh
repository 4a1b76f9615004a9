#!/usr/bin/env bash
# Cross-compiles the library and its tests for AArch64 and runs every test under
# qemu-aarch64 (the aarch64 preset). Installs the Debian packages it is missing,
# so it works on a fresh Debian machine (as root, or with sudo).
set -euo pipefail
cd "$(dirname "$0")/.."

# The build tools, the cross compiler (with the target's libc and libstdc++), the
# user-mode emulator, and GoogleTest's sources to build for the target.
packages=(cmake ninja-build g++-aarch64-linux-gnu qemu-user googletest)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "${package}" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("${package}")
  fi
done

if ((${#missing[@]} > 0)); then
  echo "aarch64-test: installing ${missing[*]}" >&2
  sudo=""
  if [[ "$(id -u)" -ne 0 ]]; then
    sudo="sudo"
  fi
  ${sudo} apt-get update -qq
  DEBIAN_FRONTEND=noninteractive ${sudo} apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake --preset aarch64
cmake --build --preset aarch64
ctest --preset aarch64
