// The library's side of tests in Python: prints all objects that the file on the command line holds, or,
// asked to die, commits a change and is killed, or, asked for gaps, adds a distribution of which little is
// written.

#include <support/sys_ObjectText.h>

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
    std::fputs(sys_ObjectText(sim).c_str(), stdout);
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
    dies ? die(argv[2]) : show(argv[1]);
  DDB_PDM_Core_finalize(modules);
  return done ? 0 : 1;
}
