#pragma once

#include <pdm/pdm_Map.h>

#include <numeric>
#include <span>

namespace pdm {

/// A collection of items, such as the nodes of a mesh; items are known by their 0-based numbers.
/// Threads: one at a time for all objects of a Sim.
class Collection : public detail::Part {
 public:
  Collection() = default;
  /// For a collection of the plain calls.
  /// \param now  tells which one stands there after a rollback; without it the collection ends with one.
  Collection(detail::File file, std::string path, ORXSimCollectionID id,
             std::function<ORXSimCollectionID()> now = {})
      : Part(std::move(file), std::move(path)), m_id(id), m_now(std::move(now)) {}

  /// \return whether there is one; the other calls answer 0 and "" otherwise.
  explicit operator bool() const noexcept { return m_state != nullptr && !m_id.IsNull(); }
  /// \return the number of items.
  int size() const {
    return detail::run(*this, "count the items", [&] {
      return id("count the items").IsNull() ? 0 : ORXSimCollectionRef(m_id).NumItems();
    });
  }
  /// \return the collection's name.
  std::string name() const {
    return detail::run(*this, "read the name", [&] {
      return id("read the name").IsNull() ? std::string()
                                          : std::string(ORXSimCollectionRef(m_id).Name().CStr());
    });
  }
  /// \return the identifier that the plain calls take, null when there is no collection.
  ORXSimCollectionID handle() const {
    return detail::run(*this, "take the identifier", [&] { return id("take the identifier"); });
  }

 private:
  ORXSimCollectionID id(const char* operation) const {
    if (m_seen != ORXSimManager::Epochs())
      detail::require_same(*this, operation, m_seen, m_id, m_now);
    return m_id;
  }

  ORXSimCollectionID m_id;
  std::function<ORXSimCollectionID()> m_now;
  mutable std::uint64_t m_seen = ORXSimManager::Epochs();
};

/// An ordered list of items of a collection.
/// Threads: one at a time for all objects of a Sim.
class Set : public detail::Entry<ORXSimCSetID> {
 public:
  using Source = detail::Source<ORXSimCSetID>;
  Set() = default;
  /// For a set of the plain calls.
  Set(std::shared_ptr<const Source> source, std::string name, ORXSimCSetID id)
      : Entry(std::move(source), std::move(name), id) {}

  /// \return the number of items.
  int size() const {
    return detail::run(*this, "count a set's items", [&] { return count("count a set's items"); });
  }
  /// \return [size()] the 0-based items in the set's order, checked.
  std::vector<int> items() const {
    return detail::run(*this, "read a set", [&] {
      std::vector<int> items(detail::size(count("read a set")));
      fill(items);
      return items;
    });
  }
  /// Reads the items into memory of the caller.
  /// \param items  [size()] receives the 0-based items in the set's order.
  void read(std::span<int> items) const {
    detail::run(*this, "read a set", [&] {
      if (const std::size_t members = detail::size(count("read a set")); items.size() != members)
        detail::refuse(state().get(), path(), "read a set",
                       "the buffer has room for " + std::to_string(items.size()) + " items, the set has " +
                           std::to_string(members));
      fill(items);
    });
  }
  /// \return whether the set is all items of its collection, in order.
  bool is_full() const {
    return detail::run(*this, "use a set", [&] { return id("use a set").Minor() == 0; });
  }
  /// \return the collection that the items are of.
  Collection collection() const {
    return detail::run(*this, "use a set", [&] {
      const ORXSimCollectionID of = id("use a set").Collection();
      return Collection(state(), path(), of, [set = *this] { return set.id("use a set").Collection(); });
    });
  }

 private:
  int count(const char* operation) const {
    const ORXSimCSetID set = id(operation);
    return set.IsNull()       ? 0
           : set.Minor() == 0 ? ORXSimCollectionRef(set.Collection()).NumItems()
                              : ORXSimCSet(set).Size();
  }
  // REQUIRES as many items as the set has.
  void fill(std::span<int> items) const {
    if (m_id.Minor() == 0)
      std::iota(items.begin(), items.end(), 0);
    else if (!items.empty())
      ORXSimCSet(m_id).OrderedMembers(items.data(), static_cast<int>(items.size()));
  }
};

/// Sets of an object by name.
/// Threads: one at a time for all objects of a Sim.
class Sets : public detail::Map<ORXSimCSetID, Set> {
 public:
  Sets() = default;
  /// For a map of the plain calls.
  explicit Sets(Set::Source source) : Map(std::move(source)) {}

  /// Stores a new set. One commit point, unless an update is open.
  /// \param name     of the new set.
  /// \param items    0-based items of the collection in any order, none twice.
  /// \param replace  false: a set of that name that is there already is an error.
  Set create(std::string_view name, std::span<const int> items, bool replace = false) const {
    constexpr const char* kOperation = "create a set";
    return detail::run(*this, kOperation, [&] {
      const kda_string key = new_key(name, replace, kOperation);
      const ORXSimCollectionID over = items_of(kOperation);
      ORXSimUpdate update(state()->context);
      const ORXSimCSetID id =
          ORXSimCollectionRef(over).CreateOrderedCSet(items.data(), static_cast<int>(items.size()));
      if (!id.IsNull()) {
        Map::insert(key, id);
        update.Commit();
      }
      return Set(m_source, std::string(name), id);
    });
  }
  /// As above, `create("base", {0, 1, 2})`.
  Set create(std::string_view name, std::initializer_list<int> items, bool replace = false) const {
    return create(name, std::span(items.begin(), items.size()), replace);
  }
  /// Stores many new sets; the names of the map are written once. One commit point, unless an update is open.
  /// Throws Error when one of them cannot be stored; none of them is there then.
  /// \param sets     [n] the name and the 0-based items of each.
  /// \param replace  false: a set of such a name that is there already is an error.
  void create_all(std::span<const std::pair<std::string, std::vector<int>>> sets,
                  bool replace = false) const {
    constexpr const char* kOperation = "create sets";
    detail::run(*this, kOperation, [&] {
      const ORXSimCollectionRef over(items_of(kOperation));
      kda_MapString<ORXSimCSetID> entries = map();
      ORXSimUpdate update(state()->context);
      for (const auto& [name, items] : sets) {
        const kda_string key = new_key(name, replace, kOperation);
        if (!replace && entries.isMember(key))
          detail::refuse(state().get(), path(), kOperation, detail::quoted(name) + " stands twice");
        const ORXSimCSetID id = over.CreateOrderedCSet(items.data(), static_cast<int>(items.size()));
        if (id.IsNull())
          return; // run() says why
        entries.insert(key, id);
      }
      m_source->member->set(m_source->object, entries);
      update.Commit();
    });
  }
  /// Gives a set another name, too.
  void insert(std::string_view name, const Set& set, bool replace = false) const {
    const ORXSimCSetID id = set.handle();
    detail::run(*this, "name a set", [&] { Map::insert(new_key(name, replace, "name a set"), id); });
  }

 private:
  /// The collection of the sets' items. REQUIRES run().
  ORXSimCollectionID items_of(const char* operation) const {
    if (m_source->collection == nullptr)
      detail::refuse(state().get(), path(), operation, "there is no collection that its items could be of");
    const ORXSimCollectionID over = m_source->collection(*m_source);
    if (over.IsNull())
      detail::refuse(state().get(), path(), operation, "the collection of its items is not there");
    return over;
  }
};

} // namespace pdm
