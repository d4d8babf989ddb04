#!/usr/bin/env bash
# try-packages.sh DIRECTORY: uses the packages in DIRECTORY as their users would, in a bare Debian 12 that has nothing of
# this project installed. Needs root and a network: installs the packages with what they depend on, imports and checks a
# mesh, runs the ten lines of Python, C and Fortran and those for ranks, builds the program of the README and the example of H5Journal, removes
# the packages and looks for what they left.
set -euo pipefail
case ${1-} in
  -h | --help) sed -n '2,/^set/{/^#/s/^# \{0,1\}//p}' "$0"; exit ;;
esac
debs=$(realpath "${1:?"the directory of the packages; --help says more"}")
project=$(realpath "$(dirname "$0")/..")
export DEBIAN_FRONTEND=noninteractive
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

step() { printf '\n== %s\n' "$*"; }
get() { apt-get install -y -q --no-install-recommends "$@" >>apt.log 2>&1 || { tail -n 40 apt.log; exit 1; }; }
expect() { # TEXT COMMAND...: the command succeeds and says TEXT
  local said
  said=$("${@:2}" 2>&1) || { printf '** failed: %s\n%s\n' "${*:2}" "$said"; exit 1; }
  [[ $said == *"$1"* ]] || { printf '** expected "%s" of: %s\n%s\n' "$1" "${*:2}" "$said"; exit 1; }
}
build() { # EXAMPLE: by CMake
  cmake -S "$1" -B "$work/cmake/$1" >build.log 2>&1 && cmake --build "$work/cmake/$1" >>build.log 2>&1 || { cat build.log; exit 1; }
}

