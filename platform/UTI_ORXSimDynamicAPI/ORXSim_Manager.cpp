#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>

#include <UTI_ORXSimDynamicAPI/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/hdf_OpenFile.h>
#include <UTI_ORXSimDynamicAPI/hdf_Shared.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
constexpr int kVersion = 102;

bool checkOptions(hdf_Operation& operation, int flags, int version, int durability) {
  if (version != kVersion)
    return operation.Refuse("version " + std::to_string(version) + " of the file layout is not known");
  if (flags != 0 && flags != 1)
    return operation.Refuse("flags " + std::to_string(flags) + " are not known");
  return (durability >= 0 && durability <= 2) ||
         operation.Refuse("context option " + std::to_string(durability) + " is not known");
}

std::shared_ptr<hdf_Context> makeContext(const cow_String& fileName, bool readOnly, int durability) {
  auto context = std::make_shared<hdf_Context>();
  context->fileName = fileName.CStr();
  context->readOnly = readOnly;
  context->durability = durability;
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

ORXSimContextID ORXSimManager::CreateContext(const cow_String& fileName, int createFlags, int version, bool,
                                             int contextOption) {
  hdf_Operation operation("create file", fileName.CStr());
  if (!checkOptions(operation, createFlags, version, contextOption))
    return {};
  auto context = makeContext(fileName, false, contextOption);
  return hdf_CreateFile(operation, *context, createFlags == 1) ? hdf_Contexts::Add(std::move(context))
                                                               : ORXSimContextID();
}

ORXSimContextID ORXSimManager::OpenContext(const cow_String& fileName, int openFlags, int version, bool,
                                           int contextOption) {
  hdf_Operation operation("open file", fileName.CStr());
  if (!checkOptions(operation, openFlags, version, contextOption))
    return {};
  auto context = makeContext(fileName, openFlags == 1, contextOption);
  return hdf_OpenFile(operation, *context) ? hdf_Contexts::Add(std::move(context)) : ORXSimContextID();
}

bool ORXSimManager::CloseContext(ORXSimContextID id) {
  const auto context = hdf_Contexts::Find(id);
  if (context == nullptr)
    return true;
  hdf_Operation operation("close file", context.get());
  hdf_Contexts::Remove(id);
  return context->Close(operation);
}

const char* ORXSimManager::LastError() {
  return hdf_Operation::Last().c_str();
}

// Nobody gives the null context away but a call that has failed: its cause is the one to keep.
hdf_File ORXSimContextRef::File() const {
  if (m_context.IsNull())
    return hdf_ObjectRep::Failed<hdf_File>();
  const auto context = hdf_Contexts::Find(m_context);
  hdf_Operation operation("take the file of a context", context.get());
  if (!operation.Usable())
    return hdf_ObjectRep::Failed<hdf_File>();
  H5Iinc_ref(context->file);
  return hdf_ObjectRep::Make<hdf_File>(
      std::make_shared<hdf_ObjectRep>(context, context->file, context->objects));
}

bool ORXSimContextRef::ReadOnly() const {
  const auto context = hdf_Contexts::Find(m_context);
  return context != nullptr && context->readOnly;
}

bool ORXSimContextRef::Commit() const {
  if (m_context.IsNull())
    return false;
  const auto& context = hdf_Contexts::Find(m_context);
  if (context != nullptr && context->scopes > 0)
    return true;
  hdf_Operation operation("commit", context.get());
  return operation.Usable() && context->EndWrite(operation);
}

ORXSimQuiet::ORXSimQuiet() {
  hdf_Silence::Hold();
}

ORXSimQuiet::~ORXSimQuiet() {
  hdf_Silence::Release();
}

ORXSimUpdate::ORXSimUpdate(ORXSimContextID context) : m_context(context), m_open(false) {
  if (const auto& found = hdf_Contexts::Find(context)) {
    ++found->scopes;
    m_open = true;
  }
}

ORXSimUpdate::~ORXSimUpdate() {
  const auto& context = hdf_Contexts::Find(m_context);
  if (m_open && context != nullptr)
    --context->scopes;
}

bool ORXSimUpdate::Commit() {
  if (m_context.IsNull())
    return false;
  const auto context = hdf_Contexts::Find(m_context);
  hdf_Operation operation("end update", context.get());
  if (!operation.Usable())
    return false;
  if (!m_open)
    return operation.Refuse("the scope has ended");
  m_open = false;
  --context->scopes;
  return context->EndWrite(operation);
}
