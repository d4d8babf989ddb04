#pragma once

#include <pdm/pdm_Call.h>
#include <pdm/pdm_Iterator.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <optional>
#include <vector>

// Maps of a persistent object by name, and what all their entries have in common.
// Threads: one at a time for all objects of a Sim.

namespace pdm::detail {

/// How a map of a class is read and written; one static record for each member.
template <class Id>
struct MapMember {
  const kda_MapString<Id>& (*get)(void* object);
  void (*set)(void* object, const kda_MapString<Id>& map);
};
template <class Id, class Handle, auto Get, auto Set>
inline constexpr MapMember<Id> kMapMember{
    [](void* object) -> const kda_MapString<Id>& { return (std::bit_cast<Handle>(object).*Get)(); },
    [](void* object, const kda_MapString<Id>& map) { (std::bit_cast<Handle>(object).*Set)(map); }};

/// Where identifiers of one kind stand: a map of an object. Without a member: identifiers that stand
/// elsewhere.
template <class Id>
struct Source {
  File file;
  std::string path;
  void* object = nullptr; // the pointer that the object's handle is
  const MapMember<Id>* member = nullptr;
  ORXSimCollectionID (*collection)(const Source& source) =
      nullptr;               // what new entries are over; null: their own
  std::function<Id()> now{}; // without a member: what stands there now; empty: nobody can tell
};

/// Refuses an identifier that is not what stands in its place any more. REQUIRES run().
/// A rollback takes back what was made since the last commit point, and the next one made has its number.
/// \param seen  ORXSimManager::Epochs() when the identifier was last known to stand there.
/// \param id    the identifier.
/// \param now   tells what stands there; empty: after a rollback it is refused.
template <class Object, class Id>
void require_same(const Object& object, const char* operation, std::uint64_t& seen, const Id& id,
                  const std::function<Id()>& now) {
  const ORXSimContextRef context(object.state()->context);
  if (now ? !(now() == id) : context.Epoch() > seen && !context.ReadOnly())
    refuse(object.state().get(), object.path(), operation, "it was taken back or replaced: ask for it again");
  seen = ORXSimManager::Epochs();
}

/// A string of a map's key. An embedded NUL would cut it.
inline std::optional<kda_string> key_of(std::string_view name) {
  if (name.find('\0') != std::string_view::npos)
    return std::nullopt;
  return kda_string(name.data(), static_cast<int>(name.size()));
}

/// One identifier by its name in a map.
template <class Id>
class Entry {
 public:
  Entry() = default;
  /// \return its name in the map, "" for one that is in none.
  const std::string& name() const noexcept { return m_name; }
  /// \return where it stands in the model.
  std::string path() const {
    return m_source == nullptr ? std::string()
           : m_name.empty()    ? m_source->path
                               : m_source->path + '/' + m_name;
  }
  /// For this layer alone.
  const File& state() const noexcept {
    static const File kNone;
    return m_source == nullptr ? kNone : m_source->file;
  }
  /// \return the identifier that the plain calls take.
  Id handle() const {
    return run(*this, "take the identifier", [&] { return id("take the identifier"); });
  }

 protected:
  Entry(std::shared_ptr<const Source<Id>> source, std::string name, Id id)
      : m_source(std::move(source)), m_name(std::move(name)), m_id(id), m_seen(ORXSimManager::Epochs()) {}

  /// The identifier, which after a rollback or a refresh must still be what the map has. REQUIRES run().
  Id id(const char* operation) const {
    if (m_seen == ORXSimManager::Epochs())
      return m_id;
    if (m_source->member == nullptr) {
      require_same(*this, operation, m_seen, m_id, m_source->now);
    } else {
      const kda_MapString<Id>& map = m_source->member->get(m_source->object);
      const kda_string key = *key_of(m_name);
      if (!map.isMember(key) || !(map.get(key) == m_id))
        refuse(m_source->file.get(), path(), operation,
               "it was taken back or replaced: ask for it again by its name");
    }
    m_seen = ORXSimManager::Epochs();
    return m_id;
  }

