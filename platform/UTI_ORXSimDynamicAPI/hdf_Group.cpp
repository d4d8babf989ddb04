#include <UTI_ORXSimDynamicAPI/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/hdf_Shared.h>

namespace {
hdf_Group child(const std::shared_ptr<hdf_ObjectRep>& parent, const char* name, hid_t id) {
  return hdf_ObjectRep::Make<hdf_Group>(std::make_shared<hdf_GroupRep>(parent, name, id));
}

std::shared_ptr<hdf_DatasetRep> openDataset(hdf_Operation& operation, const hdf_ObjectRep& group,
                                            const char* name) {
  const hid_t id = hdf_OpenDataset(operation, group.id, name);
  if (id < 0)
    return nullptr;
  auto dataset = std::make_shared<hdf_DatasetRep>(group.context, id);
  return dataset->Inspect(operation) ? dataset : nullptr;
}

hdf_Dataset valueOf(std::shared_ptr<hdf_DatasetRep> dataset) {
  return dataset == nullptr ? hdf_ObjectRep::Failed<hdf_Dataset>()
                            : hdf_ObjectRep::Make<hdf_Dataset>(std::move(dataset));
}
} // namespace

bool hdf_Group::operator!() const {
  return !hdf_ObjectRep::IsOpen(*this);
}

hdf_Group hdf_Group::GroupCreate(const char* name, int sizeHint) const {
  hdf_Operation operation("create group", m_rep.get(), name);
  static_cast<void>(sizeHint);
  if (!operation.Writable() || !hdf_CheckLinkName(operation, name))
    return hdf_ObjectRep::Failed<hdf_Group>();
  const hid_t id = H5Gcreate2(m_rep->id, name, H5P_DEFAULT, hdf_Shared::Get().Group(), H5P_DEFAULT);
  return operation.Check(id) ? child(m_rep, name, id) : hdf_ObjectRep::Failed<hdf_Group>();
}

hdf_Group hdf_Group::GroupOpen(const char* name) const {
  hdf_Operation operation("open group", m_rep.get(), name);
  if (!operation.Usable() || !hdf_CheckLinkName(operation, name))
    return hdf_ObjectRep::Failed<hdf_Group>();
  const hid_t id = hdf_OpenGroup(operation, m_rep->id, name);
  return id < 0 ? hdf_ObjectRep::Failed<hdf_Group>() : child(m_rep, name, id);
}

hdf_Dataset hdf_Group::DatasetCreate(const char* name, hdf_Datatype type, const hdf_Dataspace& space) const {
  hdf_Operation operation("create dataset", m_rep.get(), name);
  if (!operation.Writable() || !hdf_CheckLinkName(operation, name))
    return hdf_ObjectRep::Failed<hdf_Dataset>();
  if (space.GetDims(nullptr) < 1) {
    operation.Refuse("the dataspace is empty");
    return hdf_ObjectRep::Failed<hdf_Dataset>();
  }
  return valueOf(hdf_DatasetRep::Create(operation, *m_rep, name, type, space));
}

hdf_Dataset hdf_Group::DatasetOpen(const char* name) const {
  hdf_Operation operation("open dataset", m_rep.get(), name);
  if (!operation.Valid() || !hdf_CheckLinkName(operation, name))
    return hdf_ObjectRep::Failed<hdf_Dataset>();
  auto& group = static_cast<hdf_GroupRep&>(*m_rep);
  if (auto dataset = group.Kept(name))
    return valueOf(std::move(dataset));
  if (!operation.Usable())
    return hdf_ObjectRep::Failed<hdf_Dataset>();
  auto dataset = openDataset(operation, *m_rep, name);
  if (dataset != nullptr)
    group.Keep(name, dataset);
  return valueOf(std::move(dataset));
}

bool hdf_Group::GetObjinfoExists(const char* name) const {
  hdf_Operation operation("look up", m_rep.get(), name);
  haddr_t address = HADDR_UNDEF;
  return operation.Usable() && hdf_CheckLinkName(operation, name) &&
         hdf_FindHardLink(operation, m_rep->id, name, address) && address != HADDR_UNDEF;
}

bool hdf_Group::AttributeExists(const char* name) const {
  hdf_Operation operation("look up attribute", m_rep.get(), name);
  if (!operation.Usable())
    return false;
  if (name == nullptr || *name == '\0')
    return operation.Refuse("an attribute needs a name");
  const htri_t exists = H5Aexists(m_rep->id, name);
  return operation.Check(exists) && exists > 0;
}

std::int64_t hdf_Group::NumLinks() const {
  hdf_Operation operation("count links", m_rep.get());
  H5G_info_t info;
  if (!operation.Usable() || !operation.Check(H5Gget_info(m_rep->id, &info)))
    return -1;
  return static_cast<std::int64_t>(info.nlinks);
}

cow_String hdf_Group::Path() const {
  hdf_Operation operation("path of a group", m_rep.get());
  if (!operation.Usable())
    return {};
  return hdf_PathOf(m_rep->id).c_str();
}

bool hdf_File::operator!() const {
  return m_rep == nullptr || !m_rep->context || !m_rep->context->IsOpen();
}

hdf_Group hdf_File::RootGroup() const {
  hdf_Operation operation("open root group", m_rep.get());
  if (!operation.Usable())
    return hdf_ObjectRep::Failed<hdf_Group>();
  const hid_t id = H5Gopen2(m_rep->id, "/", H5P_DEFAULT);
  if (!operation.Check(id))
    return hdf_ObjectRep::Failed<hdf_Group>();
  return hdf_ObjectRep::Make<hdf_Group>(std::make_shared<hdf_GroupRep>(m_rep->context, id));
}
