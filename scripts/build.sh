#!/usr/bin/env bash
# Configures and builds one build folder; every argument after the folder goes to CMake.
#   bash scripts/build.sh build -DCMAKE_BUILD_TYPE=Release
#   bash scripts/build.sh build-asan -DGLTFIO_SANITIZE=ON -DGLTFIO_WERROR=ON
# JOBS sets the parallel build jobs (default 2, the size of the CI machine).
set -euo pipefail

if (($# < 1)); then
  echo "usage: bash scripts/build.sh BUILD_DIR [CMAKE_OPTION]..." >&2
  exit 2
fi
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
dir=$1
shift
[[ $dir == /* ]] || dir=$root/$dir

# CMake's configure chatter goes to a log in the build folder and is shown only when it fails.
mkdir -p "$dir"
echo "build: configuring ${dir#"$root"/} $*"
if ! cmake -S "$root" -B "$dir" "$@" >"$dir/configure.log" 2>&1; then
  cat "$dir/configure.log" >&2
  exit 1
fi
echo "build: building ${dir#"$root"/}"
cmake --build "$dir" -j "${JOBS:-2}"
