#include <pdmsim/partition/part_Field.h>

#include <pdmsim/cli/cli_Failure.h>

#include <cstdint>

namespace {

const char* nameOf(ORXSimItemType type) {
  constexpr const char* kNames[] = {"int32", "int64", "float", "double"};
  return kNames[static_cast<std::size_t>(type)];
}

void require(bool done) {
  if (!done)
    throw cli_Failure(cli_Exit::kUnusable, cli_LastError());
}

} // namespace

bool part_HasField(const std::string& file, const msfD_Mesh& mesh) {
  const ORXSimDistributionID id = mesh.elementFields().get(part_kField);
  if (id.IsNull())
    return false;
  const ORXSimDistributionRef field(id);
  const int drawers = field.NumDrawers();
  const ORXSimPersistentDrawerDesc drawer = drawers > 0 ? field.Drawer(0) : ORXSimPersistentDrawerDesc();
  if (drawers == 1 && drawer.Type() == ORXSimItemType::kInt32 && drawer.Components() == 1 &&
      drawer.CSet() == ORXSimCollectionRef(mesh.elements()).FullCSet())
    return true;
  const std::string found = drawers == 0
                                ? "no drawer"
                                : std::to_string(drawers) + (drawers == 1 ? " drawer" : " drawers") + " of " +
                                      std::to_string(drawer.Items()) + " x " +
                                      std::to_string(drawer.Components()) + " " + nameOf(drawer.Type());
  throw cli_Failure(cli_Exit::kNotThere, file + ": expected elementFields/" + part_kField +
                                             " to be one int32 for each element, found " + found +
                                             "; give that field another name, or remove it");
}

void part_WriteField(const sto_File& file, const msfD_Mesh& mesh, const std::vector<int>& parts) {
  ORXSimUpdate update(file.Context());
  kda_MapString<ORXSimDistributionID> fields = mesh.elementFields();
  ORXSimDistributionID id = fields.get(part_kField);
  if (id.IsNull()) {
    ORXSimDrawerDescription drawer;
    drawer.members = ORXSimCollectionRef(mesh.elements()).FullCSet();
    drawer.type = ORXSimItemType::kInt32;
    drawer.longName = part_kField;
    id = ORXSimDistributionRef::Create(file.Context(), part_kField, "", &drawer, 1);
    require(!id.IsNull());
    fields.insert(part_kField, id);
    mesh.ElementFields(fields);
  }
  require(ORXSimDistributionRef(id).WriteItems(0, 0, static_cast<int>(parts.size()), parts.data(),
                                               static_cast<std::int64_t>(parts.size() * sizeof(int))));
  file.Check();
  require(update.Commit());
}
