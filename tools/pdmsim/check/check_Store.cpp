#include <pdmsim/check/check_Store.h>

#include <algorithm>
#include <charconv>
#include <climits>

namespace {

/// The n integers of an attribute, none when it is something else.
const std::vector<std::int64_t>* Integers(const ORXSimInspected& object, const char* name, std::size_t n) {
  const ORXSimInspectedAttribute* const attribute = object.Attribute(name);
  return attribute != nullptr && attribute->numbers.size() == n ? &attribute->numbers : nullptr;
}

std::string PathOf(int collection, int set) {
  return "/store/collections/" + std::to_string(collection) + (set > 0 ? "/sets/" + std::to_string(set) : "");
}

} // namespace

std::string check_Cause(const std::string& path) {
  const std::string line = ORXSimManager::LastError();
  const std::size_t at = line.find(path + ": ");
  return at == std::string::npos ? line : line.substr(at + path.size() + 2);
}

int check_Store::Number(const std::string& name) {
  int number = -1;
  const char* const end = name.data() + name.size();
  const auto parsed = std::from_chars(name.data(), end, number);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == end && number >= 0;
  return whole && std::to_string(number) == name ? number : -1;
}

void check_Store::Group(const ORXSimInspected& store) {
  const auto* const version = Integers(store, "version", 1);
  if (version == nullptr || version->front() != 1)
    Tell(store.path, "store.version", "attribute 'version' is not 1");
}

void check_Store::Collection(int minor, const ORXSimInspected& object) {
  CollectionFacts& facts = m_collections[minor];
  const auto* const items = Integers(object, "items", 1);
  if (items != nullptr && items->front() >= 0 && items->front() <= INT_MAX)
    facts.items = items->front();
  else
    Tell(object.path, "collection.items", "attribute 'items' is not a number of items");
}

void check_Store::Set(int collection, int minor, const ORXSimInspected& object) {
  std::int64_t& size = m_collections[collection].sets[minor];
  size = -1;
  const bool isList = object.isDataset && object.type == ORXSimInspectedType::kInteger &&
                      object.dims.size() == 1 && object.Elements() <= INT_MAX;
  if (isList && object.sound)
    size = static_cast<std::int64_t>(object.Elements());
  else if (!isList)
    Tell(object.path, "set.form", "not a list of members");
}

void check_Store::Distribution(int minor, const ORXSimInspected& object) {
  m_distributions.emplace(minor, false);
  std::vector<int> numbers;
  for (const std::string& link : object.links)
    numbers.push_back(Number(link));
  std::sort(numbers.begin(), numbers.end());
  for (std::size_t i = 0; i < numbers.size(); ++i)
    if (numbers[i] != static_cast<int>(i))
      return Tell(object.path, "distribution.drawers", "its drawers are not numbered from 0 without gaps");
}

void check_Store::Drawer(int distribution, const ORXSimInspected& object) {
  const auto* const members = Integers(object, "members", 2);
  const bool isTable = object.isDataset && (object.dims.size() == 1 || object.dims.size() == 2) &&
                       object.dims[0] <= INT_MAX &&
                       (object.dims.size() == 1 || (object.dims[1] >= 1 && object.dims[1] <= INT_MAX));
  if (!isTable && object.sound)
    Tell(object.path, "drawer.form", "not rows of components");
  if (members == nullptr)
    Tell(object.path, "drawer.members", "attribute 'members' is not two numbers");
  const bool known = isTable && members != nullptr;
  m_drawers.push_back({object.path, distribution, Number(object.name), known ? (*members)[0] : 0,
                       known ? (*members)[1] : 0, isTable ? static_cast<std::int64_t>(object.dims[0]) : 0,
                       isTable && object.sound ? static_cast<double>(object.Bytes()) : 0});
}

void check_Store::Refer(const std::string& path, const std::string& member,
                        const check_Reference& reference) {
  m_references.push_back({path, member, reference});
}

void check_Store::Finish(ORXSimContextID context, const std::function<void(double)>& tick) {
  CheckSets(context, tick);
  CheckReferences(); // before drawers, which count where a member names their distribution
  CheckDrawers(context, tick);
  ReportOrphans();
}

void check_Store::CheckSets(ORXSimContextID context, const std::function<void(double)>& tick) {
  for (const auto& [collection, facts] : m_collections)
    for (const auto& [minor, size] : facts.sets) {
      if (size < 0)
        continue;
      CheckMembers(PathOf(collection, minor), {ORXSimCollectionID(context, collection), minor}, facts.items,
                   size);
      tick(4.0 * static_cast<double>(size));
    }
}

void check_Store::CheckMembers(const std::string& path, ORXSimCSetID id, std::int64_t items,
                               std::int64_t size) {
  const ORXSimCSet set(id);
  const ORXSimVerification verified = set.Verify();
  Report(path, verified);
  if (!verified.Good() || items < 0 || size == 0)
    return;
  std::vector<int> members(static_cast<std::size_t>(size));
  if (!set.OrderedMembers(members.data(), static_cast<int>(size)))
    return Tell(path, "set.members", check_Cause(path));
  std::vector<bool> seen(static_cast<std::size_t>(items));
  for (const int member : members) {
    if (seen[static_cast<std::size_t>(member)])
      return Tell(path, "set.members", "item " + std::to_string(member) + " stands in it twice");
    seen[static_cast<std::size_t>(member)] = true;
  }
}

