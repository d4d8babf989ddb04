#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <pthread.h>
#include <vector>

namespace {
// Numbers are never reused, so the list only grows; a closed context leaves an empty place. It lives for
// ever, since objects of the host may be destroyed after our own statics would be gone.
std::vector<std::shared_ptr<hdf_Context>>& contexts() {
  static auto& all = *new std::vector<std::shared_ptr<hdf_Context>>;
  return all;
}

constinit int s_waitingTime = 0;
} // namespace

// Counted, since asking the system at every write would cost more than all other checks together.
unsigned hdf_Context::Forks() {
  static constinit unsigned s_forks = 0;
  static const bool s_counts = ::pthread_atfork(nullptr, nullptr, [] { ++s_forks; }) == 0;
  static_cast<void>(s_counts);
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

const std::shared_ptr<hdf_Context>& hdf_Contexts::Find(ORXSimContextID id) {
  static const auto& s_none = *new const std::shared_ptr<hdf_Context>;
  const auto place = static_cast<std::size_t>(id.Value());
  return id.Value() >= 0 && place < contexts().size() ? contexts()[place] : s_none;
}

void hdf_Contexts::Reserve() {
  if (contexts().size() == contexts().capacity())
    contexts().reserve(2 * contexts().size() + 8);
}

ORXSimContextID hdf_Contexts::Add(std::shared_ptr<hdf_Context> context) {
  contexts().push_back(context);
  context->id = ORXSimContextID(static_cast<int>(contexts().size() - 1));
  context->forks = hdf_Context::Forks();
  context->epoch = ORXSimManager::Epochs();
  return context->id;
}

void hdf_Contexts::Remove(ORXSimContextID id) {
  contexts()[static_cast<std::size_t>(id.Value())].reset();
}

void hdf_Contexts::CloseAll() {
  for (auto& context : contexts())
    if (context != nullptr) {
      hdf_Operation operation("close file", context.get());
      context->Close(operation);
      context.reset();
    }
}
