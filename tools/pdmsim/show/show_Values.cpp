#include <pdmsim/show/show_Values.h>

namespace {

/// What an identifier names that the file does not have: the rest of the file is worth showing.
show_Json Missing(const char* what, int id) {
  return {{"kind", "missing"}, {"what", what}, {"id", id}};
}

// Numbers are given from 1 on, and nothing is taken out of the store.
bool Exists(ORXSimCollectionID id) {
  return id.Minor() <= ORXSimStore(id.Context()).NumCollections();
}

bool Exists(ORXSimDistributionID id) {
  return id.Minor() <= ORXSimStore(id.Context()).NumDistributions();
}

bool Exists(ORXSimCSetID id) {
  return Exists(id.Collection()) && id.Minor() <= ORXSimCollectionRef(id.Collection()).NumCSets();
}

} // namespace

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
  return {{"kind", "set"},
          {"id", id.Minor()},
          {"collectionId", id.CollectionMinor()},
          {"collection", show_Text(ORXSimCollectionRef(id.Collection()).Name())},
          {"all", id.Minor() == 0},
          {"size", ORXSimCSet(id).Size()}};
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
                 {"bytes", drawer.Bytes()},
                 {"collection", show_Text(ORXSimCollectionRef(set.Collection()).Name())},
                 {"all", set.Minor() == 0}};
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
  if (!Exists(id))
    return Missing("field", id.Minor());
  const int drawers = distribution.NumDrawers();
  show_Json json{{"kind", "field"}, {"id", id.Minor()}, {"name", show_Text(distribution.Name())}};
  if (!distribution.Unit().Empty())
    json["unit"] = show_Text(distribution.Unit());
  json["drawers"] = drawers;
  if (drawers > 0) // one tells enough here: a field may have thousands
    json["first"] = show_Drawer(distribution.Drawer(0));
  return json;
}
