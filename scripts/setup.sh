#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only when something is missing.
# Without root (and without sudo) it prints the exact command to run and fails, so that
# `make` never builds against a half-installed system.
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libssl-dev nlohmann-json3-dev libfmt-dev
          libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev qt6-base-dev python3
          trash-cli
          # the desktop application: fonts for Korean, Japanese and both Chinese scripts, and
          # a virtual display for its screenshots
          fonts-noto-cjk xvfb xauth
          # validating the desktop entry and the AppStream metadata
          desktop-file-utils appstream)
if [ "${VELMORA_BENCH_TOOLS:-0}" = 1 ]; then
  packages+=(jdupes trash-cli hyperfine time)
fi
if [ "${VELMORA_FUZZ_TOOLS:-0}" = 1 ]; then
  packages+=(clang libclang-rt-14-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  sudo=(sudo -n)
else
  echo "Velmora needs these Debian packages: ${missing[*]}" >&2
  echo "Install them with:  sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
