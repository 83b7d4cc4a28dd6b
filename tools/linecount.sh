#!/usr/bin/env bash
# Physical line counts of the product and of its tests, and their ratio.
# The rule of thumb: tests at most half the product's lines.
set -euo pipefail
cd "$(dirname "$0")/.."
count() { # count <find-args...>: total physical lines of the files found
  find "$@" -type f -print0 2>/dev/null | xargs -0 -r cat | wc -l
}
product_dirs=()
for d in base files survey engine3d cpu CUDA rock engine1d run; do
  [ -d "$d" ] && product_dirs+=("$d")
done
p=$(( $(count "${product_dirs[@]}" \( -name '*.cpp' -o -name '*.h' -o -name '*.cu' -o -name '*.cuh' \)) \
     + $(count tools -maxdepth 1 -name '*.cpp') ))
t=$(count tests \( -name '*.cpp' -o -name '*.h' -o -name '*.py' -o -name '*.sh' \))
echo "product lines: $p"
echo "test lines:    $t"
awk -v t="$t" -v p="$p" 'BEGIN { printf "tests/product: %.3f\n", (p ? t / p : 0) }'
