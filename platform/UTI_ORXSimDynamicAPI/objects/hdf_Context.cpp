#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <atomic>
#include <bit>

namespace {
// Numbers are never reused, so the list only grows; a closed context leaves an empty place. It lives for
// ever, since objects of the host may be destroyed after our own statics would be gone. Places do not move: a
// thread finds its contexts without a lock while others open theirs. Block k has kFirst << k places.
using Place = std::shared_ptr<hdf_Context>;
constexpr std::size_t kFirst = 8;
constinit std::atomic<Place*> s_blocks[29] = {}; // enough for every int
// Places given away; under the module's lock. The first one is nobody's: an identifier that is all zeros, as
// in a handle of nothing, means no context.
constinit std::size_t s_used = 1;

std::size_t blockOf(std::size_t number) {
  return static_cast<std::size_t>(std::bit_width((number + kFirst) / kFirst)) - 1;
}

// Null when there is no such place yet.
Place* placeOf(std::size_t number) {
  const std::size_t block = blockOf(number);
  Place* const places = s_blocks[block].load(std::memory_order_acquire);
  return places == nullptr ? nullptr : places + (number + kFirst - (kFirst << block));
}

constinit std::atomic<const Place*> s_none = nullptr; // never destroyed
constinit std::atomic<int> s_waitingTime = 0;

// Counted, since asking the system at every write would cost more than all other checks together.
constinit unsigned s_forks = 0;
constinit mem_AtFork s_fork(nullptr, nullptr, [] { ++s_forks; });
} // namespace

unsigned hdf_Context::Forks() {
  s_fork.Tell();
  return s_forks;
}

H5J_info_t hdf_Context::Info() const {
  H5J_info_t info{};
  if (hold != nullptr)
    H5Jget_hold_info(hold.get(), &info);
  return info;
}

int hdf_WaitingTime() {
  return s_waitingTime;
}

void hdf_SetWaitingTime(int milliseconds) {
  s_waitingTime = milliseconds < 0 ? 0 : milliseconds;
}

// A static of this function would have a guard, which a child could find taken.
const Place& none() {
  const Place* known = s_none.load(std::memory_order_acquire);
  if (known != nullptr)
    return *known;
  auto made = std::make_unique<const Place>();
  return s_none.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
}

const std::shared_ptr<hdf_Context>& hdf_Contexts::Find(ORXSimContextID id) {
  const Place* const place = id.Value() < 0 ? nullptr : placeOf(static_cast<std::size_t>(id.Value()));
  return place == nullptr ? none() : *place;
}

void hdf_Contexts::Reserve() {
  if (placeOf(s_used) == nullptr)
    s_blocks[blockOf(s_used)].store(new Place[kFirst << blockOf(s_used)], std::memory_order_release);
}

ORXSimContextID hdf_Contexts::Add(std::shared_ptr<hdf_Context> context) {
  *placeOf(s_used) = context;
  context->id = ORXSimContextID(static_cast<int>(s_used++));
  context->forks = hdf_Context::Forks();
  context->epoch = ORXSimManager::Epochs();
  return context->id;
}

void hdf_Contexts::Remove(ORXSimContextID id) {
  placeOf(static_cast<std::size_t>(id.Value()))->reset();
}

void hdf_Contexts::CloseAll() {
  for (std::size_t number = 1; number < s_used; ++number)
    if (Place& context = *placeOf(number); context != nullptr) {
      hdf_Operation operation("close file", context.get());
      context->Close(operation);
      context.reset();
    }
}
