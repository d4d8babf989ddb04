#include <pdmsim/view/view_Sources.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/stored/sto_File.h>
#include <pdmsim/view/view_Record.h>
#include <pdmsim/view/view_Sidecar.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// Differences between what a view was made of and what is there.
class Differences {
 public:
  /// \param sources  of the view, ascending.
  Differences(const std::string& view, const std::vector<hdf_View::Source>& sources)
      : m_view(view), m_sources(sources), m_recorded(m_record.Read(view)) {}

  /// Those of one source, in one line; "" for none.
  std::string Of(const std::string& name) {
    const std::string file = Path(name);
    m_first.clear();
    m_count = 0;
    if (m_recorded && name == m_record.file)
      try {
        CompareSimulation(file);
      } catch (const cli_Failure& failure) {
        return failure.what();
      }
    const hdf_ForeignFile stored(file);
    for (const hdf_View::Source& source : m_sources)
      if (source.file == name)
        CompareDataset(stored, source);
    if (m_count == 0)
      return {};
    return "it is not what the view was made of: " + m_first +
           (m_count > 1 ? " (and " + std::to_string(m_count - 1) + " more differences)" : "") +
           "; pdmsim view " + Path(m_record.file) + Options() + " --force makes it anew";
  }

  /// True when one that has all that was mapped is another file all the same.
  bool IsAnother(const std::string& name) const {
    return m_recorded && name == m_record.file && view_FileId(Path(name)) != m_record.id &&
           !m_record.HasCopied(Path(name));
  }

  /// Names are relative to where the view itself lies, whatever links lead to it.
  std::string Path(const std::string& name) const {
    std::error_code ignored;
    const fs::path real = fs::canonical(m_view, ignored);
    return ((ignored ? fs::path(m_view) : real).parent_path() / name).string();
  }

 private:
  void Add(const std::string& difference) {
    if (m_count++ == 0)
      m_first = difference;
  }

  void Expect(const std::string& what, std::int64_t expected, std::int64_t found) {
    if (expected != found)
      Add("it has " + std::to_string(found) + " " + what + ", and had " + std::to_string(expected));
  }

  void CompareSimulation(const std::string& file) {
    const sto_File simulation({file, 0, false});
    const msfD_Mesh mesh = simulation.Mesh();
    const auto items = [](ORXSimCollectionID id) {
      return id.IsNull() ? 0 : ORXSimCollectionRef(id).NumItems();
    };
    Expect("nodes", m_record.nodes, items(mesh.nodes()));
    Expect("elements", m_record.elements, items(mesh.elements()));
  }

  void CompareDataset(const hdf_ForeignFile& stored, const hdf_View::Source& source) {
    const std::string found = view_Describe(stored, source.dataset);
    const auto expected = m_record.datasets.find({source.file, source.dataset});
    if (found.empty())
      Add("it has no dataset " + source.dataset + " any more, which reads as zeros");
    else if (expected != m_record.datasets.end() && expected->second != found)
      Add("its dataset " + source.dataset + " is " + found + ", and was " + expected->second);
  }

  std::string Options() const {
    if (m_record.series)
      return " --series";
    const fs::path usual = fs::path(Path(m_record.file)).replace_extension(".hdf");
    return usual.lexically_normal() == fs::path(m_view).lexically_normal() ? "" : " -o " + m_view;
  }

  const std::string& m_view;
  const std::vector<hdf_View::Source>& m_sources;
  view_Record m_record;
  bool m_recorded;
  std::string m_first;
  std::size_t m_count = 0;
};

} // namespace

std::vector<view_Finding> view_CheckSources(const std::string& path) {
  std::vector<hdf_View::Source> sources;
  if (!hdf_View::Sources(path.c_str(), sources))
    return {{ORXSimManager::LastError()}};
  Differences differences(path, sources);
  std::vector<view_Finding> findings;
  std::string last;
  for (const hdf_View::Source& source : sources) {
    if (source.file == std::exchange(last, source.file))
      continue;
    const std::string file = differences.Path(source.file), its = "its source " + source.file;
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored))
      findings.push_back({its + " is not there: all that is mapped from it reads as zeros"});
    else if (!view_IsForViewers(file) && ORXSimJournal::Read(file.c_str()).exists)
      findings.push_back({its + " has a journal, which viewers do not see"});
    else if (const std::string difference = differences.Of(source.file); !difference.empty())
      findings.push_back({its + " cannot be shown: " + difference});
    else if (differences.IsAnother(source.file))
      findings.push_back(
          {its + " has been made anew since: sets and whatever else was copied are of before", true});
  }
  return findings;
}
