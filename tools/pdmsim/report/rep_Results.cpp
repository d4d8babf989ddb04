#include <pdmsim/report/rep_Content.h>

#include <pdmsim/cli/cli_Failure.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A field as it is drawn: a variable, or several of one number each that are a vector's components.
struct Field {
  std::string name, unit;
  mesh_Place place = mesh_Place::kNodes;
  std::vector<std::size_t> variables;
  bool constant = false, vector = false;
  std::vector<std::string> components;
  std::vector<long long> kinds;         // the different integers of one that has few; values are places here
  show_Json steps = show_Json::array(); // [kept steps]
};

struct Range {
  double least = std::numeric_limits<double>::infinity(), greatest = -least;
  void Take(double value) {
    if (std::isfinite(value)) {
      least = std::min(least, value);
      greatest = std::max(greatest, value);
    }
  }
};

std::string placeName(mesh_Place place) {
  constexpr const char* kNames[mesh_kPlaces] = {"whole mesh", "nodes",        "elements",
                                                "node sets",  "element sets", "side sets"};
  return kNames[static_cast<std::size_t>(place)];
}

/// True for integers that tell few kinds of elements apart, such as parts or materials.
bool areKinds(const std::vector<long long>& kinds, std::size_t elements) {
  constexpr std::size_t kMostKinds = 64, kMostParts = 4096;
  const bool areParts = kinds.size() <= std::min(kMostParts, elements / 8) && kinds.front() == 0 &&
                        kinds.back() == std::ssize(kinds) - 1;
  return kinds.size() < elements && (areParts || kinds.size() <= kMostKinds);
}

class Results {
 public:
  Results(const sto_Mesh& mesh, const std::vector<sto_ModalSystem>& systems, const rep_Choice& choice,
          const rep_Drawn& drawn, rep_Content& content)
      : m_mesh(mesh), m_systems(systems), m_choice(choice), m_drawn(drawn), m_content(content) {}

  void Add() {
    FindFields();
    const std::size_t steps = m_mesh.Times().size();
    std::size_t before = m_content.Left();
    for (Field& field : m_fields)
      AddStep(field, steps == 0 || field.constant ? 0 : steps - 1);
    AddKinds();
    std::erase_if(m_fields, [&](const Field& field) {
      if (field.steps.back().is_null())
        m_content.Note("the field " + field.name + " is left out: no room");
      return field.steps.back().is_null();
    });
    before -= m_content.Left();
    AddModes();
    AddFurtherSteps(before);
    AddTable();
  }

 private:
  const mesh_Variables& Of(mesh_Place place) const { return m_mesh.Variables(place); }

  bool IsChosen(const std::string& name) const {
    return !m_choice.fields ||
           std::find(m_choice.fields->begin(), m_choice.fields->end(), name) != m_choice.fields->end();
  }

  void FindFields() {
    std::set<std::string> known;
    for (std::size_t place = 0; place < mesh_kPlaces; ++place)
      known.insert(Of(static_cast<mesh_Place>(place)).names.begin(),
                   Of(static_cast<mesh_Place>(place)).names.end());
    for (const mesh_Map& map : m_mesh.ElementMaps())
      known.insert(map.name);
    for (const std::string& name : m_choice.fields.value_or(std::vector<std::string>()))
      if (!known.contains(name))
        throw cli_Failure(cli_Exit::kNotThere,
                          m_mesh.Path() + ": expected a field '" + name + "', found none of that name");
    if (!m_drawn.isThere)
      return;
    for (const auto place : {mesh_Place::kNodes, mesh_Place::kBlocks}) {
      std::vector<bool> taken(Of(place).names.size());
      for (std::size_t variable = 0; variable < taken.size(); ++variable)
        if (!taken[variable] && IsChosen(Of(place).names[variable]))
          AddField(place, variable, taken);
    }
  }

  void AddField(mesh_Place place, std::size_t variable, std::vector<bool>& taken) {
    const mesh_Variables& variables = Of(place);
    Field field;
    field.name = variables.names[variable];
    field.unit = variables.Unit(variable);
    field.place = place;
    field.variables = {variable};
    field.constant = variables.Constant(variable);
    const std::size_t width = variables.Components(variable), axes = m_mesh.Dimension();
    if (width == 1 && place == mesh_Place::kNodes && axes > 1)
      JoinVector(field, taken);
    field.vector = field.vector || (place == mesh_Place::kNodes && width == axes && axes > 1);
    for (std::size_t i = 0; width > 1 && i < width; ++i)
      field.components.push_back(field.vector ? m_mesh.AxisNames()[i] : std::to_string(i + 1));
    m_fields.push_back(std::move(field));
  }

