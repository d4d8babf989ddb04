#include <pdmsim/export/vtu/vtu_Format.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/export/out/exp_Losses.h>
#include <pdmsim/export/vtu/vtu_Writer.h>
#include <pdmsim/mesh/mesh_Elements.h>

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

/// The steps that are written; one for a mesh without steps.
std::vector<std::size_t> steps(const exp_Task& task, bool series) {
  const std::size_t count = task.mesh.Times().size();
  if (task.wanted.step)
    return {exp_Step(task)};
  if (!series && count > 1)
    throw cli_Failure(cli_Exit::kNotThere, task.wanted.out +
                                               ": expected --step or a name that ends with .pvd for " +
                                               std::to_string(count) + " steps, found neither");
  std::vector<std::size_t> all(std::max<std::size_t>(1, count));
  for (std::size_t i = 0; i < all.size(); ++i)
    all[i] = i;
  return all;
}

/// The name of a step's file beside that of the list.
std::string pieceName(const std::string& list, std::size_t step, std::size_t last) {
  std::string number = std::to_string(step);
  number.insert(0, std::to_string(last).size() - number.size(), '0');
  return std::filesystem::path(list).replace_extension().string() + "_" + number + ".vtu";
}

} // namespace

std::vector<std::string> vtu_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_Losses(task.mesh, kHolds);
  for (const mesh_Block& block : task.mesh.Blocks())
    if (block.elements > 0 && block.shape == mesh_Block::Shape::kFixed &&
        mesh_FindElement(block.type, block.nodesPerElement) == nullptr)
      losses.push_back("the type " + block.type + " of the elements of block " + block.name);
  const vtu_Arrays arrays(task.mesh);
  losses.insert(losses.end(), arrays.renamed.begin(), arrays.renamed.end());
  return losses;
}

void vtu_Write(const exp_Task& task, exp_Files& files) {
  const bool series = std::filesystem::path(task.wanted.out).extension() == ".pvd";
  const std::vector<std::size_t> all = steps(task, series);
  const vtu_Arrays arrays(task.mesh);
  if (!series)
    return vtu_Writer(task, arrays, all.front(), files.Add(task.wanted.out)).Write();
  std::vector<std::string> names;
  for (const std::size_t step : all) {
    names.push_back(pieceName(task.wanted.out, step, all.back()));
    vtu_Writer(task, arrays, step, files.Add(names.back())).Write();
  }
  exp_Stream list(files.Add(task.wanted.out), task.wanted.out);
  list << "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" "
          "byte_order=\"LittleEndian\">\n<Collection>\n";
  for (std::size_t i = 0; i < all.size(); ++i) {
    list << "<DataSet timestep=\"" << (task.mesh.Times().empty() ? 0.0 : task.mesh.Times()[all[i]])
         << "\" part=\"0\" file=\"" << vtu_Escaped(std::filesystem::path(names[i]).filename()) << "\"/>\n";
  }
  list << "</Collection>\n</VTKFile>\n";
  list.Close();
}
