// A modal analysis of a solid mesh in a simulation file, kept in the same file as a modal system.
#include "modal_Analysis.h"
#include "modal_Report.h"
#include "modal_Store.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace {

struct UnitSystem {
  modal_Units units;
  double young, density; // of steel
};
constexpr UnitSystem kUnitSystems[] = {
    {{"SI", "m", "kg", "Pa", "kg/m^3", "kg^-1/2"}, 210e9, 7850},
    {{"mm", "mm", "t", "MPa", "t/mm^3", "t^-1/2"}, 210e3, 7.85e-9},
};

struct Options {
  modal_Job job;
  std::string name = "modal analysis", units = "SI";
  std::optional<double> young, density;
  bool json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim import block.exo block.pdm && modal_analysis block.pdm
  modal_analysis block.pdm --clamp none --modes 16 --name "free block"
  modal_analysis part.pdm --units mm --young 70e3 --density 2.7e-9 --clamp x-max

A file keeps every analysis; each needs a name of its own. modal_read checks what was stored.

Exit codes: 0 done; 1 wrong use; 2 the file cannot be used. Errors are one line on standard error.)";

void AddOptions(CLI::App& program, Options& options) {
  modal_Job& job = options.job;
  program.add_option("FILE", job.file, "simulation file with a mesh of hexahedra or tetrahedra")->required();
  program.add_option("--modes", job.modes, "number of modes")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  program
      .add_option("--units", options.units,
                  "of the mesh and of all numbers: SI (m, kg, Pa) or mm (mm, t, MPa)")
      ->check(CLI::IsMember({"SI", "mm"}))
      ->capture_default_str();
  program.add_option("--young", options.young, "Young's modulus (default: steel, 210e9 Pa or 210e3 MPa)")
      ->check(CLI::PositiveNumber);
  job.material.poisson = 0.3;
  program.add_option("--poisson", job.material.poisson, "Poisson's ratio")
      ->check(CLI::Range(-0.99, 0.499))
      ->capture_default_str();
  program.add_option("--density", options.density, "density (default: steel, 7850 kg/m^3 or 7.85e-9 t/mm^3)")
      ->check(CLI::PositiveNumber);
  job.clamp = "x-min";
  program
      .add_option("--clamp", job.clamp,
                  "nodes that are held: none, x-min, x-max, y-min, y-max, z-min, z-max or a node set")
      ->capture_default_str();
  program.add_option("--name", options.name, "name of the new system")->capture_default_str();
  program.add_flag("--json", options.json, "print JSON, for scripts");
  program.footer(kFooter);
}

/// Writes system and results as one change to the file.
void Store(const msfD_Mesh& mesh, const modal_Analysis& analysis, const modal_Results& results) {
  ORXSimUpdate update(mesh.nodes().Context());
  const fesD_ModalSystem system = modal_AddSystem(mesh, analysis.mesh, results.name, analysis.masks);
  // From here on the numbering is what any other program makes of the file.
  fesD_NodalDofDefinition dofs(fesD_FESystem(gbb_Handle(system)).nodalActivityMask(), 0, false);
  dofs.SetupSolverDofs(analysis.ranks.data(), analysis.solverMasks.data());
  modal_StoreResults(mesh, system, dofs, results);
  if (!update.Commit())
    modal_FailInStore();
}

void Analyse(const Options& options) {
  const modal_Library library;
  msfD_Root root(0);
  const msfD_Mesh mesh = modal_OpenMesh(root, options.job.file, false, library);
  if (modal_HasSystem(mesh, options.name))
    throw modal_Failure(options.job.file + ": expected no system '" + options.name +
                        "' yet, found one; choose another --name");
  const UnitSystem& units = kUnitSystems[options.units == "mm"];
  modal_Job job = options.job;
  job.material.young = options.young.value_or(units.young);
  job.material.density = options.density.value_or(units.density);
  const modal_Analysis analysis = modal_Analyse(job, mesh);
  library.Check(job.file);
  Store(mesh, analysis, {options.name, job.material, units.units, analysis.modes, analysis.rigid});
  library.Check(job.file);
  if (options.json)
    modal_ReportJson(std::cout, job, options.name, analysis);
  else
    modal_Report(std::cout, job, options.name, units.units, analysis);
}

int Main(int argc, char** argv) {
  CLI::App program("Computes the lowest modes of a solid mesh and keeps them in its simulation file.",
                   "modal_analysis");
  Options options;
  AddOptions(program, options);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 1;
  }
  Analyse(options);
  return 0;
}

} // namespace

int main(int argc, char** argv) {
  return modal_Run("modal_analysis", &Main, argc, argv);
}
