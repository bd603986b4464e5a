#!/usr/bin/env bash
# Exports every scene in examples/ twice with qvhost, as .glb (with the JSON-lines log) and as
# .gltf (with its .bin and images beside it), then checks every file with the glTF validator and
# tools/validate/allow-list.json. A file fails when qvhost exits non-zero while writing it or when
# the validator finds an error or warning that the allow-list does not accept.
#
# Usage: bash tests/e2e/validate_examples.sh [QVHOST]
#   QVHOST  path to qvhost; defaults to $QVHOST, then build/qvhost. qvhost finds the plug-in itself.
#   EXAMPLES_DIR (environment) replaces examples/, for trying the script on other scenes.
#
# The last line is always "validate: N passed, M failed" (counts of files).
# Exit status: 0 all passed, 1 something failed, 2 cannot run (no qvhost, validator not installed),
# 77 there is no example scene yet (CTest reports the test as skipped, not passed).
# Outputs go to a fresh temporary folder that is removed on success and kept, with its path
# printed, when something failed. KEEP_OUTPUT=1 keeps it in any case.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
validate_dir=$root/tools/validate
allow_list=$validate_dir/allow-list.json
examples_dir=${EXAMPLES_DIR:-$root/examples}

qvhost=${1:-${QVHOST:-}}
if [[ -z $qvhost && -x $root/build/qvhost ]]; then
  qvhost=$root/build/qvhost
fi
if [[ -z $qvhost || ! -x $qvhost ]]; then
  echo "validate_examples: no qvhost (give its path as the first argument or in QVHOST)" >&2
  exit 2
fi
qvhost=$(cd "$(dirname "$qvhost")" && pwd)/$(basename "$qvhost")
if ! command -v node >/dev/null; then
  echo "validate_examples: node is not installed; run: bash scripts/setup.sh" >&2
  exit 2
fi
if [[ ! -d $validate_dir/node_modules/gltf-validator ]]; then
  echo "validate_examples: the validator is not installed; run: bash scripts/setup.sh" >&2
  exit 2
fi

shopt -s nullglob
scenes=("$examples_dir"/*.json)
shopt -u nullglob
if ((${#scenes[@]} == 0)); then
  echo "no example scenes in $examples_dir"
  echo "validate: 0 passed, 0 failed"
  exit 77
fi

out=$(mktemp -d "${TMPDIR:-/tmp}/gltfio-examples.XXXXXX")
passed=0
failed=0
finish() {
  if ((failed > 0)) || [[ ${KEEP_OUTPUT:-0} == 1 ]]; then
    echo "outputs kept in $out"
  else
    rm -rf "$out"
  fi
}
trap finish EXIT

# Indents a command's captured output under the line that names the file.
indent() { sed 's/^/    /'; }

for scene in "${scenes[@]}"; do
  name=$(basename "$scene" .json)
  mkdir -p "$out/$name"
  for ext in glb gltf; do
    rel=$name/$name.$ext
    args=(save "$scene" "$out/$rel")
    if [[ $ext == glb ]]; then
      args+=(--log "$out/$rel.log.jsonl")
    fi

    status=0
    "$qvhost" "${args[@]}" </dev/null >"$out/$rel.stdout" 2>"$out/$rel.stderr" || status=$?
    if ((status != 0)); then
      echo "FAIL $rel: qvhost save $scene exited with status $status"
      tail -n 40 "$out/$rel.stderr" | indent
      failed=$((failed + 1))
      continue
    fi

    # Run from the output folder so that findings name the file as name/name.ext.
    status=0
    report=$(cd "$out" && node "$validate_dir/validate.js" --allow "$allow_list" "$rel" 2>&1) || status=$?
    # A failing file shows every finding; a passing one only the infos and hints that the
    # allow-list does not explain, which are worth a look but fail nothing.
    if ((status == 0)); then
      echo "PASS $rel"
      passed=$((passed + 1))
      report=$(printf '%s\n' "$report" | grep -v ' (allowed: .*)$' || true)
    else
      echo "FAIL $rel"
      failed=$((failed + 1))
    fi
    if [[ -n $report ]]; then
      printf '%s\n' "$report" | indent
    fi
  done
done

echo "validate: $passed passed, $failed failed"
((failed == 0))
