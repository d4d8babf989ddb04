#pragma once

#include "py_Values.h"

#include <functional>

// Members of schema classes by their names, from the tables that the schema has. A class needs one line to be
// known: py_AddClass<fesD_ModalSystem>(), or of a host py_Host::add<hostD_ControlSystem>(). Nothing here
// names a member.

/// What becomes an object of Python as soon as the interpreter is there; empty: there is no such member.
using py_Later = std::function<py::object()>;

/// A persistent array of a schema class.
struct py_Children {
  pdm::Object owner;
  std::string name;
  gbb_Class of; // what its elements are, or descend from
  int (*count)(const gbb_Handle& owner);
  gbb_Handle (*get)(const gbb_Handle& owner, int index);
  void (*add)(const gbb_Handle& owner, void* holder); // as py_Class::make() gave it for `of`

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
  /// \return what the child object of that name is, or descends from; uninitialised: there is no such child.
  gbb_Class (*child)(const std::string& name);
  /// Gives an object the child object of that name. REQUIRES the file's turn.
  void (*give)(const pdm::Object& object, const std::string& name, void* holder);
  /// Makes an object of the class, whose members are null, 0 and empty.
  /// \param as  what it is to be held as: the class, or one of its bases.
  /// \return a holder of that class, for add() and give(), which delete it; null: the class is no such thing.
  void* (*make)(gbb_Class as);
  py::handle type = {}; // its class in Python, for ever; null for the library's, which have none of their own
};

/// What modules of hosts' classes need of this one.
struct py_ClassApi {
  static constexpr const char* kName = "pdm_core " PDM_CORE_VERSION " " PYBIND11_INTERNALS_ID;
  /// Makes a class known.
  void (*add)(py_Class known);
  /// \return a mesh, model, system or event where the object is one, else the object.
  py::object (*object_of)(const std::shared_ptr<py_Session>& session, pdm::Object object);
};
inline const py_ClassApi* py_classes = nullptr; // of each module; set before a class is added

/// As py_ClassApi::object_of().
py::object py_ObjectOf(const std::shared_ptr<py_Session>& session, pdm::Object object);
/// \return what is known of an object's class or the nearest of its bases; null: nothing.
const py_Class* py_FindClass(gbb_Class of);
/// \return the class that a class of Python stands for. Throws where that is none.
const py_Class& py_ClassOf(const pdm::Error& where, const py::object& type);
/// \return a py_Bound in Python, as one of its class' own type where the class is a host's.
template <class T>
py::object py_Typed(T bound, gbb_Class of) {
  const py_Class* const known = py_FindClass(of);
  if (known == nullptr || !known->type ||
      PyObject_IsSubclass(known->type.ptr(), py::type::of<T>().ptr()) != 1)
    return py::cast(std::move(bound));
  auto* const type = reinterpret_cast<PyTypeObject*>(known->type.ptr());
  auto made = py::reinterpret_steal<py::object>(py::detail::make_new_instance(type));
  auto* const instance = reinterpret_cast<py::detail::instance*>(made.ptr());
  instance->owned = true;
  py::detail::values_and_holders(instance).begin()->value_ptr() = new T(std::move(bound));
  py::detail::get_type_info(typeid(T))->init_instance(instance, nullptr);
  return made;
}
/// \return a new holder of an object of class `made`; of `as` itself where that is null. Throws where `made`
/// is no
///         `as`.
void* py_Make(const pdm::Error& where, gbb_Class as, const py_Class* made);

