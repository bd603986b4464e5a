#!/usr/bin/env bash
# Saves every hostile scene of manifest.txt with qvhost and checks what the finished host must
# do with it: the exit status and the message; for status 0 a file that parses and passes the
# validator; for 1 and 2 the earlier file at the output path untouched and no stray file beside
# it; in every case no sanitizer report, no hang (CASE_SECONDS, default 60) and no runaway
# memory (2 GiB resident).
#
# Usage: bash tests/hostile/run.sh QVHOST [CASE]...     (only the named cases when given)
# Cases listed in known_failures.txt fail today; they are run and shown as XFAIL, and one that
# passes fails the run until it is taken off that list, so the list only ever shrinks. Those
# get KNOWN_SECONDS (default 5) each, so that the ones that hang today do not slow every run.
# The last line is "hostile: N passed, M failed, K known failures"; exit status 0 when M is 0.
set -uo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
qvhost=${1:?usage: run.sh QVHOST [CASE]...}
shift
qvhost=$(cd "$(dirname "$qvhost")" && pwd)/$(basename "$qvhost")
validate=$root/tools/validate
[[ -d $validate/node_modules/gltf-validator ]] || { echo "hostile: the validator is not installed; run: bash scripts/setup.sh" >&2; exit 2; }

case_seconds=${CASE_SECONDS:-60}
known_seconds=${KNOWN_SECONDS:-5}
rss_limit_kb=$((2 * 1024 * 1024))
work=$(mktemp -d "${TMPDIR:-/tmp}/gltfio-hostile.XXXXXX")
trap 'rm -rf "$work"' EXIT
mapfile -t known < <(grep -v '^#' "$here/known_failures.txt" 2>/dev/null | awk 'NF { print $1 }')

# ---- Scenes written at test time -----------------------------------------------------------

gen_deep_nesting() { # a million arrays inside each other
  python3 -c 'import sys; n = 1000000; sys.stdout.write("{\"items\":" + "[" * n + "]" * n + "}\n")' >"$1"
}
gen_deep_hierarchy() { # 100,000 locators, each the child of the one before
  python3 - "$1" <<'PY'
import json, sys
items = [{"id": "l0", "type": "locator"}]
items += [{"id": f"l{i}", "type": "locator", "parent": f"l{i - 1}"} for i in range(1, 100000)]
json.dump({"items": items}, open(sys.argv[1], "w"), separators=(",", ":"))
PY
}
gen_star_polygon() { # one polygon of 10,000 corners on a circle, each edge crossing many others
  python3 - "$1" <<'PY'
import json, math, sys
n = 10000
points = [[math.cos(2 * math.pi * i / n), 0, math.sin(2 * math.pi * i / n)] for i in range(n)]
corners = [(i * 4999) % n for i in range(n)]
mesh = {"points": points, "polygons": [{"points": corners, "material": "M"}]}
json.dump({"items": [{"id": "star", "type": "mesh", "mesh": mesh}]}, open(sys.argv[1], "w"))
PY
}
gen_scene_is_directory() { mkdir "$1"; }

# ---- What a case needs beside its scene ----------------------------------------------------

setup_image_fifo() { mkfifo fifo.png; }
setup_image_directory() { mkdir dir.png; }
setup_image_named_bin() { mkdir img && cp img.png img/out.bin; }
setup_same_base_name() {
  mkdir a b && cp img.png a/tex.png && cp "$root/examples/images/crate.png" b/tex.png
}

# ---- Running and checking one case ---------------------------------------------------------

# Runs a command in folder DIR, output to DIR/stdout and DIR/stderr, and kills it when it runs
# too long or grows too big; the reason goes to $guard. An address-space limit (ulimit -v) would
# do it more simply but breaks AddressSanitizer, which reserves terabytes.
run_guarded() {
  guard=
  (cd "$1" && exec "${@:2}") </dev/null >"$1/stdout" 2>"$1/stderr" &
  local pid=$! start=$SECONDS rss limit=${seconds_now:-$case_seconds}
  while [[ -n $(jobs -rp) ]]; do
    rss=$(awk '/^VmRSS/ { print $2 }' "/proc/$pid/status" 2>/dev/null)
    if ((${rss:-0} > rss_limit_kb)); then
      guard="used more than $((rss_limit_kb / 1024)) MiB" && kill -9 "$pid" 2>/dev/null
    elif ((SECONDS - start >= limit)); then
      guard="ran longer than ${limit}s" && kill -9 "$pid" 2>/dev/null
    fi
    sleep 0.05
  done
  wait "$pid"
}

