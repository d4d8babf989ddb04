#pragma once

#include "py_Session.h"

#include <functional>
#include <map>

// Members of schema classes by their names, from the tables that the schema has. A class needs one line to be
// known: py_AddClass<hostD_ControlSystem>(). Nothing here names a member.

/// What becomes an object of Python as soon as the interpreter is there; empty: there is no such member.
using py_Later = std::function<py::object()>;

/// A persistent array of a schema class.
struct py_Children {
  pdm::Object owner;
  std::string name;
  int (*count)(const gbb_Handle& owner);
  gbb_Handle (*get)(const gbb_Handle& owner, int index);

  std::string path() const { return owner.path() + '/' + name; }
  const pdm::detail::File& state() const noexcept { return owner.state(); }
};

/// What the module knows of a schema class.
struct py_Class {
  gbb_Class id;
  /// The names of its members and children, those of its bases last.
  std::vector<std::string> names;
  /// Reads a member or child. REQUIRES the file's turn.
  py_Later (*get)(const std::shared_ptr<py_Session>& session, const pdm::Object& object,
                  const std::string& name);
  /// Writes a simple member.
  /// \return what does it in the file's turn; empty: there is none to be written.
  std::function<void()> (*set)(const pdm::Object& object, const std::string& name, const py::object& value);
};

/// Makes a class known.
void py_AddClass(py_Class known);
/// \return what is known of an object's class or the nearest of its bases; null: nothing.
const py_Class* py_FindClass(gbb_Class of);
/// \return a mesh, model, system or event where the object is one, else the object.
py::object py_ObjectOf(const std::shared_ptr<py_Session>& session, pdm::Object object);

namespace py_detail {

/// Where a value belongs, for those that are objects of the file.
struct Place {
  pdm::detail::File file;
  std::string path;
};

/// What a member may name: a part of its own file. An identifier of another one could not be saved.
template <class Part>
const Part& same_file(const py::object& value, const pdm::detail::State* file) {
  const Part& part = value.cast<const py_Bound<Part>&>().value;
  if (part.state().get() != file)
    throw py::cast_error("a part of another file");
  return part;
}

// Values of members as this side of the library has them, and back.
template <class T>
struct Value {
  static T plain(const T& value, const Place&) { return value; }
  static T stored(const py::object& value, const pdm::detail::State*) { return value.cast<T>(); }
};
template <>
struct Value<kda_string> {
  static py_Text plain(const kda_string& value, const Place&) { return std::string(value.cStr()); }
  static kda_string stored(const py::object& value, const pdm::detail::State*) {
    const auto text = value.cast<py_Text>();
    if (text.find('\0') != std::string::npos)
      throw py::cast_error("a text with NUL"); // it would be cut there
    return kda_string(text.c_str());
  }
};
template <class Id, class Part>
struct IdValue {
  static std::optional<Part> plain(const Id& id, const Place& at) {
    if (id.IsNull())
      return std::nullopt;
    return Part(std::make_shared<const typename Part::Source>(typename Part::Source{at.file, at.path}), {},
                id);
  }
  static Id stored(const py::object& value, const pdm::detail::State* file) {
    return value.is_none() ? Id() : same_file<Part>(value, file).handle();
  }
};
template <>
struct Value<ORXSimCSetID> : IdValue<ORXSimCSetID, pdm::Set> {};
template <>
struct Value<ORXSimDistributionID> : IdValue<ORXSimDistributionID, pdm::Field> {};
template <>
struct Value<ORXSimCollectionID> {
  static std::optional<pdm::Collection> plain(const ORXSimCollectionID& id, const Place& at) {
    return id.IsNull() ? std::nullopt : std::optional(pdm::Collection(at.file, at.path, id));
  }
  static ORXSimCollectionID stored(const py::object& value, const pdm::detail::State* file) {
    return value.is_none() ? ORXSimCollectionID() : same_file<pdm::Collection>(value, file).handle();
  }
};
template <>
struct Value<ORXSimDSetID> { // a name for programs alone
  static bool plain(const ORXSimDSetID& id, const Place&) { return !id.IsNull(); }
  static ORXSimDSetID stored(const py::object&, const pdm::detail::State*) {
    throw py::type_error("such an identifier is not written");
  }
};
template <class T>
struct Value<kda_List<T>> {
  static auto plain(const kda_List<T>& list, const Place& at) {
    std::vector<decltype(Value<T>::plain(list[0], at))> all;
    for (int i = 0; i < list.count(); ++i)
      all.push_back(Value<T>::plain(list[i], {at.file, at.path + '/' + std::to_string(i)}));
    return all;
  }
  static kda_List<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_List<T> list;
    for (const py::handle value : values)
      list.append(Value<T>::stored(py::reinterpret_borrow<py::object>(value), file), 1);
    return list;
  }
};
template <class T>
struct Value<kda_MapInt<T>> {
  static auto plain(const kda_MapInt<T>& map, const Place& at) {
    std::map<int, decltype(Value<T>::plain(std::declval<const T&>(), at))> all;
    map.ForEach([&](int key, const T& value) {
      all.emplace(key, Value<T>::plain(value, {at.file, at.path + '/' + std::to_string(key)}));
    });
    return all;
  }
  static kda_MapInt<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_MapInt<T> map;
    for (const auto& [key, value] : values.cast<py::dict>())
      map.insert(key.template cast<int>(), Value<T>::stored(py::reinterpret_borrow<py::object>(value), file));
    return map;
  }
};
template <class T>
struct Value<kda_MapString<T>> {
  static auto plain(const kda_MapString<T>& map, const Place& at) {
    std::map<std::string, decltype(Value<T>::plain(std::declval<const T&>(), at))> all;
    map.ForEach([&](const kda_string& key, const T& value) {
      all.emplace(key.cStr(), Value<T>::plain(value, {at.file, at.path + '/' + key.cStr()}));
    });
    return all;
  }
  static kda_MapString<T> stored(const py::object& values, const pdm::detail::State* file) {
    kda_MapString<T> map;
    for (const auto& [key, value] : values.cast<py::dict>())
      map.insert(kda_string(key.template cast<std::string>().c_str()),
                 Value<T>::stored(py::reinterpret_borrow<py::object>(value), file));
    return map;
  }
};

