#pragma once

#include <PDM_Core.h>
#include <pdm/pdm_Error.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// What every call of this layer goes through: it asks whether the file is still open, keeps what the library
// says meanwhile off the error stream, and turns a failure into pdm::Error.
// Threads: one at a time for all objects of a Sim.

namespace pdm::detail {

/// The lines that the library writes in this thread while it lives. The host's sink gets none of them.
class Lines {
 public:
  Lines() noexcept : m_before(err_ExchangeThreadSink({&Lines::take, this})) {}
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  ~Lines() { err_ExchangeThreadSink(m_before); }

  bool empty() const noexcept { return !m_any; }
  /// \return the first line, without what all lines begin with.
  std::string first() const {
    std::string line = m_text.substr(0, m_text.find('\n'));
    for (const std::string_view head : {"**ERROR ", "** ERROR "})
      if (line.starts_with(head))
        line.erase(0, head.size());
    return line;
  }

 private:
  static void take(const char* text, void* self) noexcept {
    constexpr std::size_t kMost = 4096;
    Lines& lines = *static_cast<Lines*>(self);
    lines.m_any = lines.m_any || *text != '\0';
    try {
      if (lines.m_text.size() < kMost)
        lines.m_text += text;
    } catch (...) { // that there was a line is known
    }
  }

  std::string m_text;
  bool m_any = false;
  err_ThreadSink m_before;
};

struct State;

/// The scope of one update, in the order of those that are open in its file.
class Scope {
 public:
  explicit Scope(State& file);
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope();
  /// \return false when it failed, or one within it was taken back: it is open still.
  bool commit() { return m_update->Commit(); }
  /// Takes everything back. Those within it that nothing was done in begin anew: `update = sim.update()`
  /// begins the new one before the old one ends.
  void rollback();

 private:
  bool is_fresh() const;

  State& m_file;
  std::uint64_t m_calls; // of the file when it began
  std::optional<ORXSimUpdate> m_update;
};

/// One open file, shared by everything that was made of it.
struct State {
  std::string file;
  msfD_Root root{0};
  msfD_Sim sim;
  ORXSimContextID context;
  bool open = false;
  std::uint64_t calls = 0;    // of run() for this file
  std::vector<Scope*> scopes; // that are open, the outermost first

  explicit State(std::string name) : file(std::move(name)) {}
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    const Lines unheard;
    if (open)
      root.closeSim(sim);
  }
};
using File = std::shared_ptr<State>;

inline Scope::Scope(State& file) : m_file(file), m_calls(file.calls) {
  m_file.scopes.push_back(this);
  m_update.emplace(file.context);
}
inline Scope::~Scope() {
  std::erase(m_file.scopes, this);
}
inline bool Scope::is_fresh() const {
  return m_calls == m_file.calls;
}
inline void Scope::rollback() {
  std::vector<Scope*>& all = m_file.scopes;
  const auto within = std::find(all.begin(), all.end(), this) + 1;
  m_update->Rollback();
  if (!std::all_of(within, all.end(), [](const Scope* scope) { return scope->is_fresh(); }))
    return; // their writes are lost: they cannot be committed
  std::for_each(within, all.end(), [](Scope* scope) { scope->m_update->Rollback(); });
  std::for_each(within, all.end(), [](Scope* scope) { scope->m_update.emplace(scope->m_file.context); });
}

[[noreturn]] inline void refuse(const State* file, std::string path, const char* operation,
                                std::string cause) {
  throw Error(file == nullptr ? std::string() : file->file, std::move(path), operation, std::move(cause));
}

/// The library's last failure without the name of the file, or the first line that it wrote.
inline std::string cause_of(const State* file, const Lines& lines, std::uint64_t failures) {
  if (ORXSimManager::Failures() == failures)
    return lines.first();
  std::string cause = ORXSimManager::LastError();
  if (file != nullptr && cause.starts_with(file->file + ": "))
    cause.erase(0, file->file.size() + 2);
  return cause;
}

/// Throws when the object is empty or its file is closed.
/// \param object  has `state()` and `path()`, as everything that belongs to a file.
template <class Object>
const File& require_open(const Object& object, const char* operation) {
  const File& file = object.state();
  if (file == nullptr) [[unlikely]]
    refuse(nullptr, object.path(), operation, "the object is empty: it was moved from or never set");
  if (!file->open) [[unlikely]]
    refuse(file.get(), object.path(), operation, "the file is closed");
  return file;
}

/// Does work with the library.
/// \param object     has `state()` and `path()`.
/// \param operation  what is done, in words.
/// \param work       called without arguments; what it answers is answered.
/// Throws Error when the file is closed, when the library wrote a line, and when anything failed in its file
/// API.
template <class Object, class Work>
std::invoke_result_t<Work> run(const Object& object, const char* operation, Work&& work) {
  const File file = require_open(object, operation);
  ++file->calls;
  const std::uint64_t failures = ORXSimManager::Failures();
  const Lines lines;
  const auto check = [&] {
    if (!lines.empty() || ORXSimManager::Failures() != failures) [[unlikely]]
      refuse(file.get(), object.path(), operation, cause_of(file.get(), lines, failures));
  };
  if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
    std::forward<Work>(work)();
    check();
  } else {
    decltype(auto) result = std::forward<Work>(work)();
    check();
    return result;
  }
}

/// What an object of the model has in common with all others.
class Part {
 public:
  Part() = default;
  /// \return its path in the model, as links and `sim[...]` take it: "discreteModel/mesh".
  const std::string& path() const noexcept { return m_path; }
  /// For this layer alone.
  const File& state() const noexcept { return m_state; }

 protected:
  Part(File state, std::string path) : m_state(std::move(state)), m_path(std::move(path)) {}
  std::string below(std::string_view name) const {
    return m_path.empty() ? std::string(name) : (m_path + '/').append(name);
  }

  File m_state;
  std::string m_path;
};

inline std::size_t size(int n) noexcept {
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

inline std::string quoted(std::string_view name) {
  std::string text(1, '"'); // a sum of a literal and a string alarms g++ 12 at -O3 without cause
  text += name;
  text += '"';
  return text;
}

} // namespace pdm::detail
