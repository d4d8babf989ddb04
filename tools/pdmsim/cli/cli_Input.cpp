#include <pdmsim/cli/cli_Input.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Library.h>

#include <UTI_ORXSimDynamicAPI/hdf_View.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <sys/stat.h>

namespace {

constexpr char kSimulation[] = "a simulation file";
constexpr std::string_view kHdf5 = "\x89HDF\r\n\x1a\n";
constexpr std::string_view kMark = "\x93H5J\r\n\x1a\n"; // of a file with a journal, which may be held

// Contents that are known by their first bytes.
struct Content {
  std::string_view begin;
  const char* what;
};
constexpr Content kMeshes[] = {
    {std::string_view("CDF\1"), "an Exodus mesh"},
    {std::string_view("CDF\2"), "an Exodus mesh"},
    {std::string_view("CDF\5"), "an Exodus mesh"},
    {"$MeshFormat", "a Gmsh mesh"},
    {"MeshVersionFormatted", "a Medit mesh"},
    {" MeshVersionFormatted", "a Medit mesh"},
    {"# vtk DataFile", "a VTK mesh"},
    {"<VTKFile", "a VTK mesh"},
};
// Meshes in HDF5, by what their root group has.
constexpr Content kHdf5Meshes[] = {
    {"num_nodes", "an Exodus mesh"},
    {"ENS_MAA", "a MED mesh"},
};

[[noreturn]] void Refuse(const std::string& path, const std::string& expected, const std::string& found) {
  throw cli_Failure(cli_Exit::kUnusable, path + ": expected " + expected + ", found " + found);
}

[[noreturn]] void RefuseMesh(const std::string& path, const Content& content) {
  Refuse(path, kSimulation, content.what + std::string(": 'pdmsim import' makes a simulation file of it"));
}

std::string Beginning(const std::string& path) {
  std::string bytes(std::size_t{64} << 10, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

/// True for a file in HDF5, which may have a block of another program's before it.
bool IsHdf5(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size(); at = at == 0 ? 512 : 2 * at)
    if (bytes.substr(at).starts_with(kHdf5))
      return true;
  return false;
}

bool Exists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

} // namespace

void cli_ExpectFile(const std::string& path, const std::string& expected) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0)
    Refuse(path, expected, std::string("none: ") + std::strerror(errno));
  if (S_ISDIR(status.st_mode))
    Refuse(path, expected, "a directory");
  if (!S_ISREG(status.st_mode))
    Refuse(path, expected, "a special file");
  if (!std::ifstream(path, std::ios::binary))
    Refuse(path, expected, std::string("one that cannot be read: ") + std::strerror(errno));
}

void cli_ExpectSimulation(const std::string& path) {
  cli_ExpectFile(path, kSimulation);
  const std::string bytes = Beginning(path);
  for (const Content& content : kMeshes)
    if (bytes.starts_with(content.begin))
      RefuseMesh(path, content);
  if (IsHdf5(bytes) || Exists(path + "-journal")) // which may hold the first bytes, too
    return;
  Refuse(path, kSimulation, bytes.empty() ? "an empty file" : "something else: not an HDF5 file");
}

void cli_RefuseMesh(const std::string& path, ORXSimContextID context) {
  const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
  if (root.GetObjinfoExists("sim"))
    return;
  for (const Content& content : kHdf5Meshes)
    if (root.GetObjinfoExists(content.begin.data()))
      RefuseMesh(path, content);
  if (root.GetObjinfoExists("VTKHDF"))
    Refuse(path, kSimulation,
           root.GetObjinfoExists("source") ? "a view for VTK, which shows the data of another file"
                                           : "a VTKHDF file, which VTK and ParaView read");
}

void cli_CheckSimulation(const std::string& path, ORXSimContextID context) {
  cli_RefuseMesh(path, context);
  const hdf_Group root = ORXSimContextRef(context).File().RootGroup();
  if (!root.GetObjinfoExists("sim"))
    Refuse(path, kSimulation, "an HDF5 file without a group 'sim'");
  const hdf_Group sim = root.GroupOpen("sim");
  gbb_ClassID id;
  if (!sim) // damaged, of which the library says more
    return;
  if (!sim.AttributeExists("class") ||
      !sim.AttributeOpen("class").Read(hdf_Datatype::NATIVE_UCHAR, id.text, gbb_ClassID::kSize))
    Refuse(path, kSimulation, "an HDF5 file whose 'sim' is no object");
  if (!(id == gbb_ClassID("com.vertana.Sim")))
    Refuse(path, kSimulation, "an HDF5 file whose 'sim' is of another class");
}

bool cli_IsSimulation(const std::string& path) {
  const std::string bytes = Beginning(path);
  return bytes.starts_with(kMark) || Exists(path + "-journal") ||
         (IsHdf5(bytes) && hdf_View::Has(path.c_str(), "sim"));
}

void cli_RefuseSimulation(const std::string& path) {
  const std::string bytes = Beginning(path);
  if (!IsHdf5(bytes))
    return;
  const cli_Context context(ORXSimManager::OpenContext(path.c_str(), 1, 102, false, 1));
  if (context.ID().IsNull() ? bytes.starts_with(kMark)
                            : ORXSimContextRef(context.ID()).File().RootGroup().GetObjinfoExists("sim"))
    Refuse(path, "a mesh", "a simulation file: 'pdmsim show' says what is in it");
}

std::string cli_LastError(cli_Offer offer) {
  constexpr std::string_view kHint = ": close it there, set a waiting time";
  const std::string line = ORXSimManager::LastError();
  const std::size_t at = line.find(kHint);
  if (at == std::string::npos)
    return line;
  const std::string who = line.substr(0, at);
  if (offer == cli_Offer::kNothing)
    return who + ": close it there first";
  const bool live = offer == cli_Offer::kWaitAndLive && line.find("read live", at) != std::string::npos;
  return who + ": --wait SECONDS waits for it" + (live ? ", --live reads beside it" : "");
}