template <class T>
auto give_all(const std::shared_ptr<py_Session>& session, T&& value) {
  return py_Give(session, std::forward<T>(value));
}
template <class T>
auto give_all(const std::shared_ptr<py_Session>& session, std::vector<std::optional<T>>&& values) {
  std::vector<std::optional<py_Bound<T>>> all;
  for (auto& value : values)
    all.push_back(py_Give(session, std::move(value)));
  return all;
}
template <class Key, class T>
auto give_all(const std::shared_ptr<py_Session>& session, std::map<Key, std::optional<T>>&& values) {
  std::map<Key, std::optional<py_Bound<T>>> all;
  for (auto& [key, value] : values)
    all.emplace(key, py_Give(session, std::move(value)));
  return all;
}

/// A map of sets or fields stays a map of the file, which can be added to.
template <class T>
struct LiveMap {
  static constexpr bool kIs = false;
};
template <>
struct LiveMap<kda_MapString<ORXSimCSetID>> {
  static constexpr bool kIs = true;
  using Id = ORXSimCSetID;
  using Map = pdm::Sets;
};
template <>
struct LiveMap<kda_MapString<ORXSimDistributionID>> {
  static constexpr bool kIs = true;
  using Id = ORXSimDistributionID;
  using Map = pdm::Fields;
};

template <class Handle, auto Field>
const auto& read_field(void* object) {
  using T = std::remove_cvref_t<decltype(std::declval<typename Handle::Traits::Members&>().*Field)>;
  static const T kNone{};
  const auto* const members = std::bit_cast<Handle>(object).ReadMembers();
  return members == nullptr ? kNone : members->*Field;
}
template <class Handle, auto Field, class T>
void write_field(void* object, const T& value) {
  gbb_ObjectAccess<typename Handle::Traits> access{std::bit_cast<Handle>(object)};
  if (auto* const members = access.members(); members != nullptr) {
    T copy(value);
    if constexpr (std::is_copy_assignable_v<T>)
      members->*Field = copy;
    else
      (members->*Field).swap(copy);
    access.commit();
  }
}

template <class Handle>
struct ClassOf {
  using Traits = typename Handle::Traits;
  using Members = typename gbb_MemberTable<Traits>::Members;
  using Children = typename gbb_ChildTable<Traits>::Children;

