#include <campaign/camp_State.h>

namespace {

template <class Handle>
camp_Object read(const Handle& handle);

template <class Handle>
void addChild(camp_Object& parent, const Handle& child) {
  if (!!child)
    parent.children.push_back(read(child));
}

template <class Element, class... Rest>
void addChild(camp_Object& parent, const gbb_Array<Element, Rest...>& array) {
  for (int i = 0; i < array.count(); ++i)
    addChild(parent, array.get(i));
}

template <class Handle>
camp_Object read(const Handle& handle) {
  using Traits = typename Handle::Traits;
  const auto* const members = handle.ReadMembers();
  camp_Object object =
      members == nullptr ? camp_Object{"unreadable", {}, {}} : camp_ObjectOf<Traits>(*members);
  gbb_ForEachChild(handle, [&](auto, const auto& child) { addChild(object, child); });
  if constexpr (std::is_same_v<Handle, fesD_FESystem>) { // what it is besides
    addChild(object, fesD_GenericSystem(gbb_Handle(handle)));
    addChild(object, fesD_ModalSystem(gbb_Handle(handle)));
    addChild(object, fesD_SubstructureSystem(gbb_Handle(handle)));
  }
  return object;
}

void append(std::string& text, const camp_Object& object, std::string indent) {
  text += indent + object.name + '\n';
  for (const auto& [name, value] : object.members)
    text += indent + ' ' + name + ' ' + value + '\n';
  for (const camp_Object& child : object.children)
    append(text, child, indent + "  ");
}

camp_Collection readCollection(ORXSimCollectionID id) {
  const ORXSimCollectionRef collection(id);
  camp_Collection result{collection.Name().CStr(), collection.NumItems(), {}};
  for (const ORXSimCSetID set : collection.CSets()) {
    std::vector<int> members(static_cast<std::size_t>(ORXSimCSet(set).Size()));
    if (!ORXSimCSet(set).OrderedMembers(members.data(), static_cast<int>(members.size())))
      members.assign(1, -1);
    result.sets.push_back(std::move(members));
  }
  return result;
}

camp_Drawer readDrawer(const ORXSimDistributionRef& distribution, int drawer) {
  const ORXSimPersistentDrawerDesc found = distribution.Drawer(drawer);
  std::string bytes(static_cast<std::size_t>(found.Bytes()), '\0');
  if (!distribution.ReadItems(drawer, 0, found.Items(), bytes.data(), found.Bytes()))
    bytes = "unreadable";
  return {found.CSet().CollectionMinor(), found.CSet().Minor(), found.Type(), found.Components(),
          camp_Rows(std::move(bytes))};
}

camp_Distribution readDistribution(ORXSimDistributionID id) {
  const ORXSimDistributionRef distribution(id);
  camp_Distribution result{distribution.Name().CStr(), distribution.Unit().CStr(), {}};
  for (int i = 0; i < distribution.NumDrawers(); ++i)
    result.drawers.push_back(readDrawer(distribution, i));
  return result;
}

} // namespace

std::string camp_State::Text() const {
  std::string text;
  for (const camp_Collection& collection : collections) {
    text += "collection " + collection.name + ' ' + std::to_string(collection.items) + '\n';
    for (const std::vector<int>& set : collection.sets) {
      text += " set";
      for (const int member : set)
        text += ' ' + std::to_string(member);
      text += '\n';
    }
  }
  for (const camp_Distribution& distribution : distributions) {
    text += "distribution " + distribution.name + " [" + distribution.unit + "]\n";
    for (const camp_Drawer& drawer : distribution.drawers)
      text += " drawer " + std::to_string(drawer.collection) + '.' + std::to_string(drawer.set) + " type " +
              std::to_string(static_cast<int>(drawer.type)) + " x " + std::to_string(drawer.components) +
              ", " + std::to_string(drawer.rows.Bytes().size()) + " bytes " +
              std::to_string(drawer.rows.Hash()) + '\n';
  }
  append(text, sim, "");
  return text;
}

std::uint64_t camp_State::Digest() const {
  return exists ? std::hash<std::string>()(Text()) | 2 : kNoFile;
}

camp_State camp_State::Read(const msfD_Sim& sim) {
  camp_State state;
  state.exists = true;
  const ORXSimStore store(sim.distributionService().Context());
  for (const ORXSimCollectionID id : store.Collections())
    state.collections.push_back(readCollection(id));
  for (const ORXSimDistributionID id : store.Distributions())
    state.distributions.push_back(readDistribution(id));
  state.sim = read(sim);
  return state;
}
