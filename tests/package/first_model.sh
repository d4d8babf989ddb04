#!/usr/bin/env bash
# first_model.sh PREFIX COMPILER README EXAMPLES: the programs of the README are the examples word for word, and
# build by pkg-config and run as the README says.
set -euo pipefail
prefix=$1 compiler=$2 readme=$3 examples=$4

names=(first_model first_model_handles)
for name in "${names[@]}"; do cat "$examples/$name/$name.cpp"; done | diff <(sed -n '/^```cpp$/,/^```$/{/^```/d;p}' "$readme") -

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pc=$(find "$prefix" -name PDM_Core.pc)
export PKG_CONFIG_PATH=${pc%/*}
cd "$work"
for name in "${names[@]}"; do
  # shellcheck disable=SC2046
  "$compiler" -Wall -Wextra -Wpedantic "$examples/$name/$name.cpp" $(pkg-config --cflags --libs PDM_Core) -o "$name"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir PDM_Core) "./$name" >>said 2>&1
  test -s "$name.pdm"
done
diff said - <<'END'
4 nodes, the last at z = 1, system "statics"
4 nodes, system "statics"
END
