#!/usr/bin/env bash
# Installs what is missing, builds the tool and the examples, imports the meshes of examples/meshes, shows what
# is in the files, runs the program of the README, and ends with a modal analysis of the block and a picture of
# its first modes. The files are left in out/demo.
set -euo pipefail
source "$(dirname "$0")/setup.sh" build draw

heading "Build (build/dev)"
[ -f build/dev/build.ninja ] || quietly configure-dev cmake --preset dev -DPDM_TESTS=OFF
quietly build-demo cmake --build --preset dev --parallel "$PDM_JOBS" --target pdmsim first_model modal_analysis modal_read
bin=$PWD/build/dev/bin
examples=$PWD/examples

rm -rf out/demo
mkdir -p out/demo
cd out/demo

# Prints a command as one would type it here, then runs it.
say() {
  printf '\n$ %s\n' "$*" | sed "s|$bin/||g; s|$examples|examples|g"
  "$@"
}

heading "Meshes into simulation files"
for mesh in "$examples"/meshes/*.exo; do
  say "$bin/pdmsim" import "$mesh" "$(basename "$mesh" .exo).pdm"
done

heading "What is in them"
for file in *.pdm; do
  say "$bin/pdmsim" show "$file"
done

heading "The program of the README"
say "$bin/first_model"
say "$bin/pdmsim" show first_model.pdm
say "$bin/pdmsim" show first_model.pdm discreteModel/mesh/nodeFields/coordinates

heading "A modal analysis of the block, kept in its file"
say "$bin/modal_analysis" block.pdm
say "$bin/modal_read" block.pdm
say "$bin/pdmsim" dofs block.pdm 0 --node 1
say /usr/bin/python3 "$examples/modal_analysis/draw_modes.py" block.pdm modes.png

heading "The files are in out/demo"
ls -l
