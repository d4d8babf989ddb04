#include <pdmsim/diff/diff_Mesh.h>

#include <pdmsim/stored/sto_Steps.h>

#include <algorithm>
#include <cmath>

namespace {

template <class T>
std::vector<std::string> keysOf(const kda_MapString<T>& map) {
  std::vector<std::string> keys;
  map.ForEach([&](const kda_string& key, const auto&) { keys.emplace_back(key.cStr()); });
  return keys;
}

/// One drawer of one number a row over all items of a collection.
bool isPlain(ORXSimDistributionID id, ORXSimCollectionID items) {
  const ORXSimDistributionRef distribution(id);
  if (id.IsNull() || distribution.NumDrawers() != 1)
    return false;
  const ORXSimPersistentDrawerDesc drawer = distribution.Drawer(0);
  return drawer.Components() == 1 && drawer.CSet().Minor() == 0 && drawer.CSet().Collection() == items;
}

} // namespace

diff_Mesh::diff_Mesh(diff_Files& files) : m_files(files) {
  for (const int side : {0, 1}) {
    const msfD_DiscreteModel model = files.File(side).Sim().discreteModel();
    m_mesh[side] = !model ? msfD_Mesh() : model.mesh();
    files.File(side).Check();
  }
  const msfD_Mesh &a = m_mesh[0], &b = m_mesh[1];
  if (!a || !b)
    return;
  MatchByLabel(a.nodes(), b.nodes(), a.nodeFields(), b.nodeFields());
  MatchByLabel(a.elements(), b.elements(), a.elementFields(), b.elementFields());
  MatchRegions();
  MatchSteps();
  MatchKeys("nodeSetLabel", keysOf(a.nodeSets()), keysOf(b.nodeSets()));
  MatchKeys("elementSetLabel", keysOf(a.elementSets()), keysOf(b.elementSets()));
  MatchKeys("surfaceLabel", keysOf(a.surfaces()), keysOf(b.surfaces()));
  diff_Counts& counts = files.Report().counts;
  counts.nodes = a.nodes().IsNull() ? 0 : ORXSimCollectionRef(a.nodes()).NumItems();
  counts.elements = a.elements().IsNull() ? 0 : ORXSimCollectionRef(a.elements()).NumItems();
}

/// The user's numbers: 1, 2, 3... where there are none.
std::vector<std::int64_t> diff_Mesh::Labels(int side, const FieldMap& fields,
                                            ORXSimCollectionID items) const {
  std::vector<std::int64_t> labels(diff_Size(ORXSimCollectionRef(items).NumItems()));
  const ORXSimDistributionID id = fields.get("label");
  if (isPlain(id, items)) {
    const diff_Reader reader(id, 0);
    if (reader.Type() == ORXSimItemType::kInt32 || reader.Type() == ORXSimItemType::kInt64) {
      reader.Read(0, labels.size(), labels, m_files.Progress());
      return labels;
    }
  }
  for (std::size_t i = 0; i < labels.size(); ++i)
    labels[i] = static_cast<std::int64_t>(i) + 1;
  m_files.File(side).Check();
  return labels;
}

void diff_Mesh::MatchByLabel(ORXSimCollectionID a, ORXSimCollectionID b, const FieldMap& fieldsA,
                             const FieldMap& fieldsB) {
  if (a.IsNull() || b.IsNull())
    return;
  const bool labels = !m_files.Wishes().byItem && (fieldsA.isMember("label") || fieldsB.isMember("label"));
  m_files.Match(a, b,
                labels ? diff_Matching(Labels(0, fieldsA, a), Labels(1, fieldsB, b))
                       : diff_Matching(ORXSimCollectionRef(a).NumItems(), ORXSimCollectionRef(b).NumItems()));
}

/// Regions go together by the names of the sets that have one region alone.
void diff_Mesh::MatchRegions() {
  const ORXSimCollectionID regions[2] = {m_mesh[0].regions(), m_mesh[1].regions()};
  if (regions[0].IsNull() || regions[1].IsNull() || m_files.Wishes().byItem)
    return;
  std::vector<std::string> names[2];
  for (const int side : {0, 1}) {
    names[side].resize(diff_Size(ORXSimCollectionRef(regions[side]).NumItems()));
    m_mesh[side].regionSets().ForEach([&](const kda_string& key, ORXSimCSetID set) {
      if (!set.IsNull() && set.Collection() == regions[side] && ORXSimCSet(set).Size() == 1)
        if (std::string& name = names[side][diff_Size(m_files.Members(set)[0])]; name.empty())
          name = key.cStr();
    });
    for (std::size_t i = 0; i < names[side].size(); ++i)
      if (names[side][i].empty())
        names[side][i] = "region " + std::to_string(i);
  }
  m_files.Match(regions[0], regions[1], {names[0], names[1]});
}

