#include <pdmsim/check/check_Objects.h>

#include <algorithm>
#include <climits>

namespace {

constexpr char kSim[] = "com.vertana.Sim";
constexpr std::size_t kLongestName = 80;

/// The class that an object names; false when the attribute is not one of ours.
bool ReadClass(const ORXSimInspected& object, std::string& name) {
  const ORXSimInspectedAttribute* const attribute = object.Attribute("class");
  if (attribute == nullptr || attribute->size != 1 || attribute->numbers.size() != kLongestName)
    return false;
  const auto end = std::find(attribute->numbers.begin(), attribute->numbers.end(), 0);
  name.assign(attribute->numbers.begin(), end);
  return std::all_of(end, attribute->numbers.end(), [](std::int64_t byte) { return byte == 0; });
}

bool IsArray(const ORXSimInspected& object) {
  return object.Attribute("#size") != nullptr;
}

} // namespace

void check_Objects::Object(const ORXSimInspected& object) {
  m_tick(0);
  m_places.resize(static_cast<std::size_t>(object.depth));
  Place place =
      m_places.empty() ? Place{kRoot, -1, nullptr, {}, {}, false, false, {}} : Under(m_places.back(), object);
  if (place.role == kForeign && !m_places.empty() && m_places.back().role != kForeign)
    Tell(object.path, "foreign", "not part of a simulation file; left alone", true);
  Look(place, object);
  m_places.push_back(std::move(place));
}

/// What an object is by its name and the object that it stands in.
check_Objects::Place check_Objects::Under(const Place& parent, const ORXSimInspected& object) {
  Place place;
  switch (parent.role) {
  case kRoot:
    place.role = !object.isGroup            ? kForeign
                 : object.name == "sim"     ? kObject
                 : object.name == "store"   ? kStore
                 : object.name == "classes" ? kClasses
                                            : kForeign;
    place.expected = kSim;
    return place;
  case kObject:
    return UnderObject(parent, object);
  case kClasses:
    place.role = kDescription;
    return place;
  case kArray:
    place.role = object.isGroup && check_Store::Number(object.name) >= 0 ? kObject : kForeign;
    place.expected = parent.expected;
    place.isElement = true;
    return place;
  default:
    return UnderStore(parent, object);
  }
}

check_Objects::Place check_Objects::UnderObject(const Place& parent, const ORXSimInspected& object) {
  Place place;
  if (object.name == "#simpleTypeMembers") {
    place.role = object.isDataset ? kMembers : kForeign;
    place.part = parent.part;
    place.owner = object.path.substr(0, object.path.rfind('/'));
    return place;
  }
  if (!object.isGroup)
    return place;
  if (object.name == "#base") {
    place.role = parent.part != nullptr && parent.part->base.empty() ? kForeign : kObject;
    place.part = parent.part == nullptr ? nullptr : m_classes.Find(parent.part->base);
    place.whole = parent.whole;
    place.isBase = true;
    return place;
  }
  const show_ClassChild* const child = parent.part == nullptr ? nullptr : parent.part->Child(object.name);
  if (parent.part != nullptr && child == nullptr)
    return place;
  place.role = (child == nullptr ? IsArray(object) : child->isArray) ? kArray : kObject;
  place.expected = child == nullptr ? "" : child->className;
  return place;
}

check_Objects::Place check_Objects::UnderStore(const Place& parent, const ORXSimInspected& object) {
  Place place;
  const int number = check_Store::Number(object.name);
  if (parent.role == kStore)
    place.role = object.name == "collections"     ? kCollections
                 : object.name == "distributions" ? kDistributions
                                                  : kForeign;
  else if (parent.role == kCollections && number >= 1)
    place.role = kCollection;
  else if (parent.role == kCollection && object.name == "sets")
    place.role = kSets;
  else if (parent.role == kSets && number >= 1)
    place.role = kSet;
  else if (parent.role == kDistributions && number >= 1)
    place.role = kDistribution;
  else if (parent.role == kDistribution && number >= 0)
    place.role = kDrawer;
  if (!object.isGroup && place.role != kSet && place.role != kDrawer)
    place.role = kForeign;
  place.minor = place.role == kCollection || place.role == kDistribution ? number : parent.minor;
  return place;
}

void check_Objects::Look(Place& place, const ORXSimInspected& object) {
  switch (place.role) {
  case kRoot:
    return LookAtRoot(object);
  case kObject:
    return LookAtObject(place, object);
  case kArray:
    return LookAtArray(object);
  case kMembers:
    return LookAtMembers(place, object);
  case kDescription:
    return LookAtDescription(object);
  case kStore:
    return m_store.Group(object);
  case kCollection:
    return m_store.Collection(place.minor, object);
  case kSet:
    return m_store.Set(place.minor, check_Store::Number(object.name), object);
  case kDistribution:
    return m_store.Distribution(place.minor, object);
  case kDrawer:
    return m_store.Drawer(place.minor, object);
  default:
    return;
  }
}

void check_Objects::LookAtRoot(const ORXSimInspected& root) {
  if (!root.HasLink("sim"))
    Tell("/sim", "sim.missing", "the file has no simulation");
}

