#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace {
hdf_AttributeRep& attributeOf(const std::shared_ptr<hdf_ObjectRep>& rep) {
  return static_cast<hdf_AttributeRep&>(*rep);
}

bool checkName(hdf_Operation& operation, const char* name) {
  return (name != nullptr && *name != '\0') || operation.Refuse("an attribute needs a name");
}

hdf_Attribute opened(hdf_Operation& operation, const std::shared_ptr<hdf_Context>& context, hid_t id) {
  if (!operation.Check(id))
    return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
  auto attribute = hdf_MakeRep<hdf_AttributeRep>(context, id);
  return attribute->Inspect(operation) ? hdf_ObjectRep::Make<hdf_Attribute>(std::move(attribute))
                                       : hdf_ObjectRep::Failed<hdf_Attribute>(operation);
}

// HDF5 clips what does not fit, so integers of another kind are moved through the widest type and checked.
template <class Wide, class Narrow>
bool readWide(hdf_Operation& operation, const hdf_AttributeRep& attribute, hid_t memory, Narrow* data) {
  std::vector<Wide> values(attribute.space.Elements());
  if (!operation.Check(H5Aread(attribute.id, memory, values.data())))
    return false;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::in_range<Narrow>(values[i]))
      return operation.Refuse("a stored number is too large for the type asked for");
    data[i] = static_cast<Narrow>(values[i]);
  }
  return true;
}

template <class Narrow>
bool readChecked(hdf_Operation& operation, const hdf_AttributeRep& attribute, Narrow* data) {
  return attribute.type.isSigned ? readWide<std::int64_t>(operation, attribute, H5T_NATIVE_INT64, data)
                                 : readWide<std::uint64_t>(operation, attribute, H5T_NATIVE_UINT64, data);
}
} // namespace

bool hdf_AttributeRep::Inspect(hdf_Operation& operation) {
  const hdf_SpaceHandle shape(H5Aget_space(id));
  const hdf_TypeHandle stored(H5Aget_type(id));
  if (!operation.Check(shape.Get()) || !operation.Check(stored.Get()))
    return false;
  space = hdf_ShapeOf(shape.Get());
  type = hdf_StoredType::Of(stored.Get());
  return true;
}

void hdf_AttributeRep::Leave() {
  m_path = hdf_PathOf(id);
  const ssize_t length = H5Aget_name(id, 0, nullptr);
  m_name.assign(static_cast<std::size_t>(std::max<ssize_t>(length, 0)), '\0');
  if (length > 0)
    H5Aget_name(id, m_name.size() + 1, m_name.data());
  Close();
}

bool hdf_AttributeRep::OpenAgain(hdf_Operation& operation) {
  const hdf_Silence silence;
  const hid_t object = H5Oopen(context->file, m_path.c_str(), hdf_Shared::Get().OpenGroup());
  const hid_t opened = object < 0 ? object : H5Aopen(object, m_name.c_str(), H5P_DEFAULT);
  const bool gone = object >= 0 && opened < 0 && H5Aexists(object, m_name.c_str()) == 0;
  if (object >= 0)
    H5Oclose(object);
  if (opened < 0)
    return gone ? operation.Refuse("the attribute '" + m_name + "' is not in the file any more")
                : operation.Check(opened);
  TakeOver(opened, context->objects);
  const hdf_CloseUnless guard(*this);
  return guard.good = Inspect(operation);
}

hdf_Attribute hdf_Group::AttributeCreate(const char* name, hdf_Datatype type,
                                         const hdf_Dataspace& space) const {
  return hdf_Call("create attribute", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Writable() || !checkName(operation, name))
      return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
    std::uint64_t dims[hdf_Dataspace::kMaxRank];
    if ((space.GetDims(dims) != 1 && !operation.Refuse("attributes have one dimension")) ||
        (H5Aexists(m_rep->id, name) > 0 && !operation.Refuse("there is an attribute of that name")))
      return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
    const hid_t stored = hdf_StoredType::Of(type).Write(type).memory;
    const hid_t id =
        H5Acreate2(m_rep->id, name, stored, hdf_Shared::Get().Line(dims[0]), H5P_DEFAULT, H5P_DEFAULT);
    if (!operation.Check(id))
      return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
    auto attribute = hdf_MakeRep<hdf_AttributeRep>(m_rep->context, id);
    attribute->space = space;
    attribute->type = hdf_StoredType::Of(type);
    return hdf_ObjectRep::Make<hdf_Attribute>(std::move(attribute));
  });
}

hdf_Attribute hdf_Group::AttributeOpen(const char* name) const {
  return hdf_Call("open attribute", m_rep.get(), name, [&](hdf_Operation& operation) {
    if (!operation.Usable() || !checkName(operation, name))
      return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
    const hid_t id = H5Aopen(m_rep->id, name, H5P_DEFAULT);
    if (id < 0 && H5Aexists(m_rep->id, name) == 0) {
      operation.Refuse("there is no attribute of that name");
      return hdf_ObjectRep::Failed<hdf_Attribute>(operation);
    }
    return opened(operation, m_rep->context, id);
  });
}

bool hdf_Attribute::operator!() const {
  return !hdf_ObjectRep::IsOpen(*this);
}

bool hdf_Attribute::Write(hdf_Datatype type, const void* data) const {
  return hdf_Call("write attribute", m_rep.get(), [&](hdf_Operation& operation) {
    if (!operation.Writable())
      return false;
    // An attribute is small and made by us or for us: one type, no conversion.
    if (!(attributeOf(m_rep).type == hdf_StoredType::Of(type)))
      return operation.Refuse("the attribute has another type");
    return operation.Check(H5Awrite(m_rep->id, attributeOf(m_rep).type.Write(type).memory, data));
  });
}

ORXSimFound hdf_Attribute::Fetch(hdf_Datatype type, void* data, std::uint64_t capacity) const {
  return hdf_Look("read attribute", m_rep.get(), nullptr, [&](hdf_Operation& operation) {
    if (!operation.Usable())
      return false;
    const hdf_AttributeRep& attribute = attributeOf(m_rep);
    const hdf_StoredType::Road road = attribute.type.Read(type);
    if (road.memory < 0)
      return operation.Refuse("the attribute has another type");
    if (attribute.space.Elements() != capacity)
      return operation.Refuse(std::to_string(attribute.space.Elements()) + " elements where " +
                              std::to_string(capacity) + " were expected");
    if (!road.checked)
      return operation.Check(H5Aread(m_rep->id, road.memory, data));
    return type.Which() == hdf_Datatype::kInt
               ? readChecked(operation, attribute, static_cast<std::int32_t*>(data))
               : readChecked(operation, attribute, static_cast<std::int64_t*>(data));
  });
}

hdf_Dataspace hdf_Attribute::GetSpace() const {
  return hdf_Call("shape of an attribute", m_rep.get(), [&](hdf_Operation& operation) {
    return operation.Valid() && (m_rep->id >= 0 || operation.Usable()) ? attributeOf(m_rep).space
                                                                       : hdf_Dataspace();
  });
}
