#!/usr/bin/env bash
# Installs what is missing, builds the tool and the examples, imports the meshes of examples/meshes, shows what
# is in the files, runs the program of the README, makes a modal analysis of the block with a page and a picture of
# it, and ends with an export and what it lost. The files are left in out/demo.
set -euo pipefail
source "$(dirname "$0")/setup.sh" build draw

heading "Build (build/dev)"
[ -f build/dev/build.ninja ] || quietly configure-dev cmake --preset dev -DPDM_TESTS=OFF
quietly build-demo cmake --build --preset dev --parallel "$PDM_JOBS" \
  --target installed first_model modal_analysis modal_read
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
for mesh in "$examples"/meshes/*.exo "$examples"/meshes/*.msh; do
  name=$(basename "$mesh")
  say "$bin/pdmsim" import "$mesh" "${name%.*}.pdm"
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
say "$bin/pdmsim" report block.pdm -o block.html
say /usr/bin/python3 "$examples/modal_analysis/draw_modes.py" block.pdm modes.png

heading "The same file in Python"
export PYTHONPATH=${bin%/bin}/python
say /usr/bin/python3 -c '
import pdm_core as pdm
with pdm.open("block.pdm") as sim:
    mesh = sim.model.mesh
    modal = mesh.systems["modal analysis"] if "modal analysis" in mesh.systems else mesh.systems[0]
    print(sim, mesh, modal, sep="\n")
    print(list(mesh.node_sets), mesh.node_fields["coordinates"][:2], modal.frequencies[:3].round(1))
    print(modal.numbering(), "with", modal.numbering().pattern(mesh).nnz, "places that are not zero")'

heading "Out again, and what was lost on the way"
say "$bin/pdmsim" export block.pdm block.exo --lossy
say "$bin/pdmsim" import block.exo again.pdm
say "$bin/pdmsim" diff block.pdm again.pdm || [ $? -eq 1 ]

heading "The files are in out/demo"
ls -l
