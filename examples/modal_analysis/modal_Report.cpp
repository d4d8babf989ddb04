#include "modal_Report.h"

#include <nlohmann/json.hpp>

#include <array>
#include <map>
#include <ostream>

namespace {

template <class... Values>
std::string Format(const char* format, Values... values) {
  std::array<char, 256> text{};
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

/// A theoretical frequency with the mode's relative distance from it.
std::string Beside(double frequency, const std::optional<double>& theory) {
  return theory ? Format("%12.5g %+7.2f %%", *theory, 100 * (frequency / *theory - 1)) : std::string(22, ' ');
}

std::string Elements(const modal_Mesh& mesh) {
  std::map<std::string, std::size_t> counts;
  for (const modal_Block& block : mesh.solids)
    counts[block.type] += block.Elements();
  std::string text;
  for (const auto& [type, count] : counts)
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + type;
  return text;
}

void ReportBeam(std::ostream& out, const modal_Units& units, const modal_Beam& beam) {
  out << Format("a beam along %c: %g x %g x %g %s, %s\n", 'x' + beam.axis, beam.length, beam.width[0],
                beam.width[1], units.length,
                beam.ends == modal_Ends::kClampedFree ? "clamped at one end" : "free at both ends");
}

nlohmann::ordered_json Number(const std::optional<double>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

} // namespace

void modal_Report(std::ostream& out, const modal_Job& job, const std::string& name, const modal_Units& units,
                  const modal_Analysis& analysis) {
  const fesD_NodalDofDefinition& dofs = *analysis.dofs;
  out << job.file << ": " << analysis.mesh.Nodes() << " nodes, " << Elements(analysis.mesh) << '\n';
  for (const std::string& type : analysis.mesh.skipped)
    out << "left out: a block of " << type << '\n';
  out << Format("E = %g %s, nu = %g, rho = %g %s\n", job.material.young, units.stress, job.material.poisson,
                job.material.density, units.density)
      << dofs.NumberOfDofs() << " DOFs, " << dofs.NumberOfSolverDofs()
      << " of them free: " << analysis.clamped << " nodes clamped at " << job.clamp << '\n'
      << "bandwidth " << analysis.before.bandwidth << " as numbered, " << analysis.after.bandwidth
      << " in reverse Cuthill-McKee order; profile " << analysis.before.profile << " and "
      << analysis.after.profile << '\n';
  if (analysis.after.bandwidth > analysis.before.bandwidth)
    out << "(no failure: the mesh came numbered more tightly; the solver takes its order all the same)\n";
  if (analysis.beam)
    ReportBeam(out, units, *analysis.beam);
  out << "\nmode           Hz  motion            slender theory          Timoshenko\n";
  int number = 0;
  for (const modal_Comparison& mode : analysis.comparison) {
    const std::string kind = mode.number ? mode.kind + " " + std::to_string(mode.number) : mode.kind;
    std::string line = Format("%4d %12.5g  %-14s", ++number, mode.frequency, kind.c_str()) +
                       Beside(mode.frequency, mode.euler) + Beside(mode.frequency, mode.timoshenko);
    out << line.erase(line.find_last_not_of(' ') + 1) << '\n';
  }
  out << "\nstored as system '" << name << "'; residual " << Format("%.1e", analysis.modes.residual) << '\n';
}

void modal_ReportJson(std::ostream& out, const modal_Job& job, const std::string& name,
                      const modal_Analysis& analysis) {
  using Json = nlohmann::ordered_json;
  Json modes = Json::array();
  for (const modal_Comparison& mode : analysis.comparison)
    modes.push_back({{"frequency", mode.frequency},
                     {"kind", mode.kind},
                     {"number", mode.number},
                     {"slenderTheory", Number(mode.euler)},
                     {"timoshenko", Number(mode.timoshenko)}});
  const Json report{
      {"file", job.file},
      {"system", name},
      {"nodes", analysis.mesh.Nodes()},
      {"elements", analysis.mesh.Elements()},
      {"leftOut", analysis.mesh.skipped},
      {"clampedNodes", analysis.clamped},
      {"dofs", analysis.dofs->NumberOfDofs()},
      {"solverDofs", analysis.dofs->NumberOfSolverDofs()},
      {"bandwidth", {{"system", analysis.before.bandwidth}, {"solver", analysis.after.bandwidth}}},
      {"profile", {{"system", analysis.before.profile}, {"solver", analysis.after.profile}}},
      {"beam", analysis.beam.has_value()},
      {"rigidModes", analysis.rigid},
      {"residual", analysis.modes.residual},
      {"modes", modes}};
  out << report.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}
