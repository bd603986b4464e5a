#!/usr/bin/env bash
# Formats the C++ sources (sdk, module, scenehost, tests, bench) with .clang-format.
#   bash scripts/format.sh           rewrites every file that differs
#   bash scripts/format.sh --check   changes nothing; lists the files that differ and fails if any
# The check is one of the tests (ctest's "format"), so an unformatted file fails CI.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
command -v clang-format >/dev/null || { echo "format: clang-format is missing; run: bash scripts/setup.sh" >&2; exit 1; }
mapfile -t files < <(find sdk module scenehost tests bench \( -name '*.h' -o -name '*.cpp' \) | sort)

if [[ ${1:-} != --check ]]; then
  clang-format -i "${files[@]}"
  exit 0
fi
differ=()
for file in "${files[@]}"; do
  clang-format --dry-run --Werror "$file" >/dev/null 2>&1 || differ+=("$file")
done
if ((${#differ[@]} > 0)); then
  printf 'format: %d of %d files differ from .clang-format (bash scripts/format.sh fixes them):\n' \
    "${#differ[@]}" "${#files[@]}"
  printf '  %s\n' "${differ[@]}"
  exit 1
fi
echo "format: ${#files[@]} files as .clang-format has them"
