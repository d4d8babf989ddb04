#include <gbb/gbb_SchemaSnapshot.h>

#include <UTI_CoreUtils/err_Stream.h>
#include <omi/omi_Btree_Impl.h>

gbb_SchemaSnapshotImpl::gbb_SchemaSnapshotImpl(gbb_Path sim) : m_path(sim, 0) {}

gbb_SchemaSnapshotImpl::~gbb_SchemaSnapshotImpl() = default;

gbb_SchemaSnapshot::gbb_SchemaSnapshot(const gbb_Handle& handle)
    : m_impl(handle.Class().IsA(StaticClass()) ? static_cast<gbb_SchemaSnapshotImpl*>(handle.Object())
                                               : nullptr) {}

gbb_SchemaSnapshot::operator gbb_Handle() const {
  return m_impl == nullptr ? gbb_Handle() : gbb_Handle(m_impl, StaticClass());
}

gbb_Class gbb_SchemaSnapshot::GetClass(const gbb_ClassID& classID) const {
  if (m_impl == nullptr) {
    err_Write("**ERROR: gbb_SchemaSnapshot::GetClass: called on an empty handle\n");
    return {};
  }
  return m_impl->m_classes.ConstGet(classID);
}

bool gbb_SchemaSnapshot::Register(gbb_Class added) const {
  return m_impl != nullptr && !!added && m_impl->m_classes.Insert(added.ClassID(), added);
}

void gbb_SchemaSnapshot::Describe(ORXSimContextID context, const char* name, const char* text) const {
  if (m_impl != nullptr)
    m_impl->m_texts.Write(context, name, text);
}

gbb_Class gbb_SchemaSnapshot::StaticClass() {
  static constinit gbb_ClassDescriptor s_class;
  return gbb_Class::Define(s_class, "com.vertana.SchemaSnapshot", {}, nullptr);
}
