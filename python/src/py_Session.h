#pragma once

#include <pdm/pdm.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <mutex>
#include <thread>

// What every object of the module stands on: the file that it keeps open, and one way to call the library.
// Threads: any; the calls on one file take turns, and none of them holds the interpreter's lock.

namespace py = pybind11;

/// A text of a file, whose names may have any bytes: those that are no UTF-8 come and go as os.fsdecode() has
/// them.
struct py_Text : std::string {
  py_Text() = default;
  py_Text(std::string text) : std::string(std::move(text)) {} // NOLINT: a text is what all names are
};

template <>
struct pybind11::detail::type_caster<py_Text> {
  PYBIND11_TYPE_CASTER(py_Text, const_name("str"));
  bool load(handle source, bool) {
    if (!PyUnicode_Check(source.ptr()))
      return false;
    const auto bytes =
        reinterpret_steal<object>(PyUnicode_AsEncodedString(source.ptr(), "utf-8", "surrogateescape"));
    if (!bytes) {
      PyErr_Clear();
      return false;
    }
    value.assign(PyBytes_AS_STRING(bytes.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr())));
    return true;
  }
  static handle cast(const py_Text& text, return_value_policy, handle) {
    return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  }
};

/// What every object's `path` is.
inline constexpr const char* py_PathDoc = "Where it stands in the model: \"discreteModel/mesh\".";

/// Passes on to the logger "pdm_core" what the library wrote to its error stream. REQUIRES the interpreter.
void py_PassOnLines() noexcept;
/// Sends the library's error stream to py_PassOnLines(). A process needs it once.
void py_TakeLines();
/// \return how often this process has become another one by fork().
unsigned py_Forks() noexcept;

/// Lets go of the interpreter's lock for its lifetime. Python ends a thread that asks for the lock after the
/// interpreter's end, which C++ takes for a fault: such a thread stops here instead, as long as the process
/// lives. REQUIRES the interpreter.
class py_Released {
 public:
  py_Released() noexcept;
  py_Released(const py_Released&) = delete;
  py_Released& operator=(const py_Released&) = delete;
  ~py_Released();

 private:
  PyThreadState* m_state;
};
/// Lets the calls of other threads end before the interpreter does. A process needs it once.
void py_WatchTheEnd();

struct py_KnownClass;
/// \return the class that was made known last, with those before it. Threads: any.
const py_KnownClass* py_KnownClasses() noexcept;

/// One open file. It is closed with close(), or with the last object that was made of it.
class py_Session {
 public:
  explicit py_Session(pdm::Sim sim) : m_sim(std::move(sim)), m_forks(py_Forks()) {}
  py_Session(const py_Session&) = delete;
  py_Session& operator=(const py_Session&) = delete;
  ~py_Session();

  const pdm::Sim& sim() const { return m_sim; }
  pdm::Sim& sim() { return m_sim; }

  /// Does work with the library, without the interpreter's lock and alone in this file. The work must not
  /// touch Python.
  /// \param path  of the object that is used, for an Error.
  /// \param work  called without arguments; what it answers is answered by value.
  template <class Work>
  auto call(const std::string& path, Work&& work) -> std::decay_t<std::invoke_result_t<Work>> {
    struct Heard {
      ~Heard() { py_PassOnLines(); }
    } const heard;
    require_own(path);
    const py_Released released;
    const std::lock_guard turn(m_turn);
    if (m_known != py_KnownClasses()) [[unlikely]]
      learn();
    return std::forward<Work>(work)();
  }
  /// Does work that writes, as call(). Throws while an update of another thread is open, which might take the
  /// write back without a word.
  template <class Work>
  auto write(const std::string& path, Work&& work) {
    return call(path, [&] {
      require_no_other(path);
      return work();
    });
  }
  /// Makes what is written this thread's alone until end(); a thread may begin again before it ends.
  /// REQUIRES write().
  void begin() noexcept {
    m_writer = std::this_thread::get_id();
    ++m_updates;
  }
  /// Ends one begin(), in any thread. REQUIRES call().
  void end() noexcept { --m_updates; }

 private:
  /// Lets the file have objects of all classes that are known.
  void learn();
  /// In a child made by fork() another thread of the parent may hold the turn for ever.
  void require_own(const std::string& path) const {
    if (m_forks != py_Forks())
      throw pdm::Error(m_sim.state() == nullptr ? std::string() : m_sim.state()->file, path, "use a file",
                       "it was opened before a fork, by the parent process: open it again");
  }

  void require_no_other(const std::string& path) const {
    if (m_updates > 0 && m_writer != std::this_thread::get_id())
      throw pdm::Error(m_sim.state() == nullptr ? std::string() : m_sim.state()->file, path, "write",
                       "an update of another thread is open: write when it has ended");
  }

  pdm::Sim m_sim;
  std::mutex m_turn;
  std::thread::id m_writer; // of the updates that are open
  int m_updates = 0;
  const py_KnownClass* m_known = nullptr; // the newest class that the file has heard of
  unsigned m_forks;
};

/// An object of pdm:: with the file that it belongs to.
template <class T>
struct py_Bound {
  std::shared_ptr<py_Session> session;
  T value; // ends before the session does

  /// \param work  called with the object of pdm::, as py_Session::call().
  template <class Work>
  auto call(Work&& work) const {
    return session->call(path(), [&] { return work(value); });
  }
  /// As py_Session::write().
  template <class Work>
  auto write(Work&& work) const {
    return session->write(path(), [&] { return work(value); });
  }
  py_Text path() const { return std::string(value.path()); }
};

