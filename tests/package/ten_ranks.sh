#!/usr/bin/env bash
# ten_ranks.sh PREFIX CMAKE SOURCE: the example for the ranks of a job builds against the installed package, and runs.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$2" -S "$3/examples/ten_lines/ranks" -B "$work/build" -DCMAKE_PREFIX_PATH="$1" >"$work/log" &&
  "$2" --build "$work/build" >>"$work/log" || { cat "$work/log"; exit 1; }
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
said=$(mpirun -np 3 "$work/build/ten_lines_ranks" "$work/a.pdm")
[ "$said" = "3 ranks wrote 1000 rows and read them back" ] || { echo "$said"; exit 1; }
