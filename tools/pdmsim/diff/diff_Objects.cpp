#include <pdmsim/diff/diff_Objects.h>

#include <pdmsim/diff/diff_Dofs.h>
#include <pdmsim/show/show_Objects.h>

#include <algorithm>
#include <filesystem>

namespace {

show_Json treeOf(const sto_File& file) {
  std::error_code unknown;
  const auto size = std::filesystem::file_size(file.Path(), unknown);
  show_Json tree = show_Objects(file.Path(), unknown ? 0 : size, file.Context()).Describe();
  file.Check();
  return tree;
}

std::string kindOf(const show_Json& value) {
  return value.is_object() ? value.value("kind", "") : "";
}

bool nothing(const show_Json& value) {
  return value.is_null() || (value.is_array() && value.empty()) ||
         (value.is_object() && value.contains("count") && value["count"] == 0);
}

std::string below(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "/" + name;
}

/// What an element of an array is called: the text of its first member whose name ends with "Name".
std::string nameOf(const show_Json& element) {
  if (element.is_object() && element.contains("members"))
    for (const auto& [key, value] : element["members"].items())
      if (key.ends_with("Name") && value.is_string())
        return value.get<std::string>();
  return "";
}

std::vector<std::string> namesOf(const show_Json& array) {
  std::vector<std::string> names;
  for (const show_Json& element : array["elements"])
    names.push_back(nameOf(element));
  return names;
}

/// The word for a thing that one file has alone.
std::string wordFor(const show_Json& value, const std::string& member) {
  const std::string kind = kindOf(value);
  if (kind == "set" && member.ends_with("Sets"))
    return member == "nodeSets" ? "node set" : member == "elementSets" ? "element set" : "set";
  if (kind == "field" && member == "surfaces")
    return "surface";
  if (kind == "object") {
    const std::string name = value["class"].get<std::string>();
    return name.substr(name.rfind('.') + 1);
  }
  return kind.empty() ? "value" : kind;
}

} // namespace

diff_Objects::diff_Objects(diff_Files& files)
    : m_files(files), m_trees{treeOf(files.File(0)), treeOf(files.File(1))}, m_mesh(files) {}

void diff_Objects::Compare() {
  for (const int side : {0, 1})
    FindNamed(side, m_trees[side]);
  Walk({}, m_trees[0], m_trees[1]);
  MatchUnnamed();
  m_matching = false;
  Walk({}, m_trees[0], m_trees[1]);
  CompareUnnamed();
}

void diff_Objects::OneOnly(int side, const Where& where, const show_Json& value) {
  if (!m_matching && !nothing(value))
    m_files.Report().Only(side, where.path, wordFor(value, where.member));
}

void diff_Objects::Walk(const Where& where, const show_Json& a, const show_Json& b) {
  const std::string last = where.name.empty() ? where.path.substr(where.path.rfind('/') + 1) : where.name;
  if ((nothing(a) && nothing(b)) || (!where.path.empty() && m_files.Report().Ignores(where.path, last)))
    return;
  if (nothing(a) || nothing(b)) {
    const bool map = kindOf(a) == "map" || kindOf(b) == "map",
               array = kindOf(a) == "array" || kindOf(b) == "array";
    if (map || array) { // each entry by its name
      const show_Json none =
          map ? show_Json{{"kind", "map"}, {"count", 0}, {"entries", show_Json::object()}}
              : show_Json{{"kind", "array"}, {"count", 0}, {"elements", show_Json::array()}};
      return WalkKind(where, map ? "map" : "array", nothing(a) ? none : a, nothing(b) ? none : b);
    }
    return nothing(a) ? OneOnly(1, where, b) : OneOnly(0, where, a);
  }
  const std::string kind = kindOf(a);
  if (kind != kindOf(b) || kind == "missing") {
    const auto text = [](const show_Json& one) { return kindOf(one).empty() ? "value" : kindOf(one); };
    if (!m_matching)
      m_files.Report().Differ(where.path, "", {{"a", text(a)}, {"b", text(b)}},
                              {"a " + text(a) + " against a " + text(b)});
  } else if (kind.empty()) {
    if (!m_matching)
      Value(where, a, b);
  } else {
    WalkKind(where, kind, a, b);
  }
}

