#!/usr/bin/env bash
# by_hand.sh LIBDIR COMPILER PROGRAM: a program that declares the containers by hand links and runs.
set -euo pipefail
libdir=$1 compiler=$2 program=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$compiler" -std=c++20 -Wall -Wextra "$program" -L"$libdir" -lPDM_Core -lUTI_CoreUtils -Wl,-rpath-link,"$libdir" -o "$work/by_hand"
LD_LIBRARY_PATH=$libdir "$work/by_hand"
