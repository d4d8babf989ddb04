#pragma once

#include <pdm/pdm_Numbering.h>
#include <pdm/pdm_Object.h>

#include <cmath>
#include <numbers>

namespace pdm {

/// What a system is by its class.
enum class Kind : unsigned char {
  plain,        ///< fesD_FESystem itself
  generic,      ///< degrees of freedom and loads
  modal,        ///< a modal analysis
  substructure, ///< a reduced model
  other,        ///< a host's class
};

/// One event of a modal analysis.
/// Threads: one at a time for all objects of a Sim.
class Event : public Ref<fesD_ModalEvent> {
 public:
  using Ref::Ref;
  std::string name() const { return std::string(call(&fesD_ModalEvent::eventName).cStr()); }
  /// \return the kind of event, by a numbering of the caller's.
  int type() const { return call(&fesD_ModalEvent::eventTypeID); }
  /// \return the modes that take part, none when all do.
  std::optional<Set> active_modes() const {
    const ORXSimCSetID id = call(&fesD_ModalEvent::activeModes);
    if (id.IsNull())
      return std::nullopt;
    Set::Source source{m_state, below("activeModes")};
    source.now = [event = *this] { return event.call(&fesD_ModalEvent::activeModes); };
    return Set(std::make_shared<const Set::Source>(std::move(source)), {}, id);
  }
  /// \return the numbers that it has by name.
  Fields fields() const {
    return Ref::fields<&fesD_ModalEvent::userDistributions, &fesD_ModalEvent::UserDistributions>(
        "userDistributions");
  }
};

/// A system of equations on a mesh: which nodes carry which degrees of freedom, and what was solved for.
/// Threads: one at a time for all objects of a Sim.
class System : public Ref<fesD_FESystem> {
 public:
  using Ref::Ref;
  /// \param mesh  whose system it is.
  System(detail::File file, std::string path, fesD_FESystem handle, msfD_Mesh mesh)
      : Ref(std::move(file), std::move(path), handle), m_mesh(mesh) {}

  /// \return the name, "" when it has none.
  std::string name() const { return std::string(call(&fesD_FESystem::systemName).cStr()); }
  Kind kind() const;
  /// \return the persistent name of its class, "com.vertana.ModalSystem".
  std::string class_name() const { return object().class_name(); }
  /// \return the numbers that it has by name, such as "frequencies" and "modeShapes".
  Fields fields() const {
    return Ref::fields<&fesD_FESystem::userDistributions, &fesD_FESystem::UserDistributions>(
        "userDistributions");
  }

  /// \return [nodes] the user's labels of the nodes, none when the system has none.
  std::vector<int> node_labels() const { return ints(&fesD_FESystem::nodalLabels, "nodalLabels"); }
  /// \return [nodes] bit b-1 is set where degree of freedom b is active; none when no activity is stored.
  std::vector<int> activity() const { return ints(&fesD_FESystem::nodalActivityMask, "nodalActivityMask"); }
  /// Stores the user's labels of the nodes. One commit point, unless an update is open.
  /// \param labels  [nodes]
  void set_node_labels(std::span<const int> labels) const {
    store(labels, "node labels", &fesD_FESystem::NodalLabels);
  }
  /// Stores which degrees of freedom are active. One commit point, unless an update is open. Where that
  /// changes, a modal system's order is forgotten, whose equations are others now.
  /// \param masks  [nodes] bit b-1 is set where degree of freedom b is active, 1 to 31.
  void set_activity(std::span<const int> masks) const;

  /// Numbers the degrees of freedom as the activity says, in the solver's order if there is one.
  Numbering numbering() const;
  /// Stores the solver's order of a modal system, with a new collection of its degrees of freedom where the
  /// one that it has is of another size. One commit point, unless an update is open.
  /// \param equations  [n] the equation at each of the solver's places, as numbering() counts them.
  void set_order(std::span<const int> equations) const;

