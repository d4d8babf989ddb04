#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

namespace {
hdf_Group child(const std::shared_ptr<hdf_ObjectRep>& parent, const char* name, hid_t id) {
  return hdf_ObjectRep::Make<hdf_Group>(hdf_MakeRep<hdf_GroupRep>(parent, id, name));
}

std::shared_ptr<hdf_DatasetRep> openDataset(hdf_Operation& operation, const hdf_ObjectRep& group,
                                            const char* name) {
  const hid_t id = hdf_OpenDataset(operation, group.id, name);
  if (id < 0)
    return nullptr;
  auto dataset = hdf_MakeRep<hdf_DatasetRep>(group.context, id);
  return dataset->Inspect(operation) ? dataset : nullptr;
}

// A name that is taken is the caller's mistake: found here, it does not count as a failed write.
bool checkFree(hdf_Operation& operation, hid_t group, const char* name) {
  return H5Lexists(group, name, H5P_DEFAULT) <= 0 || operation.Refuse("there is an object of that name");
}

hdf_Dataset valueOf(const hdf_Operation& operation, std::shared_ptr<hdf_DatasetRep> dataset) {
  return dataset == nullptr ? hdf_ObjectRep::Failed<hdf_Dataset>(operation)
                            : hdf_ObjectRep::Make<hdf_Dataset>(std::move(dataset));
}
} // namespace

bool hdf_Group::operator!() const {
  return !hdf_ObjectRep::IsOpen(*this);
}

hdf_Group hdf_Group::GroupCreate(const char* name, int sizeHint) const {
  return hdf_Call("create group", m_rep.get(), name, [&](hdf_Operation& operation) {
    static_cast<void>(sizeHint);
    if (!operation.Writable() || !hdf_CheckLinkName(operation, name) ||
        !checkFree(operation, m_rep->id, name))
      return hdf_ObjectRep::Failed<hdf_Group>(operation);
    const hid_t id = H5Gcreate2(m_rep->id, name, H5P_DEFAULT, hdf_Shared::Get().Group(), H5P_DEFAULT);
    return operation.Check(id) ? child(m_rep, name, id) : hdf_ObjectRep::Failed<hdf_Group>(operation);
  });
}

hdf_Group hdf_Group::GroupOpen(const char* name) const {
  return hdf_Call("open group", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Usable() || !hdf_CheckLinkName(operation, name))
      return hdf_ObjectRep::Failed<hdf_Group>(operation);
    const hid_t id = hdf_OpenGroup(operation, m_rep->id, name);
    return id < 0 ? hdf_ObjectRep::Failed<hdf_Group>(operation) : child(m_rep, name, id);
  });
}

hdf_Dataset hdf_Group::DatasetCreate(const char* name, hdf_Datatype type, const hdf_Dataspace& space) const {
  return hdf_Call("create dataset", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Writable() || !hdf_CheckLinkName(operation, name))
      return hdf_ObjectRep::Failed<hdf_Dataset>(operation);
    if (space.GetDims(nullptr) < 1) {
      operation.Refuse("the dataspace is empty");
      return hdf_ObjectRep::Failed<hdf_Dataset>(operation);
    }
    return valueOf(operation, hdf_DatasetRep::Create(operation, *m_rep, name, type, space));
  });
}

hdf_Dataset hdf_Group::DatasetOpen(const char* name) const {
  return hdf_Call("open dataset", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Valid() || !hdf_CheckLinkName(operation, name))
      return hdf_ObjectRep::Failed<hdf_Dataset>(operation);
    auto& group = static_cast<hdf_GroupRep&>(*m_rep);
    if (auto dataset = group.Kept(name))
      return valueOf(operation, std::move(dataset));
    if (!operation.Usable())
      return hdf_ObjectRep::Failed<hdf_Dataset>(operation);
    auto dataset = openDataset(operation, *m_rep, name);
    if (dataset != nullptr)
      group.Keep(name, dataset);
    return valueOf(operation, std::move(dataset));
  });
}

ORXSimFound hdf_Group::Look(const char* name) const {
  return hdf_Look("look up", m_rep.get(), name, [&](hdf_Operation& operation) {
    haddr_t address = HADDR_UNDEF;
    return operation.Usable() && hdf_CheckLinkName(operation, name) &&
           hdf_FindHardLink(operation, m_rep->id, name, address) && address != HADDR_UNDEF;
  });
}

ORXSimFound hdf_Group::LookForLink(const char* name) const {
  return hdf_Look("look up", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Usable() || !hdf_CheckLinkName(operation, name))
      return false;
    const htri_t exists = H5Lexists(m_rep->id, name, H5P_DEFAULT);
    return operation.Check(exists) && exists > 0;
  });
}

bool hdf_Group::AttributeExists(const char* name) const {
  return hdf_Call("look up attribute", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Usable())
      return false;
    if (name == nullptr || *name == '\0')
      return operation.Refuse("an attribute needs a name");
    const htri_t exists = H5Aexists(m_rep->id, name);
    return operation.Check(exists) && exists > 0;
  });
}

std::int64_t hdf_Group::NumLinks() const {
  return hdf_Try(std::int64_t{-1}, [&] {
    hdf_Operation operation("count links", m_rep.get());
    H5G_info_t info;
    const bool counted = operation.Usable() && operation.Check(H5Gget_info(m_rep->id, &info));
    return counted ? static_cast<std::int64_t>(info.nlinks) : -1;
  });
}

cow_String hdf_Group::Path() const {
  return hdf_Call("path of a group", m_rep.get(), [&](hdf_Operation& operation) -> cow_String {
    if (!operation.Usable())
      return {};
    const std::string path = hdf_PathOf(m_rep->id);
    operation.Check(path.empty() ? -1 : 0);
    return path.c_str();
  });
}

ORXSimFound hdf_Group::Found() const {
  return hdf_Look("path of a group", m_rep.get(), nullptr, [&](hdf_Operation& operation) {
    return operation.Usable() && operation.Check(hdf_PathOf(m_rep->id).empty() ? -1 : 0);
  });
}

hdf_Group hdf_Group::Refused(const char* cause) const {
  return hdf_Call("use group", m_rep.get(), [&](hdf_Operation& operation) {
    operation.Refuse(cause);
    return hdf_ObjectRep::Failed<hdf_Group>(operation);
  });
}

bool hdf_File::operator!() const {
  return m_rep == nullptr || !m_rep->context || !m_rep->context->IsOpen();
}

hdf_Group hdf_File::RootGroup() const {
  return hdf_Call("open root group", m_rep.get(), [&](hdf_Operation& operation) {
    if (!operation.Usable())
      return hdf_ObjectRep::Failed<hdf_Group>(operation);
    const hid_t id = H5Gopen2(m_rep->id, "/", H5P_DEFAULT);
    if (!operation.Check(id))
      return hdf_ObjectRep::Failed<hdf_Group>(operation);
    return hdf_ObjectRep::Make<hdf_Group>(hdf_MakeRep<hdf_GroupRep>(m_rep->context, id));
  });
}
