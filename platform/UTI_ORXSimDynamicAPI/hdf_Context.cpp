#include <UTI_ORXSimDynamicAPI/hdf_Context.h>

#include <UTI_ORXSimDynamicAPI/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/hdf_Operation.h>

#include <cerrno>
#include <unistd.h>
#include <vector>

namespace {
// Numbers are never reused, so the list only grows; a closed context leaves an empty place. It lives for
// ever, since objects of the host may be destroyed after our own statics would be gone.
std::vector<std::shared_ptr<hdf_Context>>& contexts() {
  static auto& all = *new std::vector<std::shared_ptr<hdf_Context>>;
  return all;
}

constinit std::size_t s_open = 0; // contexts that are not null

void closeObjects(hdf_ObjectRep*& first) {
  while (first != nullptr)
    first->Close();
}
} // namespace

bool hdf_Context::CommitPoint(hdf_Operation& operation) const {
  if (readOnly || durability == 0)
    return true;
  if (!operation.Check(H5Fflush(file, H5F_SCOPE_LOCAL)))
    return false;
  return durability < 2 || ::fsync(descriptor) == 0 || operation.RefuseErrno(errno);
}

bool hdf_Context::Close(hdf_Operation& operation) {
  const bool committed = CommitPoint(operation);
  for (auto* list : {&keepers, &lately})
    while (!list->empty())
      list->back()->DropKept();
  while (!awake.empty())
    awake.back()->Sleep();
  closeObjects(datasets);
  closeObjects(objects);
  collections = {};
  distributions = {};
  bool closed = operation.Check(H5Fclose(file));
  if (closed && durability == 2 && !readOnly && ::fsync(descriptor) != 0)
    closed = operation.RefuseErrno(errno);
  file = H5I_INVALID_HID;
  ::close(descriptor);
  descriptor = -1;
  return committed && closed;
}

const std::shared_ptr<hdf_Context>& hdf_Contexts::Find(ORXSimContextID id) {
  static const auto& s_none = *new const std::shared_ptr<hdf_Context>;
  const auto place = static_cast<std::size_t>(id.Value());
  return id.Value() >= 0 && place < contexts().size() ? contexts()[place] : s_none;
}

ORXSimContextID hdf_Contexts::Add(std::shared_ptr<hdf_Context> context) {
  context->id = ORXSimContextID(static_cast<int>(contexts().size()));
  contexts().push_back(context);
  ++s_open;
  return context->id;
}

void hdf_Contexts::Remove(ORXSimContextID id) {
  contexts()[static_cast<std::size_t>(id.Value())].reset();
  --s_open;
}

std::shared_ptr<hdf_Context> hdf_Contexts::OnFile(dev_t device, ino_t inode) {
  std::size_t unseen = s_open;
  for (auto context = contexts().rbegin(); unseen != 0; ++context) {
    if (*context == nullptr)
      continue;
    if ((*context)->device == device && (*context)->inode == inode)
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
