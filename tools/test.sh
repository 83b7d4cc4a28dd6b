#!/usr/bin/env bash
# Installs dependencies, builds Ondex with its tests, and runs the whole suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
bash tools/build.sh
if [ -x tools/fuzz.sh ]; then
  # A short fuzzing run of the file reader; a long one is `tools/fuzz.sh 3600`.
  # A crash found here is printed with its input but does not hide the test
  # results below; reproduce it with build-fuzz/fuzz_open <crash-file>.
  bash tools/fuzz.sh 30 || echo "fuzz: the fuzzer FAILED (see above)"
fi
ctest --test-dir build --output-on-failure -j"$(nproc)" --timeout 600
