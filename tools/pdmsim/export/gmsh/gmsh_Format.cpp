#include <pdmsim/export/gmsh/gmsh_Format.h>

#include <pdmsim/export/gmsh/gmsh_Writer.h>
#include <pdmsim/export/out/exp_Losses.h>

namespace {

constexpr exp_Holds kHolds{.sideSets = true, .setOrder = true, .components = true};

void addNumbers(std::vector<std::string>& losses, const char* what, const mesh_NumbersPtr& numbers,
                cli_Progress& progress) {
  if (numbers && numbers->Rows() > 0 && gmsh_Tags(numbers, progress).empty())
    losses.push_back(std::string("the user's numbers of the ") + what +
                     ", which are not all positive, different and of 31 bits");
}

void addComponents(std::vector<std::string>& losses, const mesh_Variables& variables) {
  for (std::size_t i = 0; i < variables.names.size(); ++i) {
    const std::size_t components = variables.Components(i), written = gmsh_Components(components);
    if (written == 0)
      losses.push_back("the field " + variables.names[i] + " of " + std::to_string(components) +
                       " components");
    else if (written != components)
      losses.push_back("that the field " + variables.names[i] + " has " + std::to_string(components) +
                       " components; " + std::to_string(written) + " are written, the last ones 0");
  }
}

} // namespace

std::vector<std::string> gmsh_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_Losses(task.mesh, kHolds);
  gmsh_Groups groups(task.mesh);
  groups.FindSides(task);
  losses.insert(losses.end(), groups.losses.begin(), groups.losses.end());
  addNumbers(losses, "nodes", task.mesh.NodeNumbers(), task.progress);
  addNumbers(losses, "elements", task.mesh.ElementNumbers(), task.progress);
  addComponents(losses, task.mesh.Variables(mesh_Place::kNodes));
  addComponents(losses, task.mesh.Variables(mesh_Place::kBlocks));
  return losses;
}

void gmsh_Write(const exp_Task& task, exp_Files& files) {
  gmsh_Writer(task, files.Add(task.wanted.out)).Write();
}
