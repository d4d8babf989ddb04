#!/usr/bin/env bash
# pictures.sh PREFIX BUILD OUT: makes every picture of the site, by what is installed in PREFIX and the examples of BUILD. Those of
# the pages that are typed are what their commands leave.
set -euo pipefail
prefix=$(realpath "$1") build=$(realpath "$2") out=$(realpath -m "$3")
here=$(dirname "$(realpath "$0")")
root=$(realpath "$here/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PATH=$prefix/bin:$PATH
mkdir -p "$out"

for page in start tutorials/first tutorials/mesh tutorials/numbering tutorials/watching; do
  name=$(basename "$page")
  /usr/bin/python3 -B "$root/tests/docs/tutorial.py" "$root" "$prefix" "$here/$page.md" --keep "$work/$name"
  mkdir -p "$out/$name"
  cp "$work/$name"/*.png "$out/$name"
done

cd "$work"
pdmsim import "$root/examples/meshes/block.exo" block.pdm --quiet
"$build/bin/modal_analysis" block.pdm >modal.log
/usr/bin/python3 -B "$root/examples/modal_analysis/draw_modes.py" block.pdm "$out/modes.png"
pdmsim report block.pdm -o block.html --quiet
chromium --headless --no-sandbox --disable-gpu --use-gl=angle --use-angle=swiftshader --enable-unsafe-swiftshader \
  --hide-scrollbars --window-size=1200,900 --virtual-time-budget=8000 --screenshot="$out/report.png" "file://$work/block.html" \
  >chromium.log 2>&1
