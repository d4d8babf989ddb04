#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <UTI_ORXSimDynamicAPI/inspect/hdf_WalkUntrusted.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_OpenFile.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <UTI_CoreUtils/mod_Counter.h>

#include <new>

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
  hdf_Contexts::Reserve();
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
}

void UTI_ORXSimDynamicAPI_finalize(int& modules) {
  if (!s_counter.Finalize(modules))
    return;
  hdf_Contexts::CloseAll();
  hdf_Shared::Release();
}

constinit std::atomic<std::uint64_t> ORXSimManager::s_epochs{1}, ORXSimManager::s_failures{0};

ORXSimContextID ORXSimManager::CreateContext(const cow_String& fileName, int createFlags, int version, bool,
                                             int contextOption) try {
  hdf_Operation operation("create file", fileName.CStr());
  if (!checkOptions(operation, createFlags, kMustBeNew | kNotUnasked, version, contextOption, kLive - 1))
    return {};
  auto context = makeContext(fileName, 0, contextOption);
  context->takenBack = (createFlags & kNotUnasked) != 0;
  return hdf_CreateFile(operation, *context, (createFlags & kMustBeNew) != 0)
             ? hdf_Contexts::Add(std::move(context))
             : ORXSimContextID();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

ORXSimContextID ORXSimManager::OpenContext(const cow_String& fileName, int openFlags, int version, bool,
                                           int contextOption) try {
  hdf_Operation operation("open file", fileName.CStr());
  const bool readOnly = (openFlags & kReadOnly) != 0;
  if (!checkOptions(operation, openFlags, kReadOnly | kUntrusted, version, contextOption,
                    readOnly ? kLive : kLive - 1))
    return {};
  auto context = makeContext(fileName, openFlags, contextOption);
  return hdf_OpenFile(operation, *context) ? hdf_Contexts::Add(std::move(context)) : ORXSimContextID();
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

bool ORXSimManager::CloseContext(ORXSimContextID id) try {
  const auto context = hdf_Contexts::Find(id);
  if (context == nullptr)
    return true;
  hdf_Operation operation("close file", context.get());
  hdf_Contexts::Remove(id);
  return context->Close(operation);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

void ORXSimManager::SetWaitingTime(int milliseconds) {
  hdf_SetWaitingTime(milliseconds);
}

bool ORXSimManager::Refresh(ORXSimContextID id) try {
  const auto context = hdf_Contexts::Find(id);
  hdf_Operation operation("refresh", context.get());
  return context == nullptr ? operation.Usable() : context->Refresh(operation);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

const char* ORXSimManager::LastError() {
  return hdf_Operation::Last().c_str();
}

// Nobody gives the null context away but a call that has failed: its cause is the one to keep.
hdf_File ORXSimContextRef::File() const try {
  if (m_context.IsNull())
    return hdf_ObjectRep::Failed<hdf_File>();
  const auto context = hdf_Contexts::Find(m_context);
  hdf_Operation operation("take the file of a context", context.get());
  if (!operation.Usable())
    return hdf_ObjectRep::Failed<hdf_File>();
  return hdf_ObjectRep::Make<hdf_File>(std::make_shared<hdf_FileRep>(context));
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return {};
}

bool ORXSimContextRef::ReadOnly() const {
  const auto& context = hdf_Contexts::Find(m_context);
  return context != nullptr && context->readOnly;
}

bool ORXSimContextRef::Commit() const try {
  if (m_context.IsNull())
    return false;
  const auto& context = hdf_Contexts::Find(m_context);
  if (context != nullptr && context->scopes > 0 && !context->stopped)
    return true;
  hdf_Operation operation("commit", context.get());
  return operation.Usable() && context->CommitPoint(operation);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
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

bool ORXSimUpdate::Commit() try {
  if (m_context.IsNull())
    return false;
  const auto context = hdf_Contexts::Find(m_context);
  hdf_Operation operation("end update", context.get());
  if (!operation.Usable() || (!m_open && !operation.Refuse("the scope has ended")))
    return false;
  m_open = !context->CommitScope(operation);
  return !m_open;
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}

bool ORXSimUpdate::Rollback() try {
  if (m_context.IsNull())
    return false;
  const auto context = hdf_Contexts::Find(m_context);
  hdf_Operation operation("roll back", context.get());
  if (context == nullptr || !m_open)
    return context == nullptr ? operation.Usable() : operation.Refuse("the scope has ended");
  m_open = false;
  return context->RollbackScope(operation);
} catch (const std::bad_alloc&) {
  hdf_Operation::OutOfMemory();
  return false;
}
