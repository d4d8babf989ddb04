#!/usr/bin/env bash
# journal_example.sh PREFIX CMAKE EXAMPLE: the driver's example in C builds against the installed package in both ways,
# and its file survives being killed: a thousand runs with a kill at some moment, and no count is lost or made up.
set -euo pipefail
prefix=$1 cmake=$2 example=$3 runs=${4:-40}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" -S "$example" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" && "$cmake" --build "$work/build" >>"$work/log" ||
  { cat "$work/log"; exit 1; }
# As a component of PDM_Core it is found, too.
mkdir "$work/component"
sed 's/find_package(H5Journal REQUIRED)/find_package(PDM_Core REQUIRED COMPONENTS H5Journal)/' "$example/CMakeLists.txt" >"$work/component/CMakeLists.txt"
cp "$example/counter.c" "$work/component"
"$cmake" -S "$work/component" -B "$work/component" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" && grep -q PDM_Core_DIR "$work/component/CMakeCache.txt"
pkg=$(PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name H5Journal.pc)") pkg-config --cflags --libs H5Journal)
lib=$(dirname "$(find "$prefix" -name libH5Journal.so)")
cc "$example/counter.c" -o "$work/counter" $pkg -Wl,-rpath,"$lib"
"$work/build/counter" "$work/a.h5" | grep -qx 'run 1 times'
"$work/counter" "$work/a.h5" | grep -qx 'run 2 times'
least=2 most=2
for ((i = 0; i < runs; ++i)); do
  most=$((most + 1))
  timeout -s KILL "0.00$((RANDOM % 9))" "$work/counter" "$work/a.h5" >"$work/said" 2>&1 || true
  ! grep -q run "$work/said" || least=$(grep -o '[0-9]*' "$work/said")
done 2>/dev/null
count=$("$work/counter" "$work/a.h5" | grep -o '[0-9]*')
[ "$count" -gt "$least" ] && [ "$count" -le $((most + 1)) ] || { echo "counted $count, from $least to $most"; exit 1; }
