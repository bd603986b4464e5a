#!/usr/bin/env bash
# Runs every test: the set-up, then the whole CTest suite (unit tests, the end-to-end export of
# every example through the glTF validator, and the validator wrapper's own tests) twice, once in
# build/ with warnings as errors and once in build-asan/ under AddressSanitizer and
# UndefinedBehaviorSanitizer; then a minute of fuzzing the scene reader and the plug-in
# (scripts/fuzz.sh, FUZZ_SECONDS, 0 to skip).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
start=$SECONDS

step() { printf '\n== %s\n' "$*"; }
elapsed() { printf '%dm%02ds' $(((SECONDS - start) / 60)) $(((SECONDS - start) % 60)); }
trap 'echo; echo "test: stopped after $(elapsed)"' ERR

step "set-up"
bash scripts/setup.sh

step "build/ (warnings as errors)"
bash scripts/build.sh build -DGLTFIO_WERROR=ON -DGLTFIO_BENCH=ON
step "tests in build/"
ctest --test-dir build --output-on-failure -j2

step "build-asan/ (address and undefined-behaviour sanitizers)"
# -O1 with line tables only: half the compile time of -O2 -g under the sanitizers, and the
# reports still name file and line.
bash scripts/build.sh build-asan -DGLTFIO_SANITIZE=ON -DGLTFIO_WERROR=ON \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG"
step "tests in build-asan/"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j2

if ((${FUZZ_SECONDS:-60} > 0)); then
  step "fuzzing in build-fuzz/ (clang, libFuzzer, sanitizers) for ${FUZZ_SECONDS:-60}s"
  bash scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
fi

echo
echo "test: all passed in $(elapsed)"