  template <class Member>
  static py_Later get_member(const std::shared_ptr<py_Session>& session, Handle handle, const Place& at) {
    constexpr auto kField = Member::kField;
    void* const object = std::bit_cast<void*>(handle);
    using T = std::remove_cvref_t<decltype(read_field<Handle, kField>(object))>;
    if constexpr (LiveMap<T>::kIs) {
      using Id = typename LiveMap<T>::Id;
      static constexpr pdm::detail::MapMember<Id> kMember{
          [](void* of) -> const T& { return read_field<Handle, kField>(of); },
          [](void* of, const T& map) { write_field<Handle, kField>(of, map); }};
      typename LiveMap<T>::Map map(pdm::detail::Source<Id>{at.file, at.path, object, &kMember, nullptr});
      return [session, map] { return py::cast(py_Give(session, map)); };
    } else {
      auto plain = Value<T>::plain(read_field<Handle, kField>(object), at);
      return [session, plain]() mutable { return py::object(py::cast(give_all(session, std::move(plain)))); };
    }
  }

  template <class Child>
  static py_Later get_child(const std::shared_ptr<py_Session>& session, const pdm::Object& object,
                            Handle handle) {
    using Result = decltype((handle.*Child::kGetter)());
    if constexpr (requires(Result array) { array.count(); }) {
      py_Children children{
          object, Child::name(), [](const gbb_Handle& of) { return (Handle(of).*Child::kGetter)().count(); },
          [](const gbb_Handle& of, int i) -> gbb_Handle { return (Handle(of).*Child::kGetter)().get(i); }};
      return [session, children] { return py::cast(py_Give(session, children)); };
    } else {
      const Result child = (handle.*Child::kGetter)();
      if (!child)
        return [] { return py::object(py::none()); };
      pdm::Object found(object.state(), object.path() + '/' + Child::name(), static_cast<gbb_Handle>(child));
      return [session, found] { return py_ObjectOf(session, found); };
    }
  }

  static py_Later get(const std::shared_ptr<py_Session>& session, const pdm::Object& object,
                      const std::string& name) {
    const Handle handle(object.handle());
    py_Later found;
    gbb_ForEach<Members>([&](auto member) {
      if (!found && name == member.name())
        found = get_member<decltype(member)>(session, handle, {object.state(), object.path() + '/' + name});
    });
    gbb_ForEach<Children>([&](auto child) {
      if (!found && name == child.name())
        found = get_child<decltype(child)>(session, object, handle);
    });
    if constexpr (requires { typename Traits::Base::Handle; })
      if (!found)
        found = ClassOf<typename Traits::Base::Handle>::get(session, object, name);
    return found;
  }

  static std::function<void()> set(const pdm::Object& object, const std::string& name,
                                   const py::object& value) {
    std::function<void()> done;
    gbb_ForEach<Members>([&](auto member) {
      constexpr auto kField = decltype(member)::kField;
      using T = std::remove_cvref_t<decltype(read_field<Handle, kField>(nullptr))>;
      if constexpr (!LiveMap<T>::kIs)
        if (!done && name == member.name())
          done = [object, stored = Value<T>::stored(value, object.state().get())] {
            write_field<Handle, kField>(std::bit_cast<void*>(Handle(object.handle())), stored);
          };
    });
    if constexpr (requires { typename Traits::Base::Handle; })
      if (!done)
        done = ClassOf<typename Traits::Base::Handle>::set(object, name, value);
    return done;
  }

  static void add_names(std::vector<std::string>& names) {
    gbb_ForEach<Members>([&](auto member) { names.emplace_back(member.name()); });
    gbb_ForEach<Children>([&](auto child) { names.emplace_back(child.name()); });
    if constexpr (requires { typename Traits::Base::Handle; })
      ClassOf<typename Traits::Base::Handle>::add_names(names);
  }
};

} // namespace py_detail

/// Makes a schema class known, the library's or a host's.
template <class Handle>
void py_AddClass() {
  using Of = py_detail::ClassOf<Handle>;
  py_Class known{Handle::Traits::Interface::StaticClass(), {}, &Of::get, &Of::set};
  Of::add_names(known.names);
  py_AddClass(std::move(known));
}
