#include <pdmsim/import/imp_Model.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/import/imp_Fields.h>

#include <PDM_Core.h>

#include <algorithm>

namespace {

/// A rough number of bytes to be written.
double Work(const mesh_Source& mesh) {
  const auto size = [](std::size_t n) { return static_cast<double>(n); };
  double bytes = size(mesh.Nodes()) * (8.0 * size(mesh.Dimension()) + 4) + 4.0 * size(mesh.Elements());
  for (const mesh_Block& block : mesh.Blocks())
    bytes += 4.0 * size(block.elements) * size(1 + block.nodesPerElement);
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : mesh.Sets(kind))
      bytes += 8.0 * size(set.size + set.factors);
  for (const mesh_Place place : {mesh_Place::kNodes, mesh_Place::kBlocks, mesh_Place::kNodeSets,
                                 mesh_Place::kElementSets, mesh_Place::kSideSets}) {
    const mesh_Variables& variables = mesh.Variables(place);
    for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
      bytes += 8.0 * size(mesh.Times().size()) * size(variables.entitySizes[entity]) *
               static_cast<double>(
                   std::count(variables.present[entity].begin(), variables.present[entity].end(), true));
  }
  return bytes;
}

/// The greatest number of nodes that an element of the mesh has.
std::size_t LocalNodes(const mesh_Source& mesh) {
  std::size_t most = 0;
  for (const mesh_Block& block : mesh.Blocks())
    if (block.shape == mesh_Block::Shape::kPolygons)
      most = std::max(most, block.elements ? mesh.Connectivity(block)->Width() : 0);
    else if (block.shape == mesh_Block::Shape::kFixed)
      most = std::max(most, block.nodesPerElement);
  return most;
}

imp_Collections MakeCollections(const mesh_Source& mesh, const imp_Store& store) {
  return {store.Collection("vectors", mesh.Dimension()),   store.Collection("localNodes", LocalNodes(mesh)),
          store.Collection("frames", mesh.Times().size()), store.Collection("nodes", mesh.Nodes()),
          store.Collection("elements", mesh.Elements()),   store.Collection("regions", mesh.Blocks().size())};
}

kda_MapString<ORXSimDistributionID> ToMap(const imp_FieldMap& fields) {
  kda_MapString<ORXSimDistributionID> map;
  for (const auto& [key, id] : fields)
    map.insert(key.c_str(), id);
  return map;
}

void AddSets(kda_MapString<ORXSimCSetID>& map, const std::vector<imp_SetOut>& sets) {
  for (const imp_SetOut& set : sets)
    map.insert(set.key.c_str(), set.columns[0].members);
}

/// Puts everything into the mesh object, in one commit.
void SetMembers(const msfD_Mesh& mesh, const imp_Collections& collections, const imp_Sets& sets,
                const imp_Fields& fields) {
  msfD_MeshAccess access(mesh);
  msfD_MeshMembers& members = *access.members();
  members.regions = collections.regions;
  AddSets(members.nodeSets, sets.Sets(mesh_SetKind::kNodes));
  AddSets(members.elementSets, sets.Blocks());
  AddSets(members.elementSets, sets.Sets(mesh_SetKind::kElements));
  for (std::size_t i = 0; i < sets.Blocks().size(); ++i)
    members.regionSets.insert(sets.Blocks()[i].key.c_str(), sets.Region(i));
  members.meshFields = ToMap(fields.MeshFields());
  members.surfaces = ToMap(fields.Surfaces());
  members.frameFields = ToMap(fields.FrameFields());
  members.nodeFields = ToMap(fields.NodeFields());
  members.elementFields = ToMap(fields.ElementFields());
  members.surfaceFields = ToMap(fields.SurfaceFields());
  members.regionFields = ToMap(fields.RegionFields());
  access.commit();
}

template <class T>
void Append(std::vector<T>& to, const std::vector<T>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

imp_Counts Count(const mesh_Source& mesh, const imp_Sets& sets, const imp_Fields& fields) {
  imp_Counts counts{mesh.Nodes(),
                    mesh.Elements(),
                    mesh.Blocks().size(),
                    mesh.Sets(mesh_SetKind::kNodes).size(),
                    mesh.Sets(mesh_SetKind::kElements).size(),
                    mesh.Sets(mesh_SetKind::kSides).size(),
                    0,
                    mesh.Times().size(),
                    sets.Renamed(),
                    mesh.Notes()};
  for (const imp_FieldMap* map : {&fields.NodeFields(), &fields.ElementFields(), &fields.RegionFields(),
                                  &fields.FrameFields(), &fields.MeshFields(), &fields.SurfaceFields()})
    counts.fields += map->size();
  counts.results = mesh.NodeMaps().size() + mesh.ElementMaps().size();
  for (std::size_t place = 0; place < mesh_kPlaces; ++place)
    counts.results += mesh.Variables(static_cast<mesh_Place>(place)).names.size();
  Append(counts.renamed, fields.Renamed());
  Append(counts.notImported, sets.Notes());
  Append(counts.notImported, fields.Notes());
  return counts;
}

} // namespace

imp_Counts imp_WriteModel(const mesh_Source& mesh, const std::string& path, bool force,
                          const cli_Library& library, cli_Progress& progress) {
  progress.Total(Work(mesh));
  const ORXSimContextID context = cli_CreateFile(path, force);
  msfD_Root root(0);
  ORXSimUpdate update(context);
  const msfD_Sim sim = root.createSimIn(context, path.c_str(), "");
  library.Check(path, "to make a simulation file");

  const imp_Store store(context);
  const imp_Collections collections = MakeCollections(mesh, store);
  imp_Sets sets(mesh, store, progress, collections.nodes, collections.elements, collections.regions);
  imp_Fields fields(mesh, store, progress, sets, collections);
  fields.WriteMesh();
  fields.WriteResults();

  const msfD_DiscreteModel model =
      sim.DiscreteModel(msfD_DiscreteModel::New(collections.vectors, collections.localNodes, 0));
  model.Frames(collections.frames);
  SetMembers(model.Mesh(msfD_Mesh::New(collections.nodes, collections.elements, 0)), collections, sets,
             fields);
  cli_CheckSignals();
  if (!update.Commit())
    imp_Store::Fail();
  root.closeSim(sim);
  library.Check(path, "to write a whole simulation file");
  return Count(mesh, sets, fields);
}
