#!/usr/bin/env bash
# Builds the documents as a site into out/site; open out/site/index.html. No warning is let through, every link within the site is
# followed, and each picture is drawn anew.
set -euo pipefail

case ${1:-} in
"") ;;
-h | --help)
  cat <<'HELP'
Usage: scripts/site.sh [--keep-pictures]

Builds the documents as a site into out/site, from docs/, docs/site/ and the installed headers, by Doxygen, Sphinx, breathe and
MyST, with the reference of Python, C++, C and Fortran. Installs the packages that are missing. Types what the pages say on the way, to draw their pictures.

  --keep-pictures  take those of the last time, which saves a minute
HELP
  exit
  ;;
--keep-pictures) keep=1 ;;
*)
  echo "scripts/site.sh: unknown option '$1'; --help says which there are" >&2
  exit 1
  ;;
esac
source "$(dirname "$0")/setup.sh" build draw docs
work=$PWD/out/site.work
tree=$work/tree

heading "Build (build/dev)"
[ -f build/dev/build.ninja ] || quietly configure-dev cmake --preset dev -DPDM_TESTS=OFF
quietly build-site cmake --build --preset dev --parallel "$PDM_JOBS" \
  --target installed modal_analysis
mkdir -p "$work"
rm -rf "$work/prefix" "$work/doctrees" "$work/doxygen" "$tree" out/site
quietly install-site cmake --install build/dev --prefix "$work/prefix"

heading "Pictures"
[ -n "${keep:-}" ] && [ -d "$work/pictures" ] || {
  rm -rf "$work/pictures"
  quietly pictures docs/site/pictures.sh "$work/prefix" build/dev "$work/pictures"
}

heading "Headers"
quietly doxygen /usr/bin/python3 -B docs/site/doxygen.py "$work/doxygen"

# Pages stand at the top, documents where they stand in the sources, so that links between them are the same.
heading "Site"
mkdir -p "$tree"/{reference,platform/H5Journal}
ln -s "$PWD"/docs/site/*.md "$PWD"/docs/site/_static "$PWD"/docs/site/{start,coming-from,tutorials} "$tree"
ln -s "$PWD"/{docs,README.md,CHANGELOG.md} "$tree"
ln -s "$PWD/platform/H5Journal/README.md" "$tree/platform/H5Journal"
for notes in benchmarks/README.md benchmarks/*/README.md; do
  mkdir -p "$tree/${notes%/*}"
  ln -s "$PWD/$notes" "$tree/$notes"
done
ln -s "$PWD"/docs/site/reference/{cpp,c.md,fortran.md} "$tree/reference"
mkdir "$tree/reference/python"
ln -s "$PWD"/docs/site/reference/python/*.md "$tree/reference/python"
ln -s "$work/pictures" "$tree"
/usr/bin/python3 -B docs/site/commands.py "$work/prefix/share/man/man1" "$tree/reference/commands"
/usr/bin/python3 -B docs/site/python.py "$work/prefix/lib/python3/dist-packages/pdm_core" "$tree/reference/python/words"
/usr/bin/python3 -B docs/site/fortran.py fortran "$tree/reference/fortran"
version=$("$work/prefix/bin/pdmsim" --version | grep -oEm1 '[0-9]+\.[0-9]+\.[0-9]+' | head -1)
PDM_VERSION=$version PDM_DOXYGEN=$work/doxygen quietly sphinx \
  /usr/bin/python3 -B -m sphinx -W --keep-going -q -j "$PDM_JOBS" -d "$work/doctrees" -c docs/site "$tree" out/site
quietly links /usr/bin/python3 -B docs/site/check.py out/site docs/site "$work/doxygen/xml" "$tree"
echo "   out/site/index.html"
