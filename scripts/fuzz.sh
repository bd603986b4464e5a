#!/usr/bin/env bash
# Builds the scene fuzz target with clang in build-fuzz/ (libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer; only the target and the two libraries it links) and runs it.
#   bash scripts/fuzz.sh [SECONDS]      default 60
# Seeds: fuzz/seeds, examples/ and fuzz/regressions; the dictionary is fuzz/scene.dict. Inputs
# the fuzzer finds go to build-fuzz/corpus (kept between runs, never in the repo); a crasher,
# leak or timeout is written to build-fuzz/artifacts/ and its path printed. Copy it to
# fuzz/regressions/ to make it a test. Exit status: 0 clean, 1 a finding or a build failure.
# JOBS sets the parallel build jobs (default 2).
set -euo pipefail

seconds=${1:-60}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
dir=$root/build-fuzz
command -v clang++ >/dev/null || { echo "fuzz: clang++ is missing; run: bash scripts/setup.sh" >&2; exit 1; }

mkdir -p "$dir/corpus" "$dir/artifacts"
echo "fuzz: configuring build-fuzz"
# -O1 -g with assertions on: fast enough to fuzz, and an assert is one of the faults we look for.
if ! CXX=clang++ cmake -S "$root" -B "$dir" -DGLTFIO_FUZZ=ON -DGLTFIO_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g" \
    >"$dir/configure.log" 2>&1; then
  cat "$dir/configure.log" >&2
  exit 1
fi
echo "fuzz: building scene_fuzzer"
cmake --build "$dir" --target scene_fuzzer -j "${JOBS:-2}"

echo "fuzz: running for ${seconds}s"
log=$dir/fuzz.log
status=0
(cd "$dir" && ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ./scene_fuzzer -max_total_time="$seconds" -dict="$root/fuzz/scene.dict" -max_len=65536 \
    -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$dir/artifacts/" \
    corpus "$root/fuzz/seeds" "$root/examples" "$root/fuzz/regressions") >"$log" 2>&1 || status=$?

grep -E '^(INFO: Seed|#[0-9]+ +(INITED|DONE))' "$log" | tail -n 3 || true
runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
echo "fuzz: ${runs:-?} executions in ${seconds}s, corpus build-fuzz/corpus ($(ls "$dir/corpus" | wc -l) inputs)"
if ((status != 0)); then
  # libFuzzer's report: the sanitizer's stack and "Test unit written to <path>".
  grep -E -A 60 '^==[0-9]+==ERROR|runtime error|ERROR: libFuzzer' "$log" | head -n 80 >&2 || true
  grep -E 'Test unit written to|artifact_prefix' "$log" >&2 || true
  echo "fuzz: FAILED with status $status (full log: $log)" >&2
  exit 1
fi
echo "fuzz: no crash, leak or timeout"
