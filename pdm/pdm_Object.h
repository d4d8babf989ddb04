#pragma once

#include <pdm/pdm_Fields.h>

#include <functional>

namespace pdm {

template <class Handle>
class Ref;

/// An object of the file of any class, by its handle.
/// Threads: one at a time for all objects of a Sim.
class Object : public detail::Part {
 public:
  Object() = default;
  /// \param handle  of an object of the file.
  Object(detail::File file, std::string path, const gbb_Handle& handle)
      : Part(std::move(file), std::move(path)), m_handle(handle) {}

  /// \return the handle that the plain calls take.
  gbb_Handle handle() const {
    detail::require_open(*this, "take the handle");
    return m_handle;
  }
  /// \return the persistent name of its most derived class, "com.vertana.Mesh".
  std::string class_name() const {
    detail::require_open(*this, "ask for the class");
    const gbb_ClassID id = m_handle.Class().ClassID();
    return {id.text, std::find(id.text, id.text + gbb_ClassID::kSize, '\0')};
  }
  /// \return whether the object is of a schema class, the library's or the host's.
  template <class Handle>
  bool is() const {
    detail::require_open(*this, "ask for the class");
    return m_handle.Class().IsA(Handle::Traits::Interface::StaticClass());
  }
  /// \return the object as one of a schema class. Throws Error when it is none.
  template <class Handle>
  Ref<Handle> as() const;

 private:
  gbb_Handle m_handle;
};

/// An object of a schema class, the library's or the host's, whose calls throw where the plain ones print.
/// Threads: one at a time for all objects of a Sim.
template <class Handle>
class Ref : public detail::Part {
 public:
  Ref() = default;
  /// \param handle  of an object of the file.
  Ref(detail::File file, std::string path, Handle handle)
      : Part(std::move(file), std::move(path)), m_handle(handle) {}

  /// \return the handle that the plain calls take.
  Handle handle() const {
    detail::require_open(*this, "take the handle");
    return m_handle;
  }
  /// Makes one plain call: `ref.call(&msfD_Mesh::nodes)`, `ref.call(&hostD_ControlSystem::Gain, 2.5)`.
  /// \param method     a member function of the handle, or a function that takes the handle first.
  /// \param arguments  of it.
  /// \return what it answers; a copy of what it answers by reference.
  template <class Method, class... Arguments>
  auto call(Method&& method, Arguments&&... arguments) const {
    return detail::run(
        *this, "call a method", [&]() -> std::decay_t<std::invoke_result_t<Method, Handle, Arguments...>> {
          return std::invoke(std::forward<Method>(method), m_handle, std::forward<Arguments>(arguments)...);
        });
  }
  /// Shows every simple member in the order of the schema.
  /// \param visit  called as visit(const char* name, const auto& value).
  template <class Visit>
  void for_each_member(Visit&& visit) const {
    detail::run(*this, "read the members", [&] {
      gbb_ForEachMember(m_handle, [&](auto member, const auto& value) { visit(member.name(), value); });
    });
  }
  /// \return a map of sets of the object: `ref.sets<&X::parts, &X::Parts>("parts")`. New sets are stored
  ///         elsewhere and inserted.
  /// \param member  its name.
  template <auto Get, auto Set>
  Sets sets(std::string_view member) const {
    return Sets(source<ORXSimCSetID, Get, Set>(member));
  }
  /// \return a map of fields of the object.
  /// \param member  its name.
  template <auto Get, auto Set>
  Fields fields(std::string_view member) const {
    return Fields(source<ORXSimDistributionID, Get, Set>(member));
  }
  /// \return the object without its static class.
  Object object() const { return {m_state, m_path, static_cast<gbb_Handle>(handle())}; }

 protected:
  template <class Id, auto Get, auto Set>
  detail::Source<Id> source(std::string_view member) const {
    return {m_state, below(member), std::bit_cast<void*>(handle()), &detail::kMapMember<Id, Handle, Get, Set>,
            nullptr};
  }

  Handle m_handle;
};

template <class Handle>
Ref<Handle> Object::as() const {
  return detail::run(*this, "take an object as one of a class", [&] {
    const Handle handle(m_handle);
    if (!handle)
      detail::refuse(m_state.get(), m_path, "take an object as one of a class",
                     std::string("it is a ") + class_name() + ", and no " + Handle::Traits::kPersistentName);
    return Ref<Handle>(m_state, m_path, handle);
  });
}

} // namespace pdm