  /// \return [modes] in Hz, from "frequencies" or else "eigenvalues" ((rad/s)^2); negative for unstable
  ///         modes. None when neither is stored.
  std::vector<double> frequencies() const;
  /// Stores frequencies and, of a modal system, as many modes. One commit point, unless an update is open.
  /// \param hertz  [modes]
  void set_frequencies(std::span<const double> hertz) const;
  /// \return the field "modeShapes", a drawer a mode. Throws Error when there is none.
  Field mode_shapes() const { return fields()["modeShapes"]; }
  /// \return the events of a modal system.
  std::vector<Event> events() const;
  /// \return the damping of a substructure, for call(); none when it has none.
  std::optional<Ref<fesD_SubDamp>> damping() const;

 private:
  std::vector<int> ints(ORXSimDistributionID (fesD_FESystem::*get)() const, const char* name) const {
    const ORXSimDistributionID id = call(get);
    return id.IsNull() ? std::vector<int>() : field_of(id, name).read<int>();
  }
  Field field_of(ORXSimDistributionID id, const char* name) const {
    return {std::make_shared<const Field::Source>(Field::Source{m_state, below(name)}), {}, id};
  }
  // Without an order the equations stand in their own places.
  Numbering number(const std::vector<int>* order) const;
  void store(std::span<const int> values, const char* name,
             void (fesD_FESystem::*set)(ORXSimDistributionID) const) const;

