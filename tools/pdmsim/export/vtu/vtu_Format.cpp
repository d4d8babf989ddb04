#include <pdmsim/export/vtu/vtu_Format.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Markup.h>
#include <pdmsim/export/out/exp_Losses.h>
#include <pdmsim/export/vtu/vtu_Writer.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <filesystem>

namespace {

constexpr exp_Holds kHolds{.nodeSets = true,
                           .elementSets = true,
                           .maps = true,
                           .polygons = true,
                           .globals = true,
                           .components = true,
                           .integers = true,
                           .constants = true};

/// The name of a step's file beside that of the list: all numbers have as many digits.
std::string pieceName(const std::string& list, std::size_t step, std::size_t end) {
  std::string number = std::to_string(step);
  number.insert(0, std::to_string(end > 0 ? end - 1 : 0).size() - number.size(), '0');
  return std::filesystem::path(list).replace_extension().string() + "_" + number + ".vtu";
}

} // namespace

std::vector<std::string> vtu_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_Losses(task.mesh, kHolds);
  for (const mesh_Block& block : task.mesh.Blocks())
    if (block.elements > 0 && block.shape != mesh_Block::Shape::kPolygons &&
        mesh_FindElement(block.type, block.nodesPerElement) == nullptr)
      losses.push_back("the type " + block.type + " of the elements of block " + block.name);
  const vtu_Arrays arrays(task.mesh);
  losses.insert(losses.end(), arrays.renamed.begin(), arrays.renamed.end());
  return losses;
}

void vtu_Write(const exp_Task& task, exp_Files& files) {
  const std::string& out = task.wanted.out;
  const std::vector<double>& times = task.mesh.Times();
  const vtu_Arrays arrays(task.mesh);
  if (std::filesystem::path(out).extension() != ".pvd") {
    if (times.size() > 1)
      throw cli_Failure(cli_Exit::kNotThere, out + ": expected --step or a name that ends with .pvd for " +
                                                 std::to_string(times.size()) + " steps, found neither");
    return vtu_Writer(task, arrays, 0, files.Add(out)).Write();
  }
  std::string list = "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" "
                     "byte_order=\"LittleEndian\">\n<Collection>\n";
  for (std::size_t step = 0; step < std::max<std::size_t>(1, times.size()); ++step) {
    const std::string piece =
        pieceName(out, task.wanted.firstStep + step, task.wanted.firstStep + times.size());
    vtu_Writer(task, arrays, step, files.Add(piece)).Write();
    list += "<DataSet timestep=\"" + exp_Shortest(times.empty() ? 0.0 : times[step]) +
            "\" part=\"0\" file=\"" + cli_Escaped(std::filesystem::path(piece).filename().string()) +
            "\"/>\n";
  }
  exp_Stream file(files.Add(out), out);
  file << list << "</Collection>\n</VTKFile>\n";
  file.Close();
}
