#include <pdmsim/show/show_FileClasses.h>

#include <pdmsim/show/show_Stream.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace {

constexpr char kGroup[] = "classes";
constexpr std::uint64_t kLongest = 1 << 20;
constexpr int kDeepestText = 4, kMostIndices = 1 << 16;

using Json = nlohmann::json;

struct Fault {
  std::string text;
};

/// How deep brackets nest in a text, which is looked at before anything is made of it.
int DepthOf(const std::string& text) {
  int depth = 0, deepest = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted && c == '\\')
      ++i;
    else if (c == '"')
      quoted = !quoted;
    else if (!quoted)
      depth += (c == '{' || c == '[') - (c == '}' || c == ']');
    deepest = std::max(deepest, depth);
  }
  return deepest;
}

std::string TextOf(const Json& table, const char* key) {
  const auto found = table.find(key);
  if (found == table.end() || !found->is_string() || found->get_ref<const std::string&>().empty())
    throw Fault{std::string("no text '") + key + "' where one is needed"};
  return found->get<std::string>();
}

int NumberOf(const Json& table, const char* key, int end) {
  const auto found = table.find(key);
  if (found == table.end() || !found->is_number_integer() || *found < 0 || *found >= end)
    throw Fault{std::string("no number '") + key + "' where one is needed"};
  return found->get<int>();
}

const Json& RowsOf(const Json& table, const char* key) {
  const auto found = table.find(key);
  if (found == table.end() || !found->is_array() || found->size() > kMostIndices)
    throw Fault{std::string("no list '") + key + "'"};
  return *found;
}

show_ClassChild ChildIn(const Json& row) {
  const bool isArray = row.contains("array");
  return {TextOf(row, "name"), TextOf(row, isArray ? "array" : "object"), isArray,
          NumberOf(row, "index", kMostIndices)};
}

show_Member MemberOf(const Json& row) {
  const int tag = NumberOf(row, "tag", 256);
  if (!show_IsTag(static_cast<unsigned char>(tag)))
    throw Fault{"type " + std::to_string(tag) + ", which there is not"};
  return {TextOf(row, "name"), NumberOf(row, "index", kMostIndices), static_cast<unsigned char>(tag)};
}

show_Class ClassOf(const Json& json) {
  if (!json.is_object() || json.value("format", Json()) != 1)
    throw Fault{"no JSON, or not of format 1"};
  show_Class read;
  read.name = TextOf(json, "class");
  if (json.contains("base"))
    read.base = TextOf(json, "base");
  std::set<int> indices;
  std::set<std::string> names;
  const auto take = [&](auto row, auto& list) {
    if (!indices.insert(row.index).second || !names.insert(row.name).second)
      throw Fault{"'" + row.name + "' has a name or an index that stands twice"};
    list.push_back(std::move(row));
  };
  for (const Json& row : RowsOf(json, "members"))
    take(MemberOf(row), read.members);
  for (const Json& row : RowsOf(json, "children"))
    take(ChildIn(row), read.children);
  return read;
}

/// What the file's description of a class contradicts in what the program knows, "" for nothing.
std::string Contradiction(const show_Class& known, const show_Class& described) {
  if (known.base != described.base)
    return "says that the base is '" + described.base + "' where it is '" + known.base + "'";
  const auto differs = [&](const auto& own, const auto& its) {
    return (own.name == its.name) != (own.index == its.index);
  };
  for (const show_Member& its : described.members) {
    for (const show_Member& own : known.members)
      if (differs(own, its) || (own.name == its.name && own.tag != its.tag))
        return "has '" + its.name + "' with another index or type";
    for (const show_ClassChild& own : known.children)
      if (own.name == its.name || own.index == its.index)
        return "has '" + its.name + "' as a member";
  }
  for (const show_ClassChild& its : described.children) {
    for (const show_ClassChild& own : known.children)
      if (differs(own, its) ||
          (own.name == its.name && (own.isArray != its.isArray || own.className != its.className)))
        return "has '" + its.name + "' with another index or class";
    for (const show_Member& own : known.members)
      if (own.name == its.name || own.index == its.index)
        return "has '" + its.name + "' as a child";
  }
  return "";
}

/// Adds what only the other has.
void Join(show_Class& known, const show_Class& described) {
  for (const show_Member& one : described.members)
    if (known.Member(one.index) == nullptr)
      known.members.push_back(one);
  for (const show_ClassChild& one : described.children)
    if (known.Child(one.name) == nullptr)
      known.children.push_back(one);
}

} // namespace

std::optional<show_Class> show_ParseDescription(const std::string& text, const std::string& name,
                                                std::string& fault) try {
  if (DepthOf(text) > kDeepestText)
    throw Fault{"brackets nest too deep"};
  show_Class read = ClassOf(Json::parse(text, nullptr, false));
  if (read.name != name)
    throw Fault{"describes '" + read.name + "'"};
  return read;
} catch (const Fault& found) {
  fault = found.text;
  return std::nullopt;
}

show_FileClasses::show_FileClasses(ORXSimContextID context)
    : m_context(context), m_describes(ORXSimContextRef(context).File().RootGroup().GetObjinfoExists(kGroup)) {
}

/// \return false when the file has no description of that name, or none that can be read.
bool show_FileClasses::Read(const std::string& name, std::string& text, Found& found) const {
  if (!m_describes || name.empty() || name == "." || name.find('/') != std::string::npos)
    return false;
  const hdf_Group group = ORXSimContextRef(m_context).File().RootGroup().GroupOpen(kGroup);
  if (group.Look(name.c_str()) == ORXSimFound::kMissing)
    return false;
  const hdf_Dataset dataset = group.DatasetOpen(name.c_str());
  const std::uint64_t length = dataset.GetSpace().Elements();
  found.description = kDamaged;
  found.fault = length > kLongest ? "longer than any description" : "not a list of bytes that can be read";
  text.resize(length > kLongest ? 0 : static_cast<std::size_t>(length));
  return length <= kLongest && dataset.Read(hdf_Datatype::NATIVE_UCHAR, text.data(), length);
}

show_FileClasses::Found& show_FileClasses::Entry(const std::string& name) {
  const auto [place, isNew] = m_found.try_emplace(name);
  Found& found = place->second;
  if (!isNew)
    return found;
  if (const show_Class* const known = show_Class::Known(name))
    found.known = *known;
  std::string text;
  if (!Read(name, text, found))
    return found;
  const std::optional<show_Class> described = show_ParseDescription(text, name, found.fault);
  if (!described)
    return found;
  const std::string contradiction = found.known ? Contradiction(*found.known, *described) : "";
  found.description = contradiction.empty() ? kGood : kOther;
  found.fault = contradiction;
  if (!found.known)
    found.known = described;
  else if (contradiction.empty())
    Join(*found.known, *described);
  return found;
}

bool show_FileClasses::HasGrown(const std::string& name) {
  const show_Class* const own = show_Class::Known(name);
  return own != nullptr && Find(name)->members.size() > own->members.size();
}

bool show_FileClasses::IsA(const std::string& name, const std::string& other) {
  std::set<std::string> seen; // a description may say that a class is its own base
  for (std::string at = name; !at.empty() && seen.insert(at).second;) {
    if (at == other)
      return true;
    const show_Class* const found = Find(at);
    at = found == nullptr ? "" : found->base;
  }
  return false;
}
