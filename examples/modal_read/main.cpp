// Prints and checks every modal system of a simulation file, knowing nothing but the file.
#include "read_Modes.h"
#include "read_Numbering.h"

#include <cstring>
#include <iostream>

namespace {

constexpr char kUsage[] =
    "Usage: modal_read FILE\n"
    "Prints the modal systems of a simulation file and checks labels, numbering, modes and events.\n"
    "Exit codes: 0 all is well; 1 a check failed, or wrong use; 2 the file cannot be used or has no modal "
    "system.\n";

int Read(const std::string& file) {
  const modal_Library library;
  msfD_Root root(0);
  const msfD_Mesh mesh = modal_OpenMesh(root, file, true, library);
  const int nodes = ORXSimCollectionRef(mesh.nodes()).NumItems();
  int found = 0;
  for (int i = 0; i < mesh.systems().count(); ++i)
    found += static_cast<bool>(fesD_ModalSystem(mesh.systems().get(i)));
  library.Check(file);
  if (found == 0)
    throw modal_Failure(file + ": expected a modal system, found none");
  std::cout << file << ": " << nodes << " nodes, " << found
            << (found == 1 ? " modal system\n" : " modal systems\n");
  read_Checks checks(std::cout);
  for (int i = 0; i < mesh.systems().count(); ++i) {
    const fesD_FESystem system = mesh.systems().get(i);
    const fesD_ModalSystem modal(system);
    if (!modal)
      continue;
    std::cout << "modal system " << i << " '" << system.systemName().cStr() << "'\n";
    read_CheckLabels(modal, nodes, checks);
    if (const auto dofs = read_Numbering(modal, nodes, checks))
      read_CheckModes(file, mesh, modal, *dofs, checks);
  }
  library.Check(file);
  std::cout << checks.Made() - checks.Failures() << " of " << checks.Made() << " checks hold\n";
  return checks.Failures() ? 1 : 0;
}

int Main(int argc, char** argv) {
  const bool help = argc == 2 && (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h"));
  if (argc != 2 || help || argv[1][0] == '-') {
    (help ? std::cout : std::cerr) << kUsage;
    return help ? 0 : 1;
  }
  return Read(argv[1]);
}

} // namespace

int main(int argc, char** argv) {
  return modal_Run("modal_read", &Main, argc, argv);
}
