#include <msf/msfD_SimImpl.h>

#include <fes/dpa/fesD_GenericSystem.h>
#include <fes/dpa/fesD_ModalSystem.h>
#include <fes/dpa/fesD_SubstructureSystem.h>
#include <gbb/pattern/gbb_Pattern.h>
#include <msf/dpa/msfD_Mesh.h>

const char msfD_SimTraits::kDescription[] =
    R"json({"format":1,"class":"com.vertana.Sim","doc":"One simulation: the root object of a file.","members":[
],"children":[
{"name":"discreteModel","index":0,"object":"com.vertana.DiscreteModel","doc":"The discretisation","null":"there is none yet"}
]})json";

template class gbb_InterfaceOf<msfD_SimTraits>;
template class gbb_ObjectHandle<msfD_SimTraits>;
template class gbb_HolderBase<msfD_SimTraits>;
template class gbb_TypedLink<msfD_Sim>;

gbb_Class msfD_SimInterface::StaticClass() {
  return gbb_DefineClass<msfD_SimTraits>(nullptr);
}

msfD_SimHolder msfD_Sim::New(int trace) {
  return msfD_SimHolder(new msfD_SimImpl(nullptr, trace), gbb_kHolds);
}

msfD_SimHolder msfD_Sim::New(msfD_SimInterface* outer, int trace) {
  return msfD_SimHolder(new msfD_SimImpl(outer, trace), gbb_kHolds | gbb_kDirect);
}

gbb_DistributionService msfD_Sim::distributionService() const {
  if (m_impl != nullptr)
    return m_impl->DistributionService();
  gbb_PrintEmptyHandle<msfD_SimTraits, "distributionService">();
  return {};
}

gbb_SchemaSnapshot msfD_Sim::schemaSnapshot() const {
  if (m_impl != nullptr)
    return m_impl->SchemaSnapshot();
  gbb_PrintEmptyHandle<msfD_SimTraits, "schemaSnapshot">();
  return {};
}

msfD_DiscreteModel msfD_Sim::discreteModel() const {
  return GetChild<gbb_Text("discreteModel"), 0>();
}

msfD_DiscreteModel msfD_Sim::DiscreteModel(msfD_DiscreteModelHolder model) const {
  return SetChild<gbb_Text("discreteModel"), 0>(model);
}

msfD_SimHolder msfD_SimHolder::Open(gbb_Root root, int index, ORXSimContextID context, const gbb_Group& group,
                                    int trace) {
  return msfD_SimHolder(new msfD_SimImpl(nullptr, root, index, context, group, trace), gbb_kHolds);
}

msfD_SimHolder msfD_SimHolder::Open(msfD_SimInterface* outer, gbb_Root root, int index,
                                    ORXSimContextID context, const gbb_Group& group, int trace) {
  return msfD_SimHolder(new msfD_SimImpl(outer, root, index, context, group, trace),
                        gbb_kHolds | gbb_kDirect);
}

void msfD_SimHolder::Bind(ORXSimContextID context, const gbb_Group& group) const {
  const gbb_Call call(gbb_HeadOf<msfD_SimTraits, "Holder::Bind">());
  if (m_impl != nullptr)
    m_impl->Bind(context, group);
  else
    gbb_Print<"**ERROR msfD_SimHolder::Bind: called on an empty holder\n">();
}

void msfD_SimHolder::SetPath(gbb_Root root, int index) const {
  if (m_impl != nullptr)
    m_impl->SetPath(root, index);
  else
    gbb_Print<"**ERROR msfD_SimHolder::SetPath: called on an empty holder\n">();
}

msfD_SimImpl::msfD_SimImpl(msfD_SimInterface* outer, int trace)
    : m_interface(outer != nullptr ? outer : this), m_trace(trace), m_schemaSnapshot(gbb_Path(&m_path)) {
  Attach(outer, this);
  RegisterClasses();
}

msfD_SimImpl::msfD_SimImpl(msfD_SimInterface* outer, gbb_Root root, int index, ORXSimContextID context,
                           const gbb_Group& group, int trace)
    : msfD_SimImpl(outer, trace) {
  m_path = gbb_PathImpl(root, index);
  m_context = context;
  m_group = group;
  m_connected = true;
}

msfD_SimImpl::~msfD_SimImpl() {
  Detach(*m_interface, this);
  m_children = {};
  ORXSimManager::CloseContext(m_context);
}

// The order is part of what a file's snapshot promises.
void msfD_SimImpl::RegisterClasses() {
  const gbb_Class classes[] = {
      msfD_DiscreteModelInterface::StaticClass(), msfD_MeshInterface::StaticClass(),
      fesD_FESystemInterface::StaticClass(),      fesD_GenericSystemInterface::StaticClass(),
      fesD_ModalSystemInterface::StaticClass(),   fesD_SubstructureSystemInterface::StaticClass(),
      fesD_ModalEventInterface::StaticClass(),    fesD_SubDampInterface::StaticClass()};
  for (const gbb_Class& one : classes)
    SchemaSnapshot().Register(one);
}

gbb_Class msfD_SimImpl::Class() const {
  return m_interface == this ? StaticClass() : m_interface->Class();
}

void* msfD_SimImpl::Handle(gbb_Class wanted) {
  return wanted == StaticClass() ? this : nullptr;
}

void msfD_SimImpl::Bind(ORXSimContextID context, const gbb_Group& group) {
  if (m_trace != 0)
    gbb_Print<"msfD_SimImpl::Bind\n">();
  if (m_connected) {
    gbb_Print<"** ERROR msfD_SimImpl::Bind: called for a connected object\n">();
    return;
  }
  const gbb_Call call(gbb_HeadOf<msfD_SimTraits, "Impl::Bind">());
  ORXSimUpdate update(context);
  const std::uint64_t before = ORXSimManager::Epochs();
  m_context = context;
  m_group = group;
  m_group.WriteClass(m_interface->Class().ClassID());
  SchemaSnapshot().Describe(context, msfD_SimTraits::kPersistentName, msfD_SimTraits::kDescription);
  m_children.Bind(Owner());
  m_connected = true;
  m_freshness.KeepOf(before);
  gbb_CommitBound(update, context);
}

gbb_Handle msfD_SimImpl::Traverse(gbb_TraverseContext& context) {
  gbb_Handle found;
  Sync();
  if (m_children.Traverse(Owner(), context, found))
    return found;
  if (std::strcmp(context.Component(), "schemaSnapshot") == 0)
    found = SchemaSnapshot();
  else if (std::strcmp(context.Component(), "distributionService") == 0)
    found = DistributionService();
  if (!found || context.Advance()) { // no such member, or a walk that wants to go on below a service
    context.SetStatus(gbb_kBroken);
    return {};
  }
  return found;
}
