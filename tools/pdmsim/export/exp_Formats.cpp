#include <pdmsim/export/exp_Formats.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/export/csv/csv_Format.h>
#include <pdmsim/export/exodus/exw_Format.h>
#include <pdmsim/export/gmsh/gmsh_Format.h>
#include <pdmsim/export/vtkhdf/vhdf_Format.h>
#include <pdmsim/export/vtu/vtu_Format.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace {

constexpr exp_Format kFormats[] = {
    {"exodus", "Exodus II", ".exo .e .g .ex2 .exoII .nc", false, &exw_Losses, &exw_Write},
    {"gmsh", "Gmsh 4.1", ".msh", false, &gmsh_Losses, &gmsh_Write},
    {"vtu", "VTU", ".vtu .pvd", false, &vtu_Losses, &vtu_Write},
    {"vtkhdf", "VTKHDF", ".hdf .vtkhdf", false, &vhdf_Losses, &vhdf_Write},
    {"csv", "comma-separated values", ".csv", true, &csv_Losses, &csv_Write},
};

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

} // namespace

std::span<const exp_Format> exp_Formats() {
  return kFormats;
}

const exp_Format& exp_FormatOf(const std::string& path, const std::string& name) {
  const std::string ending = lower(std::filesystem::path(path).extension());
  std::string known;
  for (const exp_Format& format : kFormats) {
    if (name == format.name)
      return format;
    known += (known.empty() ? "" : " ") + std::string(format.endings);
    std::istringstream endings(format.endings);
    for (std::string one; name.empty() && endings >> one;)
      if (lower(one) == ending)
        return format;
  }
  throw cli_Failure(cli_Exit::kNotThere,
                    path + ": expected a name that ends with " + known + ", or --format, found neither");
}
