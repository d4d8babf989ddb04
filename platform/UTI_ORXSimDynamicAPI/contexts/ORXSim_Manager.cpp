#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <UTI_ORXSimDynamicAPI/inspect/hdf_WalkUntrusted.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_OpenFile.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
constexpr int kVersion = 102;

constexpr int kReadOnly = 1, kUntrusted = 2;   // flags for opening
constexpr int kMustBeNew = 1, kNotUnasked = 2; // for creating
constexpr int kLive = 3;                       // the context option

bool checkOptions(hdf_Operation& operation, int flags, int mostFlags, int version, int option,
                  int mostOption) {
  if (version != kVersion)
    return operation.Refuse("version " + std::to_string(version) + " of the file layout is not known");
  if (flags < 0 || flags > mostFlags)
    return operation.Refuse("flags " + std::to_string(flags) + " are not known");
  if (option < 0 || option > kLive)
    return operation.Refuse("context option " + std::to_string(option) + " is not known");
  return option <= mostOption || operation.Refuse("context option 3 is for reading only");
}

std::shared_ptr<hdf_Context> makeContext(const cow_String& fileName, int flags, int option) {
  auto context = std::make_shared<hdf_Context>();
  context->fileName = fileName.CStr();
  context->readOnly = (flags & kReadOnly) != 0;
  context->admit = (flags & kUntrusted) != 0 ? &hdf_WalkUntrusted : nullptr;
  context->live = option == kLive;
  context->durability = option == kLive ? 1 : option;
  return context;
}
} // namespace

void UTI_ORXSimDynamicAPI_initialize(int& modules) {
  s_counter.Initialize(modules);
  hdf_TellForks();
}

void UTI_ORXSimDynamicAPI_finalize(int& modules) {
  if (!s_counter.Finalize(modules))
    return;
  const hdf_Silence silence;
  hdf_Contexts::CloseAll();
  hdf_Shared::Release();
}

constinit std::atomic<std::uint64_t> ORXSimManager::s_epochs{1};

ORXSimContextID ORXSimManager::CreateContext(const cow_String& fileName, int createFlags, int version, bool,
                                             int contextOption) {
  return hdf_Try(ORXSimContextID(), [&] {
    hdf_Operation operation("create file", fileName.CStr());
    if (!checkOptions(operation, createFlags, kMustBeNew | kNotUnasked, version, contextOption, kLive - 1))
      return ORXSimContextID();
    auto context = makeContext(fileName, 0, contextOption);
    context->takenBack = (createFlags & kNotUnasked) != 0;
    return hdf_CreateFile(operation, *context, (createFlags & kMustBeNew) != 0)
               ? hdf_Contexts::Add(std::move(context))
               : ORXSimContextID();
  });
}

ORXSimContextID ORXSimManager::OpenContext(const cow_String& fileName, int openFlags, int version, bool,
                                           int contextOption) {
  return hdf_Try(ORXSimContextID(), [&] {
    hdf_Operation operation("open file", fileName.CStr());
    const bool readOnly = (openFlags & kReadOnly) != 0;
    if (!checkOptions(operation, openFlags, kReadOnly | kUntrusted, version, contextOption,
                      readOnly ? kLive : kLive - 1))
      return ORXSimContextID();
    auto context = makeContext(fileName, openFlags, contextOption);
    return hdf_OpenFile(operation, *context) ? hdf_Contexts::Add(std::move(context)) : ORXSimContextID();
  });
}

bool ORXSimManager::CloseContext(ORXSimContextID id) {
  const auto context = hdf_Contexts::Find(id);
  if (context == nullptr)
    return true;
  return hdf_Call("close file", context.get(), [&](hdf_Operation& operation) {
    hdf_Contexts::Remove(id);
    return context->Close(operation);
  });
}

void ORXSimManager::SetWaitingTime(int milliseconds) {
  hdf_SetWaitingTime(milliseconds);
}

bool ORXSimManager::Refresh(ORXSimContextID id) {
  const auto context = hdf_Contexts::Find(id);
  return hdf_Call("refresh", context.get(), [&](hdf_Operation& operation) {
    return context == nullptr ? operation.Usable() : context->Refresh(operation);
  });
}

const char* ORXSimManager::LastError() {
  return hdf_Operation::Last();
}

std::uint64_t ORXSimManager::Failures() {
  return hdf_Operation::Failures();
}

// Nobody gives the null context away but a call that has failed: its cause is the one to keep.
hdf_File ORXSimContextRef::File() const {
  const auto context = hdf_Contexts::Find(m_context);
  return hdf_Call("take the file of a context", context.get(), [&](hdf_Operation& operation) {
    if (m_context.IsNull() || !operation.Usable())
      return hdf_ObjectRep::Failed<hdf_File>(operation);
    return hdf_ObjectRep::Make<hdf_File>(std::make_shared<hdf_FileRep>(context));
  });
}

bool ORXSimContextRef::ReadOnly() const {
  const auto& context = hdf_Contexts::Find(m_context);
  return context != nullptr && context->readOnly;
}

bool ORXSimContextRef::Commit() const {
  if (m_context.IsNull())
    return false;
  const auto& context = hdf_Contexts::Find(m_context);
  if (context != nullptr && context->scopes > 0 && !context->stopped)
    return true;
  return hdf_Call("commit", context.get(), [&](hdf_Operation& operation) {
    return operation.Usable() && context->CommitPoint(operation);
  });
}

std::uint64_t ORXSimContextRef::Epoch() const {
  const auto& context = hdf_Contexts::Find(m_context);
  return context == nullptr ? 0 : context->epoch;
}

bool ORXSimContextRef::Barred() const {
  const auto& context = hdf_Contexts::Find(m_context);
  return context != nullptr && context->barred;
}

ORXSimCommitInfo ORXSimContextRef::LastCommit() const {
  const auto& context = hdf_Contexts::Find(m_context);
  return context == nullptr ? ORXSimCommitInfo() : context->LastCommit();
}

ORXSimQuiet::ORXSimQuiet() {
  hdf_Silence::Hold();
}

ORXSimQuiet::~ORXSimQuiet() {
  hdf_Silence::Release();
}

ORXSimUpdate::ORXSimUpdate(ORXSimContextID context) : m_context(context), m_open(false) {
  if (const auto& found = hdf_Contexts::Find(context)) {
    found->BeginScope();
    m_open = true;
  }
}

ORXSimUpdate::~ORXSimUpdate() {
  const auto context = hdf_Contexts::Find(m_context);
  if (m_open && context != nullptr)
    context->AbandonScope();
}

bool ORXSimUpdate::Commit() {
  if (m_context.IsNull())
    return false;
  const auto context = hdf_Contexts::Find(m_context);
  return hdf_Call("end update", context.get(), [&](hdf_Operation& operation) {
    if (!operation.Usable() || (!m_open && !operation.Refuse("the scope has ended")))
      return false;
    m_open = !context->CommitScope(operation);
    return !m_open;
  });
}

bool ORXSimUpdate::Rollback() {
  if (m_context.IsNull())
    return false;
  const auto context = hdf_Contexts::Find(m_context);
  return hdf_Call("roll back", context.get(), [&](hdf_Operation& operation) {
    if (context == nullptr || !m_open)
      return context == nullptr ? operation.Usable() : operation.Refuse("the scope has ended");
    m_open = false;
    return context->RollbackScope(operation);
  });
}
