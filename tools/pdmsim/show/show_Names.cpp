#include <pdmsim/show/show_Names.h>

#include <pdmsim/show/show_FileClasses.h>
#include <pdmsim/show/show_Values.h>

#include <algorithm>

namespace {

const show_Names* g_names = nullptr;

/// The only drawer of a field, over all items of a collection; an empty one when the field is not such.
ORXSimPersistentDrawerDesc WholeDrawer(ORXSimDistributionID id, ORXSimCollectionID collection) {
  if (id.IsNull() || collection.IsNull() || !show_Exists(id) || ORXSimDistributionRef(id).NumDrawers() != 1)
    return {};
  const ORXSimPersistentDrawerDesc drawer = ORXSimDistributionRef(id).Drawer(0);
  return drawer.Components() == 1 && drawer.CSet() == ORXSimCSetID(collection, 0)
             ? drawer
             : ORXSimPersistentDrawerDesc();
}

template <class T>
long long ReadOne(const ORXSimOpenDrawer& drawer, int row) {
  T value{};
  return drawer.Read(row, 1, &value, sizeof value) ? static_cast<long long>(value) : 0;
}

} // namespace

show_Names::show_Names(const msfD_DiscreteModel& model, ORXSimContextID context) {
  show_FileClasses classes(context);
  if (!model || classes.HasGrown(msfD_DiscreteModelTraits::kPersistentName) ||
      classes.HasGrown(msfD_MeshTraits::kPersistentName) || !model.mesh())
    return;
  const msfD_Mesh mesh = model.mesh();
  m_frames = model.frames();
  for (const auto& sets : {mesh.nodeSets(), mesh.elementSets(), mesh.regionSets()})
    AddSets(sets);
  AddLabels(mesh.nodes(), mesh.nodeFields());
  AddLabels(mesh.elements(), mesh.elementFields());
  AddLabels(mesh.regions(), mesh.regionFields());
  ReadTimes(mesh);
  m_stepFields = sto_StepFields(mesh);
}

show_NamesInUse::show_NamesInUse(const show_Names& names) {
  g_names = &names;
}

show_NamesInUse::~show_NamesInUse() {
  g_names = nullptr;
}

const show_Names& show_NamesInUse::Get() {
  static const show_Names none;
  return g_names == nullptr ? none : *g_names;
}

void show_Names::AddSets(const kda_MapString<ORXSimCSetID>& sets) {
  sets.ForEach([&](const kda_string& key, ORXSimCSetID id) {
    if (!id.IsNull() && id.Minor() != 0)
      m_sets.emplace(std::pair(id.CollectionMinor(), id.Minor()), key.cStr());
  });
}

void show_Names::AddLabels(ORXSimCollectionID collection, const kda_MapString<ORXSimDistributionID>& fields) {
  if (!collection.IsNull() && fields.isMember("label"))
    m_labels.emplace(collection.Minor(), fields.get("label"));
}

void show_Names::ReadTimes(const msfD_Mesh& mesh) {
  const auto fields = mesh.frameFields();
  if (!fields.isMember("time"))
    return;
  const ORXSimDistributionID id = fields.get("time");
  const ORXSimPersistentDrawerDesc drawer = WholeDrawer(id, m_frames);
  if (drawer.CSet().IsNull() || drawer.Type() != ORXSimItemType::kDouble || drawer.Items() < 1)
    return;
  m_times.resize(static_cast<std::size_t>(drawer.Items()));
  if (!ORXSimDistributionRef(id).ReadItems(0, 0, drawer.Items(), m_times.data(), drawer.Bytes()))
    m_times.clear();
}

std::string show_Names::Set(ORXSimCSetID id) const {
  const auto found = m_sets.find({id.CollectionMinor(), id.Minor()});
  return found == m_sets.end() ? "" : found->second;
}

std::vector<long long> show_Names::Labels(ORXSimCollectionID collection,
                                          const std::vector<int>& items) const {
  const auto found = m_labels.find(collection.Minor());
  if (found == m_labels.end() || items.empty())
    return {};
  const ORXSimPersistentDrawerDesc whole = WholeDrawer(found->second, collection);
  const bool isWide = whole.Type() == ORXSimItemType::kInt64;
  if (whole.CSet().IsNull() || (!isWide && whole.Type() != ORXSimItemType::kInt32) ||
      *std::max_element(items.begin(), items.end()) >= whole.Items())
    return {};
  const ORXSimOpenDrawer drawer = ORXSimDistributionRef(found->second).OpenDrawer(0);
  std::vector<long long> labels;
  for (const int item : items)
    labels.push_back(isWide ? ReadOne<std::int64_t>(drawer, item) : ReadOne<std::int32_t>(drawer, item));
  return labels;
}

std::optional<int> show_Names::Step(ORXSimDistributionID field, int drawer, int drawers) const {
  if (!m_stepFields.Has(field))
    return std::nullopt;
  // The first two steps tell, since fields may have thousands.
  const int each = sto_DrawersOfStep(drawers, static_cast<int>(m_times.size()), 2,
                                     [&](int i) { return ORXSimDistributionRef(field).Drawer(i); });
  return each == 0 ? std::nullopt : std::optional(drawer / each);
}
