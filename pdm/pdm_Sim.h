#pragma once

#include <pdm/pdm_Mesh.h>

#include <chrono>

namespace pdm {

/// How a file is opened.
enum class Mode : unsigned char {
  read,      ///< for reading only
  write,     ///< for reading and writing; one program at a time
  live,      ///< for reading beside a writer, as at its last commit point; refresh() moves on
  untrusted, ///< for reading, after a child process with limits has looked at all of it
};
inline constexpr Mode read = Mode::read, write = Mode::write, live = Mode::live, untrusted = Mode::untrusted;

/// What a commit point survives.
enum class Durability : signed char {
  scratch = 0, ///< nothing; updates cannot be taken back
  process = 1, ///< the death of the process at any instant
  power = 2,   ///< also the loss of power
};

/// How a file is opened beside its mode.
/// Threads: a value; each thread uses values of its own.
struct OpenOptions {
  Mode mode = Mode::read;
  Durability durability = Durability::process; ///< of what is written
};
/// How a file is made.
/// Threads: a value; each thread uses values of its own.
struct CreateOptions {
  bool replace = false; ///< true: a closed simulation file of that name, or an empty file, gives way with the
                        ///< first commit point; any other file stays and is an error
  Durability durability = Durability::process;
};

/// Joins the writes of its lifetime into one commit point. Left without a successful commit() it takes back
/// everything since the last commit point, also what updates around it have written; those cannot be
/// committed any more. Where nothing was done in those within it, they go on as if they began then: in
/// `update = sim.update()` the old one ends and the new one goes on. Moved, never copied.
/// Threads: one at a time for all objects of a Sim.
class [[nodiscard]] Update : public detail::Part {
 public:
  Update() = default;
  /// \param file  the Sim's.
  explicit Update(detail::File file) : Part(std::move(file), {}) {
    m_scope =
        detail::run(*this, "begin an update", [&] { return std::make_unique<detail::Scope>(*m_state); });
  }
  Update(Update&& other) noexcept = default;
  Update& operator=(Update&& other) noexcept {
    if (this != &other) {
      leave();
      m_scope = std::move(other.m_scope);
      m_state = std::move(other.m_state);
    }
    return *this;
  }
  ~Update() { leave(); }

  /// Ends the update; the outermost one makes the commit point. When it throws, the update is still open.
  void commit() {
    require("commit an update");
    detail::run(*this, "commit an update", [&] {
      const std::uint64_t failures = ORXSimManager::Failures();
      if (!m_scope->commit() && ORXSimManager::Failures() == failures)
        detail::refuse(m_state.get(), {}, "commit an update", "an update within it was taken back");
    });
    m_scope.reset();
  }
  /// Ends the update and takes back what it wrote.
  void rollback() {
    require("take back an update");
    detail::run(*this, "take back an update", [&] { m_scope->rollback(); });
    m_scope.reset();
  }

 private:
  void require(const char* operation) const {
    detail::require_open(*this, operation);
    if (m_scope == nullptr)
      detail::refuse(m_state.get(), {}, operation, "the update has ended");
  }
  void leave() noexcept {
    if (m_scope == nullptr)
      return;
    const detail::Lines unheard;
    m_scope->rollback(); // the end of an inner scope alone would leave half of it to the outer one
    m_scope.reset();
  }

  std::unique_ptr<detail::Scope> m_scope; // null: ended
};

/// The discretisation of a simulation, with its mesh.
/// Threads: one at a time for all objects of a Sim.
class Model : public Ref<msfD_DiscreteModel> {
 public:
  using Ref::Ref;
  bool has_mesh() const {
    return detail::run(*this, "find the mesh", [&] { return !!m_handle.mesh(); });
  }
  /// \return the mesh. Throws Error when there is none.
  Mesh mesh() const {
    return detail::run(*this, "find the mesh", [&] {
      const msfD_Mesh mesh = m_handle.mesh();
      if (!mesh)
        detail::refuse(m_state.get(), m_path, "find the mesh", "the model has none");
      return Mesh(m_state, below("mesh"), mesh);
    });
  }
  /// Gives the model its mesh. One commit point, unless an update is open. Throws Error when it has one.
  /// \param nodes     number of nodes.
  /// \param elements  number of elements.
  Mesh create_mesh(int nodes, int elements) const {
    constexpr const char* kOperation = "make a mesh";
    return detail::run(*this, kOperation, [&] {
      if (!!m_handle.mesh())
        detail::refuse(m_state.get(), m_path, kOperation, "the model has one");
      ORXSimUpdate update(m_state->context);
      const ORXSimCollectionID all = ORXSimCollectionRef::Create(m_state->context, "nodes", nodes);
      const msfD_Mesh mesh = m_handle.Mesh(
          msfD_Mesh::New(all, ORXSimCollectionRef::Create(m_state->context, "elements", elements), 0));
      update.Commit();
      return Mesh(m_state, below("mesh"), mesh);
    });
  }
};

/// One simulation file, open. Closed at its end; whatever was made of it throws from then on and never
/// crashes. Moved, never copied.
/// Threads: one at a time for all objects of a Sim; different Sims in different threads at the same time.
class Sim {
 public:
  /// A Sim of no file; every call throws.
  Sim() = default;
  /// \param file  open; this Sim closes it.
  explicit Sim(detail::File file) : m_state(std::move(file)) {}
  Sim(Sim&& other) noexcept = default;
  Sim& operator=(Sim&& other) noexcept {
    if (this != &other) {
      shut();
      m_state = std::move(other.m_state);
    }
    return *this;
  }
  ~Sim() { shut(); }

