// Writes golden files. It is built only when it is asked for: what it once wrote is kept and never made anew.
// Usage: golden_write store FILE         one of everything that the store knows
//        golden_write hot FILE OPTION    dies in its sixth commit, with context option 1 or 2
#include <PDM_Core.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

ORXSimCollectionID collection(ORXSimContextID file, const char* name, int items) {
  return ORXSimCollectionRef::Create(file, name, items);
}

ORXSimCSetID all(ORXSimCollectionID id) {
  return ORXSimCollectionRef(id).FullCSet();
}

/// Every third number down from the last.
ORXSimCSetID someOf(ORXSimCollectionID id, int count) {
  std::vector<int> members;
  for (int i = ORXSimCollectionRef(id).NumItems() - 1; count > 0; i -= 3, --count)
    members.push_back(i);
  return ORXSimCollectionRef(id).CreateOrderedCSet(members.data(), static_cast<int>(members.size()));
}

ORXSimDistributionID field(ORXSimContextID file, const char* name, const char* unit,
                           const std::vector<ORXSimDrawerDescription>& drawers) {
  return ORXSimDistributionRef::Create(file, name, unit, drawers.data(), static_cast<int>(drawers.size()));
}

/// Rows [first, first + count) of a drawer: small numbers that deflate well and differ from row to row.
template <class T>
void fillAs(ORXSimDistributionID id, int drawer, int first, int count) {
  const ORXSimDistributionRef distribution(id);
  const int components = distribution.Drawer(drawer).Components();
  std::vector<T> values(static_cast<std::size_t>(count) * static_cast<std::size_t>(components));
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<T>((i * 7 + static_cast<std::size_t>(drawer)) % 97) / 4 - 10;
  distribution.WriteItems(drawer, first, count, values.data(),
                          static_cast<std::int64_t>(values.size() * sizeof(T)));
}

void fill(ORXSimDistributionID id, int drawer, int first, int count) {
  switch (ORXSimDistributionRef(id).Drawer(drawer).Type()) {
  case ORXSimItemType::kInt32:
    return fillAs<std::int32_t>(id, drawer, first, count);
  case ORXSimItemType::kInt64:
    return fillAs<std::int64_t>(id, drawer, first, count);
  case ORXSimItemType::kFloat:
    return fillAs<float>(id, drawer, first, count);
  case ORXSimItemType::kDouble:
    return fillAs<double>(id, drawer, first, count);
  }
}

/// A drawer of each type, each contiguous, in chunks that the rows do not fill, deflated, and both.
ORXSimDistributionID everyDrawer(ORXSimContextID file, ORXSimCSetID rows) {
  std::vector<ORXSimDrawerDescription> drawers;
  for (const auto type :
       {ORXSimItemType::kInt32, ORXSimItemType::kInt64, ORXSimItemType::kFloat, ORXSimItemType::kDouble})
    for (const auto& [chunk, deflate] : {std::pair{0, 0}, {64, 0}, {0, 1}, {70, 9}}) {
      const int number = static_cast<int>(drawers.size());
      drawers.push_back({.members = rows,
                         .type = type,
                         .components = 1 + number % 3,
                         .unit = number % 2 == 0 ? "" : "m/s\xc2\xb2",
                         .chunkItems = chunk,
                         .deflate = deflate});
      drawers.back().longName = std::string(static_cast<std::size_t>(25 * number), 'n').c_str();
    }
  const ORXSimDistributionID id = field(file, "every drawer", "kg", drawers);
  for (int i = 0; i < static_cast<int>(drawers.size()); ++i)
    fill(id, i, 0, ORXSimCSet(rows).Size());
  return id;
}

