#include "py_Class.h"

// Files and updates, and the module.

namespace {

/// A file as Python has it.
struct Sim {
  std::shared_ptr<py_Session> session;

  template <class Work>
  auto call(Work&& work) const {
    return session->call({}, [&] { return work(session->sim()); });
  }
  template <class Work>
  auto write(Work&& work) const {
    return session->write({}, [&] { return work(session->sim()); });
  }
};

/// Joins writes between `__enter__` and `__exit__`.
class Update {
 public:
  explicit Update(std::shared_ptr<py_Session> session) : m_session(std::move(session)) {}
  Update(const Update&) = delete;
  Update& operator=(const Update&) = delete;
  ~Update() {
    try {
      leave();
    } catch (const std::exception&) { // of a process that is not the file's
    }
  }

  void enter() {
    m_session->write({}, [&] {
      if (m_scope.has_value())
        throw pdm::Error(m_session->sim().file(), {}, "begin an update", "it has begun already");
      m_scope = m_session->sim().update();
      m_session->begin();
    });
  }
  /// Commits, or takes everything back when that fails.
  void commit() {
    m_session->call({}, [&] {
      if (!m_scope.has_value())
        throw pdm::Error(m_session->sim().file(), {}, "commit an update",
                         "it has not begun, or it has ended");
      pdm::Update scope = std::move(*m_scope);
      m_scope.reset();
      m_session->end();
      scope.commit();
    });
  }
  void leave() {
    if (m_scope.has_value())
      m_session->call({}, [&] {
        m_scope.reset();
        m_session->end();
      });
  }

 private:
  std::shared_ptr<py_Session> m_session;
  std::optional<pdm::Update> m_scope;
};

std::string file_name(const py::object& path) {
  return py::module_::import("os").attr("fsencode")(path).cast<std::string>();
}

pdm::Durability durability_of(const std::string& file, const char* operation, const std::string& name) {
  constexpr const char* kNames[] = {"scratch", "process", "power"};
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames))
    throw pdm::Error(file, {}, operation, "durability is \"scratch\", \"process\" or \"power\"");
  return static_cast<pdm::Durability>(found - std::begin(kNames));
}

pdm::Mode mode_of(const std::string& file, const std::string& mode, bool live, bool untrusted) {
  if (mode != "r" && mode != "r+")
    throw pdm::Error(file, {}, "open a file", "the mode is \"r\" or \"r+\"; create() makes a file");
  if ((mode == "r+") + live + untrusted > 1)
    throw pdm::Error(file, {}, "open a file", "choose one of mode \"r+\", live and untrusted");
  return mode == "r+" ? pdm::write : live ? pdm::live : untrusted ? pdm::untrusted : pdm::read;
}

/// Opens or creates without the interpreter's lock. The waiting time is the process's, so that openings which
/// wait come one after another.
template <class Open>
Sim make(double wait, Open&& open) {
  struct Heard {
    ~Heard() { py_PassOnLines(); }
  } const heard;
  const py_Released released;
  if (!(wait > 0))
    return {std::make_shared<py_Session>(open())};
  static std::mutex* const waiting = new std::mutex;
  const std::lock_guard turn(*waiting);
  struct Time {
    explicit Time(double seconds) {
      pdm::set_waiting_time(std::chrono::milliseconds(static_cast<int>(std::min(seconds, 1e6) * 1000)));
    }
    ~Time() { pdm::set_waiting_time(std::chrono::milliseconds(0)); }
  } const time(wait);
  return {std::make_shared<py_Session>(open())};
}

/// As make(), with the arrays of this process named that hold the file.
template <class Open>
Sim make(const std::string& file, double wait, Open&& open) {
  try {
    return make(wait, std::forward<Open>(open));
  } catch (const pdm::Error& fault) {
    const int views = py_Views::Count(file);
    if (views == 0 || fault.cause().find("has the file open") == std::string::npos)
      throw;
    throw pdm::Error(fault.file(), fault.path(), fault.operation(),
                     "arrays of view() in this process hold the file (" + std::to_string(views) +
                         " alive): let go of them, or work on a copy");
  }
}

