#!/usr/bin/env bash
# Installs what Ondex needs to build, test and run its demo (Debian packages only).
set -euo pipefail

PKGS=(build-essential cmake libgtest-dev mpich libmpich-dev
      python3-numpy python3-segyio python3-matplotlib python3-pil clang libclang-rt-dev)

missing=()
for p in "${PKGS[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi
SUDO=""
if [ "$(id -u)" != "0" ]; then SUDO="sudo"; fi
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