  /// Of three fields u_x, u_y, u_z, or two in the plane, makes one vector u.
  void JoinVector(Field& field, std::vector<bool>& taken) const {
    const mesh_Variables& variables = Of(field.place);
    const std::string first = field.name, stem = first.substr(0, first.size() - 1);
    if (stem.empty() || (first.back() != 'x' && first.back() != 'X'))
      return;
    std::vector<std::size_t> found = field.variables;
    for (std::size_t axis = 1; axis < m_mesh.Dimension(); ++axis) {
      const std::string wanted = stem + static_cast<char>(first.back() + static_cast<char>(axis));
      const auto at = std::find(variables.names.begin(), variables.names.end(), wanted);
      const auto one = static_cast<std::size_t>(at - variables.names.begin());
      if (at == variables.names.end() || variables.Components(one) != 1 || taken[one] || !IsChosen(wanted) ||
          variables.Unit(one) != field.unit || variables.Constant(one) != field.constant)
        return;
      found.push_back(one);
    }
    for (const std::size_t one : found) {
      taken[one] = true;
      field.components.push_back(variables.names[one]);
    }
    field.variables = std::move(found);
    field.vector = true;
    const std::size_t end = stem.find_last_not_of(" _-.");
    field.name = end == std::string::npos ? stem : stem.substr(0, end + 1);
  }

  /// All rows of a variable: [rows][components].
  std::vector<double> Values(mesh_Place place, std::size_t variable, std::size_t step) {
    const mesh_Variables& variables = Of(place);
    const std::size_t width = variables.Components(variable);
    const bool ofNodes = place == mesh_Place::kNodes;
    std::vector<double> values((ofNodes ? m_mesh.Nodes() : m_mesh.Elements()) * width, kNaN);
    for (std::size_t entity = 0; entity < variables.present.size(); ++entity) {
      if (!variables.present[entity][variable])
        continue;
      const std::size_t first = ofNodes ? 0 : m_mesh.Blocks()[entity].firstElement;
      const mesh_NumbersPtr numbers = m_mesh.Values(place, variable, entity, step);
      numbers->Read(0, numbers->Rows(), &values[first * width]);
    }
    Range& range = m_ranges[static_cast<std::size_t>(place)][variable];
    for (const double value : values)
      range.Take(value);
    return values;
  }

  /// The components of rows, each as it is drawn.
  static void Split(const std::vector<double>& values, std::size_t width, const std::vector<int>& rows,
                    std::vector<rep_Plane>& planes) {
    std::vector<double> some(rows.size());
    for (std::size_t component = 0; component < width; ++component) {
      for (std::size_t i = 0; i < rows.size(); ++i)
        some[i] = values[static_cast<std::size_t>(rows[i]) * width + component];
      planes.push_back(rep_PackPlane(some));
    }
  }

  void AddStep(Field& field, std::size_t step) {
    const std::vector<int>& rows = field.place == mesh_Place::kNodes ? m_drawn.nodes : m_drawn.elements;
    std::vector<rep_Plane> planes;
    for (const std::size_t variable : field.variables)
      Split(Values(field.place, variable, step), Of(field.place).Components(variable), rows, planes);
    field.steps.push_back(m_content.AddPlanes(std::move(planes)));
  }

  void AddKinds() {
    for (std::size_t map = 0; map < m_mesh.ElementMaps().size() && m_mesh.Elements() > 0; ++map) {
      Field field;
      field.name = m_mesh.ElementMaps()[map].name;
      field.place = mesh_Place::kBlocks;
      field.constant = true;
      std::vector<long long> values(m_mesh.Elements());
      m_mesh.ElementMap(map)->Read(0, values.size(), values.data());
      field.kinds = values;
      std::sort(field.kinds.begin(), field.kinds.end());
      field.kinds.erase(std::unique(field.kinds.begin(), field.kinds.end()), field.kinds.end());
      m_kinds.push_back({{"name", field.name},
                         {"unit", ""},
                         {"place", placeName(field.place)},
                         {"components", 1},
                         {"steps", 1},
                         {"range", {field.kinds.front(), field.kinds.back()}}});
      if (!m_drawn.isThere || !IsChosen(field.name) || !areKinds(field.kinds, values.size()))
        continue;
      std::vector<double> drawn;
      for (const int element : m_drawn.elements)
        drawn.push_back(static_cast<double>(std::lower_bound(field.kinds.begin(), field.kinds.end(),
                                                             values[static_cast<std::size_t>(element)]) -
                                            field.kinds.begin()));
      field.steps.push_back(m_content.AddPlanes({rep_PackPlane(drawn)}));
      m_fields.push_back(std::move(field));
    }
  }

