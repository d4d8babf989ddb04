#!/usr/bin/env bash
# install.sh CMAKE BUILD PREFIX SOURCE: installs into an empty prefix. Nothing there may name a folder of the
# build, so that the package works wherever it is moved to.
set -euo pipefail
cmake=$1 build=$2 prefix=$3 source=$4

rm -rf "$prefix"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

# The target "installed" makes every program and library of it.
if [ -f "$build/build.ninja" ]; then
  ninja -C "$build" -t query installed | tr -d ' ' >"$build/installed.txt"
  grep -rhoE --include=cmake_install.cmake "\"$build/([^\":]+\.so|bin/[^\":]+)\"" "$build" | tr -d '"' | sort -u |
    sed "s|^$build/||" | grep -vxFf "$build/installed.txt" && { echo "not made by the target installed"; exit 1; }
fi

! grep -rIlF -e "$source" -e "$build" "$prefix"