void diff_Mesh::MatchSteps() {
  const ORXSimCollectionID frames[2] = {m_files.File(0).Sim().discreteModel().frames(),
                                        m_files.File(1).Sim().discreteModel().frames()};
  if (frames[0].IsNull() || frames[1].IsNull())
    return;
  double greatest = 0;
  for (const int side : {0, 1}) {
    const ORXSimDistributionID id = m_mesh[side].frameFields().get("time");
    if (isPlain(id, frames[side]))
      diff_Reader(id, 0).Read(0, diff_Size(ORXSimCollectionRef(frames[side]).NumItems()), m_times[side],
                              m_files.Progress());
    for (const double time : m_times[side])
      greatest = std::max(greatest, std::fabs(time));
  }
  const int counts[2] = {ORXSimCollectionRef(frames[0]).NumItems(),
                         ORXSimCollectionRef(frames[1]).NumItems()};
  const bool timed = m_times[0].size() == diff_Size(counts[0]) && m_times[1].size() == diff_Size(counts[1]);
  const double asked = m_files.Wishes().timeTolerance;
  m_timeTolerance = asked < 0 ? 1e-9 * greatest : asked;
  m_frames = timed ? diff_Matching::ByTime(m_times[0], m_times[1], m_timeTolerance)
                   : diff_Matching(counts[0], counts[1]);
  m_files.Match(frames[0], frames[1], m_frames);
  m_files.Report().counts.steps = counts[0] - std::ssize(m_frames.Only(0));
  for (const int side : {0, 1})
    for (const int step : m_frames.Only(side))
      m_files.Report().Only(side, "discreteModel/frames",
                            "step " + std::to_string(step) +
                                (timed ? " (time " + diff_Number(m_times[side][diff_Size(step)]) + ")" : "") +
                                " of");
}

/// The items of a field that says something of each entry of a map go together by the entries' keys.
void diff_Mesh::MatchKeys(const char* field, const std::vector<std::string>& a,
                          const std::vector<std::string>& b) {
  const std::vector<std::string>* const keys[2] = {&a, &b};
  ORXSimCollectionID items[2];
  for (const int side : {0, 1}) {
    const ORXSimDistributionID id = m_mesh[side].meshFields().get(field);
    if (id.IsNull() || ORXSimDistributionRef(id).NumDrawers() != 1)
      return;
    items[side] = ORXSimDistributionRef(id).Drawer(0).CSet().Collection();
    if (!isPlain(id, items[side]) ||
        diff_Size(ORXSimCollectionRef(items[side]).NumItems()) != keys[side]->size())
      return;
  }
  m_files.Match(items[0], items[1], {a, b});
}

/// Rows for a set of the mesh name it in their long name; rows for sides stand as the surface's own do.
void diff_Mesh::Group(int side, const ORXSimPersistentDrawerDesc& drawer,
                      const std::vector<diff_Column>& before, diff_Column& column, bool sides) const {
  const std::string name(drawer.LongName().CStr());
  const msfD_Mesh& mesh = m_mesh[side];
  const kda_string key(name.c_str());
  const bool ofSurface = sides && mesh.surfaces().isMember(key);
  if (name.empty() || !(ofSurface || mesh.nodeSets().isMember(key) || mesh.elementSets().isMember(key)))
    return;
  column.group = name;
  if (!ofSurface)
    return;
  const auto place = static_cast<int>(
      std::count_if(before.begin(), before.end(), [&](const diff_Column& one) { return one.group == name; }));
  const ORXSimDistributionID surface = mesh.surfaces().get(key);
  if (place >= ORXSimDistributionRef(surface).NumDrawers())
    return;
  const ORXSimPersistentDrawerDesc own = ORXSimDistributionRef(surface).Drawer(place);
  if (own.CSet() == drawer.CSet() && own.Type() == ORXSimItemType::kInt32 && own.Components() == 1)
    diff_Reader(surface, place).Read(0, diff_Size(own.Items()), column.sides, m_files.Progress());
}

void diff_Mesh::CompareField(const std::string& path, const std::string& member, const std::string& name,
                             ORXSimDistributionID a, ORXSimDistributionID b) {
  if (member == "surfaces")
    return CompareSurface(path, a, b);
  if (member == "elementFields" && name == "connectivity")
    return CompareConnectivity(path, a, b);
  const bool overSteps = member == "nodeFields" || member == "elementFields" || member == "surfaceFields" ||
                         member == "regionFields" || member == "localNodeFields";
  diff_Steps steps{overSteps ? &m_frames : nullptr, m_times[0],
                   member == "frameFields" && name == "time" ? m_timeTolerance : 0};
  steps.constant = !sto_IsResult(member, name);
  const diff_Grouping grouping = [&](int side, const ORXSimPersistentDrawerDesc& drawer,
                                     const std::vector<diff_Column>& before, diff_Column& column) {
    if (overSteps)
      Group(side, drawer, before, column, member == "surfaceFields");
  };
  diff_Field(m_files, path, name, a, b, steps, grouping).Compare();
}
