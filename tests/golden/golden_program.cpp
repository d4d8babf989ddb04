// The library's side of golden_test.py: prints all that a file holds in the words of golden_text.py.
// Usage: golden_program read|live|write|grow FILE
#include <campaign/camp_State.h>

#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

namespace {

std::string hex(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4];
    text += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

void print(const camp_Drawer& drawer, const ORXSimPersistentDrawerDesc& described) {
  constexpr const char* kTypes[] = {"<i4", "<i8", "<f4", "<f8"};
  std::printf(" drawer over %d.%d %s x %d [%s] '%s' chunk %d deflate %d: %s\n", drawer.collection, drawer.set,
              kTypes[static_cast<int>(drawer.type)], drawer.components, described.Unit().CStr(),
              described.LongName().CStr(), described.ChunkItems(), described.Deflate(),
              hex(drawer.rows.Bytes()).c_str());
}

void print(const msfD_Sim& sim) {
  camp_State state = camp_State::Read(sim);
  int minor = 0;
  for (const camp_Collection& collection : state.collections) {
    std::printf("collection %d %s %d\n", ++minor, collection.name.c_str(), collection.items);
    for (const std::vector<int>& set : collection.sets) {
      std::printf(" set");
      for (const int member : set)
        std::printf(" %d", member);
      std::printf("\n");
    }
  }
  for (const ORXSimDistributionID id : ORXSimStore(sim.distributionService().Context()).Distributions()) {
    const camp_Distribution& distribution = state.distributions[static_cast<std::size_t>(id.Minor() - 1)];
    std::printf("distribution %d %s [%s]\n", id.Minor(), distribution.name.c_str(),
                distribution.unit.c_str());
    for (std::size_t i = 0; i < distribution.drawers.size(); ++i)
      print(distribution.drawers[i], ORXSimDistributionRef(id).Drawer(static_cast<int>(i)));
  }
  state.collections.clear();
  state.distributions.clear();
  std::fputs(state.Text().c_str(), stdout);
}

/// Sets a member that is null in every golden file, and adds a drawer to the first distribution.
void grow(const msfD_Sim& sim) {
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  mesh.Faces(mesh.nodes());
  const ORXSimDistributionRef field(ORXSimStore(sim.distributionService().Context()).Distributions().front());
  const ORXSimCollectionRef nodes(mesh.nodes());
  std::vector<std::int32_t> rows(static_cast<std::size_t>(nodes.NumItems()));
  std::iota(rows.begin(), rows.end(), 0);
  const int drawer = field.AddDrawer(
      {.members = nodes.FullCSet(), .type = ORXSimItemType::kInt32, .unit = "1", .longName = "grown"});
  field.WriteItems(drawer, 0, nodes.NumItems(), rows.data(), 4 * nodes.NumItems());
}

msfD_Sim open(msfD_Root& root, const std::string& how, const char* file) {
  if (how == "read" || how == "live")
    return root.openSimReadOnly(file, "", how == "live" ? 3 : -1);
  return root.openSim(file, "", -1);
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3)
    return 2;
  const std::string how = argv[1];
  int modules = 0, code = 0;
  DDB_PDM_Core_initialize(modules);
  {
    msfD_Root root(0);
    const msfD_Sim sim = open(root, how, argv[2]);
    if (!sim) {
      std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
      code = 1;
    } else {
      if (how == "grow")
        grow(sim);
      print(sim);
    }
  }
  DDB_PDM_Core_finalize(modules);
  return code;
}
