#include <msf/msfD_Root.h>

#include <UTI_CoreUtils/err_Stream.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Call.h>
#include <gbb/gbb_Context.h>
#include <gbb/gbb_Group.h>
#include <gbb/gbb_TraverseContext.h>
#include <kda/kda_string.h>
#include <omi/omi_Btree_Impl.h>

namespace {

constexpr char kSimGroup[] = "sim";
constexpr int kSimStamp = 0x5AD24019;    // marks the group of a Sim
constexpr int kLayoutVersion = 102;      // of the simulation-file API that this library was built for
constexpr int kDefaultContextOption = 1; // survives the death of the process

int contextOptionFor(int contextOption) {
  return contextOption == -1 ? kDefaultContextOption : contextOption;
}

kda_string keyOf(const gbb_String& text) {
  return kda_string(text.CStr());
}

void printLine(const char* operation, const char* before, const gbb_String& text, const char* after) {
  err_Write("**ERROR msfD_Root::");
  err_Write(operation);
  err_Write(before);
  err_Write(text);
  err_Write(after);
}

} // namespace

msfD_Root::msfD_Root(int trace) : m_trace(trace) {}

msfD_Root::~msfD_Root() = default;

int msfD_Root::count() const {
  return m_sims.Length();
}

msfD_Sim msfD_Root::get(int i) const {
  return m_sims[i].Get();
}

msfD_Sim msfD_Root::getByAlias(gbb_String alias) const {
  return m_byAlias.get(keyOf(alias));
}

// Refuses what is open already; traces what is about to be opened.
bool msfD_Root::MayOpen(const char* operation, const gbb_String& fileName, const gbb_String& alias) const {
  if (m_byFile.isMember(keyOf(fileName))) {
    printLine(operation, ": file ", fileName, " already opened\n");
    return false;
  }
  if (!alias.Empty() && m_byAlias.isMember(keyOf(alias))) {
    printLine(operation, ": database with alias ", alias, " already exists\n");
    return false;
  }
  if (m_trace != 0) {
    err_Write("msfD_Root::");
    err_Write(operation);
    err_Write(" ");
    err_Write(fileName);
    err_Write("\n");
  }
  return true;
}

msfD_Sim msfD_Root::File(msfD_SimHolder sim, const gbb_String& fileName, const gbb_String& alias) {
  m_byFile.insert(keyOf(fileName), sim.Get());
  if (!alias.Empty())
    m_byAlias.insert(keyOf(alias), sim.Get());
  m_sims.Append(std::move(sim));
  return get(count() - 1);
}

msfD_Sim msfD_Root::createSim(gbb_String fileName, gbb_String alias, int contextOption) {
  if (!MayOpen("createSim", fileName, alias))
    return {};
  const gbb_Call call("**ERROR msfD_Root::createSim: ");
  return MakeSim(
      ORXSimManager::CreateContext(fileName, 0, kLayoutVersion, false, contextOptionFor(contextOption)),
      fileName, alias);
}

msfD_Sim msfD_Root::createSimIn(ORXSimContextID context, gbb_String fileName, gbb_String alias) {
  const gbb_Call call("**ERROR msfD_Root::createSimIn: ");
  if (MayOpen("createSimIn", fileName, alias))
    return MakeSim(context, fileName, alias);
  ORXSimManager::CloseContext(context);
  return {};
}

msfD_Sim msfD_Root::MakeSim(ORXSimContextID context, const gbb_String& fileName, const gbb_String& alias) {
  msfD_SimHolder sim = msfD_Sim::New(m_trace);
  sim.SetPath(gbb_Root(this), count());
  if (!BindNew(sim, context)) { // the file goes with the context: without a commit point it never was
    const gbb_Group failed(ORXSimContextRef(ORXSimContextID()).File().RootGroup()); // keeps the cause
    sim = msfD_SimHolder::Open(gbb_Root(this), count(), {}, failed, m_trace);
  }
  return File(std::move(sim), fileName, alias);
}

// Group, stamp and class in one: the file's first commit point has a whole Sim.
bool msfD_Root::BindNew(const msfD_SimHolder& sim, ORXSimContextID context) {
  gbb_Call::Check(!context.IsNull()); // why there is none is the cause, whatever fails now
  ORXSimUpdate update(context);
  gbb_Group group(ORXSimContextRef(context).File().RootGroup().GroupCreate(kSimGroup, 0));
  group.Stamp(kSimStamp);
  sim.Bind(context, group);
  return gbb_CommitWhole(update, context);
}

msfD_Sim msfD_Root::openSim(gbb_String fileName, gbb_String alias, int contextOption) {
  return OpenSim("openSim", fileName, alias, 0, contextOption);
}

msfD_Sim msfD_Root::openSimReadOnly(gbb_String fileName, gbb_String alias, int contextOption) {
  return OpenSim("openSimReadOnly", fileName, alias, 1, contextOption);
}

msfD_Sim msfD_Root::OpenSim(const char* operation, const gbb_String& fileName, const gbb_String& alias,
                            int openFlags, int contextOption) {
  if (!MayOpen(operation, fileName, alias))
    return {};
  return TakeSim(
      ORXSimManager::OpenContext(fileName, openFlags, kLayoutVersion, false, contextOptionFor(contextOption)),
      fileName, alias);
}

msfD_Sim msfD_Root::openSimIn(ORXSimContextID context, gbb_String fileName, gbb_String alias) {
  if (MayOpen("openSimIn", fileName, alias))
    return TakeSim(context, fileName, alias);
  ORXSimManager::CloseContext(context);
  return {};
}

// The Sim of an open file, which goes with it when there is none.
msfD_Sim msfD_Root::TakeSim(ORXSimContextID context, const gbb_String& fileName, const gbb_String& alias) {
  if (context.IsNull())
    return {};
  const gbb_Group group(ORXSimContextRef(context).File().RootGroup().GroupOpen(kSimGroup));
  if (!group) { // an HDF5 file, but not a simulation
    ORXSimManager::CloseContext(context);
    return {};
  }
  return File(msfD_SimHolder::Open(gbb_Root(this), count(), context, group, m_trace), fileName, alias);
}

bool msfD_Root::refreshSim(msfD_Sim sim) {
  return ORXSimManager::Refresh(sim.distributionService().Context());
}

void msfD_Root::closeSim(msfD_Sim sim) {
  const int index = sim.Path().Index();
  if (index < 0 || index >= count() || !(get(index) == sim))
    return;
  if (m_trace != 0)
    err_Write("msfD_Root::closeSim\n");
  Forget(m_byFile, sim);
  Forget(m_byAlias, sim);
  m_sims.RemoveAt(index);
  for (int i = index; i < count(); ++i)
    m_sims[i].SetPath(gbb_Root(this), i);
}

void msfD_Root::Forget(kda_MapString<msfD_Sim>& table, const msfD_Sim& sim) {
  kda_MapStringIterator<msfD_Sim> entry(table);
  for (entry.first(); !entry.isDone(); entry.next()) {
    if (!(entry.value() == sim))
      continue;
    const kda_string key = entry.key();
    table.remove(key);
    return;
  }
}

gbb_Handle msfD_Root::Traverse(gbb_TraverseContext& context) {
  if (!context.Advance())
    return {};
  const char* const where = context.Component();
  int index = -1;
  if (*where == '\0')
    index = context.Origin().Top().Index();
  else if (const msfD_Sim sim = getByAlias(where))
    index = sim.Path().Index();
  if (index < 0 || index >= count()) {
    context.SetStatus(gbb_kBroken);
    return {};
  }
  return m_sims[index].Traverse(context);
}
