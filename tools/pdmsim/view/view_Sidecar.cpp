#include <pdmsim/view/view_Sidecar.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/view/view_Fields.h>
#include <pdmsim/view/view_Grid.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <unistd.h>

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

void CheckTarget(const std::string& path, const view_Request& request) {
  std::error_code ignored;
  if (!fs::exists(fs::symlink_status(path, ignored)))
    return;
  if (!request.force)
    Refuse(path, "expected no file of that name, found one; --force replaces a view");
  if (path.ends_with(".series") ? !isSeries(path) : !view_IsView(path))
    Refuse(path, "expected a view to replace, found another file");
}

/// Files that go away again unless they are kept.
class Unfinished {
 public:
  explicit Unfinished(std::vector<std::string>& files) : m_files(files) {}
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;
  ~Unfinished() {
    for (const std::string& file : m_files)
      if (!m_kept)
        ::unlink(file.c_str());
  }
  void Keep() { m_kept = true; }

 private:
  std::vector<std::string>& m_files;
  bool m_kept = false;
};

/// Writes one file.
class Writer {
 public:
  Writer(const sto_Mesh& mesh, const view_Request& request, cli_Progress& progress, view_Summary& summary)
      : m_mesh(mesh), m_request(request), m_progress(progress), m_summary(summary) {}

  void Write(const std::string& path, std::optional<std::size_t> step) {
    const bool first = m_first.empty();
    view_Output output(path, m_mesh.Path(), m_request.numbers, m_first, m_progress);
    std::vector<std::string> notes;
    const bool steps = !step && !m_mesh.Times().empty();
    output.Numbers("Version", {steps ? 2 : 1, 0});
    output.Text("Type", "UnstructuredGrid");
    view_Grid(m_mesh, output, notes).Write();
    view_Fields fields(m_mesh, output, step, notes);
    fields.WriteLabels();
    fields.WriteSets();
    fields.WriteResults();
    if (m_request.system != nullptr)
      fields.WriteModes(*m_request.system);
    fields.WriteSteps();
    output.Finish();
    m_summary.files.push_back(path);
    if (!first)
      return;
    m_first = fs::path(path).filename().string();
    m_summary.arrays = output.Arrays();
    m_summary.notes = std::move(notes);
  }

 private:
  const sto_Mesh& m_mesh;
  const view_Request& m_request;
  cli_Progress& m_progress;
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

void WriteList(const std::string& path, const std::vector<std::string>& files,
               const std::vector<double>& times) {
  nlohmann::json list = nlohmann::json::array();
  for (std::size_t i = 0; i < files.size(); ++i)
    list.push_back({{"name", fs::path(files[i]).filename().string()}, {"time", times[i]}});
  const std::string unfinished = path + ".new-" + std::to_string(::getpid());
  std::ofstream out(unfinished, std::ios::trunc);
  out << nlohmann::json{{"file-series-version", "1.0"}, {"files", list}}.dump(1) << '\n';
  out.close();
  if (!out || std::rename(unfinished.c_str(), path.c_str()) != 0) {
    ::unlink(unfinished.c_str());
    Refuse(path, "cannot be written");
  }
}

void WriteSeries(Writer& writer, const sto_Mesh& mesh, const view_Request& request, view_Summary& summary) {
  const std::size_t steps = mesh.Times().size();
  if (steps == 0)
    Refuse(mesh.Path(), "expected steps for a series, found none", cli_Exit::kNotThere);
  const std::string list = request.out + ".series";
  CheckTarget(list, request);
  for (std::size_t step = 0; step < steps; ++step)
    CheckTarget(StepName(request.out, step, steps), request);
  for (std::size_t step = 0; step < steps; ++step)
    writer.Write(StepName(request.out, step, steps), step);
  WriteList(list, summary.files, mesh.Times());
  summary.files.insert(summary.files.begin(), list);
}

} // namespace

view_Summary view_Write(const sto_File& file, const view_Request& request, cli_Progress& progress) {
  if (request.numbers != view_Numbers::kCopied)
    CheckJournal(file.Path());
  const sto_Mesh mesh(file.Path(), file.Mesh());
  file.Check();
  view_Summary summary;
  Unfinished unfinished(summary.files);
  Writer writer(mesh, request, progress, summary);
  if (request.series) {
    WriteSeries(writer, mesh, request, summary);
  } else {
    CheckTarget(request.out, request);
    writer.Write(request.out, mesh.Times().size() == 1 ? std::optional<std::size_t>(0) : request.step);
  }
  file.Check();
  unfinished.Keep();
  for (const std::string& note : mesh.Notes())
    summary.notes.push_back("not shown: " + note);
  for (const std::string& one : summary.files)
    summary.bytes += fs::file_size(one);
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

bool view_IsView(const std::string& path) {
  return hdf_View::Has(path.c_str(), "VTKHDF") && !hdf_View::Has(path.c_str(), "sim");
}

std::vector<std::string> view_CheckSources(const std::string& path) {
  std::vector<hdf_View::Source> sources;
  if (!hdf_View::Sources(path.c_str(), sources))
    return {ORXSimManager::LastError()};
  std::vector<std::string> findings;
  std::string last;
  bool there = false;
  for (const hdf_View::Source& source : sources) {
    const std::string file = (fs::path(path).parent_path() / source.file).string();
    if (file != last) {
      last = file;
      std::error_code ignored;
      there = fs::is_regular_file(file, ignored);
      if (!there)
        findings.push_back("its source " + source.file +
                           " is not there: all that is mapped from it reads as zeros");
      else if (!view_IsView(file) && ORXSimJournal::Read(file.c_str()).exists)
        findings.push_back("its source " + source.file + " has a journal, which viewers do not see");
    }
    if (there && !hdf_View::HasDataset(file.c_str(), source.dataset.c_str()))
      findings.push_back("its source " + source.file + " has no dataset " + source.dataset +
                         " any more, which reads as zeros");
  }
  return findings;
}
