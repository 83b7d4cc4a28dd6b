#!/usr/bin/env bash
# Configures and builds Ondex into build/.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS=${JOBS:-$(nproc)}
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
cmake --build build -j"$JOBS"
