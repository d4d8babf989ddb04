#!/usr/bin/env bash
# headers.sh INCLUDE_DIR COMPILER...: every installed header compiles alone, with each compiler. Headers that
# say in a comment of their own that they are a part of another one are left to that one.
set -euo pipefail
include=$1
shift
headers=$(cd "$include/PDM_Core" && grep -rL --include='*.h' '^// Part of ' . | sed 's|^\./||' | sort)
test "$(wc -l <<<"$headers")" -gt 50

mpi=()
if grep -q '^mpi/' <<<"$headers"; then
  mpi=(-DOMPI_SKIP_MPICXX=1 -DMPICH_SKIP_MPICXX=1)
  for folder in $(pkg-config --cflags-only-I mpi-c); do mpi+=(-isystem "${folder#-I}"); done
fi
for compiler in "$@"; do
  xargs -P "$(nproc)" -I HEADER "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror \
    -I"$include/PDM_Core" $(pkg-config --cflags-only-I hdf5 | sed "s/-I/-isystem /g") "${mpi[@]}" -x c++ -include HEADER /dev/null <<<"$headers"
done
