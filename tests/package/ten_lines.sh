#!/usr/bin/env bash
# ten_lines.sh PREFIX CMAKE SOURCE LANGUAGE: docs/LANGUAGE.md has the ten lines word for word, and they build against the
# installed package by find_package and by pkg-config and say the same of a file.
set -euo pipefail
prefix=$1 cmake=$2 source=$3 language=$4
case $language in
  c) end=c compiler="cc -std=c11 -Wall -Wextra -Wpedantic -Werror" ;;
  fortran) end=f90 compiler="gfortran -std=f2008 -pedantic -Werror" ;;
esac
example=$source/examples/ten_lines/$language
program=$example/ten_lines.$end
diff "$program" <(sed -n "/^\`\`\`$language\$/,/^\`\`\`\$/{/^\`\`\`/d;p}" "$source/docs/$language.md")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" -S "$example" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" && "$cmake" --build "$work/build" >>"$work/log" ||
  { cat "$work/log"; exit 1; }
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name "pdm-$language.pc")")
export PKG_CONFIG_PATH
library=$(pkg-config --variable=libdir "pdm-$language")
# shellcheck disable=SC2046,SC2086
$compiler "$program" -o "$work/ten_lines" $(pkg-config --cflags --libs "pdm-$language") -Wl,-rpath,"$library"

cat >"$work/make.cpp" <<'END'
#include <pdm/pdm.hpp>
int main() {
  const auto sim = pdm::create("a.pdm");
  auto update = sim.update();
  const auto mesh = sim.create_mesh(2, 0);
  mesh.node_fields().create("coordinates", std::vector{0., 0., 0., 1., 2., 3.});
  mesh.node_sets().create("inlet", {1});
  mesh.set_times(std::vector{0., 0.5});
  const auto t = mesh.node_fields().create("temperature", std::vector{20., 20.});
  t.append(std::vector{20., 25.});
  mesh.systems().create("modal analysis", pdm::Kind::modal).set_activity(std::vector{3, 1});
  update.commit();
}
END
cd "$work"
# shellcheck disable=SC2046
c++ make.cpp -o make $(pkg-config --cflags --libs PDM_Core) -Wl,-rpath,"$library"
./make
for each in ./ten_lines build/ten_lines_"$language"; do
  diff <("$each" a.pdm) - <<'END'
node set "inlet"
the first inlet node is at 1 2 3
its temperature at 0.5 s is 25
3 equations
END
done
