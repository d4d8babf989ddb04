#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <string>

namespace {
constexpr std::size_t kLongestText = 60000; // an attribute holds less than 64 KiB

hdf_TypeHandle textType(std::size_t size) {
  hdf_TypeHandle type(H5Tcopy(H5T_C_S1));
  H5Tset_cset(type.Get(), H5T_CSET_UTF8);
  H5Tset_strpad(type.Get(), H5T_STR_NULLPAD);
  H5Tset_size(type.Get(), size);
  return type;
}

cow_String readVariable(hdf_Operation& operation, hid_t attribute, hid_t type) {
  std::string text;
  return hdf_ReadVariableText(attribute, type, text) || operation.Check(-1) ? cow_String(text.c_str())
                                                                            : cow_String();
}

cow_String readFixed(hdf_Operation& operation, hid_t attribute, hid_t type) {
  std::string text(H5Tget_size(type) + 1, '\0');
  if (!operation.Check(H5Aread(attribute, type, text.data())))
    return {};
  text.resize(text.find('\0'));
  if (H5Tget_strpad(type) == H5T_STR_SPACEPAD)
    text.resize(text.find_last_not_of(' ') + 1);
  return text.c_str();
}

bool isOneText(hid_t attribute, hid_t type) {
  const hdf_SpaceHandle space(H5Aget_space(attribute));
  return H5Tget_class(type) == H5T_STRING && H5Sget_simple_extent_npoints(space.Get()) == 1;
}
} // namespace

bool ORXSimWriteText(hdf_Operation& operation, hid_t object, const char* name, const cow_String& text) {
  if (text.Length() > kLongestText)
    return operation.Refuse("the text is longer than 60000 bytes");
  const hdf_TypeHandle type = textType(text.Empty() ? 1 : text.Length());
  const hdf_SpaceHandle space(H5Screate(H5S_SCALAR));
  const hdf_AttributeHandle attribute(
      H5Acreate2(object, name, type.Get(), space.Get(), H5P_DEFAULT, H5P_DEFAULT));
  return operation.Check(attribute.Get()) &&
         operation.Check(H5Awrite(attribute.Get(), type.Get(), text.CStr()));
}

cow_String ORXSimReadText(hdf_Operation& operation, hid_t object, const char* name) {
  const htri_t exists = H5Aexists(object, name);
  if (exists == 0 || !operation.Check(exists))
    return {};
  const hdf_AttributeHandle attribute(H5Aopen(object, name, H5P_DEFAULT));
  if (!operation.Check(attribute.Get()))
    return {};
  const hdf_TypeHandle type(H5Aget_type(attribute.Get()));
  if (!isOneText(attribute.Get(), type.Get())) {
    operation.Refuse(std::string("attribute '") + name + "' is not one text");
    return {};
  }
  return H5Tis_variable_str(type.Get()) > 0 ? readVariable(operation, attribute.Get(), type.Get())
                                            : readFixed(operation, attribute.Get(), type.Get());
}

bool ORXSimWriteNumbers(hdf_Operation& operation, hid_t object, const char* name, hid_t stored,
                        const std::int64_t* values, int n) {
  const hid_t space = hdf_Shared::Get().Line(static_cast<std::uint64_t>(n));
  const hdf_AttributeHandle attribute(H5Acreate2(object, name, stored, space, H5P_DEFAULT, H5P_DEFAULT));
  return operation.Check(attribute.Get()) &&
         operation.Check(H5Awrite(attribute.Get(), H5T_NATIVE_INT64, values));
}

bool ORXSimReadNumbers(hdf_Operation& operation, hid_t object, const char* name, std::int64_t* values,
                       int n) {
  const hdf_AttributeHandle attribute(H5Aopen(object, name, H5P_DEFAULT));
  if (!operation.Check(attribute.Get()))
    return false;
  const hdf_TypeHandle type(H5Aget_type(attribute.Get()));
  const hdf_SpaceHandle space(H5Aget_space(attribute.Get()));
  if (hdf_StoredType::Of(type.Get()).family != H5T_INTEGER || H5Sget_simple_extent_npoints(space.Get()) != n)
    return operation.Refuse(std::string("attribute '") + name + "' is not " + std::to_string(n) +
                            " integers");
  return operation.Check(H5Aread(attribute.Get(), H5T_NATIVE_INT64, values));
}
