#!/bin/bash
# Fails when a row loop of the CPU sweeps lost its vectorisation: every AVX2
# clone of a run function (the straight loops over one region kind) must use
# 256-bit registers. A loop that GCC leaves scalar still gives the same bits,
# so only its speed shows it: the stress runs in the PML slabs once ran
# scalar unnoticed, at half the speed of the rest.
# Usage: check-vector-runs.sh <binary> [min ymm instructions per clone, 20]
set -u
bin=$1
min=${2:-20}
command -v objdump > /dev/null || { echo "objdump missing: not checked"; exit 0; }
objdump -d --no-show-raw-insn "$bin" | awk -v min="$min" '
    /^[0-9a-f]+ <.*>:$/ {
        fn = ""
        if ($2 ~ /Run.*\.avx2>:$/) { fn = substr($2, 2, length($2) - 3); n++; k[fn] = 0 }
        next
    }
    fn != "" && /ymm/ { k[fn]++ }
    END {
        bad = 0
        for (f in k) if (k[f] < min) { print "not vectorised (" k[f] " ymm instructions): " f; bad++ }
        print n + 0 " AVX2 run loops, " bad " not vectorised"
        exit (n == 0 || bad > 0)
    }' | c++filt
exit "${PIPESTATUS[1]}"
