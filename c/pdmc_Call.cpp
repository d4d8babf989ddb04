#include <pdmc_Call.h>

#include <map>
#include <mutex>
#include <new>

namespace pdmc {

static_assert(PDM_VERSION_MAJOR == PDM_CORE_MAJOR && PDM_VERSION_MINOR == PDM_CORE_MINOR &&
                  PDM_VERSION_PATCH == PDM_CORE_PATCH,
              "pdm.h must say the version of the project");

namespace {

struct Failure {
  std::string message, file, path, operation, cause;
  pdm_status status = PDM_OK;
  std::size_t needed = 0;
};
Failure& failure() {
  thread_local Failure kept;
  return kept;
}

void keep(pdm_status status, const pdm::Error& error, std::size_t needed) {
  failure() = {error.what(), error.file(), error.path(), error.operation(), error.cause(), status, needed};
}

void keep_memory() noexcept {
  Failure& kept = failure();
  for (std::string* text : {&kept.message, &kept.file, &kept.path, &kept.operation, &kept.cause})
    text->clear();
  kept.message = kept.cause = "no memory"; // short enough to need none
  kept.status = PDM_NO_MEMORY;
  kept.needed = 0;
}

struct All {
  std::mutex lock;
  std::map<std::uintptr_t, Entry> entries; // whose nodes move between maps without memory
  std::uintptr_t next = 0x1000;            // no address of anything, and easy to tell in a debugger
  std::uint64_t files = 0;
};
All& all() { // never destroyed: handles may be used until the process has ended
  static All& made = *new All;
  return made;
}

[[noreturn]] void refuse(const char* operation, std::string cause) {
  throw Fault(PDM_BAD_HANDLE, {}, {}, operation, std::move(cause));
}

/// REQUIRES the lock.
auto found(All& registry, const void* handle, const char* operation) {
  if (handle == nullptr)
    refuse(operation, "the handle is NULL");
  const auto at = registry.entries.find(reinterpret_cast<std::uintptr_t>(handle));
  if (at == registry.entries.end())
    refuse(operation, "the handle has ended: it was freed, or its file was closed");
  return at;
}

/// REQUIRES the lock.
bool any(const All& registry, std::uint64_t file, const char* const* kind) {
  return std::any_of(registry.entries.begin(), registry.entries.end(), [&](const auto& numbered) {
    return numbered.second.file == file && numbered.second.kind == kind;
  });
}

template <class Which>
void end_where(Which&& which) noexcept {
  std::map<std::uintptr_t, Entry> ended; // destroyed without the lock: an update takes back what it wrote
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  for (auto at = registry.entries.begin(); at != registry.entries.end();) {
    const auto entry = at++;
    if (which(entry->second))
      ended.insert(registry.entries.extract(entry));
  }
}

} // namespace

pdm_status failed(const char* operation) noexcept {
  try {
    try {
      throw;
    } catch (const Fault& fault) {
      keep(fault.status(), fault, fault.needed());
    } catch (const pdm::Error& error) {
      keep(PDM_FAILED, error, 0);
    } catch (const std::bad_alloc&) {
      keep_memory();
    } catch (const std::length_error&) {
      keep_memory();
    } catch (const std::exception& fault) {
      keep(PDM_FAILED, pdm::Error({}, {}, operation, fault.what()), 0);
    }
  } catch (...) {
    keep_memory();
  }
  return failure().status;
}

namespace handles {

void* add(Entry entry) {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  const std::uintptr_t number = registry.next;
  registry.entries.emplace(number, std::move(entry));
  registry.next += 16;
  return reinterpret_cast<void*>(number);
}

Entry find(const void* handle, const char* const* wanted, const char* operation) {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  const Entry& entry = found(registry, handle, operation)->second;
  if (wanted != nullptr && entry.kind != wanted)
    refuse(operation, pdm::detail::expected(*wanted, *entry.kind));
  return entry;
}

Entry take(const void* handle, const char* operation, bool& last) {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  const auto at = found(registry, handle, operation);
  Entry entry = std::move(at->second);
  registry.entries.erase(at);
  last = entry.kind == &Thing<pdm_sim>::kind && !any(registry, entry.file, entry.kind);
  return entry;
}

bool is_open(const void* handle) noexcept {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  return registry.entries.count(reinterpret_cast<std::uintptr_t>(handle)) != 0;
}

bool has(std::uint64_t file, const char* const* kind) {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  return any(registry, file, kind);
}

void end_file(std::uint64_t file) noexcept {
  end_where([&](const Entry& entry) { return entry.file == file; });
}

void end_all(const void* thing) noexcept {
  end_where([&](const Entry& entry) { return entry.thing.get() == thing; });
}

std::uint64_t new_file() {
  All& registry = all();
  const std::lock_guard hold(registry.lock);
  return ++registry.files;
}

} // namespace handles

namespace {

void close(const Entry& entry) {
  struct Ending {
    ~Ending() { handles::end_file(file); }
    std::uint64_t file;
  } const ending{entry.file};
  static_cast<Thing<pdm_sim>*>(entry.thing.get())->value.close();
}

/// Refuses for a layer above, with file and path of a handle of this type.
/// \param cause  of the failure.
template <class Handle>
void refuse_by(void* handle, pdm_status status, const char* operation, const char* cause) {
  if (handles::find(handle, nullptr, operation).kind == &Thing<Handle>::kind)
    Use<Handle>(static_cast<Handle*>(handle), operation).refuse(status, cause);
}

} // namespace

} // namespace pdmc

