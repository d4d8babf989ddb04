#!/usr/bin/env bash
# Used by the other scripts: `source scripts/setup.sh GROUP...` goes to the top of the project, installs the
# Debian packages of the groups that are missing, and gives the functions below. Needs root or sudo only when
# something is missing.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1
PDM_JOBS=${PDM_JOBS:-$(nproc)}
mkdir -p out/log

declare -A PDM_PACKAGES=(
  [build]="g++ gfortran cmake ninja-build pkg-config ccache libhdf5-dev libxxhash-dev libnetcdf-dev libcli11-dev nlohmann-json3-dev
    libexpat1-dev zlib1g-dev libmetis-dev pybind11-dev python3-dev python3-numpy libjs-three libeigen3-dev libspectra-dev libboost-graph-dev"
  [test]="make libgtest-dev libgmock-dev clang-14 hdf5-tools python3-jinja2 python3-h5py python3-netcdf4 python3-matplotlib
    python3-meshio python3-scipy python3-pandas python3-nbclient python3-nbformat python3-ipykernel mypy
    python3-vtk9 xvfb xauth libgl1-mesa-dri chromium chromium-driver python3-selenium"
  [draw]="python3-h5py python3-matplotlib python3-scipy"
  [format]="clang-format-14"
  [docs]="doxygen python3-sphinx python3-breathe python3-myst-parser furo python3-sphinx-copybutton chromium
    python3-scipy python3-h5py python3-matplotlib python3-vtk9 xvfb xauth libgl1-mesa-dri"
  [bench]="libbenchmark-dev libabsl-dev libprotobuf-dev protobuf-compiler libcereal-dev libsqlite3-dev
    python3-h5py python3-fsspec python3-aiohttp"
  [mpi]="libopenmpi-dev openmpi-bin python3-mpi4py"
  [package]="debhelper dh-python dpkg-dev"
  [fuzz]="clang-14 llvm-14 libclang-rt-14-dev"
)

heading() { printf '\n== %s\n' "$*"; }

# quietly NAME COMMAND...: runs a command with its output in out/log/NAME.log, shown only when it fails.
quietly() {
  local log=out/log/$1.log start=$SECONDS
  shift
  if "$@" >"$log" 2>&1; then
    printf '   done in %d s (%s)\n' $((SECONDS - start)) "$log"
  else
    tail -n 60 "$log"
    printf '** failed: %s\n   everything it said is in %s\n' "$*" "$log" >&2
    return 1
  fi
}

# pdm_unlocked COMMAND...: apt-get, tried again for some minutes while another process holds a lock of the package manager.
# Its own waiting (DPkg::Lock::Timeout) knows only some of the locks. Tells of the waiting at descriptor 3.
pdm_unlocked() {
  local said=out/log/apt.log held told='' most=${PDM_LOCK_SECONDS:-300} start=$SECONDS
  until "$@" >"$said" 2>&1; do
    held=$(sed -nE 's/^.*(Could not get lock |dpkg [a-z]+ lock (is|was) locked )/\1/p' "$said" | head -n 1)
    if [ -z "$held" ] || [ $((SECONDS - start)) -ge "$most" ]; then
      cat "$said"
      [ -z "$held" ] || echo "** the package manager is still locked after $most s; run this again when it is free"
      return 1
    fi
    [ -n "$told" ] || echo "   waiting for the package manager: $held" >&3
    told=yes
    sleep 2
  done
  cat "$said"
}

pdm_missing_packages() {
  local group package
  for group in "$@"; do
    for package in ${PDM_PACKAGES[$group]}; do
      [ "$(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null)" = "ii " ] || echo "$package"
    done
  done
}

pdm_install_packages() {
  local missing root=()
  if ! command -v apt-get >/dev/null; then
    echo "   not a Debian system: what is needed stands in scripts/setup.sh under Debian's names"
    return 0
  fi
  mapfile -t missing < <(pdm_missing_packages "$@")
  if [ ${#missing[@]} -eq 0 ]; then
    echo "   all packages are there"
    return 0
  fi
  echo "   installing: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "** neither root nor sudo: install these packages first" >&2
      return 1
    fi
    root=(sudo)
  fi
  quietly apt-update pdm_unlocked "${root[@]}" env LC_ALL=C apt-get update -q 3>&1
  quietly apt-install pdm_unlocked "${root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}" 3>&1
}

heading "Packages ($*)"
pdm_install_packages "$@"
