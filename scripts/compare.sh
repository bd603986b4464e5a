#!/usr/bin/env bash
# Side by side, in one run, on the same generated scan-like model (bench/ModelScene.h) at each
# size: gltfpack converting the model's OBJ to .glb; gltfpack's own pipeline on the .glb that
# qvhost wrote; `qvhost save` of the model's scene file (load, save, check); the plug-in's save
# alone and the scene-file load alone (in-process, gltfio_bench); and a plain write of as many
# bytes as qvhost's file. Each time is the median of RUNS runs (default 3); memory is the peak
# resident of the command (for the in-process steps, what the step added).
#
#   bash scripts/compare.sh [TRIANGLES...]        default 100000 300000 1000000
#
# Prints a Markdown table with the ratios, and writes it with a plot of time and memory against
# triangles to build-release/compare/ (compare.md, compare.png).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
sizes=("$@")
((${#sizes[@]})) || sizes=(100000 300000 1000000)
runs=${RUNS:-3}
for tool in gltfpack gnuplot /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "compare: $tool is missing; run bash scripts/setup.sh" >&2; exit 1; }
done
# Only what is measured is built: the tests of a Release build would take minutes.
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DGLTFIO_BENCH=ON >/dev/null
cmake --build build-release -j "${JOBS:-2}" --target gltfio_bench make_model qvhost gltfio_module >/dev/null
bin=$root/build-release
out=$bin/compare
mkdir -p "$out"
models=$out/models
work=$out/work
rm -rf "$work"
mkdir -p "$work"

# median of the numbers on standard input
median() { sort -g | awk '{a[NR] = $1} END {print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2}'; }

# measure NAME COMMAND...: runs the command RUNS times; sets secs (median seconds, from the
# shell's microsecond clock) and mib (median peak resident, MiB, from GNU time).
measure() {
  local name=$1 times=() peaks=() start
  shift
  for ((r = 0; r < runs; r++)); do
    start=$EPOCHREALTIME
    if ! /usr/bin/time -f '%M' -o "$work/$name.peak" "$@" >"$work/$name.out" 2>&1; then
      echo "compare: $name failed:" >&2
      cat "$work/$name.out" >&2
      exit 1
    fi
    times+=("$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.3f", b - a }')")
    peaks+=("$(cat "$work/$name.peak")")
  done
  secs=$(printf '%s\n' "${times[@]}" | median)
  mib=$(printf '%s\n' "${peaks[@]}" | median | awk '{printf "%.0f", $1 / 1024}')
}

# the in-process load and save of one scene file: sets load_s, load_mib, save_s, save_mib
inprocess() {
  "$bin/bench/gltfio_bench" --scene="$1" --dir="$work" --benchmark_repetitions="$runs" \
    --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null >"$work/inprocess.csv"
  # name,iterations,real_time,cpu_time,time_unit,...,added_MiB,...: the median rows, in ms
  local header
  header=$(grep -m1 '^name,' "$work/inprocess.csv" | tr -d '"')
  pick() { # the median row of benchmark $1 (its only row for one run), column $2
    awk -F, -v row="$1" -v column="$2" -v header="$header" -v runs="$runs" '
      BEGIN { n = split(header, h, ","); for (i = 1; i <= n; i++) if (h[i] == column) c = i }
      index($1, row) && (runs == 1 || index($1, "_median")) { print $c }' "$work/inprocess.csv"
  }
  load_s=$(pick BM_SceneLoad/file real_time | awk '{printf "%.3f", $1 / 1000}')
  load_mib=$(pick BM_SceneLoad/file added_MiB | awk '{printf "%.0f", $1}')
  save_s=$(pick BM_Save/file real_time | awk '{printf "%.3f", $1 / 1000}')
  save_mib=$(pick BM_Save/file added_MiB | awk '{printf "%.0f", $1}')
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf (b > 0 ? "%.2f" : "-"), a / b }'; }

data=$out/compare.dat
table=$out/compare.md
echo "# triangles pack_obj_s pack_obj_mib pack_glb_s qvhost_s qvhost_mib save_s save_mib load_s write_s" >"$data"
{
  echo "Measured $(date -u +%Y-%m-%d) on $(nproc) cores ($(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | xargs)), $(free -g | awk '/Mem:/ {print $2}') GiB, median of $runs runs; gltfpack $(gltfpack -v 2>&1 | head -1 | grep -o '[0-9][0-9.]*' | head -1)."
  echo
  echo "| Triangles | glb MiB | gltfpack OBJ→glb | gltfpack glb→glb | qvhost save | plug-in save | scene load | plain write | qvhost / gltfpack OBJ | save / gltfpack glb | save / write | peak qvhost | peak gltfpack OBJ | save adds (× file) |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|"
} >"$table"

for n in "${sizes[@]}"; do
  read -r scene obj triangles _ <<<"$("$bin/bench/make_model" "$n" "$models" --obj)"
  echo "compare: $triangles triangles" >&2
  measure qvhost "$bin/qvhost" save "$scene" "$work/qvhost.glb"
  qv_s=$secs qv_mib=$mib
  bytes=$(stat -c %s "$work/qvhost.glb")
  measure pack_obj gltfpack -i "$obj" -o "$work/pack_obj.glb"
  po_s=$secs po_mib=$mib
  measure pack_glb gltfpack -i "$work/qvhost.glb" -o "$work/pack_glb.glb"
  pg_s=$secs
  measure write sh -c "head -c $bytes /dev/zero >'$work/plain.bin'"
  w_s=$secs
  inprocess "$scene"
  file_mib=$(awk -v b="$bytes" 'BEGIN { printf "%.1f", b / 1048576 }')
  echo "$triangles $po_s $po_mib $pg_s $qv_s $qv_mib $save_s $save_mib $load_s $w_s" >>"$data"
  echo "| $triangles | $file_mib | $po_s s | $pg_s s | $qv_s s | $save_s s | $load_s s | $w_s s | $(ratio "$qv_s" "$po_s") | $(ratio "$save_s" "$pg_s") | $(ratio "$save_s" "$w_s") | $qv_mib MiB | $po_mib MiB | $save_mib MiB ($(ratio "$save_mib" "$file_mib")) |" >>"$table"
done

gnuplot <<PLOT
set terminal pngcairo size 1100,450 font "sans,10"
set output "$out/compare.png"
set multiplot layout 1,2
set key top left
set grid
set xlabel "triangles (millions)"
set ylabel "seconds"
set title "Time"
plot "$data" using (\$1/1e6):2 with linespoints title "gltfpack OBJ→glb", \
     "" using (\$1/1e6):4 with linespoints title "gltfpack glb→glb", \
     "" using (\$1/1e6):5 with linespoints title "qvhost save", \
     "" using (\$1/1e6):7 with linespoints title "plug-in save", \
     "" using (\$1/1e6):9 with linespoints title "scene load", \
     "" using (\$1/1e6):10 with linespoints title "plain write"
set ylabel "MiB"
set title "Memory (peak resident; the save: what it adds)"
plot "$data" using (\$1/1e6):3 with linespoints title "gltfpack OBJ→glb", \
     "" using (\$1/1e6):6 with linespoints title "qvhost save", \
     "" using (\$1/1e6):8 with linespoints title "plug-in save adds"
unset multiplot
PLOT
cat "$table"
echo
echo "compare: table and plot in ${out#"$root"/}/compare.md and compare.png"
