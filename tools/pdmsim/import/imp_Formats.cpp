#include <pdmsim/import/imp_Formats.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/import/exodus/exo_Format.h>
#include <pdmsim/import/gmsh/gms_Format.h>
#include <pdmsim/import/med/med_Format.h>
#include <pdmsim/import/medit/mdt_Format.h>
#include <pdmsim/import/meshio/mio_Format.h>
#include <pdmsim/import/vtk/vtk_Format.h>
#include <pdmsim/import/xdmf/xdmf_Format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

// The first that knows a content as its own reads it. Exodus II takes every HDF5 file that comes to it.
constexpr mesh_Format kFormats[] = {
    {"vtk", "VTK legacy", ".vtk", &vtk_IsLegacy, &vtk_OpenLegacy, true},
    {"vtu", "VTK XML", ".vtu", &vtk_IsXml, &vtk_OpenXml, true},
    {"xdmf", "XDMF", ".xdmf .xmf", &xdmf_IsOne, &xdmf_Open, true},
    {"med", "MED", ".med .rmed .mmed", &med_IsOne, &med_Open, true},
    {"exodus", "Exodus II", ".exo .e .g .ex2 .exoII .nc", &exo_IsOne, &exo_Open},
    {"gmsh", "Gmsh", ".msh .msh2 .msh4", &gms_IsOne, &gms_Open},
    {"medit", "Medit", ".mesh .meshb", &mdt_IsOne, &mdt_Open},
    {"abaqus", "Abaqus", ".inp", &mio_IsAbaqus, &mio_OpenAbaqus},
    {"nastran", "Nastran", ".bdf .nas", &mio_IsNastran, &mio_OpenNastran},
};

mesh_Head headOf(const std::string& path) {
  cli_ExpectFile(path, "a mesh");
  std::ifstream file(path, std::ios::binary);
  mesh_Head head{path, std::string(std::size_t{64} << 10, '\0')};
  file.read(head.bytes.data(), static_cast<std::streamsize>(head.bytes.size()));
  head.bytes.resize(static_cast<std::size_t>(file.gcount()));
  return head;
}

bool hasEnding(const mesh_Format& format, const std::string& path) {
  std::string ending = std::filesystem::path(path).extension();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  std::istringstream endings(format.endings);
  for (std::string one; endings >> one;)
    if (one == ending)
      return true;
  return false;
}

const mesh_Format& formatOf(const std::string& path, const mesh_Reading& reading) {
  const auto formats = imp_Formats();
  if (!reading.format.empty())
    for (const mesh_Format& format : formats)
      if (reading.format == format.name)
        return format;
  const mesh_Head head = headOf(path);
  for (const mesh_Format& format : formats)
    if (format.isOne(head))
      return format;
  for (const mesh_Format& format : formats)
    if (hasEnding(format, path))
      return format;
  std::string known;
  for (const mesh_Format& format : formats)
    known += (known.empty() ? "" : ", ") + std::string(format.title);
  throw cli_Failure(cli_Exit::kUnusable, path + ": expected a mesh (" + known + "), found something else");
}

} // namespace

std::span<const mesh_Format> imp_Formats() {
  return kFormats;
}

std::unique_ptr<mesh_Source> imp_OpenMesh(const std::string& path, const mesh_Reading& reading) {
  const mesh_Format& format = formatOf(path, reading);
  if (!reading.setsFrom.empty() && !format.takesSetsFrom)
    throw cli_Failure(cli_Exit::kNotThere,
                      path + ": expected VTK, XDMF or MED to make sets of an array, found " + format.title);
  return format.open(path, reading);
}