  void AddModes() {
    show_Json systems = show_Json::array();
    for (const sto_ModalSystem& system : m_systems) {
      show_Json shapes = show_Json::array();
      const bool isVector = system.components == 6 || system.components == m_mesh.Dimension();
      for (std::size_t mode = 0; m_drawn.isThere && isVector && mode < system.shapeCount; ++mode) {
        std::vector<double> values = sto_ModeShape(m_mesh.Path(), system, mode, 0, m_mesh.Nodes());
        std::vector<rep_Plane> planes;
        Split(values, system.components, m_drawn.nodes, planes);
        planes.resize(std::min(planes.size(), m_mesh.Dimension()));
        shapes.push_back(m_content.AddPlanes(std::move(planes)));
        if (shapes.back().is_null()) {
          m_content.Note(system.name + ": the shapes of modes " + std::to_string(mode + 1) + " to " +
                         std::to_string(system.shapeCount) + " are left out: no room");
          break;
        }
      }
      show_Json titles = show_Json::array();
      for (std::size_t mode = 0; mode < shapes.size(); ++mode)
        titles.push_back(sto_ModeTitle(system, mode));
      systems.push_back(
          {{"number", system.number},
           {"name", system.name.empty() ? "system " + std::to_string(system.number) : system.name},
           {"titles", std::move(titles)},
           {"frequencies", system.frequencies},
           {"unit", system.unit},
           {"shapes", std::move(shapes)}});
    }
    m_content.about["modal"] = std::move(systems);
  }

  /// \param bytes  that one step of all fields has taken.
  void AddFurtherSteps(std::size_t bytes) {
    const std::size_t all = m_mesh.Times().size();
    std::size_t count = std::min(all, m_choice.steps.value_or(all));
    const bool change =
        std::any_of(m_fields.begin(), m_fields.end(), [](const Field& f) { return !f.constant; });
    if (change && bytes > 0) // the further ones take a little more than this one or a little less
      count = std::min(count, 1 + static_cast<std::size_t>(0.9 * static_cast<double>(m_content.Left()) /
                                                           static_cast<double>(bytes)));
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < count; ++i)
      kept.push_back(count == 1 ? all - 1 : (i * (all - 1) + (count - 1) / 2) / (count - 1));
    for (Field& field : m_fields) {
      if (field.constant)
        continue;
      show_Json last = std::move(field.steps.back());
      field.steps = show_Json::array();
      for (std::size_t i = 0; i + 1 < kept.size(); ++i)
        AddStep(field, kept[i]);
      field.steps.push_back(std::move(last));
    }
    if (change && kept.size() < all)
      m_content.Note(std::to_string(kept.size()) + " of " + std::to_string(all) + " steps are in this page" +
                     (m_choice.steps && kept.size() == *m_choice.steps ? "" : ": no room for more"));
    m_content.about["times"] = m_mesh.Times();
    m_content.about["kept"] = kept;
  }

  /// Every field in words, then those that are drawn.
  void AddTable() {
    show_Json table = show_Json::array(), list = show_Json::array();
    for (std::size_t p = 0; p < mesh_kPlaces; ++p) {
      const auto place = static_cast<mesh_Place>(p);
      for (std::size_t i = 0; i < Of(place).names.size(); ++i) {
        const auto range = m_ranges[p].find(i);
        show_Json row{{"name", Of(place).names[i]},
                      {"unit", Of(place).Unit(i)},
                      {"place", placeName(place)},
                      {"components", Of(place).Components(i)},
                      {"steps", Of(place).Constant(i) ? 1 : std::max<std::size_t>(1, m_mesh.Times().size())}};
        if (range != m_ranges[p].end() && range->second.least <= range->second.greatest)
          row["range"] = {range->second.least, range->second.greatest};
        table.push_back(std::move(row));
      }
    }
    table.insert(table.end(), m_kinds.begin(), m_kinds.end());
    for (Field& field : m_fields)
      list.push_back({{"name", field.name},
                      {"unit", field.unit},
                      {"nodes", field.place == mesh_Place::kNodes},
                      {"constant", field.constant},
                      {"vector", field.vector},
                      {"components", field.components},
                      {"kinds", field.kinds},
                      {"steps", std::move(field.steps)}});
    m_content.about["table"] = std::move(table);
    m_content.about["fields"] = std::move(list);
  }

  const sto_Mesh& m_mesh;
  const std::vector<sto_ModalSystem>& m_systems;
  const rep_Choice& m_choice;
  const rep_Drawn& m_drawn;
  rep_Content& m_content;
  std::vector<Field> m_fields;
  show_Json m_kinds = show_Json::array(); // of each field of one integer an element, in words
  std::map<std::size_t, Range> m_ranges[mesh_kPlaces];
};

} // namespace

void rep_AddResults(const sto_Mesh& mesh, const std::vector<sto_ModalSystem>& systems,
                    const rep_Choice& choice, const rep_Drawn& drawn, rep_Content& content) {
  Results(mesh, systems, choice, drawn, content).Add();
}
