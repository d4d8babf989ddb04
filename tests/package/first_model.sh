#!/usr/bin/env bash
# first_model.sh PREFIX COMPILER README PROGRAM: the program of the README is the example word for word, and
# builds by pkg-config and runs as the README says.
set -euo pipefail
prefix=$1 compiler=$2 readme=$3 program=$4

diff <(sed -n '/^```cpp$/,/^```$/p' "$readme" | sed '1d;$d') "$program"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pc=$(find "$prefix" -name PDM_Core.pc)
export PKG_CONFIG_PATH=${pc%/*}
# shellcheck disable=SC2046
"$compiler" -Wall -Wextra -Wpedantic "$program" $(pkg-config --cflags --libs PDM_Core) -o "$work/first_model"
cd "$work"
said=$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir PDM_Core) ./first_model 2>&1)
test "$said" = '4 nodes, system "statics"'
test -s first_model.pdm
