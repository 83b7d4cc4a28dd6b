#!/usr/bin/env bash
# Fuzzes the seismic file reader (open, catalogue, read every trace) with
# libFuzzer under AddressSanitizer. Usage: tools/fuzz.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
SECS=${1:-60}
if ! command -v clang++ >/dev/null || [ ! -f tests/fuzz/fuzz_open.cpp ]; then
  echo "fuzz: clang++ or the fuzz target is missing; skipped"
  exit 0
fi
cmake -S . -B build-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DONDEX_FUZZ=ON -DONDEX_TESTS=OFF -DONDEX_BENCH=OFF >/dev/null
cmake --build build-fuzz --target fuzz_open -j"$(nproc)" >/dev/null
mkdir -p build-fuzz/corpus build-fuzz/work
# Seeds: one tiny valid file of each format, each behind the selector byte
# that fuzz_open reads first (0 SEG-Y, 1 SDS, 2 VMG).
if [ -d tests/fuzz/seeds ]; then cp -n tests/fuzz/seeds/* build-fuzz/corpus/ 2>/dev/null || true; fi
cd build-fuzz/work
rm -f Ondex-*.log  # the file object logs every refusal; keep one run's worth only
../fuzz_open -max_total_time="$SECS" -max_len=65536 -rss_limit_mb=2048 -print_final_stats=1 ../corpus 2>&1 | tail -n 12
echo "fuzz: ${SECS} s without a crash"
