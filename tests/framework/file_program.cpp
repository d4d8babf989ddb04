// The library's side of tests in Python: prints all that the file on the command line holds, or, asked to
// die, commits a change and is killed.

#include <campaign/camp_State.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

void show(const char* file) {
  msfD_Root root(0);
  const msfD_Sim sim = root.openSim(file, "", 0);
  if (!sim)
    std::fprintf(stderr, "%s\n", ORXSimManager::LastError());
  else
    std::fputs(camp_State::Read(sim).Text().c_str(), stdout);
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
  dies ? die(argv[2]) : show(argv[1]);
  DDB_PDM_Core_finalize(modules);
  return 0;
}
