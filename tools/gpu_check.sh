#!/bin/bash
# On a machine with a CUDA device: build with the GPU engine, run the GPU
# tests (CPU against GPU, bit for bit) and the GPU benchmark, in one call.
#   tools/gpu_check.sh [build-dir]   (default build-gpu)
set -u
cd "$(dirname "$0")/.."
B=${1:-build-gpu}
export PATH=/usr/local/cuda/bin:$PATH
nvidia-smi -L || echo "gpu_check: nvidia-smi not available"
J=$(nproc 2>/dev/null || echo 2)
cmake -S . -B "$B" -DCMAKE_BUILD_TYPE=Release -DONDEX_CUDA=ON > "$B.configure.log" 2>&1 ||
    { tail -30 "$B.configure.log"; exit 1; }
grep "Ondex GPU engine" "$B.configure.log"
cmake --build "$B" -j"$J" --target test_cuda test_run bench_gpu ondex 2>&1 | grep -E "error|warning" 
rc=0
"$B/tests/test_cuda" || rc=1
"$B/tests/test_run" --gtest_filter='Pending.*' || rc=1
"$B/bench/bench_gpu" 2>&1 | tail -20 || rc=1
echo "gpu_check: result $rc"
exit $rc