void diff_Objects::WalkKind(const Where& where, const std::string& kind, const show_Json& a,
                            const show_Json& b) {
  const auto number = [](const show_Json& value, const char* key = "id") { return value[key].get<int>(); };
  if (kind == "object")
    return WalkObject(where, a, b);
  if (kind == "array")
    return WalkArray(where, a, b);
  if (kind == "map")
    return WalkEntries(where, a["entries"], b["entries"]);
  if (kind == "collection")
    return Collection(where, {Context(0), number(a)}, {Context(1), number(b)});
  if (m_matching)
    return;
  if (kind == "set")
    return m_mesh.CompareSet(where.path, {{Context(0), number(a, "collectionId")}, number(a)},
                             {{Context(1), number(b, "collectionId")}, number(b)});
  if (kind == "field" && m_done.emplace(number(a), number(b)).second)
    m_mesh.CompareField(where.path, where.member,
                        where.name.empty() ? where.path.substr(where.path.rfind('/') + 1) : where.name,
                        {Context(0), number(a)}, {Context(1), number(b)});
}

void diff_Objects::WalkObject(const Where& where, const show_Json& a, const show_Json& b) {
  if (a["class"] != b["class"]) {
    if (!m_matching)
      m_files.Report().Differ(
          below(where.path, "class"), "", {{"a", a["class"]}, {"b", b["class"]}},
          {"is '" + a["class"].get<std::string>() + "' against '" + b["class"].get<std::string>() + "'"});
  }
  if (m_matching)
    MatchDofs(a["members"], b["members"]);
  for (const char* part : {"members", "children"}) {
    for (const auto& [key, value] : a[part].items())
      Walk({below(where.path, key), where.path + "/" == diff_MeshPath ? key : "", ""}, value,
           b[part].contains(key) ? b[part][key] : show_Json());
    for (const auto& [key, value] : b[part].items())
      if (!a[part].contains(key))
        Walk({below(where.path, key), where.path + "/" == diff_MeshPath ? key : "", ""}, show_Json(), value);
  }
}

/// The degrees of freedom of two systems follow their nodes.
void diff_Objects::MatchDofs(const show_Json& a, const show_Json& b) {
  for (const show_Json* members : {&a, &b})
    for (const char* needed : {"systemName", "dofs", "nodalActivityMask"})
      if (!members->contains(needed) || nothing((*members)[needed]) ||
          kindOf((*members)[needed]) == "missing")
        return;
  const ORXSimCollectionID dofs[2] = {{Context(0), a["dofs"]["id"].get<int>()},
                                      {Context(1), b["dofs"]["id"].get<int>()}};
  const diff_Matching* const nodes =
      m_files.Matching(m_files.File(0).Mesh().nodes(), m_files.File(1).Mesh().nodes());
  if (nodes == nullptr || m_files.HasMatch(dofs[0]))
    return;
  auto matching =
      diff_MatchDofs(m_files.File(0), m_files.File(1), *nodes, a["systemName"].get<std::string>());
  if (matching && matching->Count(0) == ORXSimCollectionRef(dofs[0]).NumItems() &&
      matching->Count(1) == ORXSimCollectionRef(dofs[1]).NumItems())
    m_files.Match(dofs[0], dofs[1], std::move(*matching));
}

void diff_Objects::WalkArray(const Where& where, const show_Json& a, const show_Json& b) {
  const std::vector<std::string> names[2] = {namesOf(a), namesOf(b)};
  const diff_Matching matching(names[0], names[1]);
  const auto path = [&](int side, int i) {
    const std::string& name = names[side][diff_Size(i)];
    const bool unique = !name.empty() && std::count(names[side].begin(), names[side].end(), name) == 1;
    return Where{below(where.path, unique ? name : std::to_string(i)), "", unique ? name : ""};
  };
  for (const int side : {0, 1})
    for (int i = 0; i < matching.Count(side); ++i) {
      const show_Json& element = (side == 0 ? a : b)["elements"][diff_Size(i)];
      const int other = matching.Other(side, i);
      if (other < 0 && !m_files.Report().Ignores(path(side, i).path, names[side][diff_Size(i)]))
        OneOnly(side, path(side, i), element);
      else if (other >= 0 && side == 0)
        Walk(path(0, i), element, b["elements"][diff_Size(other)]);
      if (!m_matching && other >= 0 && side == 0 && where.path.ends_with("/systems"))
        ++m_files.Report().counts.systems;
    }
}

