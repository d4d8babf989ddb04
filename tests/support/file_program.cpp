// The library's side of tests in Python. Usage: file_program COMMAND FILE
//   read, live, write, scratch: prints all that the file holds, opened so, in the words of golden_text.py
//   grow: changes a little first     die: commits a change and is killed
//   gaps: adds a distribution of which little is written     modes: adds a system of two modes
//   follow: a solver: the node field "load" has a step more for each line that comes in, and says so
#include <support/sys_ObjectText.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

namespace {

void print(const ORXSimDistributionRef& distribution, int number) {
  constexpr const char* kTypes[] = {"<i4", "<i8", "<f4", "<f8"};
  const ORXSimPersistentDrawerDesc drawer = distribution.Drawer(number);
  std::string bytes(static_cast<std::size_t>(drawer.Bytes()), '\0');
  if (!distribution.ReadItems(number, 0, drawer.Items(), bytes.data(), drawer.Bytes()))
    bytes = "unreadable";
  std::printf(" drawer over %d.%d %s x %d [%s] '%s' chunk %d deflate %d: ", drawer.CSet().CollectionMinor(),
              drawer.CSet().Minor(), kTypes[static_cast<int>(drawer.Type())], drawer.Components(),
              drawer.Unit().CStr(), drawer.LongName().CStr(), drawer.ChunkItems(), drawer.Deflate());
  for (const char byte : bytes)
    std::printf("%02x", static_cast<unsigned char>(byte));
  std::printf("\n");
}

void print(const msfD_Sim& sim) {
  const ORXSimStore store(sim.distributionService().Context());
  int minor = 0;
  for (const ORXSimCollectionID id : store.Collections()) {
    const ORXSimCollectionRef collection(id);
    std::printf("collection %d %s %d\n", ++minor, collection.Name().CStr(), collection.NumItems());
    for (const ORXSimCSetID set : collection.CSets()) {
      std::vector<int> members(static_cast<std::size_t>(ORXSimCSet(set).Size()));
      if (!ORXSimCSet(set).OrderedMembers(members.data(), static_cast<int>(members.size())))
        members.assign(1, -1);
      std::printf(" set");
      for (const int member : members)
        std::printf(" %d", member);
      std::printf("\n");
    }
  }
  for (const ORXSimDistributionID id : store.Distributions()) {
    const ORXSimDistributionRef distribution(id);
    std::printf("distribution %d %s [%s]\n", id.Minor(), distribution.Name().CStr(),
                distribution.Unit().CStr());
    for (int i = 0; i < distribution.NumDrawers(); ++i)
      print(distribution, i);
  }
  std::fputs(sys_ObjectText(sim).c_str(), stdout);
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

// Chunked drawers of 24 MB each: of two some rows are written, of the third none.
bool makeGaps(const char* file) {
  constexpr int kRows = 1'000'000;
  const ORXSimContextID context = ORXSimManager::OpenContext(file, 0, 102, false, 1);
  ORXSimUpdate update(context);
  const ORXSimCollectionRef rows(ORXSimCollectionRef::Create(context, "sparse", kRows));
  const ORXSimDrawerDescription drawer{.members = rows.FullCSet(), .components = 3, .chunkItems = 1000};
  ORXSimDrawerDescription drawers[3] = {drawer, drawer, drawer};
  drawers[1].deflate = 1;
  const ORXSimDistributionRef gaps(ORXSimDistributionRef::Create(context, "gaps", "", drawers, 3));
  const double row[2][3] = {{1, 2, 3}, {4, 5, 6}};
  bool written = true;
  for (const int number : {0, 1})
    for (const int first : {0, 499'999, kRows - 2})
      written = written && gaps.WriteItems(number, first, 2, row, sizeof row);
  return written && update.Commit() && ORXSimManager::CloseContext(context) &&
         !ORXSimManager::OpenContext(file, 1 | 2, 102, false, 1).IsNull(); // from anywhere
}

// Modes of 12.5 Hz and of an unknown frequency: a node moves by its place among the nodes, along z and x.
bool addModes(const msfD_Sim& sim) {
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const ORXSimContextID context = mesh.nodes().Context();
  ORXSimUpdate update(context);
  const ORXSimCollectionRef nodes(mesh.nodes()), modes(ORXSimCollectionRef::Create(context, "modes", 2));
  const int count = nodes.NumItems();
  const double frequencies[2] = {12.5, std::nan("")};
  const ORXSimDrawerDescription one{.members = modes.FullCSet()};
  const ORXSimDrawerDescription shape{.members = nodes.FullCSet(), .components = 3}, two[2] = {shape, shape};
  const ORXSimDistributionRef hertz(ORXSimDistributionRef::Create(context, "frequencies", "Hz", &one, 1)),
      shapes(ORXSimDistributionRef::Create(context, "mode shapes", "mm", two, 2));
  bool written = hertz.WriteItems(0, 0, 2, frequencies, sizeof frequencies);
  for (const int mode : {0, 1}) {
    std::vector<double> values(3 * static_cast<std::size_t>(count));
    for (std::size_t node = 0; node < static_cast<std::size_t>(count); ++node)
      values[3 * node + (mode == 0 ? 2 : 0)] = static_cast<double>(node) / count;
    written = written && shapes.WriteItems(mode, 0, count, values.data(), 24 * std::int64_t{count});
  }
  kda_MapString<ORXSimDistributionID> fields;
  fields.insert("frequencies", hertz.ID());
  fields.insert("modeShapes", shapes.ID());
  const fesD_FESystem system = mesh.systems().add(fesD_ModalSystem::New("swing", {}, {}, {}, {}, 0));
  system.UserDistributions(fields);
  return written && update.Commit();
}

void follow(const msfD_Sim& sim) {
  const ORXSimContextID file = sim.distributionService().Context();
  const msfD_Mesh mesh = sim.discreteModel().mesh();
  const ORXSimCollectionRef nodes(mesh.nodes());
  const ORXSimDistributionRef load(ORXSimDistributionRef::Create(file, "load", "N", nullptr, 0));
  kda_MapString<ORXSimDistributionID> fields = mesh.nodeFields();
  fields.insert("load", load.ID());
  mesh.NodeFields(fields);
  std::vector<double> values(static_cast<std::size_t>(nodes.NumItems()));
  do {
    ORXSimUpdate update(file);
    std::iota(values.begin(), values.end(), 100.0 * load.NumDrawers());
    const int step = load.AddDrawer({.members = nodes.FullCSet()});
    load.WriteItems(step, 0, nodes.NumItems(), values.data(), 8 * nodes.NumItems());
    update.Commit();
    std::printf("step %d\n", step);
    std::fflush(stdout);
  } while (std::getchar() != EOF);
}

msfD_Sim open(msfD_Root& root, const std::string& how, const char* file) {
  if (how == "read" || how == "live")
    return root.openSimReadOnly(file, "", how == "live" ? 3 : -1);
  return root.openSim(file, "", how == "scratch" ? 0 : how == "die" ? 2 : -1);
}

bool use(const std::string& how, const char* file) {
  if (how == "gaps")
    return makeGaps(file);
  msfD_Root root(0);
  const msfD_Sim sim = open(root, how, file);
  if (!sim)
    return false;
  if (how == "grow")
    grow(sim);
  if (how == "modes")
    return addModes(sim);
  if (how == "add")
    return !!sim.discreteModel().mesh().systems().add(fesD_FESystem::New("added", {}, {}, 0));
  if (how == "die") {
    const msfD_Mesh mesh = sim.discreteModel().mesh();
    mesh.Faces(mesh.nodes());
    std::raise(SIGKILL);
  }
  if (how == "follow")
    return follow(sim), true;
  print(sim);
  return true;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  const bool done = use(argv[1], argv[2]);
  if (!done)
    std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
  DDB_PDM_Core_finalize(modules);
  return done ? 0 : 1;
}
