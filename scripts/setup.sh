#!/usr/bin/env bash
# Installs what building and testing gltfio needs, and nothing that is already there, so it is
# cheap to run before every build:
#   - Debian packages: compiler, CMake, clang-format, clang (its libFuzzer serves scripts/fuzz.sh),
#     RapidJSON, GoogleTest, Google Benchmark, assimp (qvhost import and convert) and its test
#     models (the conversion tests), node and npm; gltfpack, gnuplot and GNU time for
#     scripts/compare.sh;
#   - the glTF validator, by `npm ci` in tools/validate, whenever node_modules is missing or was
#     installed from a different package.json / package-lock.json.
# Runs as root, or through sudo when there is one. Never prompts.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
packages=(build-essential cmake clang-format clang rapidjson-dev libgtest-dev libbenchmark-dev libassimp-dev
  assimp-testmodels nodejs npm
  gltfpack gnuplot-nox time)

say() { printf 'setup: %s\n' "$*"; }

installed() {
  # node may come from a Debian-compatible vendor package that bundles npm and conflicts with
  # Debian's own npm package; a working command is what counts for those two.
  case $1 in
    nodejs) command -v node >/dev/null && return 0 ;;
    npm) command -v npm >/dev/null && return 0 ;;
  esac
  [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done

if ((${#missing[@]} > 0)); then
  sudo=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || { say "need root to install: ${missing[*]}" >&2; exit 1; }
    sudo=(sudo -n)
  fi
  say "installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get update -qq
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
else
  say "Debian packages present"
fi

# The validator. The stamp records which package.json and package-lock.json node_modules was
# installed from, so a changed pin reinstalls and an unchanged one costs nothing.
validate_dir=$root/tools/validate
stamp=$validate_dir/node_modules/.gltfio-installed
want=$(cat "$validate_dir/package.json" "$validate_dir/package-lock.json" | sha256sum | cut -d' ' -f1)
if [[ -f $stamp && $(cat "$stamp") == "$want" && -d $validate_dir/node_modules/gltf-validator ]]; then
  say "validator present ($(node -p 'require(process.argv[1]).version' "$validate_dir/node_modules/gltf-validator/package.json"))"
else
  say "installing the validator (npm ci in tools/validate)"
  (cd "$validate_dir" && npm ci --no-audit --no-fund --loglevel=error </dev/null)
  printf '%s\n' "$want" >"$stamp"
fi