/// What open() and create() give to the ranks of a job.
template <class... Arguments>
py::object with_ranks(const char* function, const py::object& comm, const py::object& path,
                      Arguments&&... how) {
  return py::module_::import("pdm_core._ranks").attr(function)(comm, path, std::forward<Arguments>(how)...);
}

py::object open_file(const py::object& path, const std::string& mode, bool live, bool untrusted, double wait,
                     const std::string& durability, const py::object& comm) {
  if (!comm.is_none())
    return with_ranks("open", comm, path, mode, py::arg("live") = live, py::arg("untrusted") = untrusted,
                      py::arg("wait") = wait, py::arg("durability") = durability);
  const std::string file = file_name(path);
  const pdm::OpenOptions options{.mode = mode_of(file, mode, live, untrusted),
                                 .durability = durability_of(file, "open a file", durability)};
  return py::cast(make(file, wait, [&] { return pdm::open(file, options); }));
}

py::object create_file(const py::object& path, bool replace, double wait, const std::string& durability,
                       const py::object& comm) {
  if (!comm.is_none())
    return with_ranks("create", comm, path, py::arg("replace") = replace, py::arg("wait") = wait,
                      py::arg("durability") = durability);
  const std::string file = file_name(path);
  const pdm::CreateOptions options{.replace = replace,
                                   .durability = durability_of(file, "create a file", durability)};
  return py::cast(make(file, wait, [&] { return pdm::create(file, options); }));
}

/// Does what another module works on the file for, as a call of this one.
/// \param work  a std::function<void()>, which must not touch Python.
void beside(const Sim& self, const py::capsule& work) {
  const auto* const function = work.get_pointer<const std::function<void()>>();
  self.call([&](const pdm::Sim& sim) {
    ++pdm::detail::require_open(sim, "use a Sim")->calls;
    (*function)();
  });
}

/// Whether the file may be used now, or written.
void check(const Sim& self, bool writing) {
  const auto open = [](const pdm::Sim& sim) { pdm::detail::require_open(sim, "use a Sim"); };
  writing ? self.write(open) : self.call(open);
}

py::object find(const Sim& self, const py_Text& path) {
  return py_ObjectOf(self.session, self.call([&](const pdm::Sim& sim) { return sim[path]; }));
}

void close(const Sim& self) {
  self.session->call({}, [&] { self.session->sim().close(); });
}

py::object file_of(const Sim& self) {
  return py::module_::import("os").attr("fsdecode")(
      py::bytes(self.call([](const pdm::Sim& sim) { return sim.state()->file; })));
}

auto model(const Sim& self) {
  return py_Give(self.session, self.call([](const pdm::Sim& sim) { return sim.model(); }));
}

void define_sim(py::module_& module) {
  py::class_<Sim>(module, "Sim", R"(One simulation file, open; a context manager that closes it.

It stays open as long as an object that was made of it is in use, or until close(). From then on all of them raise.

>>> with pdm_core.open("a.pdm") as sim:
...     mesh = sim.model.mesh
...     mesh.node_count
4
>>> mesh.node_count
Traceback (most recent call last):
pdm_core.Error: a.pdm: discreteModel/mesh: find a collection: the file is closed
)")
      .def("__enter__", [](const py::object& self) { return self; })
      .def("__exit__", [](const Sim& self, const py::args&) { close(self); })
      .def("close", &close, "Closes the file; once is enough.")
      .def_property_readonly(
          "is_open", [](const Sim& self) { return self.session->sim().is_open(); },
          "Whether the file is still open.")
      .def_property_readonly("file", &file_of, "The name of the file as it was opened.")
      .def_property_readonly(
          "writable",
          [](const Sim& self) { return self.call([](const pdm::Sim& sim) { return sim.writable(); }); },
          "Whether it is open for writing.")
      .def_property_readonly(
          "has_model",
          [](const Sim& self) { return self.call([](const pdm::Sim& sim) { return sim.has_model(); }); },
          "Whether it has a model.")
      .def_property_readonly("model", &model, "The model. Raises when there is none.")
      .def(
          "create_model",
          [](const Sim& self) {
            return py_Give(self.session, self.write([](const pdm::Sim& sim) { return sim.create_model(); }));
          },
          "Gives the file its model. One commit point, unless an update is open.")
      .def(
          "create_mesh",
          [](const Sim& self, int nodes, int elements) {
            return py_Give(self.session,
                           self.write([&](const pdm::Sim& sim) { return sim.create_mesh(nodes, elements); }));
          },
          py::arg("nodes"), py::arg("elements"), "Gives the file its model and mesh.")
      .def("__getitem__", &find, py::arg("path"), "The object at a path: \"discreteModel/mesh/systems/3\".")
      .def(
          "update", [](const Sim& self) { return py_UpdateOf(self.session); },
          "A context manager that joins writes into one commit point; an exception takes them back.")
      .def(
          "refresh", [](const Sim& self) { self.call([](const pdm::Sim& sim) { sim.refresh(); }); },
          "Moves a live file on to its writer's newest commit point.")
      .def("_beside", &beside)
      .def("_check", &check, py::arg("writing"))
      .def_property_readonly("_context", [](const Sim& self) {
        return self.call([](const pdm::Sim& sim) { return sim.context().Value(); });
      });
}

