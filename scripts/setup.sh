#!/usr/bin/env bash
# Installs what the build and the tests need from Debian's packages, only what is missing.
# Idempotent: a machine that has everything installs nothing and needs no network.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev binutils clang-format
  libboost-dev libgtest-dev libgmock-dev libbenchmark-dev libplist-dev
  libutfcpp-dev nlohmann-json3-dev libcli11-dev
  python3 python3-vobject python3-cryptography python3-pil python3-yaml pkgconf
  time
  libimobiledevice-utils libimobiledevice-dev libusbmuxd-dev libssl-dev
  libsqlite3-dev zlib1g-dev python3-pil
  libutf8proc-dev libcmark-gfm-dev libcmark-gfm-extensions-dev chromium-headless-shell
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then
    echo "setup: run as root (or install these packages yourself): ${missing[*]}" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