namespace py_detail {

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

template <class Array>
struct Elements;
template <class E, class H, class Repository, class Owner>
struct Elements<gbb_Array<E, H, Repository, Owner>> {
  using Element = E;
  using Holder = H;
};

/// The values that an object of a class begins with: null, 0 and empty.
template <class Traits>
auto initial() {
  if constexpr (requires { typename Traits::Base::Handle; })
    return std::tuple_cat(initial<typename Traits::Base>(), typename Traits::Initial{});
  else
    return typename Traits::Initial{};
}
/// \return a new holder of the object as class `as`, null when it is no such thing.
template <class Traits>
void* held_as(gbb_Class as, typename Traits::Holder holder) {
  if (as == Traits::Interface::StaticClass())
    return new typename Traits::Holder(std::move(holder));
  if constexpr (requires { typename Traits::Base::Handle; })
    return held_as<typename Traits::Base>(as, static_cast<typename Traits::Base::Holder>(holder));
  else
    return nullptr;
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
      return [session, plain]() mutable { return as_object(give_all(session, std::move(plain))); };
    }
  }

  template <class Child>
  static py_Later get_child(const std::shared_ptr<py_Session>& session, const pdm::Object& object,
                            Handle handle) {
    using Result = decltype((handle.*Child::kGetter)());
    if constexpr (requires(Result array) { array.count(); }) {
      using Of = Elements<Result>;
      py_Children children{
          object,
          Child::name(),
          Of::Element::Traits::Interface::StaticClass(),
          [](const gbb_Handle& of) { return (Handle(of).*Child::kGetter)().count(); },
          [](const gbb_Handle& of, int i) -> gbb_Handle { return (Handle(of).*Child::kGetter)().get(i); },
          [](const gbb_Handle& of, void* holder) {
            const std::unique_ptr<typename Of::Holder> held(static_cast<typename Of::Holder*>(holder));
            (Handle(of).*Child::kGetter)().add(std::move(*held));
          }};
      return [session, children] { return py::cast(py_Give(session, children)); };
    } else {
      const Result child = (handle.*Child::kGetter)();
      if (!child)
        return [] { return py::object(py::none()); };
      pdm::Object found(object.state(), object.path() + '/' + Child::name(), static_cast<gbb_Handle>(child));
      return [session, found] { return py_classes->object_of(session, found); };
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

  /// Calls f(handle, entry) for the child objects, those of the bases last; the handle is an empty one.
  template <class F>
  static void for_each_object(F&& f) {
    gbb_ForEach<Children>([&](auto child) {
      if constexpr (!std::is_null_pointer_v<std::remove_cvref_t<decltype(child.kSetter)>>)
        f(Handle(), child);
    });
    if constexpr (requires { typename Traits::Base::Handle; })
      ClassOf<typename Traits::Base::Handle>::for_each_object(f);
  }
  static gbb_Class child(const std::string& name) {
    gbb_Class found;
    for_each_object([&]<class Owner, class Child>(Owner owner, Child) {
      if (name == Child::name())
        found = decltype((owner.*Child::kGetter)())::Traits::Interface::StaticClass();
    });
    return found;
  }
  static void give(const pdm::Object& object, const std::string& name, void* holder) {
    for_each_object([&]<class Owner, class Child>(Owner owner, Child) {
      using Holder = typename decltype((owner.*Child::kGetter)())::Traits::Holder;
      if (holder == nullptr || name != Child::name())
        return;
      const std::unique_ptr<Holder> held(static_cast<Holder*>(std::exchange(holder, nullptr)));
      (Owner(object.handle()).*Child::kSetter)(std::move(*held));
    });
  }
  static void* make(gbb_Class as) {
    return held_as<Traits>(as, std::apply([](auto... values) { return Handle::New(std::move(values)..., 0); },
                                          initial<Traits>()));
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
/// \param type  its class in Python, null for none.
template <class Handle>
void py_AddClass(py::handle type = {}) {
  using Of = py_detail::ClassOf<Handle>;
  py_Class known{Handle::Traits::Interface::StaticClass(),
                 {},
                 &Of::get,
                 &Of::set,
                 &Of::child,
                 &Of::give,
                 &Of::make,
                 type};
  Of::add_names(known.names);
  py_classes->add(std::move(known));
}