for file in "$debs"/*.deb; do names+=("$(dpkg-deb -f "$file" Package)"); done
version=$(dpkg-deb -f "$debs"/pdmsim_*.deb Version)
if dpkg -l "${names[@]}" 2>/dev/null | grep -q '^.i'; then
  echo "** some of the packages are installed already: ${names[*]}" >&2
  exit 1
fi
apt-get update -q >>apt.log 2>&1
find /usr /etc /opt /var/lib -xdev -not -path '/var/lib/apt/*' -not -path '/var/lib/dpkg/*' | sort >before

step "The tool alone"
get "$debs"/{pdmsim,libpdm-core[0-9]*,libh5journal[0-9]*}_*.deb
expect "${version%-*}" pdmsim --version
for mesh in "$project"/examples/meshes/*; do
  case $mesh in *.exo | *.msh) ;; *) continue ;; esac
  file=$(basename "${mesh%.*}").pdm
  expect "" pdmsim import "$mesh" "$file"
  expect "nodes" pdmsim show "$file"
  expect "" pdmsim check "$file"
  echo "   $(basename "$mesh"): imported, shown, checked"
done
test -s /usr/share/man/man1/pdmsim-import.1.gz
expect "import" bash -c "source /usr/share/bash-completion/completions/pdmsim; complete -p pdmsim; grep -o import /usr/share/bash-completion/completions/pdmsim"

step "H5Journal alone, from C"
get gcc libc6-dev cmake make pkg-config "$debs"/libh5journal-dev_*.deb
cp -r /usr/share/doc/libh5journal-dev/examples journal
build journal
# shellcheck disable=SC2046
cc journal/counter.c $(pkg-config --cflags --libs H5Journal) -o counter
expect "run 1 times" cmake/journal/counter a.h5
expect "run 2 times" ./counter a.h5
echo "   built by CMake and by pkg-config, and run"

step "Python alone"
get "$debs"/python3-pdm-core_*.deb
cat >ten_lines.py <<'PYTHON'
import pdm_core
with pdm_core.create("a.pdm") as sim, sim.update():
    mesh = sim.create_mesh(2, 0)
    mesh.node_fields.create("coordinates", [[0., 0, 0], [1, 2, 3]], unit="m")
    mesh.node_sets["inlet"] = [1]
    temperature = mesh.node_fields.create("temperature", unit="K")
    for time in 0.0, 0.5:
        mesh.append_time(time)
        temperature.append([20 + 10 * time, 20 + 10 * time])
    mesh.systems.create("modal analysis", "modal").activity = [3, 1]
q = [1.0, 2.0]
PYTHON
sed -n '/^```python$/,/^```$/{/^```/d;p}' "$project/README.md" >>ten_lines.py
echo 'print(last, numbering.equations.max() + 1)' >>ten_lines.py
expect "['inlet'] [1]
[25. 25.] 3" python3 -W error ten_lines.py
expect "" pdmsim check a.pdm
for file in __init__.pyi _pdm_core.pyi py.typed; do test -e "/usr/lib/python3/dist-packages/pdm_core/$file"; done
echo "   the ten lines of the README, and types for checkers"

step "The first program of the README, in C++"
get g++ "$debs"/{libpdm-core-dev,libh5journal-dev}_*.deb
mkdir first
sed -n '/^```cpp$/,/^```$/{p;/^```$/q}' "$project/README.md" | sed '1d;$d' >first/first_model.cpp
cat >first/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(first_model LANGUAGES CXX)
find_package(PDM_Core REQUIRED)
add_executable(first_model first_model.cpp)
target_link_libraries(first_model PRIVATE PDM_Core::PDM_Core)
CMAKE
build first
# shellcheck disable=SC2046
c++ first/first_model.cpp $(pkg-config --cflags --libs PDM_Core) -o first_model
for program in cmake/first/first_model ./first_model; do
  expect '4 nodes, the last at z = 1, system "statics"' "$program"
  expect "" pdmsim check first_model.pdm
done
expect "libPDM_Core.so" ldconfig -p
echo "   built by CMake and by pkg-config, and run"

ten_lines() { # LANGUAGE COMPILER PACKAGE FILE: the example of a package
  step "The ten lines in ${1^}"
  cp -r "/usr/share/doc/$3/examples/$1" .
  build "$1"
  # shellcheck disable=SC2046
  "$2" "$1/$4" $(pkg-config --cflags --libs "pdm-$1") -o "ten_lines_$1"
  for program in "cmake/$1/ten_lines_$1" "./ten_lines_$1"; do
    expect 'node set "inlet"
the first inlet node is at 1 2 3
its temperature at 0.5 s is 25
3 equations' "$program" a.pdm
  done
  expect "heat" pdmsim show a.pdm
  echo "   built by CMake and by pkg-config, and run"
}
ten_lines c cc libpdm-core-dev ten_lines.c
get gfortran "$debs"/*.deb
ten_lines fortran gfortran libpdm-core-fortran-dev ten_lines.f90

step "Ranks of an MPI job"
cp -r /usr/share/doc/libpdm-core-mpi-dev/examples/ranks .
build ranks
get openmpi-bin
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
expect "3 ranks wrote 1000 rows and read them back" mpirun --oversubscribe -np 3 cmake/ranks/ten_lines_ranks ranks.pdm
expect "" pdmsim check ranks.pdm
echo "   built by CMake, and run on 3 ranks"
sed -n '/^## Ranks of an MPI job$/,/^```$/{/^\(#\|```\)/d;p}' "$project/docs/python.md" >ranks.py
cat >plate.py <<'PYTHON'
import pdm_core
with pdm_core.create("plate.pdm") as sim, sim.update():
    sim.create_mesh(1000, 0).node_fields.create("heat", range(1000))
    sim.model.mesh.times = [1.0]
PYTHON
python3 plate.py
expect "" mpirun --oversubscribe -np 3 python3 -W error -m mpi4py ranks.py
expect "1998" python3 -c 'import pdm_core as pdm; print(pdm.open("plate.pdm").model.mesh.node_fields["heat"].step(-1)[999])'
echo "   and in Python"

step "Removed"
dpkg -L "${names[@]}" | sort -u >ours
apt-get purge -y -q "${names[@]}" >>apt.log 2>&1
find /usr /etc /opt /var/lib -xdev -not -path '/var/lib/apt/*' -not -path '/var/lib/dpkg/*' | sort >after
# What was there before, or belongs to what else was installed on the way, may stay.
left=$(comm -12 ours after | comm -23 - before | while read -r path; do dpkg -S "$path" >/dev/null 2>&1 || echo "$path"; done
  comm -13 before after | grep -iE 'pdm|h5journal' || true
  ldconfig -p | grep -E 'PDM_Core|H5Journal|pdm-' || true)
left=$(sort -u <<<"$left")
[ -z "$left" ] || { printf '** left behind:\n%s\n' "$left"; exit 1; }
echo "   $(wc -l <ours) files and folders were there, none of them is left"
