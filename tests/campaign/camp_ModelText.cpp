#include <campaign/camp_ModelText.h>

#include <bit>
#include <map>
#include <vector>

namespace {

// A member's value, identifiers without their context.
template <class Value>
std::string textOf(const Value& value) {
  if constexpr (std::is_same_v<Value, kda_string>) {
    return '"' + std::string(value.cStr()) + '"';
  } else if constexpr (std::is_same_v<Value, double>) {
    return std::to_string(std::bit_cast<std::uint64_t>(value));
  } else if constexpr (std::is_same_v<Value, int>) {
    return std::to_string(value);
  } else if constexpr (requires { value.IsNull(); }) {
    std::string collection;
    if constexpr (requires { value.CollectionMinor(); })
      collection = std::to_string(value.CollectionMinor()) + '.';
    return value.IsNull() ? "-" : collection + std::to_string(value.Minor());
  } else {
    std::string text = "{";
    value.ForEach([&](const auto& key, const auto& one) { text += textOf(key) + ':' + textOf(one) + ','; });
    return text + '}';
  }
}

template <class Handle>
void append(std::string& text, const Handle& handle, const std::string& indent);

template <class Element, class... Rest>
void append(std::string& text, const gbb_Array<Element, Rest...>& array, const std::string& indent) {
  for (int i = 0; i < array.count(); ++i)
    append(text, array.get(i), indent);
}

template <class Handle>
void append(std::string& text, const Handle& handle, const std::string& indent) {
  using Traits = typename Handle::Traits;
  if (!handle)
    return;
  const auto* const members = handle.ReadMembers();
  text += indent + (members == nullptr ? "unreadable" : Traits::kName.chars) + '\n';
  std::map<std::string, std::string> lines;
  if (members != nullptr)
    gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
        [&](auto member) { lines[member.name()] = textOf(members->*member.kField); });
  for (const auto& [name, value] : lines)
    text += indent + ' ' + name + ' ' + value + '\n';
  gbb_ForEachChild(handle, [&](auto, const auto& child) { append(text, child, indent + "  "); });
  if constexpr (std::is_same_v<Handle, fesD_FESystem>) { // what it is besides
    append(text, fesD_GenericSystem(gbb_Handle(handle)), indent + "  ");
    append(text, fesD_ModalSystem(gbb_Handle(handle)), indent + "  ");
    append(text, fesD_SubstructureSystem(gbb_Handle(handle)), indent + "  ");
  }
}

std::string collection(const ORXSimCollectionRef& one) {
  std::string text =
      "collection " + std::string(one.Name().CStr()) + ' ' + std::to_string(one.NumItems()) + '\n';
  for (const ORXSimCSetID set : one.CSets()) {
    std::vector<int> members(static_cast<std::size_t>(ORXSimCSet(set).Size()));
    if (!ORXSimCSet(set).OrderedMembers(members.data(), static_cast<int>(members.size())))
      members.assign(1, -1);
    text += " set";
    for (const int member : members)
      text += ' ' + std::to_string(member);
    text += '\n';
  }
  return text;
}

std::string distribution(const ORXSimDistributionRef& one) {
  std::string text = "distribution " + std::string(one.Name().CStr()) + " [" + one.Unit().CStr() + "]\n";
  for (int i = 0; i < one.NumDrawers(); ++i) {
    const ORXSimPersistentDrawerDesc found = one.Drawer(i);
    std::string bytes(static_cast<std::size_t>(found.Bytes()), '\0');
    if (!one.ReadItems(i, 0, found.Items(), bytes.data(), found.Bytes()))
      bytes = "unreadable";
    text += " drawer " + textOf(found.CSet()) + " type " + std::to_string(static_cast<int>(found.Type())) +
            " x " + std::to_string(found.Components()) + ", " + std::to_string(bytes.size()) + " bytes " +
            std::to_string(std::hash<std::string>()(bytes)) + '\n';
  }
  return text;
}

} // namespace

std::string camp_ModelText(const msfD_Sim& sim) {
  std::string text;
  const ORXSimStore store(sim.distributionService().Context());
  for (const ORXSimCollectionID id : store.Collections())
    text += collection(ORXSimCollectionRef(id));
  for (const ORXSimDistributionID id : store.Distributions())
    text += distribution(ORXSimDistributionRef(id));
  append(text, sim, "");
  return text;
}