using namespace pdmc;

extern "C" {

const char* pdm_version(void) {
  return PDM_CORE_VERSION;
}
const char* pdm_error_message(void) {
  return failure().message.c_str();
}
const char* pdm_error_file(void) {
  return failure().file.c_str();
}
const char* pdm_error_path(void) {
  return failure().path.c_str();
}
const char* pdm_error_operation(void) {
  return failure().operation.c_str();
}
const char* pdm_error_cause(void) {
  return failure().cause.c_str();
}
pdm_status pdm_error_status(void) {
  return failure().status;
}
size_t pdm_error_needed(void) {
  return failure().needed;
}

pdm_status pdm_free(void* handle) {
  return call("free a handle", [&] {
    bool last = false;
    if (handle == nullptr)
      return;
    if (const Entry entry = handles::take(handle, "free a handle", last); last)
      close(entry);
  });
}

pdm_status pdm_close(pdm_sim* sim) {
  return call("close a file", [&] { close(handles::find(sim, &Thing<pdm_sim>::kind, "close a file")); });
}

int pdm_is_open(const void* handle) {
  return handles::is_open(handle) ? 1 : 0;
}

pdm_status pdm_refuse(void* handle, pdm_status status, const char* operation, const char* cause) {
  const char* const what = operation == nullptr ? "" : operation;
  const char* const why = cause == nullptr ? "" : cause;
  return call(what, [&] {
    if (handles::is_open(handle)) {
      refuse_by<pdm_field>(handle, status, what, why);
      refuse_by<pdm_mesh>(handle, status, what, why);
      refuse_by<pdm_system>(handle, status, what, why);
    }
    throw Fault(status, {}, {}, what, why);
  });
}

void* pdm_share(void* handle) {
  void* other = nullptr;
  call("share a handle", [&] { other = handles::add(handles::find(handle, nullptr, "share a handle")); });
  return other;
}

int32_t pdm_names_count(pdm_names* names) {
  int32_t count = 0;
  on(names, "count names", [&](const Use<pdm_names>& use) { count = static_cast<int32_t>(use->size()); });
  return count;
}

const char* pdm_names_at(pdm_names* names, int32_t index) {
  const char* name = nullptr;
  on(names, "take a name", [&](const Use<pdm_names>& use) {
    if (index < 0 || pdm::detail::size(index) >= use->size())
      use.refuse(PDM_NOT_FOUND, "there is no such name of " + std::to_string(use->size()));
    name = (*use)[pdm::detail::size(index)].c_str();
  });
  return name;
}

} // extern "C"