  /// \return the file as it was opened.
  const std::string& file() const { return detail::require_open(*this, "use a Sim")->file; }
  bool is_open() const noexcept { return m_state != nullptr && m_state->open; }
  bool writable() const {
    return detail::run(*this, "use a Sim", [&] { return !ORXSimContextRef(m_state->context).ReadOnly(); });
  }
  bool has_model() const {
    return detail::run(*this, "find the model", [&] { return !!m_state->sim.discreteModel(); });
  }
  /// \return the discrete model. Throws Error when there is none.
  Model model() const {
    return detail::run(*this, "find the model", [&] {
      const msfD_DiscreteModel model = m_state->sim.discreteModel();
      if (!model)
        detail::refuse(m_state.get(), {}, "find the model", "the file has none");
      return Model(m_state, "discreteModel", model);
    });
  }
  /// Gives the file its model. One commit point, unless an update is open. Throws Error when it has one.
  Model create_model() const {
    return detail::run(*this, "make a model", [&] {
      if (!!m_state->sim.discreteModel())
        detail::refuse(m_state.get(), {}, "make a model", "the file has one");
      return Model(m_state, "discreteModel", m_state->sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)));
    });
  }
  /// As create_model() and Model::create_mesh(), in one.
  Mesh create_mesh(int nodes, int elements) const {
    Update together = update();
    const Mesh mesh = create_model().create_mesh(nodes, elements);
    together.commit();
    return mesh;
  }

  /// Begins to join writes into one commit point.
  Update update() const {
    if (!writable())
      detail::refuse(m_state.get(), {}, "begin an update", "the file is open for reading only");
    return Update(m_state);
  }
  /// Moves a live Sim on to the newest commit point of its writer. What was made of it stays valid.
  void refresh() const {
    detail::run(*this, "refresh", [&] { m_state->root.refreshSim(m_state->sim); });
  }
  /// Closes the file; once is enough. Throws Error when something was lost that an open update had written,
  /// or that the disk would not take.
  void close();

  /// \param path  "discreteModel/mesh/systems/3": names of members, numbers of elements.
  /// \return the object there. Throws Error, with how far the path leads, when there is none.
  Object operator[](std::string_view path) const;
  /// \return the object there as one of a schema class:
  /// `sim.get<hostD_ControlSystem>("discreteModel/mesh/systems/0")`.
  template <class Handle>
  Ref<Handle> get(std::string_view path) const {
    return (*this)[path].as<Handle>();
  }
  /// \return the object of a handle that the plain calls gave, as part of this Sim.
  /// \param handle  of an object of this file.
  template <class Handle>
  Ref<Handle> wrap(Handle handle) const {
    return {detail::require_open(*this, "wrap a handle"), std::string(Handle::Traits::kPersistentName),
            handle};
  }
  /// Makes a host's class known, before objects of it are opened: `sim.know<hostD_ControlSystem>()`.
  template <class... Handles>
  void know() const {
    detail::run(*this, "make a class known", [&] {
      (m_state->sim.schemaSnapshot().Register(Handles::Traits::Interface::StaticClass()), ...);
    });
  }

  /// \return the handle that the plain calls take.
  msfD_Sim handle() const { return detail::require_open(*this, "take the handle")->sim; }
  /// \return the context of the file, for the plain calls.
  ORXSimContextID context() const { return detail::require_open(*this, "take the context")->context; }
  /// \return the root that holds the Sim.
  msfD_Root& root() const { return detail::require_open(*this, "take the root")->root; }

  /// For this layer alone.
  const detail::File& state() const noexcept { return m_state; }
  std::string path() const { return {}; }

 private:
  void shut() noexcept {
    if (!is_open())
      return;
    const detail::Lines unheard;
    m_state->open = false;
    m_state->root.closeSim(m_state->sim);
  }

  detail::File m_state;
};

/// Opens a simulation file. Throws Error when it cannot be opened as asked, or is none.
/// \param path     of the file.
/// \param options  `{.mode = pdm::write, .durability = pdm::Durability::power}`.
Sim open(std::string_view path, const OpenOptions& options = {});
/// As above: `pdm::open("a.pdm", pdm::write)`.
Sim open(std::string_view path, Mode mode);
/// Makes a simulation file without a model. It appears under its name whole.
/// \param path     of the file; one that is open anywhere, or is no simulation file, is left alone.
/// \param options  `{.replace = true}`; without it a file that is there is an error.
Sim create(std::string_view path, const CreateOptions& options = {});
/// How long open() and create() wait for a file that another process holds, in all threads of this process.
/// \param time  0, as it is at first, waits for nothing.
inline void set_waiting_time(std::chrono::milliseconds time) {
  ORXSimManager::SetWaitingTime(static_cast<int>(time.count()));
}

} // namespace pdm

#include <pdm/pdm_SimImpl.h>