void check_Objects::LookAtObject(Place& place, const ORXSimInspected& object) {
  if (!LookAtClass(place, object))
    return;
  LookAtParts(place, object);
  if (object.depth != 1)
    return;
  const ORXSimInspectedAttribute* const type = object.Attribute("type");
  if (type == nullptr || type->numbers != std::vector<std::int64_t>{1523728409, 0})
    Tell(object.path, "sim.type", "attribute 'type' does not mark a simulation");
}

/// \return false when there is nothing more to say about the object.
bool check_Objects::LookAtClass(Place& place, const ORXSimInspected& object) {
  std::string name;
  if (!ReadClass(object, name)) {
    Tell(object.path, "class.form", "attribute 'class' is not a name of 80 bytes");
    return place.part != nullptr;
  }
  if (place.isBase) {
    if (name != place.whole)
      Tell(object.path, "class.mismatch", "names '" + name + "' as part of a '" + place.whole + "'");
    return true;
  }
  if (name.empty() && place.isElement && object.links.empty())
    return false; // an empty element
  place.whole = name;
  place.part = m_classes.Find(name);
  LookForDescription(object, name);
  if (place.part != nullptr && !place.expected.empty() && !m_classes.IsA(name, place.expected))
    Tell(object.path, "class.mismatch",
         "an object of '" + name + "' where '" + place.expected + "' is expected");
  return true;
}

void check_Objects::LookForDescription(const ORXSimInspected& object, const std::string& name) {
  if (m_classes.Find(name) == nullptr)
    return Tell(object.path, "class.unknown",
                "an object of '" + name + "', a class that neither this program nor the file knows", true);
  if (m_classes.Describes() && m_classes.Described(name) == show_FileClasses::kNone &&
      m_undescribed.insert(name).second)
    Tell(object.path, "description.missing", "the file does not describe the class '" + name + "'", true);
}

void check_Objects::LookAtDescription(const ORXSimInspected& object) {
  const bool isText = object.isDataset && object.sound && object.type == ORXSimInspectedType::kInteger &&
                      object.size == 1 && object.dims.size() == 1;
  if (!isText)
    return Tell(object.path, "description.form", "not a description of a class: no list of bytes");
  m_tick(static_cast<double>(object.Bytes()));
  if (m_classes.Described(object.name) == show_FileClasses::kDamaged)
    Tell(object.path, "description.form", "not a description of a class: " + m_classes.Fault(object.name));
  if (m_classes.Described(object.name) == show_FileClasses::kOther)
    Tell(object.path, "description.mismatch",
         "not the class that this program knows: " + m_classes.Fault(object.name));
}

void check_Objects::LookAtParts(const Place& place, const ORXSimInspected& object) {
  const bool isSim = place.part != nullptr && place.part->name == kSim;
  if (!isSim && !object.HasLink("#simpleTypeMembers"))
    Tell(object.path, "members.missing", "the object has no member stream");
  if (place.part != nullptr && !place.part->base.empty() && !object.HasLink("#base"))
    Tell(object.path, "base.missing", "the object has no part of its base class '" + place.part->base + "'");
}

void check_Objects::LookAtArray(const ORXSimInspected& object) {
  const ORXSimInspectedAttribute* const attribute = object.Attribute("#size");
  if (attribute == nullptr || attribute->numbers.size() != 1 || attribute->numbers[0] < 0 ||
      attribute->numbers[0] > INT_MAX)
    return Tell(object.path, "array.size", "attribute '#size' is not a number of elements");
  const std::int64_t size = attribute->numbers[0];
  std::vector<int> elements;
  for (const std::string& link : object.links)
    if (const int number = check_Store::Number(link); number >= 0)
      elements.push_back(number);
  std::sort(elements.begin(), elements.end());
  std::int64_t next = 0;
  while (next < static_cast<std::int64_t>(elements.size()) &&
         elements[static_cast<std::size_t>(next)] == next)
    ++next;
  if (next < size)
    Tell(object.path, "array.size",
         "'#size' is " + std::to_string(size) + ", but there is no element " + std::to_string(next));
  else if (static_cast<std::int64_t>(elements.size()) > size)
    Tell(object.path, "array.size",
         "'#size' is " + std::to_string(size) + ", but there are " + std::to_string(elements.size()) +
             " elements");
}

void check_Objects::LookAtMembers(const Place& place, const ORXSimInspected& object) {
  if (!object.sound)
    return;
  if (object.type != ORXSimInspectedType::kInteger || object.size != 1 || object.dims.size() != 1 ||
      object.Elements() > INT_MAX)
    return Tell(object.path, "stream.form", "not a list of bytes");
  std::vector<unsigned char> bytes;
  std::string cause;
  const auto take = [&](const unsigned char* block, std::size_t n) {
    bytes.insert(bytes.end(), block, block + n);
    m_tick(static_cast<double>(n));
    return true;
  };
  if (!object.Read(take, cause))
    return Tell(object.path, "unreadable", cause);
  const check_Stream::Tell tell = [&](const char* kind, const std::string& text, bool note) {
    Tell(object.path, kind, text, note);
  };
  const check_Stream::Refer refer = [&](const std::string& member, const check_Reference& reference) {
    m_store.Refer(place.owner, member, reference);
  };
  check_Stream(bytes, place.part, tell, refer).Run();
}
