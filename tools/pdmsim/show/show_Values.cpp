#include <pdmsim/show/show_Values.h>

#include <pdmsim/show/show_Names.h>

namespace {

/// What an identifier names that the file does not have: the rest of the file is worth showing.
show_Json Missing(const char* what, int id) {
  return {{"kind", "missing"}, {"what", what}, {"id", id}};
}

/// True when the path of groups is in the file. Leaves no error behind, as a call on what is missing does.
bool HasGroups(ORXSimContextID context, std::initializer_list<std::string> path) {
  hdf_Group group = ORXSimContextRef(context).File().RootGroup();
  for (const std::string& name : path) {
    if (!group.GetObjinfoExists(name.c_str()))
      return false;
    group = group.GroupOpen(name.c_str());
  }
  return true;
}

bool Exists(ORXSimCollectionID id) {
  return HasGroups(id.Context(), {"store", "collections", std::to_string(id.Minor())});
}

bool Exists(ORXSimCSetID id) {
  const std::string collection = std::to_string(id.CollectionMinor());
  return id.Minor() == 0 ? Exists(id.Collection())
                         : HasGroups(id.Context(), {"store", "collections", collection, "sets"}) &&
                               ORXSimContextRef(id.Context())
                                   .File()
                                   .RootGroup()
                                   .GroupOpen("store")
                                   .GroupOpen("collections")
                                   .GroupOpen(collection.c_str())
                                   .GroupOpen("sets")
                                   .GetObjinfoExists(std::to_string(id.Minor()).c_str());
}

/// The name of what rows belong to, and of the set where they belong to a part.
void AddSet(ORXSimCSetID set, show_Json& json) {
  json["collection"] = show_Text(ORXSimCollectionRef(set.Collection()).Name());
  json["all"] = set.Minor() == 0;
  if (const std::string name = show_NamesInUse::Get().Set(set); !name.empty())
    json["set"] = name;
}

} // namespace

bool show_Exists(ORXSimDistributionID id) {
  return HasGroups(id.Context(), {"store", "distributions", std::to_string(id.Minor())});
}

const char* show_TypeName(ORXSimItemType type) {
  constexpr const char* names[] = {"int32", "int64", "float", "double"};
  return static_cast<std::size_t>(type) < std::size(names) ? names[static_cast<std::size_t>(type)] : "?";
}

show_Json show_Value(ORXSimCollectionID id) {
  if (id.IsNull())
    return nullptr;
  const ORXSimCollectionRef collection(id);
  if (!Exists(id))
    return Missing("collection", id.Minor());
  return {{"kind", "collection"},
          {"id", id.Minor()},
          {"name", show_Text(collection.Name())},
          {"items", collection.NumItems()},
          {"sets", collection.NumCSets()}};
}

show_Json show_Value(ORXSimCSetID id) {
  if (id.IsNull())
    return nullptr;
  if (!Exists(id))
    return Missing("set", id.Minor());
  show_Json json{{"kind", "set"}, {"id", id.Minor()}, {"collectionId", id.CollectionMinor()}};
  AddSet(id, json);
  json["size"] = ORXSimCSet(id).Size();
  return json;
}

show_Json show_Value(ORXSimDSetID id) {
  if (id.IsNull())
    return nullptr;
  return {{"kind", "data set"}, {"id", id.Minor()}};
}

show_Json show_Drawer(const ORXSimPersistentDrawerDesc& drawer) {
  const ORXSimCSetID set = drawer.CSet();
  show_Json json{{"rows", drawer.Items()},
                 {"components", drawer.Components()},
                 {"type", show_TypeName(drawer.Type())},
                 {"bytes", drawer.Bytes()}};
  if (set.IsNull()) // nothing could be read, of which the cause is kept
    return json;
  AddSet(set, json);
  if (!drawer.Unit().Empty())
    json["unit"] = show_Text(drawer.Unit());
  if (!drawer.LongName().Empty())
    json["longName"] = show_Text(drawer.LongName());
  return json;
}

show_Json show_Value(ORXSimDistributionID id) {
  if (id.IsNull())
    return nullptr;
  const ORXSimDistributionRef distribution(id);
  if (!show_Exists(id))
    return Missing("field", id.Minor());
  const int drawers = distribution.NumDrawers();
  show_Json json{{"kind", "field"}, {"id", id.Minor()}, {"name", show_Text(distribution.Name())}};
  if (!distribution.Unit().Empty())
    json["unit"] = show_Text(distribution.Unit());
  json["drawers"] = drawers;
  if (drawers > 1 && show_NamesInUse::Get().Step(id, 0, drawers))
    json["steps"] = show_NamesInUse::Get().Times().size();
  if (drawers > 0) // one tells enough here: a field may have thousands
    json["first"] = show_Drawer(distribution.Drawer(0));
  return json;
}

void show_AddSides(ORXSimDistributionID id, show_Json& description) {
  if (id.IsNull() || !show_Exists(id))
    return;
  const ORXSimDistributionRef distribution(id);
  long long sides = 0;
  for (int i = 0; i < distribution.NumDrawers(); ++i)
    sides += distribution.Drawer(i).Items();
  description["sides"] = sides;
  description["elements"] = distribution.NumDrawers() > 0 ? distribution.Drawer(0).Items() : 0;
}