/// A numpy array that takes a vector's memory over.
/// \param shape  of the array; the numbers are as many.
template <class T>
py::array py_Array(std::vector<T>&& values, std::vector<py::ssize_t> shape) {
  auto* const kept = new std::vector<T>(std::move(values));
  const py::capsule owner(kept, [](void* vector) { delete static_cast<std::vector<T>*>(vector); });
  return py::array_t<T>(std::move(shape), kept->data(), owner);
}
template <class T>
py::array py_Array(std::vector<T>&& values) {
  const auto count = static_cast<py::ssize_t>(values.size());
  return py_Array(std::move(values), {count});
}

/// True for what belongs to a file.
template <class T>
concept py_Part = requires(const T& value) {
  value.state();
  value.path();
};

/// What a call answers, as Python has it: arrays of numbers, objects with their file, the rest as it is.
template <class T>
auto py_Give(const std::shared_ptr<py_Session>& session, T&& value) {
  using Value = std::decay_t<T>;
  if constexpr (py_Part<Value>) {
    return py_Bound<Value>{session, std::forward<T>(value)};
  } else if constexpr (std::is_same_v<Value, std::vector<int>> ||
                       std::is_same_v<Value, std::vector<double>> ||
                       std::is_same_v<Value, std::vector<std::int64_t>>) {
    return py_Array(std::move(value));
  } else if constexpr (std::is_same_v<Value, std::string>) {
    return py_Text(std::forward<T>(value));
  } else if constexpr (std::is_same_v<Value, std::vector<std::string>>) {
    return std::vector<py_Text>(value.begin(), value.end());
  } else {
    return Value(std::forward<T>(value));
  }
}
template <py_Part T>
auto py_Give(const std::shared_ptr<py_Session>& session, std::vector<T>&& values) {
  std::vector<py_Bound<T>> all;
  for (T& value : values)
    all.push_back({session, std::move(value)});
  return all;
}
template <py_Part T>
auto py_Give(const std::shared_ptr<py_Session>& session, std::optional<T>&& value) {
  return value.has_value() ? std::optional(py_Bound<T>{session, std::move(*value)}) : std::nullopt;
}

/// A method without arguments: `py_Get<pdm::Mesh>(&pdm::Mesh::node_sets)`.
template <class T, class Method>
auto py_Get(Method method) {
  return [method](const py_Bound<T>& self) {
    return py_Give(self.session, self.call([&](const T& value) {
      auto answer = std::invoke(method, value);
      pdm::detail::require_open(value, "use an object"); // a map of a closed file is none
      return answer;
    }));
  };
}

/// A failure of a name or a number that is not there, a KeyError or IndexError besides.
[[noreturn]] void py_RefuseName(const pdm::Error& fault, const std::string& name,
                                const std::vector<std::string>& names);
[[noreturn]] void py_RefuseIndex(const std::string& file, const std::string& path, const std::string& what,
                                 py::ssize_t index, int count);
/// Makes pdm::Error an exception of Python.
void py_TranslateErrors();

/// The file's name of an object, "" for none.
template <class T>
std::string py_FileOf(const py_Bound<T>& self) {
  return self.value.state() == nullptr ? std::string() : self.value.state()->file;
}

/// \return whether it is a number of Python or numpy, an array without axes as well.
inline bool py_IsNumber(const py::object& value) {
  if (py::isinstance<py::array>(value)) {
    const auto array = py::reinterpret_borrow<py::array>(value);
    return array.ndim() == 0 && (array.dtype().kind() == 'i' || array.dtype().kind() == 'u');
  }
  return PyIndex_Check(value.ptr()) != 0;
}
/// \return a number of Python. Raises a TypeError for what is none, True and False among them, an IndexError
/// for one out of all range.
inline py::ssize_t py_Number(const py::object& value) {
  if (std::string_view(Py_TYPE(value.ptr())->tp_name).find("bool") !=
      std::string_view::npos) // numpy's as well
    throw py::type_error("expected an integer, found a bool");
  const py::ssize_t number = PyNumber_AsSsize_t(value.ptr(), PyExc_IndexError);
  if (number == -1 && PyErr_Occurred() != nullptr)
    throw py::error_already_set();
  return number;
}

/// An index from Python, which counts from the end when it is negative.
template <class T>
int py_Index(const py_Bound<T>& self, const std::string& what, py::ssize_t index, int count) {
  const py::ssize_t at = index < 0 ? index + count : index;
  if (at < 0 || at >= count)
    py_RefuseIndex(py_FileOf(self), self.path(), what, index, count);
  return static_cast<int>(at);
}

/// The arrays of view() that are alive, of each file that they are of.
class py_Views {
 public:
  /// Counts one of a file for its lifetime.
  class One {
   public:
    explicit One(const std::string& file);
    One(const One&) = delete;
    One& operator=(const One&) = delete;
    ~One();

   private:
    std::pair<std::uint64_t, std::uint64_t> m_of; // device and number, as a file may have several names
  };
  /// \return how many there are of a file.
  static int Count(const std::string& file);
};

/// \return a context manager that joins the writes into a file.
py::object py_UpdateOf(const std::shared_ptr<py_Session>& session);

void py_DefineBulk(py::module_& module);
void py_DefineFields(py::module_& module);
void py_DefineMesh(py::module_& module);
void py_DefineSystems(py::module_& module);
void py_DefineClasses(py::module_& module);
void py_DefineObjects(py::module_& module);
void py_DefineSim(py::module_& module);
