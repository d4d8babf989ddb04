#include <pdmsim/diff/diff_Report.h>

#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <sstream>

namespace {

constexpr char kTolerances[] = "# Tolerances of pdmsim diff with which these values pass:";

} // namespace

std::string diff_Counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

show_Json diff_JsonNumber(double number) {
  return std::isfinite(number) ? show_Json(number) : show_Json(diff_Number(number));
}

bool diff_Report::Ignores(const std::string& path, const std::string& name) {
  const bool ignores = m_tolerances.Ignores(path, name);
  if (ignores)
    m_ignored.insert(path);
  return ignores;
}

void diff_Report::Differ(const std::string& path, const std::string& part, const show_Json& facts,
                         std::vector<std::string> lines) {
  if (!part.empty() && Ignores(path + "/" + part, part))
    return;
  show_Json all{{"path", path}, {"what", part.empty() ? "content" : part}};
  all.update(facts);
  lines.front() = diff_Short(path) + ": " + lines.front();
  m_differences.push_back({std::move(all), std::move(lines)});
}

void diff_Report::DifferInValues(const std::string& path, const std::string& name, bool integers,
                                 const diff_Tally& tally, const show_Json& where, const std::string& text) {
  const diff_Worst& worst = tally.worst;
  const double most = std::max(std::fabs(worst.a), std::fabs(worst.b)), relative = worst.difference / most;
  show_Json facts{{"path", path},
                  {"what", "values"},
                  {"different", tally.different},
                  {"compared", tally.compared},
                  {"bothNaN", tally.bothNaN},
                  {"worst",
                   {{"a", diff_JsonNumber(worst.a)},
                    {"b", diff_JsonNumber(worst.b)},
                    {"difference", diff_JsonNumber(worst.difference)},
                    {"relative", diff_JsonNumber(relative)}}}};
  facts["worst"].update(where);
  std::string line = "worst: " + diff_Number(worst.a) + " against " + diff_Number(worst.b);
  if (std::isfinite(worst.difference))
    line += ", difference " + diff_Number(worst.difference) + " (" +
            diff_Number(std::round(relative * 1e8) / 1e6) + " %)";
  m_differences.push_back(
      {std::move(facts),
       {diff_Short(path) + ": " + std::to_string(tally.different) + " of " +
            diff_Counted(tally.compared, "value") + (tally.different == 1 ? " differs" : " differ"),
        line + (text.empty() ? "" : ", " + text)}});
  diff_Tolerance tolerance = m_tolerances.Of(path, name, integers);
  if (std::isfinite(worst.difference))
    tolerance.abs = std::max(tolerance.abs, worst.difference);
  m_wanted.push_back({path, tolerance, tally.hopeless});
  m_onlyNaN += tally.bothNaN == tally.different;
}

void diff_Report::Only(int side, const std::string& path, const std::string& kind) {
  m_only[side].emplace_back(path, kind);
}

std::string diff_Report::Compared() const {
  std::string text = diff_Counted(static_cast<std::uint64_t>(counts.nodes), "node");
  const auto add = [&](long long count, const char* what) {
    text += ", " + diff_Counted(static_cast<std::uint64_t>(count), what);
  };
  add(counts.elements, "element");
  add(counts.fields, "field");
  text += " x " + diff_Counted(static_cast<std::uint64_t>(counts.steps), "step");
  add(counts.sets, "set");
  add(counts.systems, "system");
  text += "; " + diff_Counted(counts.values, "value");
  if (!m_ignored.empty())
    text += "; " + std::to_string(m_ignored.size()) + " left out as asked";
  return text;
}

show_Json diff_Report::Json() const {
  show_Json json{{"files", {m_files[0], m_files[1]}},
                 {"same", Same()},
                 {"compared",
                  {{"nodes", counts.nodes},
                   {"elements", counts.elements},
                   {"fields", counts.fields},
                   {"steps", counts.steps},
                   {"sets", counts.sets},
                   {"systems", counts.systems},
                   {"members", counts.members},
                   {"values", counts.values}}},
                 {"differences", show_Json::array()}};
  for (const Difference& one : m_differences)
    json["differences"].push_back(one.facts);
  for (const int side : {0, 1}) {
    show_Json& list = json[side == 0 ? "onlyInA" : "onlyInB"] = show_Json::array();
    for (const auto& [path, kind] : m_only[side])
      list.push_back({{"path", path}, {"kind", kind}});
  }
  json["ignored"] = m_ignored;
  return json;
}

void diff_Report::Print(std::ostream& out, bool summary) const {
  if (!summary) {
    for (const Difference& one : m_differences)
      for (std::size_t i = 0; i < one.lines.size(); ++i)
        out << (i == 0 ? "" : "    ") << show_Printable(one.lines[i]) << '\n';
    for (const int side : {0, 1})
      for (const auto& [path, kind] : m_only[side])
        out << show_Printable("only in " + m_files[side] + ": " + kind + " " + diff_Short(path)) << '\n';
    for (const std::string& path : Same() ? std::set<std::string>() : m_ignored)
      out << show_Printable("left out as asked: " + diff_Short(path)) << '\n';
  }
  if (Same())
    out << "no differences in " << Compared() << '\n';
  else
    out << diff_Counted(m_differences.size(), "difference") << ", " << m_only[0].size() << " only in "
        << show_Printable(m_files[0]) << ", " << m_only[1].size() << " only in " << show_Printable(m_files[1])
        << "; compared: " << Compared()
        << (m_onlyNaN == m_differences.size() + m_only[0].size() + m_only[1].size()
                ? "; all are NaN against NaN, which --nan-equal lets pass"
                : "")
        << '\n';
}

void diff_Report::WriteTolerances(const std::string& file) const {
  std::ostringstream out;
  out << kTolerances << "\n# " << show_Printable(m_files[0]) << "\n# " << show_Printable(m_files[1]) << "\n";
  for (const Wanted& one : m_wanted) {
    if (one.hopeless > 0)
      out << "# no tolerance lets " << one.hopeless << " of the next pass: NaN or infinite\n";
    out << diff_Tolerances::Pattern(one.path) << " = abs:" << diff_Number(one.tolerance.abs)
        << ", rel:" << diff_Number(one.tolerance.rel) << ", floor:" << diff_Number(one.tolerance.floor)
        << '\n';
  }
  const auto others = m_differences.size() - m_wanted.size() + m_only[0].size() + m_only[1].size();
  if (others > 0)
    out << "# no tolerance lets " << diff_Counted(others, "other difference") << " pass\n";
  cli_WriteNewFile(file, out.view(), true, kTolerances);
}
