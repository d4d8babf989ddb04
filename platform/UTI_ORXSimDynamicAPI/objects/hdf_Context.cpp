#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <vector>

namespace {
// Numbers are never reused, so the list only grows; a closed context leaves an empty place. It lives for
// ever, since objects of the host may be destroyed after our own statics would be gone.
std::vector<std::shared_ptr<hdf_Context>>& contexts() {
  static auto& all = *new std::vector<std::shared_ptr<hdf_Context>>;
  return all;
}

constinit std::size_t s_open = 0; // contexts that are not null
constinit int s_waitingTime = 0;
} // namespace

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
  ++s_open;
  return context->id;
}

void hdf_Contexts::Remove(ORXSimContextID id) {
  contexts()[static_cast<std::size_t>(id.Value())].reset();
  --s_open;
}

std::shared_ptr<hdf_Context> hdf_Contexts::OnFile(const vfd_FileIdentity& file) {
  std::size_t unseen = s_open;
  for (auto context = contexts().rbegin(); unseen != 0; ++context) {
    if (*context == nullptr)
      continue;
    if ((*context)->store != nullptr && (*context)->store->Identity() == file)
      return *context;
    --unseen;
  }
  return nullptr;
}

void hdf_Contexts::CloseAll() {
  for (auto& context : contexts())
    if (context != nullptr) {
      hdf_Operation operation("close file", context.get());
      context->Close(operation);
      context.reset();
      --s_open;
    }
}
