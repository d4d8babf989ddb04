#include <pdmsim/draw/draw_Choice.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Guess.h>

#include <algorithm>
#include <cstdlib>

namespace {

/// A path below the mesh.
std::string Below(std::string path) {
  for (const char* const prefix : {"/", "discreteModel/", "mesh/"})
    if (path.starts_with(prefix))
      path.erase(0, std::string_view(prefix).size());
  return path;
}

bool CutOff(std::string& path, std::string_view end) {
  const bool cut = path.ends_with(end);
  if (cut)
    path.resize(path.size() - end.size());
  return cut;
}

/// Everything that can be drawn: the arrays of the view, and what is made of them.
std::vector<draw_Choice> Choices(const sto_Mesh& mesh, const std::vector<view_Array>& arrays) {
  std::vector<draw_Choice> choices;
  for (const view_Array& array : arrays)
    if (!array.origin.empty())
      choices.push_back({array.path, array.origin, array.unit, array.width, {}, array.field});
  choices.push_back({"Points", "nodeFields/coordinates", mesh.LengthUnit(), 3, {}, {}});
  for (const char* const map : {"elementSets/", "regionSets/"})
    for (const mesh_Block& block : mesh.Blocks())
      if (!block.name.empty())
        choices.push_back({"CellData/block", map + block.name, "", 1, block.id, {}});
  return choices;
}

/// Why what has its place in a mesh cannot be drawn; "" where there is no such reason.
std::string Hindrance(const std::string& path) {
  constexpr std::pair<const char*, const char*> kMaps[] = {
      {"surfaceFields/", "values on sides of elements"},
      {"frameFields/", "values of steps"},
      {"regionFields/", "values of blocks"},
      {"meshFields/", "values of the whole mesh"},
      {"systems/", "a part of a system"},
  };
  for (const auto& [map, what] : kMaps)
    if (path.starts_with(map))
      return what;
  return path == "elementFields/connectivity" || path == "elementFields/attribute" ? "no values to colour by"
                                                                                   : "";
}

/// The choice of a field that is on sets, by the field's own name. Refuses one on several sets, whose values
/// are an array each. Null for none.
const draw_Choice* OnOneSet(const std::string& file, const std::string& wanted,
                            const std::vector<draw_Choice>& choices) {
  std::vector<const draw_Choice*> found;
  for (const draw_Choice& choice : choices)
    if (!choice.field.empty() && (choice.field == wanted || choice.field.ends_with("Fields/" + wanted)))
      found.push_back(&choice);
  if (found.size() < 2)
    return found.empty() ? nullptr : found.front();
  std::string names;
  for (const draw_Choice* const choice : found)
    names += (names.empty() ? "'" : ", '") + choice->shows + "'";
  throw cli_Failure(cli_Exit::kNotThere, file + ": expected a field on one set to draw, found '" + wanted +
                                             "' on several: " + names);
}

} // namespace

draw_Choice draw_Choose(const std::string& file, const std::string& path, const sto_Mesh& mesh,
                        const std::vector<view_Array>& arrays) {
  const std::string wanted = path.empty() ? "block" : Below(path);
  const std::vector<draw_Choice> choices = Choices(mesh, arrays);
  for (const char* const map :
       {"", "nodeFields/", "elementFields/", "nodeSets/", "elementSets/", "surfaces/"})
    for (const draw_Choice& choice : choices)
      if (choice.shows == map + wanted)
        return choice;
  if (const draw_Choice* const onSet = OnOneSet(file, wanted, choices))
    return *onSet;
  std::vector<std::string> names;
  for (const draw_Choice& choice : choices) {
    const std::size_t slash = choice.shows.find('/');
    const bool whole = wanted.find('/') != std::string::npos || slash == std::string::npos;
    std::string name = whole ? choice.shows : choice.shows.substr(slash + 1);
    if (!choice.shows.starts_with("regionSets/") &&
        std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(std::move(name));
  }
  const std::string hindrance = Hindrance(wanted);
  throw cli_Failure(cli_Exit::kNotThere,
                    file + ": expected a field or set to draw, found " +
                        (hindrance.empty() ? "none of the name '" + path + "'" + cli_Guess(wanted, names)
                                           : "'" + path + "', " + hindrance));
}

std::optional<draw_Mode> draw_ModeOf(const std::string& path) {
  std::string rest = Below(path);
  draw_Mode found;
  if (rest.starts_with("systems/")) {
    found.system = rest.substr(std::string_view("systems/").size());
    const std::size_t number = found.system.find("/modes/");
    rest = number == std::string::npos ? "" : found.system.substr(number + 1);
    found.system.resize(std::min(number, found.system.size()));
    CutOff(found.system, "/modeShapes");
    CutOff(found.system, "/userDistributions");
    CutOff(found.system, "/modes");
    if (found.system.find('/') != std::string::npos)
      return std::nullopt;
  } else if (rest != "modes" && rest != "modeShapes" && !rest.starts_with("modes/")) {
    return std::nullopt;
  }
  if (rest.starts_with("modes/"))
    found.mode = std::atoi(rest.c_str() + std::string_view("modes/").size());
  return found;
}