/// Drawers of several blocks of checksums: whole, written in part, never written; and one without rows.
ORXSimDistributionID blocks(ORXSimContextID file) {
  const ORXSimCollectionID samples = collection(file, "samples", 40'000), none = collection(file, "", 0);
  const ORXSimDrawerDescription many{.members = all(samples), .chunkItems = 1000, .deflate = 9};
  const ORXSimDistributionID id = field(file, "blocks", "", {many, many, many, {.members = all(none)}});
  fill(id, 0, 0, 40'000);
  fill(id, 1, 9000, 12'345);
  return id;
}

void describeModel(ORXSimContextID file, const msfD_DiscreteModel& model) {
  model.LocalFaces(collection(file, "local faces", 6));
  model.Frames(collection(file, "frames", 3));
  model.IntegrationPoints(collection(file, "integration points", 8));
  model.SectionPoints(collection(file, "section points", 5));
  model.Components(collection(file, "components", 9));
  kda_MapString<ORXSimCSetID> sets;
  sets.insert("top", someOf(model.sectionPoints(), 1));
  model.SectionPointSets(sets);
}

void describeMesh(ORXSimContextID file, const msfD_Mesh& mesh) {
  kda_MapString<ORXSimCSetID> sets;
  sets.insert("", someOf(mesh.nodes(), 0));
  sets.insert("in the object's header", someOf(mesh.nodes(), 40));
  sets.insert(std::string(300, 's').c_str(), someOf(mesh.nodes(), 260));
  sets.insert("\xff", {});
  mesh.NodeSets(sets);
  mesh.LagrangeNodes(sets.get("in the object's header"));
  kda_MapString<ORXSimDistributionID> fields;
  fields.insert("every drawer", everyDrawer(file, sets.get(std::string(300, 's').c_str())));
  fields.insert("blocks", blocks(file));
  fields.insert("no drawers", field(file, "no drawers", "", {}));
  fields.insert("null", {});
  mesh.NodeFields(fields);
}

msfD_Mesh create(msfD_Root& root, const char* path, int option, int nodes) {
  const msfD_Sim sim = root.createSim(path, "golden", option);
  const ORXSimContextID file = sim.distributionService().Context();
  ORXSimUpdate update(file);
  const msfD_DiscreteModel model =
      sim.DiscreteModel(msfD_DiscreteModel::New(collection(file, "vectors", 3), {}, 0));
  const msfD_Mesh mesh = model.Mesh(
      msfD_Mesh::New(collection(file, "Kn\xc3\xb6ten", nodes), collection(file, "elements", 90), 0));
  mesh.systems().add(fesD_FESystem::New("commit 0", {}, {}, 0));
  update.Commit();
  return mesh;
}

void writeStore(const char* path) {
  msfD_Root root(0);
  const msfD_Mesh mesh = create(root, path, 1, 1000);
  const ORXSimContextID file = root.get(0).distributionService().Context();
  ORXSimUpdate update(file);
  describeModel(file, root.get(0).discreteModel());
  describeMesh(file, mesh);
  update.Commit();
}

/// Changes every kind of thing: a member, rows that are there already, and new objects of the store.
void change(ORXSimContextID file, const msfD_Mesh& mesh, int number) {
  const ORXSimDistributionID history = mesh.nodeFields().get("history");
  mesh.systems().get(0).SystemName(("commit " + std::to_string(number)).c_str());
  const ORXSimDistributionRef drawers(history);
  drawers.AddDrawer({.members = someOf(mesh.nodes(), number), .components = 2, .unit = "N"});
  fill(history, number, 0, number);
  fill(history, 0, 10 * number, 20);
  collection(file, ("made by commit " + std::to_string(number)).c_str(), number);
}

/// The next write this far behind the journal's committed part is cut short, and the one after it ends the
/// process: the last update is left in the journal with one frame and a half.
void dieBehind(std::int64_t journalBytes) {
  std::signal(SIGXFSZ, SIG_DFL);
  const rlimit none{0, 0};
  rlimit size{};
  ::getrlimit(RLIMIT_FSIZE, &size);
  size.rlim_cur = static_cast<rlim_t>(journalBytes + 4120 + 2000);
  ::setrlimit(RLIMIT_CORE, &none);
  ::setrlimit(RLIMIT_FSIZE, &size);
}

void writeHot(const char* path, int option) {
  msfD_Root root(0);
  {
    const msfD_Mesh mesh = create(root, path, option, 100);
    kda_MapString<ORXSimDistributionID> fields;
    fields.insert("history", field(root.get(0).distributionService().Context(), "history", "s",
                                   {{.members = all(mesh.nodes()), .type = ORXSimItemType::kFloat}}));
    mesh.NodeFields(fields);
  }
  root.closeSim(root.get(0));
  const msfD_Mesh mesh = root.openSim(path, "golden", option).discreteModel().mesh();
  const ORXSimContextID file = root.get(0).distributionService().Context();
  for (int number = 1; number <= 6; ++number) {
    ORXSimUpdate update(file);
    change(file, mesh, number);
    if (number == 6)
      dieBehind(ORXSimContextRef(file).LastCommit().journalBytes);
    if (update.Commit())
      std::printf("commit %d is in the file\n", number);
    std::fflush(stdout);
  }
}

} // namespace

int main(int argc, char** argv) {
  const bool hot = argc == 4 && std::strcmp(argv[1], "hot") == 0;
  if (!hot && (argc != 3 || std::strcmp(argv[1], "store") != 0))
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  if (hot)
    writeHot(argv[2], std::atoi(argv[3]));
  else
    writeStore(argv[2]);
  DDB_PDM_Core_finalize(modules);
  return 0;
}
