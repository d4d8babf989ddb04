#include <pdmsim/stored/sto_Steps.h>

#include <algorithm>

namespace {

constexpr std::string_view kNodesOwn[] = {"coordinates", "label", "distributionFactor"};
constexpr std::string_view kElementsOwn[] = {"connectivity", "label", "attribute", "distributionFactor"};

template <class Names>
bool isIn(const Names& names, std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

} // namespace

bool sto_IsResult(std::string_view map, std::string_view name) {
  if (map == "nodeFields")
    return !isIn(kNodesOwn, name);
  if (map == "elementFields")
    return !isIn(kElementsOwn, name);
  return (map == "surfaceFields" && name != "distributionFactor") ||
         (map == "regionFields" && name != "label") || map == "localNodeFields";
}

int sto_DrawersOfStep(int drawers, int steps, int looked,
                      const std::function<ORXSimPersistentDrawerDesc(int)>& drawer) {
  if (steps == 0 || drawers == 0 || drawers % steps != 0)
    return 0;
  const int each = drawers / steps;
  if (each > 1 && drawer(0).CSet() == drawer(1).CSet()) {
    const std::string first = drawer(0).LongName().CStr();
    if (first.empty() || (steps > 1 && first != drawer(each).LongName().CStr()))
      return 0;
  }
  for (int i = each; i < each * std::min(looked, steps); ++i)
    if (drawer(i).CSet() != drawer(i - each).CSet())
      return 0;
  return each;
}

sto_StepFields::sto_StepFields(const msfD_Mesh& mesh) {
  const auto add = [&](const char* map, const kda_MapString<ORXSimDistributionID>& fields) {
    fields.ForEach([&](const kda_string& name, ORXSimDistributionID field) {
      if (!field.IsNull() && sto_IsResult(map, name.cStr()))
        m_fields.insert(field.Minor());
    });
  };
  add("nodeFields", mesh.nodeFields());
  add("elementFields", mesh.elementFields());
  add("surfaceFields", mesh.surfaceFields());
  add("regionFields", mesh.regionFields());
  add("localNodeFields", mesh.localNodeFields());
}
