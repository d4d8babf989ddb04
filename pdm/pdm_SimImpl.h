#pragma once

// Part of pdm_Sim.h: how files are opened and closed, and objects found by their paths.

#include <UTI_ORXSimDynamicAPI/hdf_View.h>

#include <filesystem>

namespace pdm {

namespace detail {

/// The library, up from the first file to the end of the process: who closes the last file need not be the
/// last who uses the library.
inline void bring_up() {
  static const int modules = [] {
    int up = 0;
    DDB_PDM_Core_initialize(up);
    return up;
  }();
  static_cast<void>(modules);
}

/// A Sim of a context that `take` opens and `hold` makes a Sim of.
template <class Take, class Hold>
Sim open_by(std::string_view path, const char* operation, const char* found, Take&& take, Hold&& hold) {
  bring_up();
  auto state = std::make_shared<State>(std::string(path));
  if (path.find('\0') != std::string_view::npos)
    refuse(state.get(), {}, operation, "the name of a file must not contain NUL");
  const std::uint64_t failures = ORXSimManager::Failures();
  const Lines lines;
  if (const ORXSimContextID context = take(state->file.c_str()); !context.IsNull())
    state->sim = hold(state->root, context, state->file.c_str());
  if (!lines.empty() || ORXSimManager::Failures() != failures)
    refuse(state.get(), {}, operation, cause_of(state.get(), lines, failures));
  if (!state->sim)
    refuse(state.get(), {}, operation, found);
  state->context = state->sim.distributionService().Context();
  state->open = true;
  return Sim(std::move(state));
}

inline constexpr int kLayout = 102; // of the simulation-file API that this layer is for

/// The object at a path, empty when there is none. REQUIRES run().
inline gbb_Handle object_at(const State& file, const std::string& path) {
  if (path.find_first_not_of("/.") == std::string::npos)
    return file.sim;
  gbb_TraverseContext walk(path.c_str(), file.sim.Path(), 0);
  return gbb_Root(const_cast<msfD_Root*>(&file.root)).Traverse(walk); // a walk changes nothing that is seen
}

/// Whether a file may be replaced by a new one, or the library alone says what is wrong with it.
inline bool may_give_way(const std::string& path) {
  std::error_code none;
  if (!std::filesystem::is_regular_file(path, none) || std::filesystem::file_size(path, none) == 0)
    return true;
  return std::filesystem::exists(path + "-journal", none) || // which may hold all of it
         hdf_View::Has(path.c_str(), "sim");
}

} // namespace detail

inline Sim open(std::string_view path, const OpenOptions& options) {
  const bool writing = options.mode == Mode::write;
  const int flags = writing ? 0 : options.mode == Mode::untrusted ? 1 + 2 : 1;
  const int option = options.mode == Mode::live ? 3 : static_cast<int>(options.durability);
  return detail::open_by(
      path, "open a file", "expected a simulation file, found another HDF5 file",
      [&](const char* file) {
        return ORXSimManager::OpenContext(file, flags, detail::kLayout, false, option);
      },
      [](msfD_Root& root, ORXSimContextID context, const char* file) {
        return root.openSimIn(context, file, "");
      });
}

inline Sim open(std::string_view path, Mode mode) {
  return open(path, OpenOptions{.mode = mode});
}

inline Sim create(std::string_view path, const CreateOptions& options) {
  constexpr int kOnlyNew = 1, kNotUnasked = 2;
  const int flags = kNotUnasked + (options.replace ? 0 : kOnlyNew);
  return detail::open_by(
      path, "create a file", "the file could not be made",
      [&](const char* file) {
        if (options.replace && !detail::may_give_way(file))
          throw Error(file, {}, "create a file",
                      detail::expected("a simulation file to replace", "another file, which stays"));
        return ORXSimManager::CreateContext(file, flags, detail::kLayout, false,
                                            static_cast<int>(options.durability));
      },
      [](msfD_Root& root, ORXSimContextID context, const char* file) {
        return root.createSimIn(context, file, "");
      });
}

inline void Sim::close() {
  if (is_open())
    detail::run(*this, "close a file", [&] {
      m_state->open = false;
      m_state->root.closeSim(m_state->sim);
    });
}

inline Object Sim::operator[](std::string_view path) const {
  constexpr const char* kOperation = "find an object";
  const std::string whole(path);
  if (whole.find('\0') != std::string::npos)
    detail::refuse(m_state.get(), whole.substr(0, whole.find('\0')), kOperation,
                   "a path must not contain NUL");
  return detail::run(*this, kOperation, [&] {
    const gbb_Handle found = detail::object_at(*m_state, whole);
    if (!found) {
      std::string part = whole;
      while (!part.empty() && !detail::object_at(*m_state, part))
        part.erase(part.find('/') == std::string::npos ? 0 : part.rfind('/'));
      detail::refuse(m_state.get(), whole, kOperation,
                     "there is none; the path leads to " + (part.empty() ? "the Sim" : part));
    }
    return Object(m_state, whole, found);
  });
}

} // namespace pdm
