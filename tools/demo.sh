#!/usr/bin/env bash
# Installs dependencies, builds Ondex, writes the demo job (layered model,
# three shots) into demo-out/ and runs it there. Results land in
# demo-out/results, the run record in demo-out/Ondex-0.log.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
bash tools/build.sh
rm -rf demo-out
./build/ondex_mkdemo demo-out
cd demo-out
set +e
../build/ondex
rc=$?
set -e
echo
echo "demo: ondex ended with status $rc; job, model and results are in $(pwd)"
ls -l . results 2>/dev/null || true
exit $rc
