#!/usr/bin/env bash
# Installs what is missing, builds the tool and the example, imports the meshes of examples/meshes, shows what
# is in the files, and runs the program of the README. The files are left in out/demo.
set -euo pipefail
source "$(dirname "$0")/setup.sh" build

heading "Build (build/dev)"
[ -f build/dev/build.ninja ] || quietly configure-dev cmake --preset dev -DPDM_TESTS=OFF
quietly build-demo cmake --build --preset dev --parallel "$PDM_JOBS" --target pdmsim first_model
pdmsim=$PWD/build/dev/bin/pdmsim
first_model=$PWD/build/dev/bin/first_model
meshes=$PWD/examples/meshes

rm -rf out/demo
mkdir -p out/demo
cd out/demo

# Prints a command as one would type it here, then runs it.
say() {
  printf '\n$ %s\n' "${*/#$PWD\//}" | sed "s|$pdmsim|pdmsim|; s|$first_model|first_model|; s|$meshes|examples/meshes|"
  "$@"
}

heading "Meshes into simulation files"
for mesh in "$meshes"/*.exo; do
  say "$pdmsim" import "$mesh" "$(basename "$mesh" .exo).pdm"
done

heading "What is in them"
for file in *.pdm; do
  say "$pdmsim" show "$file"
done

heading "The program of the README"
say "$first_model"
say "$pdmsim" show first_model.pdm
say "$pdmsim" show first_model.pdm discreteModel/mesh/nodeFields/coordinates

heading "The files are in out/demo"
ls -l
