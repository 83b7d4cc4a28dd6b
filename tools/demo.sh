#!/usr/bin/env bash
# Installs dependencies, builds Ondex, writes the demo job (layered model,
# three shots, a snapshot film of every shot and two pressure cubes) into
# demo-out/, runs it there and draws the results. Results land in
# demo-out/results, the pictures in demo-out/results/quicklook, the run
# record in demo-out/Ondex-0.log.
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
if [ $rc -ne 0 ]; then
  exit $rc
fi
echo
echo "demo: drawing the results (gathers, snapshot film, cubes)"
../tools/quicklook results >quicklook.txt
echo "demo: $(wc -l <quicklook.txt) pictures in $(pwd)/results/quicklook, e.g.:"
grep -E 'Gath.*shot2.png|\.gif$|3DSnap.*t=0.15' quicklook.txt || true
