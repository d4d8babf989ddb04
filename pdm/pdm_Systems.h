#pragma once

#include <pdm/pdm_Iterator.h>
#include <pdm/pdm_System.h>

namespace pdm {

/// The systems of a mesh, by number and by name.
/// Threads: one at a time for all objects of a Sim.
class Systems : public detail::Part {
 public:
  Systems() = default;
  /// \param mesh  whose systems they are.
  Systems(detail::File file, std::string path, msfD_Mesh mesh)
      : Part(std::move(file), std::move(path)), m_mesh(mesh) {}

  /// \return the number of systems; opens none.
  int size() const {
    return detail::run(*this, "count the systems", [&] { return m_mesh.systems().count(); });
  }
  bool empty() const { return size() == 0; }
  /// \param index  0-based. Throws Error when there is none of that number.
  System operator[](int index) const {
    constexpr const char* kOperation = "open a system";
    return detail::run(*this, kOperation, [&] {
      const auto systems = m_mesh.systems();
      if (index < 0 || index >= systems.count())
        detail::refuse(m_state.get(), m_path, kOperation,
                       "there is no system " + std::to_string(index) + ", the mesh has " +
                           std::to_string(systems.count()));
      return System(m_state, below(std::to_string(index)), systems.get(index), m_mesh);
    });
  }
  /// \return the first system of that name. Throws Error when there is none. Opens systems until it is found.
  System operator[](std::string_view name) const {
    const int index = find(name);
    if (index < 0)
      detail::refuse(m_state.get(), m_path, "open a system", "there is no " + detail::quoted(name));
    return (*this)[index];
  }
  System operator[](const char* name) const { return (*this)[std::string_view(name)]; }
  bool contains(std::string_view name) const { return find(name) >= 0; }
  /// \return the names in the order of the mesh, "" for those without.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const System& system : *this)
      names.push_back(system.name());
    return names;
  }

  /// Adds a system. One commit point, unless an update is open.
  /// \param name  for people and for `operator[]`.
  /// \param kind  plain, generic, modal or substructure; of a host's class is added through handle().
  System create(std::string_view name, Kind kind = Kind::plain) const {
    constexpr const char* kOperation = "add a system";
    const int index = detail::run(*this, kOperation, [&] {
      const auto key = detail::key_of(name);
      if (!key.has_value() || kind == Kind::other)
        detail::refuse(m_state.get(), m_path, kOperation,
                       "a name must not contain NUL, nor a class be unknown");
      m_mesh.systems().add(made(*key, kind));
      return m_mesh.systems().count() - 1;
    });
    return (*this)[index];
  }
  /// Adds an object of any class of systems, also the host's. One commit point, unless an update is open.
  /// \param holder  the new object: `hostD_ControlSystem::New(...)`.
  System add(fesD_FESystemHolder holder) const {
    const int index = detail::run(*this, "add a system", [&] {
      m_mesh.systems().add(std::move(holder));
      return m_mesh.systems().count() - 1;
    });
    return (*this)[index];
  }

  /// Goes over the systems as they were when it began.
  using Iterator = detail::Iterator<Systems, System>;
  Iterator begin() const { return {std::make_shared<const Systems>(*this), size()}; }
  Iterator end() const { return Iterator::end(size()); }

 private:
  int find(std::string_view name) const {
    return detail::run(*this, "look for a system", [&] {
      const auto systems = m_mesh.systems();
      const int count = systems.count();
      for (int i = 0; i < count; ++i)
        if (systems.get(i).systemName().cStr() == name)
          return i;
      return -1;
    });
  }
  static fesD_FESystemHolder made(const kda_string& name, Kind kind) {
    if (kind == Kind::generic)
      return fesD_GenericSystem::New(name, {}, {}, {}, {}, 0);
    if (kind == Kind::modal)
      return fesD_ModalSystem::New(name, {}, {}, {}, {}, 0);
    if (kind == Kind::substructure)
      return fesD_SubstructureSystem::New(name, {}, {}, {}, {}, {}, 0);
    return fesD_FESystem::New(name, {}, {}, 0);
  }

  msfD_Mesh m_mesh;
};

} // namespace pdm