std::int64_t check_Store::SizeOf(std::int64_t collection, std::int64_t set, bool& there) const {
  const auto found = collection < 1 || collection > INT_MAX
                         ? m_collections.end()
                         : m_collections.find(static_cast<int>(collection));
  there = found != m_collections.end();
  if (!there || set == 0)
    return there ? found->second.items : -1;
  const auto stored =
      set < 1 || set > INT_MAX ? found->second.sets.end() : found->second.sets.find(static_cast<int>(set));
  there = stored != found->second.sets.end();
  return there ? stored->second : -1;
}

void check_Store::CheckDrawers(ORXSimContextID context, const std::function<void(double)>& tick) {
  for (const DrawerFacts& drawer : m_drawers) {
    if (drawer.collection != 0)
      CheckRows(drawer);
    if (drawer.bytes == 0)
      continue;
    const ORXSimDistributionRef distribution(ORXSimDistributionID(context, drawer.distribution));
    Report(drawer.path, distribution.Verify(drawer.drawer));
    tick(drawer.bytes);
  }
}

void check_Store::CheckRows(const DrawerFacts& drawer) {
  bool there = false;
  const std::int64_t size = SizeOf(drawer.collection, drawer.set, there);
  const std::string name =
      "set " + std::to_string(drawer.set) + " of collection " + std::to_string(drawer.collection);
  if (!there)
    return Tell(drawer.path, "dangling", "its rows belong to " + name + ", which is not in the store");
  if (m_distributions[drawer.distribution])
    m_namedSets.insert({static_cast<int>(drawer.collection), static_cast<int>(drawer.set)});
  if (size >= 0 && size != drawer.rows)
    Tell(drawer.path, "drawer.rows",
         std::to_string(drawer.rows) + " rows where " + name + " has " + std::to_string(size) + " members");
}

void check_Store::Report(const std::string& path, const ORXSimVerification& verified) const {
  if (!verified.opened)
    return Tell(path, "unreadable", check_Cause(path));
  if (!verified.hasChecksums && verified.blocks > 0)
    Tell(path, "data.nochecksum", "the data has no checksums", true);
  if (!verified.unwritten.empty())
    Tell(path, "data.unwritten",
         std::to_string(verified.unwritten.size()) + " of " + std::to_string(verified.blocks) +
             " blocks of the data were never written",
         true);
  for (const int block : verified.damaged) {
    const std::int64_t first = std::int64_t{block} * verified.blockRows;
    const std::string rows =
        "rows " + std::to_string(first) + ".." + std::to_string(first + verified.blockRows - 1);
    if (verified.hasChecksums)
      Tell(path, "data.checksum", rows + " do not match their checksum or cannot be read");
    else
      Tell(path, "unreadable", rows + " cannot be read");
  }
}

bool check_Store::Mark(const check_Reference& reference) {
  if (reference.kind == 4) {
    const auto found = m_distributions.find(reference.minor);
    if (found != m_distributions.end())
      found->second = true;
    return found != m_distributions.end();
  }
  bool there = false;
  const int collection = reference.kind == 1 ? reference.minor : reference.collection;
  const int set = reference.kind == 1 ? 0 : reference.minor;
  if (reference.kind != 3) // nothing is stored for data sets
    SizeOf(collection, set, there);
  if (there)
    m_namedSets.insert({collection, set});
  return there;
}

void check_Store::CheckReferences() {
  const char* const kinds[] = {"", "collection ", "set ", "data set ", "distribution "};
  for (const Naming& naming : m_references) {
    const check_Reference& reference = naming.reference;
    if (Mark(reference))
      continue;
    const std::string where =
        reference.kind == 2 ? " of collection " + std::to_string(reference.collection) : "";
    Tell(naming.path, "dangling",
         naming.member + " names " + kinds[reference.kind] + std::to_string(reference.minor) + where +
             ", which is not in the store");
  }
}

void check_Store::ReportOrphans() {
  for (const auto& [minor, named] : m_distributions)
    if (!named)
      Tell("/store/distributions/" + std::to_string(minor), "orphan", "no member names this distribution",
           true);
  for (const auto& [collection, facts] : m_collections) {
    const auto first = m_namedSets.lower_bound({collection, 0});
    if (first == m_namedSets.end() || first->first != collection)
      Tell(PathOf(collection, 0), "orphan",
           "no member names this collection, nor does a distribution that one names", true);
    for (const auto& [minor, size] : facts.sets)
      if (!m_namedSets.contains({collection, minor}))
        Tell(PathOf(collection, minor), "orphan",
             "no member names this set, nor does a distribution that one names", true);
  }
}
