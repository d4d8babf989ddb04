#!/usr/bin/env bash
# package.sh [--quick]: installs what is missing, builds everything that has a package for a release, and makes Debian packages of them
# in out/packages. Lintian, if it is installed, judges them; an error of its is one of this script. Builds in build/package,
# where only what has changed is built the next time. Takes some minutes the first time.
#
# --quick compiles as the dev build does, so that the compiler's cache serves both, in build/package-quick: packages to try,
# without Debian's hardening. DEBFULLNAME and DEBEMAIL name the maintainer, as they do for Debian's own tools.
set -euo pipefail
build=package type=Release
case ${1-} in
  '') ;;
  --quick) build=package-quick type=RelWithDebInfo ;;
  -h | --help)
    sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "$0"
    exit
    ;;
  *)
    echo "package.sh: expected --quick or nothing, found '$1'; --help says more" >&2
    exit 1
    ;;
esac
source "$(dirname "$0")/setup.sh" build mpi package

version=$(sed -n 's/^project(PDM_Core VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
so=${version%.*}
[ -n "$so" ] || { echo "** no version in CMakeLists.txt" >&2; exit 1; }

heading "Build (build/$build)"
if [ $build = package ]; then
  export DEB_BUILD_MAINT_OPTIONS=hardening=+all
  CPPFLAGS=$(dpkg-buildflags --get CPPFLAGS)
  CFLAGS="$(dpkg-buildflags --get CFLAGS) $CPPFLAGS"
  CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $CPPFLAGS"
  FFLAGS=$(dpkg-buildflags --get FFLAGS)
  LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
  export CFLAGS CXXFLAGS FFLAGS LDFLAGS
fi
# Modules of Fortran lie where Debian has those that compilers of the same version of modules can read.
modules=$(dpkg-query -W -f='${Provides}' gfortran | grep -o 'gfortran-mod-[0-9]*')
folder=lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)/fortran/$modules
quietly configure-package cmake --preset package -B build/$build -DCMAKE_BUILD_TYPE=$type -DPDM_FORTRAN_MODULES="$folder"
quietly build-package cmake --build build/$build --parallel "$PDM_JOBS"

# Debian's tools want their folder at the top. It has the files of packaging/debian, with the version in names and texts.
heading "Package"
maintainer="${DEBFULLNAME:-PDM_Core maintainers} <${DEBEMAIL:-pdm-core@packages.invalid}>"
date=$(git log -1 --format=%aD 2>/dev/null || date -R -r CHANGELOG.md)
rm -rf debian out/packages
trap 'rm -rf debian' EXIT
mkdir -p debian out/packages
for file in packaging/debian/*; do
  sed "s|@VERSION@|$version|g; s|@SO@|$so|g; s|@MAINTAINER@|$maintainer|g; s|@DATE@|$date|g; s|@BUILD@|$build|g; s|@MODULES@|$modules|g" "$file" \
    >"debian/$(basename "${file//@SO@/$so}")"
done
chmod +x debian/rules
dpkg-checkbuilddeps
DEB_BUILD_OPTIONS=noautodbgsym quietly package debian/rules binary

if command -v lintian >/dev/null; then
  heading "Lintian"
  # They are not uploaded to Debian, where a first upload answers a request.
  lintian --fail-on error --suppress-tags initial-upload-closes-no-bugs out/packages/*.deb
fi

heading "Made in out/packages"
for file in out/packages/*.deb; do
  printf '%8s  %s (%s kB installed)\n' "$(du -h "$file" | cut -f1)" "${file##*/}" "$(dpkg-deb -f "$file" Installed-Size)"
done