/// An object that nothing was put into would be memory of no meaning: only the module makes objects.
PyObject* refuse_new(PyTypeObject* type, PyObject*, PyObject*) {
  PyErr_Format(PyExc_TypeError, "pdm_core.%s: open() or create() a file to have one", type->tp_name);
  return nullptr;
}

void close_constructors(const py::module_& module) {
  for (const auto& [name, member] : module.attr("__dict__").cast<py::dict>())
    if (PyType_Check(member.ptr())) {
      auto* const type = reinterpret_cast<PyTypeObject*>(member.ptr());
      type->tp_new = &refuse_new;
      PyType_Modified(type);
    }
}

} // namespace

py::object py_UpdateOf(const std::shared_ptr<py_Session>& session) {
  return py::cast(std::make_unique<Update>(session));
}

void py_DefineSim(py::module_& module) {
  py::class_<Update>(module, "Update", "Writes that become one commit point: `with sim.update(): ...`")
      .def("__enter__",
           [](py::object self) {
             self.cast<Update&>().enter();
             return self;
           })
      .def("__exit__", [](Update& self, const py::object& type, const py::object&, const py::object&) {
        type.is_none() ? self.commit() : self.leave();
      });
  define_sim(module);
  module.def("open", &open_file, py::arg("path"), py::arg("mode") = "r", py::kw_only(),
             py::arg("live") = false, py::arg("untrusted") = false, py::arg("wait") = 0.0,
             py::arg("durability") = "process", py::arg("comm") = py::none(),
             R"(Opens a simulation file.

mode "r" reads, "r+" reads and writes; live reads beside a writer; untrusted looks at all of the file first;
wait is how many seconds a file is waited for that another process holds. With comm, a communicator of mpi4py,
all its ranks open it together, and RankSim is what each gets.

>>> with pdm_core.open("a.pdm") as sim:
...     sim.writable
False
)");
  module.def("create", &create_file, py::arg("path"), py::kw_only(), py::arg("replace") = false,
             py::arg("wait") = 0.0, py::arg("durability") = "process", py::arg("comm") = py::none(),
             R"(Makes a simulation file, which appears under its name whole. comm is as in open().

>>> with pdm_core.create("new.pdm", replace=True) as sim, sim.update():
...     mesh = sim.create_mesh(nodes=3, elements=1)
...     mesh.node_sets["all"] = [0, 1, 2]
)");
}

PYBIND11_MODULE(_pdm_core, module) {
  py_TakeLines();
  py_WatchTheEnd();
  py_TranslateErrors();
  // pybind11 looks for numpy once, behind a lock that a thread must not come to with the interpreter's: here
  // no other thread is.
  py::detail::npy_api::get();
  py_DefineBulk(module);
  py_DefineFields(module);
  py_DefineMesh(module);
  py_DefineSystems(module);
  py_DefineClasses(module);
  py_DefineObjects(module);
  py_DefineSim(module);
  close_constructors(module);
  module.attr("__version__") = PDM_CORE_VERSION;
}
