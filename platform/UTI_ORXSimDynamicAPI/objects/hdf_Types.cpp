#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <algorithm>
#include <bit>

constinit const hdf_Datatype hdf_Datatype::NATIVE_INT(kInt);
constinit const hdf_Datatype hdf_Datatype::NATIVE_UCHAR(kUChar);
constinit const hdf_Datatype hdf_Datatype::NATIVE_INT64(kInt64);
constinit const hdf_Datatype hdf_Datatype::NATIVE_FLOAT(kFloat);
constinit const hdf_Datatype hdf_Datatype::NATIVE_DOUBLE(kDouble);

namespace {
constexpr hdf_StoredType::Road kRefused{H5I_INVALID_HID, false};

// An IEEE number: sign, exponent and fraction side by side, the first bit of the fraction implied.
bool isIeee(hid_t type, std::size_t bits) {
  std::size_t sign = 0, exponent = 0, exponentBits = 0, fraction = 0, fractionBits = 0;
  return H5Tget_fields(type, &sign, &exponent, &exponentBits, &fraction, &fractionBits) >= 0 &&
         sign == bits - 1 && exponentBits > 1 && exponent + exponentBits == sign && fraction == 0 &&
         fractionBits == exponent && H5Tget_ebias(type) == (std::size_t{1} << (exponentBits - 1)) - 1 &&
         H5Tget_norm(type) == H5T_NORM_IMPLIED;
}

// Of 1, 2, 4 or 8 bytes, all of whose bits count. HDF5 takes the place and number of the bits from the file
// as they stand there and, where it converts, writes over memory with those that cannot be.
bool isPlainNumber(hid_t type, H5T_class_t family, std::size_t size) {
  const std::size_t bits = 8 * size;
  const H5T_order_t order = H5Tget_order(type);
  return size <= 8 && std::has_single_bit(size) && H5Tget_precision(type) == bits &&
         H5Tget_offset(type) == 0 && (order == H5T_ORDER_LE || order == H5T_ORDER_BE) &&
         (family == H5T_INTEGER || isIeee(type, bits));
}
} // namespace

// The variables behind HDF5's type macros: a file is open wherever this is called, so the macros' call that
// brings the library up would be one lock too many on the way of every small write.
hid_t hdf_NativeType(hdf_Datatype type) {
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
  const bool isNumber = stored.family == H5T_INTEGER || stored.family == H5T_FLOAT;
  if (isNumber && !isPlainNumber(type, stored.family, stored.size))
    stored.family = H5T_NO_CLASS;
  if (stored.family == H5T_INTEGER)
    stored.isSigned = H5Tget_sign(type) == H5T_SGN_2;
  return stored;
}

hdf_StoredType::Road hdf_StoredType::Read(hdf_Datatype target) const {
  const hdf_StoredType memory = Of(target);
  if (*this == memory)
    return {hdf_NativeType(target), false};
  if (family != memory.family)
    return kRefused;
  if (memory.size == 1) // bytes are bytes
    return size == 1 ? Road{isSigned ? H5T_NATIVE_SCHAR : H5T_NATIVE_UCHAR, false} : kRefused;
  if (family == H5T_FLOAT)
    return size <= memory.size ? Road{hdf_NativeType(target), false} : kRefused;
  return {hdf_NativeType(target), size >= memory.size};
}

hdf_StoredType::Road hdf_StoredType::Write(hdf_Datatype source) const {
  const hdf_StoredType memory = Of(source);
  if (*this == memory)
    return {hdf_NativeType(source), false};
  if (family != memory.family)
    return kRefused;
  if (memory.size == 1)
    return size == 1 ? Road{isSigned ? H5T_NATIVE_SCHAR : H5T_NATIVE_UCHAR, false} : kRefused;
  if (family == H5T_FLOAT)
    return size >= memory.size ? Road{hdf_NativeType(source), false} : kRefused;
  return {hdf_NativeType(source), !isSigned || size < memory.size};
}