void diff_Objects::WalkEntries(const Where& where, const show_Json& a, const show_Json& b) {
  for (const auto& [key, value] : a.items()) {
    const auto other = b.find(key);
    Walk({below(where.path, key), where.member, key}, value, other == b.end() ? show_Json() : *other);
  }
  for (const auto& [key, value] : b.items())
    if (!a.contains(key))
      Walk({below(where.path, key), where.member, key}, show_Json(), value);
}

/// Two collections that go together: all that is over them waits for this.
void diff_Objects::Collection(const Where& where, ORXSimCollectionID a, ORXSimCollectionID b) {
  const ORXSimCollectionRef first(a), second(b);
  if (m_matching) {
    if (!m_files.HasMatch(a))
      m_files.Match(a, b, {first.NumItems(), second.NumItems()});
    m_paired.emplace_back(a, b);
    return;
  }
  if (first.Name() != second.Name())
    m_files.Report().Differ(
        where.path, "name", {{"a", first.Name().CStr()}, {"b", second.Name().CStr()}},
        {"name is '" + std::string(first.Name().CStr()) + "' against '" + second.Name().CStr() + "'"});
  const diff_Matching* const matching = m_files.Matching(a, b);
  if (matching == nullptr || matching->Whole() || where.path == "discreteModel/frames")
    return; // steps of one file only were named one by one
  show_Json facts{{"a", first.NumItems()}, {"b", second.NumItems()}};
  std::vector<std::string> lines{std::to_string(first.NumItems()) + " items against " +
                                 std::to_string(second.NumItems())};
  for (const int side : {0, 1})
    if (const std::vector<int> only = matching->Only(side); !only.empty()) {
      constexpr std::size_t kShown = 10;
      show_Json names = show_Json::array();
      std::string text;
      for (std::size_t i = 0; i < std::min(kShown, only.size()); ++i) {
        names.push_back(matching->Name(side, only[i]));
        text += (i == 0 ? "" : ", ") + matching->Name(side, only[i]);
      }
      if (only.size() > kShown)
        text += ", … " + std::to_string(only.size() - kShown) + " more";
      facts[side == 0 ? "onlyInA" : "onlyInB"] = {{"count", only.size()}, {"first", std::move(names)}};
      lines.push_back("only in " + m_files.File(side).Path() + ": " + std::to_string(only.size()) + ": " +
                      text);
    }
  m_files.Report().Differ(where.path, "", facts, std::move(lines));
}

void diff_Objects::Number(const Where& where, const show_Json& a, const show_Json& b) {
  const std::string last = where.path.substr(where.path.rfind('/') + 1);
  const bool integers = !a.is_number_float() && !b.is_number_float();
  diff_Tally tally;
  const diff_Tolerance tolerance = m_files.Wishes().tolerances.Of(where.path, last, integers);
  if (integers) {
    const std::int64_t x = a.get<std::int64_t>(), y = b.get<std::int64_t>();
    diff_Compare(&x, &y, 1, tolerance, false, tally);
  } else {
    const double x = a.get<double>(), y = b.get<double>();
    diff_Compare(&x, &y, 1, tolerance, m_files.Wishes().nanEqual, tally);
  }
  if (tally.different > 0)
    m_files.Report().DifferInValues(where.path, last, integers, tally, show_Json::object(), "");
}

void diff_Objects::Value(const Where& where, const show_Json& a, const show_Json& b) {
  ++m_files.Report().counts.members;
  if (a.is_array() && b.is_array()) {
    if (a.size() != b.size())
      return m_files.Report().Differ(
          where.path, "", {{"a", a.size()}, {"b", b.size()}},
          {std::to_string(a.size()) + " values against " + std::to_string(b.size())});
    for (std::size_t i = 0; i < a.size(); ++i)
      Walk({below(where.path, std::to_string(i)), "", ""}, a[i], b[i]);
  } else if (a.is_number() && b.is_number()) {
    Number(where, a, b);
  } else if (a != b) {
    constexpr auto kReplace = show_Json::error_handler_t::replace;
    m_files.Report().Differ(
        where.path, "", {{"a", a}, {"b", b}},
        {a.dump(-1, ' ', false, kReplace) + " against " + b.dump(-1, ' ', false, kReplace)});
  }
}
