#!/usr/bin/env bash
# Exports one example scene with a release build of the plug-in and the stand-in host, then checks
# the result with the glTF validator.
set -euo pipefail

example=cube                           # examples/$example.json -> out/$example.glb

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scene=examples/$example.json
output=out/$example.glb

bash scripts/setup.sh
bash scripts/build.sh build -DCMAKE_BUILD_TYPE=Release

if [[ ! -f $scene ]]; then
  echo "example: there is no $scene" >&2
  exit 1
fi
mkdir -p out
echo "example: build/qvhost save $scene $output"
rm -f "$output"
build/qvhost save "$scene" "$output"
if [[ ! -f $output ]]; then
  echo "example: qvhost reported success but wrote no $output" >&2
  exit 1
fi
echo "example: wrote $output ($(stat -c %s "$output") bytes)"
node tools/validate/validate.js --allow tools/validate/allow-list.json "$output"
echo "example: $output passes the validator"
