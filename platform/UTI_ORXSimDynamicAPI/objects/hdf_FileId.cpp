#include <UTI_ORXSimDynamicAPI/objects/hdf_FileId.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <cerrno>
#include <unistd.h>

namespace {
constexpr char kName[] = "file_id";
}

bool hdf_CreateFileId(hdf_Operation& operation, hid_t file, hdf_FileIdBytes& id) {
  if (::getentropy(id.data(), id.size()) != 0)
    return operation.RefuseErrno(errno);
  const hdf_AttributeHandle attribute(
      H5Acreate2(file, kName, H5T_STD_U8LE, hdf_Shared::Get().Line(id.size()), H5P_DEFAULT, H5P_DEFAULT));
  return operation.Check(attribute.Get()) &&
         operation.Check(H5Awrite(attribute.Get(), H5T_NATIVE_UCHAR, id.data()));
}

hdf_FileIdBytes hdf_ReadFileId(hid_t file) {
  hdf_FileIdBytes id{};
  if (H5Aexists(file, kName) <= 0)
    return id;
  const hdf_AttributeHandle attribute(H5Aopen(file, kName, H5P_DEFAULT));
  const hdf_TypeHandle type(H5Aget_type(attribute.Get()));
  const hdf_SpaceHandle space(H5Aget_space(attribute.Get()));
  if (!(hdf_StoredType::Of(type.Get()) == hdf_StoredType::Of(hdf_Datatype::NATIVE_UCHAR)) ||
      H5Sget_simple_extent_npoints(space.Get()) != static_cast<hssize_t>(id.size()) ||
      H5Aread(attribute.Get(), H5T_NATIVE_UCHAR, id.data()) < 0)
    id = {};
  return id;
}
