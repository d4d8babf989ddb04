#include <pdmsim/export/exodus/exw_Format.h>

#include <pdmsim/export/exodus/exw_Writer.h>
#include <pdmsim/export/out/exp_Losses.h>

namespace {

constexpr exp_Holds kHolds{.nodeSets = true,
                           .elementSets = true,
                           .sideSets = true,
                           .setOrder = true,
                           .factors = true,
                           .attributes = true,
                           .maps = true,
                           .polygons = true,
                           .shells = true,
                           .globals = true,
                           .setVariables = true};

} // namespace

std::vector<std::string> exw_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_Losses(task.mesh, kHolds);
  // Names end with their last letter: the format fills up with blanks.
  const auto name = [&](const std::string& what, const std::string& text) {
    if (text.empty() || text.back() == ' ')
      losses.push_back(what + (text.empty() ? " has no name" : " '" + text + "' ends with a blank"));
  };
  const auto ids = [&](const char* what, const auto& list) {
    const std::vector<long long> written = exw_Ids(list);
    for (std::size_t i = 0; i < list.size(); ++i)
      if (written[i] != list[i].id)
        losses.push_back("the id " + std::to_string(list[i].id) + " of the " + what + " " + list[i].name +
                         ", which another has; " + std::to_string(written[i]) + " is written");
  };
  ids("block", task.mesh.Blocks());
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides}) {
    ids(exp_SetName(kind), task.mesh.Sets(kind));
    for (const mesh_Set& set : task.mesh.Sets(kind))
      name("that a set", set.name);
  }
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    for (const std::string& one : task.mesh.Variables(static_cast<mesh_Place>(place)).names)
      name("that a field", one);
  for (const mesh_Block& block : task.mesh.Blocks())
    if (block.nodesPerElement == 0 && !block.type.empty())
      losses.push_back("the type " + block.type + " of block " + block.name + ", which has no nodes");
  return losses;
}

void exw_Write(const exp_Task& task, exp_Files& files) {
  exw_Writer(task, files.Add(task.wanted.out)).Write();
}
