#!/usr/bin/env bash
# install.sh CMAKE BUILD PREFIX SOURCE: installs into an empty prefix. Nothing there may name a folder of the
# build, so that the package works wherever it is moved to.
set -euo pipefail
cmake=$1 build=$2 prefix=$3 source=$4

rm -rf "$prefix"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
! grep -rIlF -e "$source" -e "$build" "$prefix"
