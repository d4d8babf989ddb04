// The library's side of tests in Python: prints what the file on the command line holds, or, asked to die,
// commits a change and is killed.

#include <PDM_Core.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

template <class Id>
requires requires(Id id) {
  id.IsNull();
}
void print(Id id) {
  if (id.IsNull())
    std::printf("null");
  else if constexpr (requires { id.CollectionMinor(); })
    std::printf("[%d,%d]", id.CollectionMinor(), id.Minor());
  else
    std::printf("%d", id.Minor());
}

void print(const kda_string& text) {
  std::printf("\"");
  for (const char* c = text.cStr(); *c != '\0'; ++c)
    std::printf("\\u%04x", static_cast<unsigned char>(*c));
  std::printf("\"");
}

void print(int number) {
  std::printf("\"%d\"", number);
}

template <class Map>
requires requires(const Map& map) {
  map.count();
}
void print(const Map& map) {
  const char* separator = "{";
  map.ForEach([&](const auto& key, const auto& value) {
    std::printf("%s", std::exchange(separator, ","));
    print(key);
    std::printf(":");
    print(value);
  });
  std::printf("%s", map.count() == 0 ? "{}" : "}");
}

template <class Handle>
void show(const char* name, const Handle& object) {
  if (!object)
    return;
  const char* separator = "";
  std::printf("\"%s\":{", name);
  gbb_ForEachMember(object, [&](auto member, const auto& value) {
    std::printf("%s\"%s\":", std::exchange(separator, ","), member.name());
    print(value);
  });
  std::printf("},\n");
}

void showFile(const char* file) {
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file, "", 0);
  std::printf("{");
  if (!!sim) {
    const msfD_DiscreteModel model = sim.discreteModel();
    show("model", model);
    const msfD_Mesh mesh = !model ? msfD_Mesh() : model.mesh();
    show("mesh", mesh);
    for (int i = 0; !!mesh && i < mesh.systems().count(); ++i)
      show(("system" + std::to_string(i)).c_str(), mesh.systems().get(i));
  } else {
    std::printf("\"cause\":\"%s\",", ORXSimManager::LastError());
  }
  std::printf("\"open\":%d}\n", root.count());
}

void die(const char* file) {
  msfD_Root root(0);
  const msfD_Mesh mesh = root.openSim(file, "", 2).discreteModel().mesh();
  mesh.Faces(mesh.nodes());
  std::raise(SIGKILL);
}

} // namespace

int main(int argc, char** argv) {
  const bool dies = argc == 3 && std::strcmp(argv[1], "die") == 0;
  if (argc != 2 && !dies)
    return 2;
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  dies ? die(argv[2]) : showFile(argv[1]);
  DDB_PDM_Core_finalize(modules);
  return 0;
}
