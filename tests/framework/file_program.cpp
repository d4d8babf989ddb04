// The library's side of tests in Python: prints all objects that the file on the command line holds, or,
// asked to die, commits a change and is killed, or, asked for gaps, adds a distribution of which little is
// written.

#include <PDM_Core.h>

#include <bit>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace {

// A member's value, identifiers without their context.
template <class Value>
std::string textOf(const Value& value) {
  if constexpr (std::is_same_v<Value, kda_string>) {
    return '"' + std::string(value.cStr()) + '"';
  } else if constexpr (std::is_same_v<Value, double>) {
    return std::to_string(std::bit_cast<std::uint64_t>(value));
  } else if constexpr (std::is_same_v<Value, int>) {
    return std::to_string(value);
  } else if constexpr (requires { value.IsNull(); }) {
    std::string collection;
    if constexpr (requires { value.CollectionMinor(); })
      collection = std::to_string(value.CollectionMinor()) + '.';
    return value.IsNull() ? "-" : collection + std::to_string(value.Minor());
  } else {
    std::string text = "{";
    value.ForEach([&](const auto& key, const auto& one) { text += textOf(key) + ':' + textOf(one) + ','; });
    return text + '}';
  }
}

template <class Handle>
void show(const Handle& handle);

template <class Element, class... Rest>
void show(const gbb_Array<Element, Rest...>& array) {
  for (int i = 0; i < array.count(); ++i)
    show(array.get(i));
}

template <class Handle>
void show(const Handle& handle) {
  using Traits = typename Handle::Traits;
  if (!handle)
    return;
  const auto* const members = handle.ReadMembers();
  std::puts(members == nullptr ? "unreadable" : Traits::kName.chars);
  std::map<std::string, std::string> lines;
  if (members != nullptr)
    gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
        [&](auto member) { lines[member.name()] = textOf(members->*member.kField); });
  for (const auto& [name, value] : lines)
    std::printf(" %s %s\n", name.c_str(), value.c_str());
  gbb_ForEachChild(handle, [](auto, const auto& child) { show(child); });
}

void showFile(const char* file) {
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file, "", 0);
  if (!sim)
    std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
  else
    show(sim);
}

void die(const char* file) {
  msfD_Root root(0);
  const msfD_Mesh mesh = root.openSim(file, "", 2).discreteModel().mesh();
  mesh.Faces(mesh.nodes());
  std::raise(SIGKILL);
}

// Chunked drawers of 24 MB each: of two some rows are written, of the third none.
bool makeGaps(const char* file) {
  constexpr int kRows = 1'000'000;
  const ORXSimContextID context = ORXSimManager::OpenContext(file, 0, 102, false, 1);
  ORXSimUpdate update(context);
  ORXSimDrawerDescription drawer;
  drawer.members = ORXSimCollectionRef(ORXSimCollectionRef::Create(context, "sparse", kRows)).FullCSet();
  drawer.components = 3;
  drawer.chunkItems = 1000;
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

} // namespace

int main(int argc, char** argv) {
  const bool dies = argc == 3 && std::strcmp(argv[1], "die") == 0;
  const bool makes = argc == 3 && std::strcmp(argv[1], "gaps") == 0;
  if (argc != 2 && !dies && !makes)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  bool done = true;
  if (makes && !(done = makeGaps(argv[2])))
    std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
  if (!makes)
    dies ? die(argv[2]) : showFile(argv[1]);
  DDB_PDM_Core_finalize(modules);
  return done ? 0 : 1;
}