  std::shared_ptr<const Source<Id>> m_source;
  std::string m_name;
  Id m_id;
  mutable std::uint64_t m_seen = 0; // when the identifier was last what the map has
};

/// A map of an object, by name. Iterating goes over the names as they were when it began.
template <class Id, class Value>
class Map {
 public:
  Map() = default;

  /// \return the names in ascending order of their bytes.
  std::vector<std::string> names() const {
    return run(*this, "list the names", [&] {
      const kda_MapString<Id>& entries = map();
      std::vector<std::string> names;
      names.reserve(detail::size(entries.count()));
      entries.ForEach([&](const kda_string& key, const Id&) { names.emplace_back(key.cStr()); });
      return names;
    });
  }
  /// \return the number of entries.
  std::size_t size() const {
    return run(*this, "count the entries", [&] { return detail::size(map().count()); });
  }
  bool empty() const { return size() == 0; }
  /// \return whether there is an entry of that name.
  bool contains(std::string_view name) const {
    return run(*this, "look for a name", [&] {
      const auto key = key_of(name);
      return key.has_value() && map().isMember(*key);
    });
  }
  /// \return the entry of that name. Throws Error, with the names that there are, when there is none.
  Value operator[](std::string_view name) const {
    return run(*this, "look up a name", [&] {
      const auto key = key_of(name);
      const auto& entries = run(
          *this, "look up a name", [&]() -> const auto& { return map(); });
      if (!key.has_value() || !entries.isMember(*key))
        refuse(state().get(), path(), "look up a name", "there is no " + quoted(name) + named(entries));
      return Value(m_source, std::string(name), entries.get(*key));
    });
  }
  /// Takes a name out of the map; its data stays in the file. Throws Error when there is none.
  void remove(std::string_view name) const {
    (*this)[name]; // throws when there is none
    run(*this, "remove a name", [&] {
      kda_MapString<Id> entries = map();
      entries.remove(*key_of(name));
      m_source->member->set(m_source->object, entries);
    });
  }

  /// The names as they were, with their entries.
  struct Entries {
    Map map;
    std::vector<std::string> names;
    std::pair<std::string, Value> operator[](int i) const {
      const std::string& name = names[static_cast<std::size_t>(i)];
      return {name, map[name]};
    }
  };
  /// Goes over the names and entries in ascending order.
  using Iterator = detail::Iterator<Entries, std::pair<std::string, Value>>;
  Iterator begin() const {
    auto entries = std::make_shared<const Entries>(Entries{*this, names()});
    const int size = static_cast<int>(entries->names.size());
    return {std::move(entries), size};
  }
  std::default_sentinel_t end() const { return {}; }

  /// \return where the map stands in the model.
  const std::string& path() const noexcept {
    static const std::string kNone;
    return m_source == nullptr ? kNone : m_source->path;
  }
  /// For this layer alone.
  const File& state() const noexcept {
    static const File kNone;
    return m_source == nullptr ? kNone : m_source->file;
  }

 protected:
  explicit Map(Source<Id> source) : m_source(std::make_shared<const Source<Id>>(std::move(source))) {}

  const kda_MapString<Id>& map() const { return m_source->member->get(m_source->object); }
  /// The key of a new entry. REQUIRES run().
  kda_string new_key(std::string_view name, bool replace, const char* operation) const {
    auto key = key_of(name);
    if (!key.has_value())
      refuse(state().get(), path(), operation, "a name must not contain NUL");
    if (!replace && map().isMember(*key))
      refuse(state().get(), path(), operation, "there is a " + quoted(name) + " already");
    return std::move(*key);
  }
  void insert(const kda_string& key, const Id& id) const {
    kda_MapString<Id> entries = map();
    entries.insert(key, id);
    m_source->member->set(m_source->object, entries);
  }

  std::shared_ptr<const Source<Id>> m_source;

 private:
  static std::string named(const kda_MapString<Id>& entries) {
    constexpr int kMost = 8;
    std::string text;
    int count = 0;
    entries.ForEach([&](const kda_string& key, const Id&) {
      if (count++ < kMost)
        text += (text.empty() ? ": there are " : ", ") + quoted(key.cStr());
    });
    return count > kMost ? text + " and " + std::to_string(count - kMost) + " more" : text;
  }
};

} // namespace pdm::detail
