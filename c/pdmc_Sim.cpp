// Files and updates of pdm.h.

#include <pdmc_Call.h>

using namespace pdmc;

namespace {

static_assert(PDM_READ == static_cast<int>(pdm::Mode::read) &&
              PDM_WRITE == static_cast<int>(pdm::Mode::write) &&
              PDM_LIVE == static_cast<int>(pdm::Mode::live) &&
              PDM_UNTRUSTED == static_cast<int>(pdm::Mode::untrusted));

[[noreturn]] void refuse(const char* path, const char* operation, const char* cause) {
  throw Fault(PDM_BAD_ARGUMENT, path == nullptr ? "" : path, {}, operation, cause);
}

pdm::Durability durability_of(int flags) {
  return (flags & PDM_POWER) != 0     ? pdm::Durability::power
         : (flags & PDM_SCRATCH) != 0 ? pdm::Durability::scratch
                                      : pdm::Durability::process;
}

/// One call that opens a file.
/// \param known  the flags that it takes.
/// \param take   called for the Sim.
template <class Take>
pdm_status open_by(const char* operation, const char* path, int flags, int known, pdm_sim** sim,
                   Take&& take) {
  if (sim != nullptr)
    *sim = nullptr;
  return call(operation, [&] {
    constexpr int kBoth = PDM_POWER + PDM_SCRATCH;
    if (path == nullptr || sim == nullptr)
      refuse(path, operation, path == nullptr ? "the path is NULL" : "where the handle goes is NULL");
    if ((flags & ~known) != 0 || (flags & kBoth) == kBoth)
      refuse(path, operation, "there is no such mode");
    auto thing = std::make_shared<Thing<pdm_sim>>(Thing<pdm_sim>{take()});
    *sim =
        static_cast<pdm_sim*>(handles::add({std::move(thing), &Thing<pdm_sim>::kind, handles::new_file()}));
  });
}

} // namespace

extern "C" {

pdm_status pdm_open(const char* path, int mode, pdm_sim** sim) {
  constexpr int kModes = PDM_UNTRUSTED, kHow = PDM_POWER + PDM_SCRATCH;
  return open_by("open a file", path, mode, kModes + kHow, sim, [&] {
    return pdm::open(path,
                     {.mode = static_cast<pdm::Mode>(mode & kModes), .durability = durability_of(mode)});
  });
}

pdm_status pdm_create(const char* path, int flags, pdm_sim** sim) {
  return open_by("create a file", path, flags, PDM_REPLACE + PDM_POWER + PDM_SCRATCH, sim, [&] {
    return pdm::create(path, {.replace = (flags & PDM_REPLACE) != 0, .durability = durability_of(flags)});
  });
}

pdm_status pdm_refresh(pdm_sim* sim) {
  return on(sim, "refresh", [](const Use<pdm_sim>& use) { use->refresh(); });
}

pdm_status pdm_set_waiting_time(int32_t milliseconds) {
  return call("set the waiting time", [&] {
    if (milliseconds < 0)
      refuse(nullptr, "set the waiting time", "the time is negative");
    pdm::set_waiting_time(std::chrono::milliseconds(milliseconds));
  });
}

pdm_status pdm_begin(pdm_sim* sim, pdm_update** update) {
  return make(sim, "begin an update", update, [&](const Use<pdm_sim>& use) {
    if (handles::has(use.file, &Thing<pdm_update>::kind))
      use.refuse(PDM_BAD_ARGUMENT, "an update is open: commit it or take it back first");
    return use->update();
  });
}

pdm_status pdm_commit(pdm_update* update) {
  return on(update, "commit an update", [&](const Use<pdm_update>& use) {
    use->commit();
    use.end();
  });
}

pdm_status pdm_rollback(pdm_update* update) {
  return on(update, "take back an update", [&](const Use<pdm_update>& use) {
    use->rollback();
    use.end();
  });
}

pdm_status pdm_sim_mesh(pdm_sim* sim, pdm_mesh** mesh) {
  return make(sim, "find the mesh", mesh, [&](const Use<pdm_sim>& use) {
    if (!use->has_model() || !use->model().has_mesh())
      use.refuse(PDM_NOT_FOUND, "the file has none");
    return use->model().mesh();
  });
}

pdm_status pdm_sim_create_mesh(pdm_sim* sim, int32_t nodes, int32_t elements, pdm_mesh** mesh) {
  return create(sim, "make a mesh", mesh, [&](const Use<pdm_sim>& use) {
    if (nodes < 0 || elements < 0)
      use.refuse(PDM_BAD_ARGUMENT, "a count is negative");
    return use->has_model() ? use->model().create_mesh(nodes, elements) : use->create_mesh(nodes, elements);
  });
}

} // extern "C"
