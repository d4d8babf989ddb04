#include <pdmsim/show/show_Objects.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/show/show_Stream.h>

#include <algorithm>
#include <set>

namespace {

constexpr char kSimClass[] = "com.vertana.Sim";
constexpr int kDeepest = 100;              // as the walk of pdmsim check
constexpr unsigned long long kLeast = 100; // bytes that an object takes in a file

std::string NameOf(const show_Class* known, int index) {
  const show_Member* const member = known == nullptr ? nullptr : known->Member(index);
  return member != nullptr ? member->name : "member " + std::to_string(index);
}

/// Of the fields in `surfaces`, how many sides and elements they have: an element with several sides stands
/// in as many drawers, and the first drawer has them all.
template <class T>
void AddSides(const std::string& name, const T& value, show_Json& description) {
  if constexpr (std::is_same_v<T, kda_MapString<ORXSimDistributionID>>)
    if (name == "surfaces")
      value.ForEach([&](const kda_string& key, ORXSimDistributionID id) {
        show_AddSides(id, description["entries"][key.cStr()]);
      });
}

/// A path's first name, and what follows its slash; none when there is no slash.
struct Step {
  explicit Step(std::string_view path) : name(path.substr(0, path.find('/'))) {
    if (name.size() < path.size())
      rest = path.substr(name.size() + 1);
  }
  std::string_view name;
  std::optional<std::string_view> rest;
};

struct Deeper {
  explicit Deeper(int& depth) : m_depth(++depth) {}
  Deeper(const Deeper&) = delete;
  Deeper& operator=(const Deeper&) = delete;
  ~Deeper() { --m_depth; }

 private:
  int& m_depth;
};

} // namespace

/// An object, or its base part, as it stands in the file.
struct show_Objects::Object {
  gbb_Group group;
  std::string className;  // of the whole object
  const show_Class* part; // whose members stand here; null when nobody knows
};

show_Objects::show_Objects(const std::string& file, unsigned long long bytes, ORXSimContextID context,
                           int most)
    : m_file(file), m_context(context), m_classes(context), m_left(bytes / kLeast + 1), m_most(most) {}

void show_Objects::Refuse(const gbb_Group& group, const std::string& found) const {
  throw cli_Failure(cli_Exit::kUnusable, m_file + ": " + show_Text(group.Object().Path()) +
                                             ": expected a whole simulation file, found " + found);
}

gbb_Group show_Objects::Sim() const {
  return gbb_Group(ORXSimContextRef(m_context).File().RootGroup().GroupOpen("sim"));
}

/// None for an empty element of an array. \param expected the class that the object's should descend from.
std::optional<show_Objects::Object> show_Objects::Open(const gbb_Group& group, const std::string& expected) {
  const gbb_ClassID id = group.ReadClass();
  const std::string name(id.text, strnlen(id.text, gbb_ClassID::kSize));
  if (name.empty())
    return std::nullopt;
  if (m_left-- == 0 || m_depth > kDeepest)
    Refuse(group, "more objects than the file can hold: they lead in a circle");
  const show_Class* const known = m_classes.Find(name);
  if (known != nullptr && !m_classes.IsA(name, expected))
    Refuse(group, "an object of '" + name + "' in the place of a '" + expected + "'");
  return Object{group, name, known};
}

show_Objects::Object show_Objects::BaseOf(const Object& object) {
  const gbb_Group group = gbb_Group::Open(object.group, "#base");
  if (m_left-- == 0 || m_depth > kDeepest)
    Refuse(group, "more objects than the file can hold: they lead in a circle");
  return {group, object.className, m_classes.Find(object.part->base)};
}

/// Calls f(index, name, value) for each member: those of the stream, then the others that the class has.
template <class F>
void show_Objects::Members(const Object& object, F&& f) {
  if (object.className == kSimClass)
    return;
  gbb_MemoryStream::Buffer bytes;
  bool unread = false;
  std::set<int> seen;
  gbb_MemoryStream::Error error = object.group.ReadMembers(bytes, unread);
  gbb_MemoryStream stream(bytes, m_context, error);
  const int ended = show_Records(stream, [&](int index, unsigned char tag, const auto& value) {
    const show_Member* const member = object.part == nullptr ? nullptr : object.part->Member(index);
    if (member != nullptr && member->tag != tag)
      Refuse(object.group, member->name + " with a value of another type");
    seen.insert(index);
    f(NameOf(object.part, index), value);
  });
  if (ended != gbb_MemoryStream::kGood && error == gbb_MemoryStream::kGood)
    Refuse(object.group, "a damaged member stream: error " + std::to_string(ended));
  if (object.part == nullptr)
    return;
  for (const show_Member& member : object.part->members)
    if (!seen.contains(member.index))
      show_WithType(member.tag, [&]<class T>(std::type_identity<T>) { f(member.name, T{}); });
}

void show_Objects::AddPart(const Object& object, show_Json& members, show_Json& children) {
  const Deeper deeper(m_depth);
  if (object.part != nullptr && !object.part->base.empty()) // the inherited ones stand first
    AddPart(BaseOf(object), members, children);
  show_Json found = show_Json::object();
  Members(object, [&](const std::string& name, const auto& value) {
    found[name] = show_Value(value);
    AddSides(name, value, found[name]);
  });
  if (object.part != nullptr)
    for (const show_Member& member : object.part->members) // in their order
      if (const auto one = found.find(member.name); one != found.end()) {
        members[member.name] = std::move(*one);
        found.erase(one);
      }
  members.update(found);
  if (object.part != nullptr)
    for (const show_ClassChild& child : object.part->children)
      children[child.name] = ShowChild(object, child);
}

