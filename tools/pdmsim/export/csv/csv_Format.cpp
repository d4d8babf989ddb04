#include <pdmsim/export/csv/csv_Format.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/export/csv/csv_Table.h>

#include <algorithm>

namespace {

using What = csv_Field::What;

/// The name of a place in the tree of a simulation file.
const char* folderOf(mesh_Place place) {
  constexpr const char* names[] = {"frameFields", "nodeFields",    "elementFields",
                                   "nodeFields",  "elementFields", "surfaceFields"};
  return names[static_cast<std::size_t>(place)];
}

bool isWanted(const std::string& wanted, const std::string& folder, const std::string& name) {
  return wanted == name || wanted == folder + "/" + name;
}

/// The fields of the name, and all there are.
std::pair<std::vector<csv_Field>, std::string> find(const exp_Task& task) {
  std::vector<csv_Field> found;
  std::string known;
  const auto add = [&](const csv_Field& field, const std::string& folder, const std::string& name) {
    known += (known.empty() ? "" : ", ") + folder + "/" + name;
    if (isWanted(task.wanted.field, folder, name))
      found.push_back(field);
  };
  add({}, "nodeFields", "coordinates");
  for (std::size_t place = 0; place < mesh_kPlaces; ++place) {
    const auto& names = task.mesh.Variables(static_cast<mesh_Place>(place)).names;
    for (std::size_t i = 0; i < names.size(); ++i)
      add({What::kVariable, static_cast<mesh_Place>(place), i}, folderOf(static_cast<mesh_Place>(place)),
          names[i]);
  }
  for (const mesh_Place place : {mesh_Place::kNodes, mesh_Place::kBlocks}) {
    const auto& maps = place == mesh_Place::kNodes ? task.mesh.NodeMaps() : task.mesh.ElementMaps();
    for (std::size_t i = 0; i < maps.size(); ++i)
      add({What::kMap, place, i}, folderOf(place), maps[i].name);
  }
  return {std::move(found), std::move(known)};
}

} // namespace

std::vector<std::string> csv_Losses(const exp_Task&) {
  return {};
}

void csv_Write(const exp_Task& task, exp_Files& files) {
  const auto [found, known] = find(task);
  if (found.empty())
    throw cli_Failure(cli_Exit::kNotThere,
                      task.mesh.Path() + ": expected a field '" + task.wanted.field + "', found " + known);
  if (found.size() > 1)
    throw cli_Failure(cli_Exit::kNotThere, task.mesh.Path() + ": expected one field '" + task.wanted.field +
                                               "', found it in several of " + known);
  csv_Table(task, found.front(), files.Add(task.wanted.out)).Write();
}
