#include <UTI_ORXSimDynamicAPI/hdf_ObjectRep.h>

#include <algorithm>

constinit const hdf_Datatype hdf_Datatype::NATIVE_INT(kInt);
constinit const hdf_Datatype hdf_Datatype::NATIVE_UCHAR(kUChar);
constinit const hdf_Datatype hdf_Datatype::NATIVE_INT64(kInt64);
constinit const hdf_Datatype hdf_Datatype::NATIVE_FLOAT(kFloat);
constinit const hdf_Datatype hdf_Datatype::NATIVE_DOUBLE(kDouble);

namespace {
constexpr hdf_StoredType::Road kRefused{H5I_INVALID_HID, false};

// The variables behind HDF5's type macros: a file is open wherever this is called, so the macros' call that
// brings the library up would be one lock too many on the way of every small write.
hid_t nativeType(hdf_Datatype type) {
  switch (type.Which()) {
  case hdf_Datatype::kInt:
    return H5T_NATIVE_INT_g;
  case hdf_Datatype::kUChar:
    return H5T_NATIVE_UCHAR_g;
  case hdf_Datatype::kInt64:
    return H5T_NATIVE_INT64_g;
  case hdf_Datatype::kFloat:
    return H5T_NATIVE_FLOAT_g;
  case hdf_Datatype::kDouble:
    return H5T_NATIVE_DOUBLE_g;
  }
  return H5I_INVALID_HID;
}
} // namespace

int hdf_Datatype::Size() const {
  return m_kind == kUChar ? 1 : m_kind == kInt || m_kind == kFloat ? 4 : 8;
}

hdf_Dataspace hdf_Dataspace::CreateSimple(int rank, const std::uint64_t* dims) {
  hdf_Dataspace space;
  if (rank < 1 || rank > kMaxRank || dims == nullptr)
    return space;
  space.m_rank = rank;
  std::copy(dims, dims + rank, space.m_dims);
  return space;
}

int hdf_Dataspace::GetDims(std::uint64_t* dims) const {
  if (dims != nullptr)
    std::copy(m_dims, m_dims + std::max(m_rank, 0), dims);
  return m_rank;
}

std::uint64_t hdf_Dataspace::Elements() const {
  std::uint64_t elements = m_rank < 1 ? 0 : 1;
  for (int i = 0; i < m_rank; ++i)
    if (__builtin_mul_overflow(elements, m_dims[i], &elements))
      return UINT64_MAX; // more than any file holds
  return elements;
}

hdf_StoredType hdf_StoredType::Of(hdf_Datatype type) {
  const bool isFloat = type.Which() == hdf_Datatype::kFloat || type.Which() == hdf_Datatype::kDouble;
  return {isFloat ? H5T_FLOAT : H5T_INTEGER, static_cast<std::size_t>(type.Size()),
          !isFloat && type.Which() != hdf_Datatype::kUChar};
}

hdf_StoredType hdf_StoredType::Of(hid_t type) {
  if (H5Tequal(type, H5T_NATIVE_UCHAR_g) > 0) // most are: one call instead of three
    return Of(hdf_Datatype::NATIVE_UCHAR);
  hdf_StoredType stored{H5Tget_class(type), H5Tget_size(type), false};
  if (stored.family == H5T_INTEGER)
    stored.isSigned = H5Tget_sign(type) == H5T_SGN_2;
  return stored;
}

hdf_StoredType::Road hdf_StoredType::Read(hdf_Datatype target) const {
  const hdf_StoredType memory = Of(target);
  if (*this == memory)
    return {nativeType(target), false};
  if (family != memory.family)
    return kRefused;
  if (memory.size == 1) // bytes are bytes
    return size == 1 ? Road{isSigned ? H5T_NATIVE_SCHAR : H5T_NATIVE_UCHAR, false} : kRefused;
  if (family == H5T_FLOAT)
    return size <= memory.size ? Road{nativeType(target), false} : kRefused;
  return {nativeType(target), size >= memory.size};
}

hdf_StoredType::Road hdf_StoredType::Write(hdf_Datatype source) const {
  const hdf_StoredType memory = Of(source);
  if (*this == memory)
    return {nativeType(source), false};
  if (family != memory.family)
    return kRefused;
  if (memory.size == 1)
    return size == 1 ? Road{isSigned ? H5T_NATIVE_SCHAR : H5T_NATIVE_UCHAR, false} : kRefused;
  if (family == H5T_FLOAT)
    return size >= memory.size ? Road{nativeType(source), false} : kRefused;
  return {nativeType(source), !isSigned || size < memory.size};
}
