#include <pdmsim/import/gmsh/gms_Fields.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <set>

namespace {

constexpr int kMostComponents = 64; // every node has as many, and one row is enough to say so

std::string unquoted(const std::string& line) {
  const std::size_t first = line.find('"'), last = line.rfind('"');
  return first < last ? line.substr(first + 1, last - first - 1) : line;
}

} // namespace

gms_Fields::Section gms_Fields::ReadHead() {
  mesh_Input& in = *m_input;
  Section section;
  std::string line;
  const auto count = [&](const char* what) {
    const long long number = in.Int(what);
    if (number < 0)
      in.Fail(what, number);
    in.Require(static_cast<std::size_t>(number), 2, what);
    in.NextLine(line);
    return number;
  };
  const long long texts = count("a number of texts");
  for (long long i = 0; i < texts && in.NextLine(line); ++i)
    if (i == 0)
      section.name = unquoted(line);
    else
      m_interpolated = true;
  const long long reals = count("a number of reals");
  for (long long i = 0; i < reals; ++i)
    if (const double real = in.Real("a real"); i == 0)
      section.time = real;
  const long long integers = in.Int("a number of integers", 3, 1 << 20);
  section.step = in.Int("a step");
  section.components = static_cast<std::size_t>(in.Int("a number of components", 1, kMostComponents));
  section.rows = static_cast<std::size_t>(in.Int("a number of rows", 0, INT_MAX));
  for (long long i = 3; i < integers; ++i)
    in.Int("an integer");
  in.NextLine(line);
  if (reals == 0)
    section.time = static_cast<double>(section.step);
  return section;
}

void gms_Fields::Read(On place) {
  mesh_Input& in = *m_input;
  Section section = ReadHead();
  section.on = place;
  section.place = in.Here();
  in.Require(section.rows, m_binary ? 4 + 8 * section.components : 2 + 2 * section.components, "rows");
  if (m_binary)
    in.Skip(section.rows * (4 + 8 * section.components), "the values of a field");
  else
    in.SkipLines(section.rows, "the values of a field");
  m_sections.push_back(std::move(section));
}

void gms_Fields::SkipByElementNode() {
  mesh_Input& in = *m_input;
  const Section section = ReadHead();
  ++m_byElementNode[section.name];
  if (!m_binary)
    return in.SkipLines(section.rows, "the values of a field");
  for (std::size_t i = 0; i < section.rows; ++i) {
    in.Number<int>("an element");
    const int nodes = in.Number<int>("a number of nodes");
    if (nodes < 0 || static_cast<std::size_t>(nodes) > in.Left() / 8 / section.components)
      in.Fail("a number of nodes", nodes);
    in.Skip(8 * section.components * static_cast<std::size_t>(nodes), "the values of a field");
  }
}

std::shared_ptr<const gms_Tags> gms_Fields::ElementTags(const gms_Builder& mesh) const {
  std::vector<long long> labels;
  std::vector<gms_Tags::Alias> aliases;
  for (const mesh_RawCells& cells : mesh.raw.cells) {
    for (std::size_t i = 0; i < mesh.aliases.size(); ++i)
      if (mesh.aliasTypes[i]->element == cells.type)
        aliases.emplace_back(mesh.aliases[i].first, mesh.aliases[i].second + static_cast<int>(labels.size()));
    labels.insert(labels.end(), cells.labels.begin(), cells.labels.end());
  }
  return std::make_shared<gms_Tags>(labels, std::move(aliases));
}

std::vector<double> gms_Fields::Source::Read(std::size_t step) const {
  std::vector<double> values(rows * components, std::numeric_limits<double>::quiet_NaN());
  for (const Section& section : steps[step]) {
    input->Go(section.place);
    for (std::size_t i = 0; i < section.rows; ++i) {
      const long long tag = binary ? input->Number<int>("a label") : input->Int("a label");
      const int place = tags->Find(tag);
      if (place < 0)
        input->Fail("a node or element of the mesh", tag);
      double* const out = &values[static_cast<std::size_t>(place) * components];
      if (binary)
        input->Numbers(out, components, "the values of a field");
      else
        for (std::size_t k = 0; k < components; ++k)
          out[k] = input->Real("the values of a field");
    }
  }
  return values;
}

void gms_Fields::Finish(gms_Builder& mesh) {
  if (m_interpolated)
    mesh.Note("the interpolation schemes of fields");
  for (const auto& [name, steps] : m_byElementNode)
    mesh.Note("the field " + name + ", one value a node of an element (" + std::to_string(steps) + ")");
  // Steps are told apart by their time, and by their number where times are equal.
  using Key = std::pair<double, long long>;
  std::map<std::tuple<On, std::string, double>, long long> numbers;
  bool byNumber = false;
  for (const Section& one : m_sections)
    byNumber =
        byNumber || numbers.try_emplace({one.on, one.name, one.time}, one.step).first->second != one.step;
  const auto keyOf = [&](const Section& one) { return Key(one.time, byNumber ? one.step : 0); };
  std::map<Key, std::size_t> steps;
  for (const Section& one : m_sections)
    if (!std::isfinite(one.time))
      m_input->Fail("the time of a step", std::to_string(one.time));
    else
      steps.try_emplace(keyOf(one));
  for (auto& [key, number] : steps) {
    number = mesh.raw.times.size();
    mesh.raw.times.push_back(key.first);
  }
  std::map<std::pair<On, std::string>, std::shared_ptr<Source>> fields;
  std::shared_ptr<const gms_Tags> elements;
  std::size_t cells = 0;
  for (const mesh_RawCells& list : mesh.raw.cells)
    cells += list.labels.size();
  for (Section& one : m_sections) {
    const bool onNodes = one.on == On::kNodes;
    if (!onNodes && !elements)
      elements = ElementTags(mesh);
    auto& source = fields[{one.on, one.name}];
    if (!source) {
      source = std::make_shared<Source>(Source{
          m_input, m_binary, std::vector<std::vector<Section>>(steps.size()), onNodes ? mesh.tags : elements,
          one.components, onNodes ? mesh.raw.coordinates.size() / 3 : cells});
      (onNodes ? mesh.raw.nodeFields : mesh.raw.cellFields)
          .push_back({one.name, "", one.components, false,
                      [source](std::size_t step) { return source->Read(step); }});
    }
    if (source->components != one.components) {
      m_input->Go(one.place);
      m_input->Fail("rows of " + std::to_string(source->components) + " numbers of " + one.name,
                    std::to_string(one.components));
    }
    source->steps[steps.at(keyOf(one))].push_back(std::move(one));
  }
}
