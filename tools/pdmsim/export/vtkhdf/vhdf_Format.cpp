#include <pdmsim/export/vtkhdf/vhdf_Format.h>

#include <pdmsim/export/out/exp_Losses.h>
#include <pdmsim/export/out/exp_OneStep.h>
#include <pdmsim/view/view_Fields.h>
#include <pdmsim/view/view_Sidecar.h>

#include <algorithm>

namespace {

/// Says which names cannot stay: of several arrays with one name, or with a slash in it.
class Names {
 public:
  explicit Names(std::vector<std::string>& losses) : m_losses(losses) {}
  void Take(const std::string& wanted) {
    if (const std::string name = m_names.Take(wanted); name != wanted)
      m_losses.push_back("the name " + wanted + ", which is taken or has a slash; it is called " + name);
  }

 private:
  view_Names m_names;
  std::vector<std::string>& m_losses;
};

/// In the order in which the arrays are made.
void takeNames(const mesh_Source& mesh, bool nodes, std::vector<std::string>& losses) {
  Names names(losses);
  if (!nodes)
    names.Take("block");
  if ((nodes ? mesh.NodeNumbers() : mesh.ElementNumbers()) != nullptr)
    names.Take("label");
  for (const mesh_Map& map : nodes ? mesh.NodeMaps() : mesh.ElementMaps())
    names.Take(map.name);
  const auto kind = nodes ? mesh_SetKind::kNodes : mesh_SetKind::kElements;
  for (const mesh_Set& set : mesh.Sets(kind))
    names.Take(set.name);
  if (!nodes)
    for (const mesh_Set& set : mesh.Sets(mesh_SetKind::kSides))
      names.Take(set.name);
  const auto isThere = [](const mesh_Variables& of, std::size_t variable) {
    return std::any_of(of.present.begin(), of.present.end(),
                       [variable](const auto& present) { return present[variable]; });
  };
  const mesh_Variables& all = mesh.Variables(nodes ? mesh_Place::kNodes : mesh_Place::kBlocks);
  for (std::size_t i = 0; i < all.names.size(); ++i)
    if (isThere(all, i))
      names.Take(all.names[i]);
  const mesh_Variables& ofSets = mesh.Variables(nodes ? mesh_Place::kNodeSets : mesh_Place::kElementSets);
  for (std::size_t i = 0; i < ofSets.names.size(); ++i)
    for (std::size_t entity = 0; entity < ofSets.present.size(); ++entity)
      if (ofSets.present[entity][i])
        names.Take(view_NameOnSet(ofSets.names[i], mesh.Sets(kind)[entity]));
}

/// The same of the field data.
void takeFieldNames(const mesh_Source& mesh, std::vector<std::string>& losses) {
  Names names(losses);
  names.Take(view_kTimeValue);
  if (!mesh.Times().empty())
    for (const std::string& name : mesh.Variables(mesh_Place::kGlobal).names)
      names.Take(name);
  for (const auto& [name, id] : mesh_Ids(mesh))
    names.Take(name);
}

} // namespace

std::vector<std::string> vhdf_Losses(const exp_Task& task) {
  std::vector<std::string> losses = exp_VtkLosses(task.mesh, true);
  for (const std::string& name : task.mesh.Variables(mesh_Place::kSideSets).names)
    losses.push_back("the field " + name + " of " + exp_PlaceName(mesh_Place::kSideSets));
  takeNames(task.mesh, true, losses);
  takeNames(task.mesh, false, losses);
  takeFieldNames(task.mesh, losses);
  return losses;
}

void vhdf_Write(const exp_Task& task, exp_Files& files) {
  const auto* const one = dynamic_cast<const exp_OneStep*>(&task.mesh);
  const auto& mesh = dynamic_cast<const sto_Mesh&>(one == nullptr ? task.mesh : one->Whole());
  const std::string& out = task.wanted.out;
  view_Output output(out, files.Add(out), mesh.Path(), view_Numbers::kCopied, {}, task.progress);
  view_WriteMesh(mesh, one == nullptr ? std::nullopt : std::optional(one->Step()), nullptr, output);
}
