#!/usr/bin/env bash
# hdf5_headers.sh SOURCE: only the platform's file module, and the tests and benchmarks that look behind it,
# know HDF5.
set -euo pipefail
cd "$1"
where=$(grep -rlE '#[[:space:]]*include[[:space:]]*[<"]([A-Za-z0-9_/]*/)?(hdf5|hdf5_hl|H5[A-Za-z]*)\.h[>"]' \
  --include='*.h' --include='*.cpp' --include='*.j2' \
  lib msf fes gbb kda omi generated schema platform tools examples | cut -d/ -f1-2 | sort -u | tr "\n" " ")
test "$where" = "platform/H5Journal platform/UTI_ORXSimDynamicAPI " || {
  printf 'HDF5 headers are included in:\n%s\n' "$where" >&2
  exit 1
}
