#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <H5Journal/H5Journal.h>

std::uint64_t hdf_Checksum(const void* bytes, std::size_t count, std::uint64_t seed) {
  return H5Jchecksum(bytes, count, seed);
}

std::uint32_t hdf_MetadataChecksum(const unsigned char* bytes, std::size_t count) {
  return H5Jmetadata_checksum(bytes, count);
}
