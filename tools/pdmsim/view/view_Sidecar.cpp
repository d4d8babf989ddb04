#include <pdmsim/view/view_Sidecar.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_NewFiles.h>
#include <pdmsim/view/view_Fields.h>
#include <pdmsim/view/view_Grid.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <set>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Refuse(const std::string& file, const std::string& what,
                         cli_Exit exit = cli_Exit::kUnusable) {
  throw cli_Failure(exit, file + ": " + what);
}

void CheckJournal(const std::string& file) {
  const ORXSimJournalInfo journal = ORXSimJournal::Read(file.c_str());
  if (journal.writerAtWork)
    Refuse(file, "expected a file that nobody writes to, found a writer at work, whose journal viewers do "
                 "not see; make the view when it has closed the file");
  if (journal.exists || journal.missing)
    Refuse(file, "expected a file without a journal, which viewers do not see, found one; "
                 "pdmsim recover brings it into the file");
}

bool isSeries(const std::string& path) {
  std::ifstream file(path);
  const nlohmann::json list = nlohmann::json::parse(file, nullptr, false);
  return list.is_object() && list.contains("file-series-version");
}

const cli_Replaced kView{"a view", view_IsView};
const cli_Replaced kList{"a list of views", isSeries};

/// Writes one file.
class Writer {
 public:
  Writer(const sto_Mesh& mesh, const view_Request& request, cli_Progress& progress, cli_NewFiles& files,
         view_Summary& summary)
      : m_mesh(mesh), m_request(request), m_progress(progress), m_files(files), m_summary(summary) {}

  void Write(const std::string& path, std::optional<std::size_t> step) {
    const bool first = m_first.empty();
    view_Output output(path, m_files.Add(path, kView), m_mesh.Path(), m_request.numbers, m_first, m_progress);
    output.Remember(m_mesh.Nodes(), m_mesh.Elements(), m_request.series);
    std::vector<std::string> notes = view_WriteMesh(m_mesh, step, m_request.system, output);
    m_summary.files.push_back(path);
    if (!first)
      return;
    m_first = cli_LinkTarget(path);
    m_summary.arrays = output.Arrays();
    m_summary.notes = std::move(notes);
  }

 private:
  const sto_Mesh& m_mesh;
  const view_Request& m_request;
  cli_Progress& m_progress;
  cli_NewFiles& m_files;
  view_Summary& m_summary;
  std::string m_first;
};

/// "NAME_007.hdf", of as many digits as the last step needs.
std::string StepName(const std::string& out, std::size_t step, std::size_t steps) {
  std::string number = std::to_string(step);
  number.insert(0, std::to_string(steps - 1).size() - number.size(), '0');
  const std::size_t dot = out.rfind('.');
  return out.substr(0, dot) + "_" + number + out.substr(dot);
}

std::string ListOf(const std::vector<std::string>& files, const std::vector<double>& times) {
  nlohmann::json list = nlohmann::json::array();
  for (std::size_t i = 0; i < files.size(); ++i)
    list.push_back({{"name", fs::path(files[i]).filename().string()}, {"time", times[i]}});
  return nlohmann::json{{"file-series-version", "1.0"}, {"files", list}}.dump(1) + '\n';
}

/// Steps of an older series beside the new one would still be listed by viewers, which go by names.
void RemoveOlder(const std::string& list, const std::vector<std::string>& steps, cli_NewFiles& files) {
  std::set<std::string> kept; // all lie in one folder, however its name is written
  for (const std::string& step : steps)
    kept.insert(fs::path(step).filename());
  std::ifstream stored(list);
  const nlohmann::json older = nlohmann::json::parse(stored, nullptr, false);
  if (!older.is_object() || !older.contains("files") || !older["files"].is_array())
    return;
  for (const nlohmann::json& one : older["files"]) {
    if (!one.is_object() || !one.contains("name") || !one["name"].is_string())
      continue;
    const std::string name = one["name"], path = (fs::path(list).parent_path() / name).string();
    if (fs::path(name).filename() == name && !kept.contains(name) && view_IsView(path))
      files.Remove(path);
  }
}

void WriteSeries(Writer& writer, const sto_Mesh& mesh, const std::string& out, cli_NewFiles& files,
                 view_Summary& summary) {
  const std::size_t steps = mesh.Times().size();
  if (steps == 0)
    Refuse(mesh.Path(), "expected steps for a series, found none", cli_Exit::kNotThere);
  const std::string list = out + ".series";
  files.CheckName(list, kList);
  for (std::size_t step = 0; step < steps; ++step)
    files.CheckName(StepName(out, step, steps), kView);
  for (std::size_t step = 0; step < steps; ++step)
    writer.Write(StepName(out, step, steps), step);
  RemoveOlder(list, summary.files, files);
  files.Write(list, ListOf(summary.files, mesh.Times()), kList);
  summary.files.insert(summary.files.begin(), list);
}

} // namespace

std::vector<std::string> view_WriteMesh(const sto_Mesh& mesh, std::optional<std::size_t> step,
                                        const sto_ModalSystem* system, view_Output& output) {
  std::vector<std::string> notes;
  if (mesh.Times().size() == 1)
    step = 0;
  const bool steps = !step && !mesh.Times().empty();
  output.Numbers("Version", {steps ? 2 : 1, 0});
  output.Text("Type", "UnstructuredGrid");
  view_Grid(mesh, output, notes).Write();
  view_Fields fields(mesh, output, step, notes);
  fields.WriteLabels();
  fields.WriteSets();
  fields.WriteResults();
  if (!output.Maps())
    fields.WriteIds();
  if (system != nullptr)
    fields.WriteModes(*system);
  fields.WriteSteps();
  output.Finish();
  return notes;
}

view_Summary view_Write(const sto_File& file, const view_Request& request, cli_Progress& progress) {
  if (request.numbers != view_Numbers::kCopied)
    CheckJournal(file.Path());
  const sto_Mesh mesh(file.Path(), file.Mesh());
  file.Check();
  view_Summary summary;
  cli_NewFiles files(request.force);
  files.Spare(file.Path());
  Writer writer(mesh, request, progress, files, summary);
  if (request.series)
    WriteSeries(writer, mesh, request.out, files, summary);
  else
    writer.Write(request.out, request.step);
  file.Check();
  files.Commit();
  summary.bytes = files.Bytes();
  for (const std::string& note : mesh.Notes())
    summary.notes.push_back("not shown: " + note);
  return summary;
}

const sto_ModalSystem* view_FindSystem(const std::string& file, const std::vector<sto_ModalSystem>& systems,
                                       const std::string& name) {
  const sto_ModalSystem* found = nullptr;
  std::string names;
  for (const sto_ModalSystem& system : systems) {
    names += (names.empty() ? "'" : ", '") + system.name + "'";
    if (name.empty() ? system.shapeCount > 0 : system.name == name) {
      if (found != nullptr)
        return nullptr;
      found = &system;
    }
  }
  for (const sto_ModalSystem& system : systems)
    if (found == nullptr && name == std::to_string(system.number))
      found = &system;
  if (found == nullptr && !name.empty())
    Refuse(file, "expected a modal system '" + name + "', found " + (names.empty() ? "none" : names),
           cli_Exit::kNotThere);
  return found;
}

bool view_IsForViewers(const std::string& path) {
  return hdf_View::Has(path.c_str(), "VTKHDF") && !hdf_View::Has(path.c_str(), "sim");
}

bool view_IsView(const std::string& path) {
  return view_IsForViewers(path) && hdf_View::Has(path.c_str(), view_Record::kGroup);
}
