#!/usr/bin/env bash
# Builds the plug-in and the stand-in host (release build in build/), converts a real model from
# Debian's assimp test models to .glb, imports it into a scene file and saves that, exports one
# example scene, and checks every file with the glTF validator.
set -euo pipefail

model=/usr/share/assimp/models/OBJ/spider.obj # a textured model of several materials
example=cube                                  # examples/$example.json -> out/$example.glb

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

bash scripts/setup.sh
bash scripts/build.sh build -DCMAKE_BUILD_TYPE=Release

run() {
  echo "example: $*"
  "$@"
}

mkdir -p out
rm -f out/spider.glb out/spider.json out/spider_scene.glb "out/$example.glb"
run build/qvhost convert "$model" out/spider.glb
run build/qvhost import "$model" out/spider.json
run build/qvhost save out/spider.json out/spider_scene.glb
run build/qvhost save "examples/$example.json" "out/$example.glb"
for output in out/spider.glb out/spider_scene.glb "out/$example.glb"; do
  if [[ ! -f $output ]]; then
    echo "example: qvhost reported success but wrote no $output" >&2
    exit 1
  fi
done
node tools/validate/validate.js --allow tools/validate/allow-list.json \
  out/spider.glb out/spider_scene.glb "out/$example.glb"
echo "example: out/spider.glb, out/spider_scene.glb and out/$example.glb pass the validator"
