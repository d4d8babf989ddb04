#include <pdmsim/show/show_Summary.h>

#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/show/show_Names.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <set>

namespace {

const show_Json& At(const show_Json& json, std::initializer_list<const char*> path) {
  static const show_Json nothing;
  const show_Json* at = &json;
  for (const char* const name : path) {
    const auto found = at->is_object() ? at->find(name) : at->end();
    if (!at->is_object() || found == at->end())
      return nothing;
    at = &*found;
  }
  return *at;
}

/// What a person calls elements of a type; its own name where there is no better.
std::pair<std::string, std::string> WordsFor(const std::string& type, std::size_t nodes) {
  const mesh_Element* const element = mesh_FindElement(type, nodes);
  if (element == nullptr)
    return {type.empty() ? "element" : type + " element", ""};
  switch (10 * element->dimension + element->corners) {
  case 1:
    return {"point", ""};
  case 12:
    return {"line", ""};
  case 23:
    return {"triangle", ""};
  case 24:
    return {"quadrilateral", ""};
  case 34:
    return {"tetrahedron", "tetrahedra"};
  case 35:
    return {"pyramid", ""};
  case 36:
    return {"wedge", ""};
  case 38:
    return {"hexahedron", "hexahedra"};
  default:
    return {std::string(element->name) + " element", ""};
  }
}

/// How many elements of each type the blocks have, by the drawers of the connectivity.
show_Json TypesOf(const show_Json& connectivity, ORXSimContextID context) {
  show_Json types = show_Json::array();
  if (!connectivity.is_object() || connectivity.value("kind", "") != "field")
    return types;
  const ORXSimDistributionRef field(ORXSimDistributionID(context, connectivity["id"].get<int>()));
  for (int i = 0; i < field.NumDrawers(); ++i) {
    const ORXSimPersistentDrawerDesc block = field.Drawer(i);
    const auto words = WordsFor(show_Text(block.LongName()), static_cast<std::size_t>(block.Components()));
    const std::string many = words.second.empty() ? words.first + "s" : words.second;
    auto found = std::find_if(types.begin(), types.end(),
                              [&](const show_Json& one) { return one["one"] == words.first; });
    if (found == types.end())
      found = types.insert(types.end(), show_Json{{"type", many}, {"one", words.first}, {"count", 0}});
    (*found)["count"] = (*found)["count"].get<long long>() + block.Items();
  }
  return types;
}

show_Json Dimension(const show_Json& model, const show_Json& coordinates) {
  const show_Json& components = At(coordinates, {"first", "components"});
  return components.is_null() ? At(model, {"members", "vectors", "items"}) : components;
}

} // namespace

std::vector<std::string> show_ResultNames(const show_Json& map) {
  static const std::set<std::string> own{"coordinates",  "label",           "distributionFactor",
                                         "time",         "connectivity",    "attribute",
                                         "nodeSetLabel", "elementSetLabel", "surfaceLabel"};
  std::vector<std::string> names;
  const show_Json& entries = At(map, {"entries"});
  if (entries.is_object())
    for (const auto& [name, field] : entries.items())
      if (!own.contains(name) && field.is_object())
        names.push_back(name);
  return names;
}

show_Json show_Summarize(const show_Json& simulation, ORXSimContextID context) {
  const show_Json& model = At(simulation, {"children", "discreteModel"});
  const show_Json& mesh = At(model, {"children", "mesh"});
  const show_Json& members = At(mesh, {"members"});
  const show_Json& frames = At(model, {"members", "frames", "items"});
  show_Json summary{{"dimension", Dimension(model, At(members, {"nodeFields", "entries", "coordinates"}))},
                    {"nodes", At(members, {"nodes", "items"})},
                    {"elements", At(members, {"elements", "items"})},
                    {"types", TypesOf(At(members, {"elementFields", "entries", "connectivity"}), context)},
                    {"blocks", At(members, {"regions", "items"})}};
  for (const char* const sets : {"nodeSets", "elementSets", "surfaces"})
    summary[sets] = At(members, {sets, "count"});
  std::size_t fields = 0;
  for (const char* const map :
       {"frameFields", "nodeFields", "elementFields", "surfaceFields", "regionFields", "meshFields"})
    fields += show_ResultNames(At(members, {map})).size();
  summary["fields"] = fields;
  summary["steps"] = frames;
  summary["times"] = show_Json::array();
  if (const auto& times = show_NamesInUse::Get().Times(); !times.empty())
    summary["times"] = {times.front(), times.back()};
  summary["systems"] = At(mesh, {"children", "systems", "count"});
  return summary;
}

std::string show_SummaryLine(const show_Json& summary) {
  const auto count = [&](const char* key) {
    return summary[key].is_number() ? summary[key].get<long long>() : 0LL;
  };
  if (summary["nodes"].is_null() && summary["elements"].is_null())
    return "a simulation without a mesh";
  std::string text = summary["dimension"].is_null() ? "" : summary["dimension"].dump() + "-D, ";
  text += show_Counted(count("nodes"), "node") + ", ";
  long long typed = 0;
  std::string types;
  for (const show_Json& one : summary["types"]) {
    typed += one["count"].get<long long>();
    types += (types.empty() ? "" : ", ") + show_Counted(one["count"].get<long long>(),
                                                        one["one"].get<std::string>(),
                                                        one["type"].get<std::string>());
  }
  text += typed > 0 && typed == count("elements") ? types : show_Counted(count("elements"), "element");
  if (count("blocks") > 0)
    text += " in " + show_Counted(count("blocks"), "block");
  for (const auto& [key, one] :
       {std::pair("nodeSets", "node set"), std::pair("surfaces", "surface"), std::pair("fields", "field"),
        std::pair("steps", "step"), std::pair("systems", "system")})
    if (count(key) > 0)
      text += ", " + show_Counted(count(key), one);
  return text;
}
