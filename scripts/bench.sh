#!/usr/bin/env bash
# Builds the benchmarks in build-release/ (Release) and runs them: the scene-file load and the
# save of the generated scan-like model at 100k, 300k and 1M triangles (full:0 one UV set, as a
# scan; full:1 with a second UV set and colours), and the sampling of 100 keyed items over 300
# steps. Each prints the median of REPETITIONS runs (default 5) with its rate, the file's size
# and the memory the step added (peak resident less the resident before it).
#   bash scripts/bench.sh                                   everything
#   bash scripts/bench.sh --benchmark_filter=BM_Save        Google Benchmark options pass through
#   bash scripts/bench.sh --sizes=1000000                   other sizes
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# Only what is measured is built: the tests of a Release build would take minutes.
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DGLTFIO_BENCH=ON >/dev/null
cmake --build build-release -j "${JOBS:-2}" --target gltfio_bench make_model qvhost gltfio_module >/dev/null
echo "bench: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs)"
exec build-release/bench/gltfio_bench --dir="$root/build-release/bench/models" \
  --benchmark_repetitions="${REPETITIONS:-5}" --benchmark_report_aggregates_only=true \
  --benchmark_counters_tabular=true "$@"