show_Json show_Objects::ShowObject(const std::optional<Object>& object) {
  if (!object)
    return nullptr;
  show_Json members = show_Json::object(), children = show_Json::object();
  AddPart(*object, members, children);
  return {{"kind", "object"},
          {"class", object->className},
          {"members", std::move(members)},
          {"children", std::move(children)}};
}

show_Json show_Objects::ShowChild(const Object& object, const show_ClassChild& child) {
  const bool there = object.group.HasChild(child.name.c_str());
  const gbb_Group group = there ? gbb_Group::Open(object.group, child.name.c_str()) : gbb_Group();
  if (!child.isArray)
    return there ? ShowObject(Open(group, child.className)) : nullptr;
  show_Json elements = show_Json::array();
  const int count = there ? std::max(group.ReadSize(), 0) : 0;
  const int shown = m_most > 0 ? std::min(count, m_most) : count;
  for (int i = 0; i < shown; ++i)
    elements.push_back(ShowObject(Open(gbb_Group::Open(group, gbb_Group::ElementName(i)), child.className)));
  show_Json array{{"kind", "array"}, {"count", count}, {"elements", std::move(elements)}};
  if (count > shown)
    array["more"] = count - shown;
  return array;
}

std::nullopt_t show_Objects::StopAt(const std::string& at, std::string_view name,
                                    std::vector<std::string> names) {
  m_stop = Stop{at, std::string(name), std::move(names)};
  return std::nullopt;
}

std::optional<show_Target> show_Objects::FindChild(const Object& object, const show_ClassChild& child,
                                                   Path path, const std::string& at) {
  if (!path || path->empty())
    return show_Target{ShowChild(object, child), {}, {}, ""};
  const bool there = object.group.HasChild(child.name.c_str());
  const gbb_Group group = there ? gbb_Group::Open(object.group, child.name.c_str()) : gbb_Group();
  if (!child.isArray)
    return there ? FindIn(Open(group, child.className), path, at) : StopAt(at, Step(*path).name, {});
  const Step step(*path);
  const std::string number(step.name);
  const int i = std::atoi(number.c_str()), count = there ? group.ReadSize() : 0;
  if (std::to_string(i) != number || i < 0 || i >= count)
    return StopAt(at, number,
                  count > 0 ? std::vector<std::string>{"0.." + std::to_string(count - 1)}
                            : std::vector<std::string>());
  return FindIn(Open(gbb_Group::Open(group, gbb_Group::ElementName(i)), child.className), step.rest,
                at + '/' + number);
}

/// Names of members and children, those of the bases too.
std::vector<std::string> show_Objects::NamesIn(const Object& object) {
  std::vector<std::string> names;
  if (object.part == nullptr)
    return names;
  for (const show_ClassChild& child : object.part->children)
    names.push_back(child.name);
  for (const show_Member& member : object.part->members)
    names.push_back(member.name);
  if (!object.part->base.empty())
    for (std::string& name : NamesIn(BaseOf(object)))
      names.push_back(std::move(name));
  return names;
}

std::optional<show_Target> show_Objects::FindMember(const Object& object, Path path, const std::string& at) {
  const Step step(*path);
  std::optional<show_Target> found;
  bool isMember = false;
  std::vector<std::string> keys;
  Members(object, [&](const std::string& name, const auto& value) {
    if (step.name != name)
      return;
    isMember = true;
    found = show_Inside(value, step.rest);
    if constexpr (requires { value.ForEach([](const auto&, const auto&) {}); })
      value.ForEach([&](const auto& key, const auto&) { keys.push_back(show_Key(key)); });
    if (found && !step.rest)
      AddSides(name, value, found->description);
    if (found)
      found->member = name;
  });
  if (!found && isMember)
    StopAt(at.empty() ? std::string(step.name) : at + '/' + std::string(step.name), *step.rest, keys);
  return found;
}

std::optional<show_Target> show_Objects::FindIn(const std::optional<Object>& object, Path path,
                                                const std::string& at) {
  const Deeper deeper(m_depth);
  if (!path || path->empty())
    return show_Target{ShowObject(object), {}, {}, ""};
  const Step step(*path);
  if (!object)
    return StopAt(at, step.name, {});
  if (object->part != nullptr)
    if (const show_ClassChild* const child = object->part->Child(std::string(step.name)))
      return FindChild(*object, *child, step.rest, at.empty() ? child->name : at + '/' + child->name);
  m_stop.reset();
  auto found = FindMember(*object, path, at);
  if (found || m_stop)
    return found;
  if (object->part != nullptr && !object->part->base.empty()) {
    if ((found = FindIn(BaseOf(*object), path, at)) || m_stop->at != at)
      return found;
  }
  return StopAt(at, step.name, NamesIn(*object));
}

show_Json show_Objects::Describe() {
  return ShowObject(Open(Sim(), kSimClass));
}

std::optional<show_Target> show_Objects::Find(std::string_view path) {
  return FindIn(Open(Sim(), kSimClass), path, "");
}