# The .gltf, or the JSON chunk of a .glb, parsed as JSON.
parses_as_json() {
  node -e 'const b = require("fs").readFileSync(process.argv[1]);
    const t = b.subarray(0, 4).toString() === "glTF" ? b.subarray(20, 20 + b.readUInt32LE(12)) : b;
    JSON.parse(t.toString("utf8"));' "$1" 2>&1
}

# Prints nothing when the case behaved, else what went wrong.
check_case() {
  local scene=$1 output=$2 want=$3 message=$4 dir=$5 status
  local previous=$'earlier output, to be kept when the save fails\n'
  printf '%s' "$previous" >"$dir/out/$output"
  # The whole scene, not the selection, so that every item reaches the file.
  run_guarded "$dir" "$qvhost" save "$scene" "out/$output" --set sceneio.gltf.save.exportType=0
  status=$?
  [[ -z $guard ]] || { echo "$guard"; return; }
  if grep -qE 'ERROR: [A-Za-z]+Sanitizer|runtime error:' "$dir/stderr"; then
    echo "sanitizer report:"; grep -E -m 3 -A 8 'Sanitizer|runtime error' "$dir/stderr"; return
  fi
  ((status == want)) || { echo "exit status $status, not $want"; tail -n 5 "$dir/stderr"; return; }
  if [[ -n $message ]] && ! grep -qF -- "$message" "$dir/stderr"; then
    echo "standard error lacks: $message"; tail -n 5 "$dir/stderr"; return
  fi
  if ((want == 0)); then
    parses_as_json "$dir/out/$output" || return
    # The validator walks the node tree recursively and overflows its own stack long before
    # 100,000 levels; for that case a file that parses whole is what can be checked.
    [[ $name == deep_hierarchy ]] && return
    (cd "$dir" && node "$validate/validate.js" --allow "$validate/allow-list.json" "out/$output" >validate.txt 2>&1) ||
      { echo "the validator refuses out/$output:"; tail -n 8 "$dir/validate.txt"; }
    return
  fi
  [[ $(cat "$dir/out/$output" 2>/dev/null) == "${previous%$'\n'}" ]] || echo "out/$output was changed"
  local left
  left=$(cd "$dir/out" && ls -A | grep -vxF -- "$output")
  [[ -z $left ]] || echo "left in out/: $left"
}

passed=0 failed=0 xfailed=0
while read -r scene output want message; do
  [[ -z $scene || $scene == \#* ]] && continue
  name=$(basename "${scene#gen:}" .json)
  [[ $scene != /* ]] || name=$(tr / _ <<<"${scene#/}")
  (($# == 0)) || printf '%s\n' "$@" | grep -qxF "$name" || continue
  dir=$work/$name
  mkdir -p "$dir/out" && cp "$root/examples/images/base_color.png" "$dir/img.png"
  if [[ $scene == gen:* ]]; then
    "gen_$name" "$dir/$name.json" && scene=$name.json
  elif [[ $scene != /* ]]; then
    cp "$here/$scene" "$dir/"
  fi
  if declare -F "setup_$name" >/dev/null; then (cd "$dir" && "setup_$name"); fi

  is_known=false
  printf '%s\n' "${known[@]}" | grep -qxF "$name" && is_known=true
  seconds_now=$case_seconds
  ! $is_known || seconds_now=$known_seconds
  started=$SECONDS
  problem=$(check_case "$scene" "$output" "$want" "$message" "$dir")
  took="$((SECONDS - started))s"
  if $is_known; then
    if [[ -n $problem ]]; then
      echo "XFAIL $name ($took): $(head -n 1 <<<"$problem")"
      xfailed=$((xfailed + 1))
    else
      echo "FAIL $name ($took): passes now; take it off tests/hostile/known_failures.txt"
      failed=$((failed + 1))
    fi
  elif [[ -n $problem ]]; then
    echo "FAIL $name ($took):"
    sed 's/^/    /' <<<"$problem"
    failed=$((failed + 1))
  else
    echo "PASS $name ($took)"
    passed=$((passed + 1))
  fi
done <"$here/manifest.txt"

echo "hostile: $passed passed, $failed failed, $xfailed known failures"
((failed == 0))
