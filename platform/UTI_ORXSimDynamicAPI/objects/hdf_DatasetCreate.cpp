#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <vector>

namespace {
hdf_SpaceHandle makeSpace(const hdf_Dataspace& shape) {
  std::uint64_t extents[hdf_Dataspace::kMaxRank];
  hsize_t dims[hdf_Dataspace::kMaxRank];
  const int rank = shape.GetDims(extents);
  for (int i = 0; i < rank; ++i)
    dims[i] = extents[i];
  return hdf_SpaceHandle(H5Screate_simple(rank, dims, nullptr));
}

bool checkShape(hdf_Operation& operation, const hdf_Dataspace& shape, hdf_Datatype type) {
  if (shape.GetDims(nullptr) < 1)
    return operation.Refuse("the dataspace is empty");
  return shape.Elements() <= static_cast<std::uint64_t>(INT64_MAX / type.Size()) ||
         operation.Refuse("larger than any file");
}

// Makes the dataset under its name, or without a name when name is null.
hid_t makeDataset(hid_t group, const char* name, hdf_Datatype type, const hdf_Dataspace& shape) {
  const std::uint64_t bytes = shape.Elements() * static_cast<std::uint64_t>(type.Size());
  const hid_t properties = hdf_Shared::Get().MemberDataset(bytes);
  const hid_t stored = hdf_StoredType::Of(type).Write(type).memory;
  const hdf_SpaceHandle owned = shape.GetDims(nullptr) == 1 ? hdf_SpaceHandle() : makeSpace(shape);
  const hid_t space = owned.IsOpen() ? owned.Get() : hdf_Shared::Get().Line(shape.Elements());
  return name == nullptr ? H5Dcreate_anon(group, stored, space, properties, H5P_DEFAULT)
                         : H5Dcreate2(group, name, stored, space, H5P_DEFAULT, properties, H5P_DEFAULT);
}

// Our own type for what is stored; datasets of other types are not extended.
bool ownType(const hdf_StoredType& stored, hdf_Datatype& type) {
  for (const auto kind : {hdf_Datatype::kUChar, hdf_Datatype::kInt, hdf_Datatype::kInt64,
                          hdf_Datatype::kFloat, hdf_Datatype::kDouble})
    if (hdf_StoredType::Of(type = hdf_Datatype(kind)) == stored)
      return true;
  return false;
}
} // namespace

std::shared_ptr<hdf_DatasetRep> hdf_DatasetRep::Create(hdf_Operation& operation, const hdf_ObjectRep& group,
                                                       const char* name, hdf_Datatype type,
                                                       const hdf_Dataspace& shape, const void* content,
                                                       std::uint64_t held) {
  if (!checkShape(operation, shape, type))
    return nullptr;
  haddr_t old = HADDR_UNDEF;
  if (H5Lexists(group.id, name, H5P_DEFAULT) > 0 &&
      (!hdf_FindHardLink(operation, group.id, name, old) ||
       (old == HADDR_UNDEF && !operation.Refuse("a soft or external link, which is not followed"))))
    return nullptr;
  const bool replaces = old != HADDR_UNDEF;
  const hid_t id = makeDataset(group.id, replaces ? nullptr : name, type, shape);
  if (!operation.Check(id))
    return nullptr;
  auto dataset = hdf_MakeRep<hdf_DatasetRep>(group.context, id);
  dataset->type = hdf_StoredType::Of(type);
  dataset->space = shape;
  dataset->fresh = true;
  if (content != nullptr && !dataset->WriteFirst(operation, type, content, held))
    return nullptr;
  if (!replaces)
    return dataset;
  if (!operation.Check(H5Ldelete(group.id, name, H5P_DEFAULT)) ||
      !operation.Check(H5Olink(id, group.id, name, H5P_DEFAULT, H5P_DEFAULT)))
    return nullptr;
  Replace(*group.context, old, *dataset);
  return dataset;
}

bool hdf_DatasetRep::Extend(hdf_Operation& operation, std::uint64_t count) {
  const std::uint64_t held = space.Elements();
  if (space.GetDims(nullptr) != 1)
    return operation.Refuse("the dataset has not one dimension");
  if (count <= held)
    return true;
  hdf_Datatype own = hdf_Datatype::NATIVE_UCHAR;
  if (!ownType(type, own))
    return operation.Refuse("the dataset has another type");
  const std::string path = hdf_PathOf(id);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos)
    return operation.Refuse("the dataset has no name any more");
  std::vector<unsigned char> content(held * type.size); // no more than the file holds: checked on opening
  if (!fresh && !ReadFirst(operation, own, content.data(), held))
    return false;
  const hid_t parent = H5Gopen2(context->file, slash == 0 ? "/" : path.substr(0, slash).c_str(), H5P_DEFAULT);
  if (!operation.Check(parent))
    return false;
  const hdf_GroupRep group(context, parent);
  // Keep this object alive: replacing swaps the new dataset in below it.
  const hdf_Dataspace shape = hdf_Dataspace::CreateSimple(1, &count);
  return Create(operation, group, path.c_str() + slash + 1, own, shape, content.data(), held) != nullptr;
}
