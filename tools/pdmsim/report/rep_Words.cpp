#include <pdmsim/report/rep_Words.h>

#include <pdmsim/cli/cli_Markup.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kRows = 200; // of a table; a page is for reading

std::string number(const show_Json& value) {
  if (value.is_null())
    return "–";
  if (!value.is_number_float())
    return value.dump();
  if (!std::isfinite(value.get<double>()))
    return "–";
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value.get<double>());
  return text;
}

std::string count(std::size_t n, const std::string& what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

/// The name of many elements of one kind.
std::string kindOf(const mesh_Block& block) {
  if (block.shape == mesh_Block::Shape::kPolygons)
    return "polygons";
  const mesh_Element* type = mesh_FindElement(block.type, block.nodesPerElement);
  if (block.shape == mesh_Block::Shape::kPolyhedra || !type)
    return "other elements";
  constexpr const char* kSolids[] = {"tetrahedra", "pyramids", "wedges", "", "hexahedra"};
  if (type->dimension == 3)
    return kSolids[type->corners - 4];
  return type->dimension == 2 ? (type->corners == 3 ? "triangles" : "quadrilaterals")
                              : (type->dimension == 1 ? "lines" : "points");
}

std::string kindOf(const std::string& kinds, std::size_t n) {
  if (n != 1)
    return kinds;
  const std::string stem = kinds.substr(0, kinds.size() - 1);
  return kinds.back() == 'a' ? stem + "on" : stem;
}

/// A table whose columns that begin with '#' hold numbers.
class Table {
 public:
  Table(const char* heading, std::initializer_list<std::string> columns) : m_columns(columns) {
    m_html = std::string("<section><h2>") + heading + "</h2><div class=\"table\"><table><thead><tr>";
    for (const std::string& column : m_columns)
      m_html += "<th scope=\"col\"" + Class(column) + ">" + column.substr(column[0] == '#') + "</th>";
    m_html += "</tr></thead><tbody>\n";
  }
  void Row(std::initializer_list<std::string> cells) {
    if (++m_rows > kRows)
      return;
    m_html += "<tr>";
    auto column = m_columns.begin();
    for (const std::string& cell : cells)
      m_html += "<td" + Class(*column++) + ">" + cli_Escaped(cell) + "</td>";
    m_html += "</tr>\n";
  }
  std::string Html() const {
    if (m_rows == 0)
      return "";
    const std::string more =
        m_rows > kRows ? "<p>… " + std::to_string(m_rows - kRows) + " more</p>" : std::string();
    return m_html + "</tbody></table></div>" + more + "</section>\n";
  }

 private:
  static std::string Class(const std::string& column) { return column[0] == '#' ? " class=\"n\"" : ""; }

  std::vector<std::string> m_columns;
  std::size_t m_rows = 0;
  std::string m_html;
};

std::string blocksAndSets(const show_Json& about) {
  Table blocks("Blocks", {"Name", "#Number", "Elements of type", "#Elements"});
  for (const show_Json& one : about["blocks"])
    blocks.Row({one["name"], number(one["id"]), one["type"], number(one["elements"])});
  Table sets("Sets", {"Name", "#Number", "Kind", "#Size"});
  for (const show_Json& one : about["sets"])
    sets.Row({one["name"], number(one["id"]), one["kind"], number(one["size"])});
  return blocks.Html() + sets.Html();
}

std::string steps(const show_Json& about) {
  Table table("Steps", {"#Step", "#Time", "In the picture"});
  std::size_t kept = 0;
  for (std::size_t i = 0; i < about["times"].size(); ++i) {
    const bool is = kept < about["kept"].size() && about["kept"][kept] == i;
    kept += is;
    table.Row({std::to_string(i + 1), number(about["times"][i]), is ? "yes" : "no"});
  }
  return table.Html();
}

std::string fields(const show_Json& about) {
  Table table("Fields", {"Name", "Unit", "On", "#Components", "#Steps", "#Least", "#Greatest"});
  for (const show_Json& one : about["table"]) {
    const bool has = one.contains("range");
    table.Row({one["name"], one["unit"], one["place"], number(one["components"]), number(one["steps"]),
               has ? number(one["range"][0]) : "–", has ? number(one["range"][1]) : "–"});
  }
  return table.Html();
}

std::string systems(const show_Json& about) {
  Table table("Systems", {"#Number", "Name", "Kind", "#Modes"});
  std::string html;
  for (const show_Json& one : about["systems"])
    table.Row({number(one["number"]), one["name"], one["kind"],
               one.contains("modes") ? number(one["modes"]) : std::string("–")});
  html = table.Html();
  for (const show_Json& one : about["modal"]) {
    Table modes("", {"#Mode", "#Frequency [Hz]"});
    std::size_t mode = 0;
    for (const show_Json& frequency : one["frequencies"])
      modes.Row({std::to_string(++mode), number(frequency)});
    std::string text = modes.Html();
    if (const auto at = text.find("<h2></h2>"); at != std::string::npos)
      text.replace(at, 9, "<h2>Modes of " + cli_Escaped(one["name"].get<std::string>()) + "</h2>");
    html += text;
  }
  return html;
}

} // namespace

std::string rep_Headline(const mesh_Source& mesh, const std::vector<sto_ModalSystem>& modal) {
  std::vector<std::pair<std::string, std::size_t>> kinds;
  for (const mesh_Block& block : mesh.Blocks()) {
    if (block.elements == 0)
      continue;
    const std::string kind = kindOf(block);
    const auto at =
        std::find_if(kinds.begin(), kinds.end(), [&](const auto& one) { return one.first == kind; });
    if (at == kinds.end())
      kinds.emplace_back(kind, block.elements);
    else
      at->second += block.elements;
  }
  std::string line = std::to_string(mesh.Dimension()) + "-D, " + count(mesh.Nodes(), "node");
  for (std::size_t i = 0; i < kinds.size(); ++i)
    line += (i == 0 || i + 1 < kinds.size() ? ", " : " and ") + std::to_string(kinds[i].second) + " " +
            kindOf(kinds[i].first, kinds[i].second);
  line += (kinds.empty() ? ", " : " in ") + count(mesh.Blocks().size(), "block");
  if (!mesh.Times().empty())
    line += ", " + count(mesh.Times().size(), "step");
  std::size_t modes = 0;
  for (const sto_ModalSystem& system : modal)
    modes += system.Modes();
  return line + (modes > 0 ? ", " + count(modes, "mode") : "");
}

std::string rep_Tables(const show_Json& about) {
  return blocksAndSets(about) + steps(about) + fields(about) + systems(about);
}
