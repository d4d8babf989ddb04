#include "py_Session.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

namespace {

constinit std::atomic<unsigned> s_forks = 0;

/// What the library wrote outside of calls, until a thread that has the interpreter passes it on.
class Heard {
 public:
  static Heard& Get() {
    static Heard* const heard = new Heard; // lives as long as the library may write
    return *heard;
  }
  void Add(const char* text) {
    const std::lock_guard lock(m_lock);
    m_text += text;
    m_any.store(true, std::memory_order_release);
  }
  bool Any() const noexcept { return m_any.load(std::memory_order_acquire); }
  /// \return whole lines; what is not ended yet stays.
  std::string Take() {
    const std::lock_guard lock(m_lock);
    const std::size_t end = m_text.rfind('\n') + 1; // 0: none
    std::string lines = m_text.substr(0, end);
    m_text.erase(0, end);
    m_any.store(!m_text.empty(), std::memory_order_release);
    return lines;
  }
  void Hold() { m_lock.lock(); }
  void Free() { m_lock.unlock(); }

 private:
  std::mutex m_lock;
  std::string m_text;
  std::atomic<bool> m_any = false;
};

py::object logger() {
  return py::module_::import("logging").attr("getLogger")("pdm_core");
}

py::object error_class(const char* name) {
  return py::module_::import("pdm_core._error").attr(name);
}

void set_error(const py::object& fault) {
  PyErr_SetObject(fault.get_type().ptr(), fault.ptr());
}

/// The calls of all threads at the end of the interpreter.
struct Calls {
  std::atomic<int> busy = 0; // from letting the lock go until it is there again
  std::atomic<bool> ending = false;
  std::atomic<unsigned long> last = 0; // the thread that ends the interpreter
};
constinit Calls s_calls;

/// The end of a call in a thread that outlives the interpreter.
[[noreturn]] void stop() {
  --s_calls.busy;
  for (;;)
    ::pause();
}
bool must_stop() {
  return s_calls.ending && s_calls.last != PyThread_get_thread_ident();
}

void await_calls() {
  using namespace std::chrono_literals;
  constexpr auto kMost = 5s; // an opening that waits for another process is not worth more
  s_calls.last = PyThread_get_thread_ident();
  s_calls.ending = true;
  const py::gil_scoped_release released;
  for (const auto begin = std::chrono::steady_clock::now();
       s_calls.busy > 0 && std::chrono::steady_clock::now() - begin < kMost;)
    std::this_thread::sleep_for(1ms);
}

/// The views that are alive, each by its file.
struct Views {
  std::mutex lock;
  std::multiset<std::pair<std::uint64_t, std::uint64_t>> files;
};
Views& views() {
  static Views* const all = new Views; // arrays may outlive the module
  return *all;
}
std::pair<std::uint64_t, std::uint64_t> identity(const std::string& file) {
  struct stat found {};
  if (::stat(file.c_str(), &found) != 0)
    return {};
  return {found.st_dev, found.st_ino};
}

} // namespace

py_Views::One::One(const std::string& file) : m_of(identity(file)) {
  const std::lock_guard lock(views().lock);
  views().files.insert(m_of);
}
py_Views::One::~One() {
  const std::lock_guard lock(views().lock);
  views().files.extract(m_of);
}
int py_Views::Count(const std::string& file) {
  const std::lock_guard lock(views().lock);
  return static_cast<int>(views().files.count(identity(file)));
}

py_Released::py_Released() noexcept {
  ++s_calls.busy;
  m_state = PyEval_SaveThread();
  if (must_stop())
    stop();
}

py_Released::~py_Released() {
  if (must_stop())
    stop();
  PyEval_RestoreThread(m_state);
  --s_calls.busy;
}

void py_WatchTheEnd() {
  py::module_::import("atexit").attr("register")(py::cpp_function(&await_calls));
}

unsigned py_Forks() noexcept {
  return s_forks.load(std::memory_order_relaxed);
}

void py_TakeLines() {
  ::pthread_atfork([] { Heard::Get().Hold(); }, [] { Heard::Get().Free(); },
                   [] {
                     Heard::Get().Free();
                     ++s_forks;
                     s_calls.busy = 0; // the other threads are the parent's
                   });
  err_InstallSink(
      [](const char* text, void* heard) {
        try {
          static_cast<Heard*>(heard)->Add(text);
        } catch (const std::exception&) { // a line that there is no memory for is lost
        }
      },
      &Heard::Get());
}

void py_PassOnLines() noexcept {
  if (!Heard::Get().Any()) [[likely]]
    return;
  try {
    const py::error_scope kept; // an exception that is under way stays
    std::string text = Heard::Get().Take();
    while (!text.empty()) {
      const std::size_t end = text.find('\n');
      logger().attr("error")("%s", py_Text(text.substr(0, end)));
      text.erase(0, end + 1);
    }
  } catch (const std::exception&) { // a handler of the host's failed, and there is nobody to tell
  }
}

py_Session::~py_Session() {
  try {
    m_sim.close();
  } catch (const std::exception& fault) {
    try {
      const py::error_scope kept;
      logger().attr("error")("%s", py_Text(fault.what()));
    } catch (const std::exception&) { // at the end of the interpreter there is no logger any more
    }
  }
}

void py_RefuseName(const pdm::Error& fault, const std::string& name, const std::vector<std::string>& names) {
  set_error(error_class("missing_name")(py_Text(fault.file()), py_Text(fault.path()), fault.operation(),
                                        py_Text(name), std::vector<py_Text>(names.begin(), names.end())));
  throw py::error_already_set();
}

void py_RefuseIndex(const std::string& file, const std::string& path, const std::string& what,
                    py::ssize_t index, int count) {
  set_error(error_class("IndexMissing")(file, path, "find a " + what,
                                        "there is no " + what + " " + std::to_string(index) + ", there are " +
                                            std::to_string(count)));
  throw py::error_already_set();
}

void py_TranslateErrors() {
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown)
        std::rethrow_exception(thrown);
    } catch (const pdm::Error& fault) {
      logger().attr("debug")("%s", py_Text(fault.what()));
      set_error(error_class("Error")(py_Text(fault.file()), py_Text(fault.path()), fault.operation(),
                                     py_Text(fault.cause())));
    }
  });
}