  msfD_Mesh m_mesh;
};

inline Kind System::kind() const {
  return detail::run(*this, "ask for the class", [&] {
    const gbb_Handle object = m_handle;
    const gbb_Class is = object.Class();
    return is == fesD_FESystemInterface::StaticClass()               ? Kind::plain
           : is.IsA(fesD_GenericSystemInterface::StaticClass())      ? Kind::generic
           : is.IsA(fesD_ModalSystemInterface::StaticClass())        ? Kind::modal
           : is.IsA(fesD_SubstructureSystemInterface::StaticClass()) ? Kind::substructure
                                                                     : Kind::other;
  });
}

inline void System::store(std::span<const int> values, const char* name,
                          void (fesD_FESystem::*set)(ORXSimDistributionID) const) const {
  constexpr const char* kOperation = "store numbers of the nodes";
  detail::run(*this, kOperation, [&] {
    ORXSimUpdate update(m_state->context);
    const ORXSimDrawerDescription drawer = detail::describe(
        *this, kOperation, values, ORXSimCollectionRef(m_mesh.nodes()).FullCSet(), {.components = 1}, 1);
    const ORXSimDistributionID id = ORXSimDistributionRef::Create(m_state->context, name, "", &drawer, 1);
    if (!id.IsNull() && detail::write_new(ORXSimDistributionRef(id), 0, values)) {
      (m_handle.*set)(id);
      update.Commit();
    }
  });
}

inline void System::set_activity(std::span<const int> masks) const {
  constexpr const char* kOperation = "store the activity";
  const auto wrong = std::find_if(masks.begin(), masks.end(), [](int mask) { return mask < 0; });
  if (wrong != masks.end())
    detail::refuse(m_state.get(), m_path, kOperation,
                   "label 32 is active at node " + std::to_string(wrong - masks.begin()));
  const std::vector<int> before = activity();
  detail::run(*this, kOperation, [&] {
    ORXSimUpdate update(m_state->context);
    store(masks, "activity masks", &fesD_FESystem::NodalActivityMask);
    const fesD_ModalSystem modal(m_handle);
    if (!!modal && !before.empty() && !std::equal(before.begin(), before.end(), masks.begin(), masks.end()) &&
        !modal.solverDofOrdering().IsNull())
      modal.SolverDofOrdering(ORXSimCSetID());
    update.Commit();
  });
}

inline Numbering System::number(const std::vector<int>* order) const {
  constexpr const char* kOperation = "number the degrees of freedom";
  const std::vector<int> masks = activity();
  if (masks.empty())
    detail::refuse(m_state.get(), m_path, kOperation, "the system has no activity of its nodes");
  try {
    return order != nullptr ? Numbering(masks, *order) : Numbering(masks);
  } catch (const std::invalid_argument& fault) {
    detail::refuse(m_state.get(), m_path, kOperation, fault.what());
  }
}

inline Numbering System::numbering() const {
  const ORXSimCSetID id = detail::run(*this, "number the degrees of freedom", [&] {
    const fesD_ModalSystem modal(m_handle);
    return !modal ? ORXSimCSetID() : modal.solverDofOrdering();
  });
  if (id.IsNull())
    return number(nullptr);
  const std::vector<int> order =
      Set(std::make_shared<const Set::Source>(Set::Source{m_state, below("solverDofOrdering")}), {}, id)
          .items();
  return number(&order);
}

inline void System::set_order(std::span<const int> equations) const {
  constexpr const char* kOperation = "store the solver's order";
  const int count = number(nullptr).equation_count();
  detail::run(*this, kOperation, [&] {
    const fesD_ModalSystem modal(m_handle);
    if (!modal)
      detail::refuse(m_state.get(), m_path, kOperation, "only a modal system has one");
    ORXSimUpdate update(m_state->context);
    if (modal.dofs().IsNull() || ORXSimCollectionRef(modal.dofs()).NumItems() != count)
      modal.Dofs(ORXSimCollectionRef::Create(m_state->context, "dofs", count));
    const ORXSimCSetID order = ORXSimCollectionRef(modal.dofs())
                                   .CreateOrderedCSet(equations.data(), static_cast<int>(equations.size()));
    if (!order.IsNull()) {
      modal.SolverDofOrdering(order);
      update.Commit();
    }
  });
}

inline std::vector<double> System::frequencies() const {
  const Fields named = fields();
  if (named.contains("frequencies"))
    return named["frequencies"].read<double>();
  std::vector<double> values;
  if (named.contains("eigenvalues"))
    values = named["eigenvalues"].read<double>();
  for (double& value : values)
    value = std::copysign(std::sqrt(std::abs(value)) / (2 * std::numbers::pi), value);
  return values;
}

inline void System::set_frequencies(std::span<const double> hertz) const {
  detail::run(*this, "store the frequencies", [&] {
    ORXSimUpdate update(m_state->context);
    FieldOptions options{.unit = "Hz", .components = 1, .replace = true};
    if (const fesD_ModalSystem modal(m_handle); !!modal) {
      modal.Modes(ORXSimCollectionRef::Create(m_state->context, "modes", static_cast<int>(hertz.size())));
      options.over = Set(std::make_shared<const Set::Source>(Set::Source{m_state, below("modes")}), {},
                         ORXSimCollectionRef(modal.modes()).FullCSet());
    }
    fields().create("frequencies", hertz, options);
    update.Commit();
  });
}

inline std::vector<Event> System::events() const {
  return detail::run(*this, "list the events", [&] {
    std::vector<Event> all;
    const fesD_ModalSystem modal(m_handle);
    const int count = !modal ? 0 : modal.events().count();
    for (int i = 0; i < count; ++i)
      all.emplace_back(m_state, below("events/") + std::to_string(i), modal.events().get(i));
    return all;
  });
}

inline std::optional<Ref<fesD_SubDamp>> System::damping() const {
  return detail::run(*this, "find the damping", [&]() -> std::optional<Ref<fesD_SubDamp>> {
    const fesD_SubstructureSystem substructure(m_handle);
    const fesD_SubDamp damping = !substructure ? fesD_SubDamp() : substructure.damping();
    if (!damping)
      return std::nullopt;
    return Ref<fesD_SubDamp>(m_state, below("damping"), damping);
  });
}

} // namespace pdm
