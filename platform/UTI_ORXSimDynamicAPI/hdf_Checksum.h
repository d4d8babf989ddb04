#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

#include <cstddef>
#include <cstdint>

// Threads: any, at any time.

/// The checksum of everything that this library writes: XXH3 with 64 bits, a published hash (xxhash 0.8).
/// The same on every machine. Finds damage, not deceit.
/// \param count may be 0.
ORXSIM_API std::uint64_t hdf_Checksum(const void* bytes, std::size_t count, std::uint64_t seed = 0);
/// The checksum of HDF5's metadata: Bob Jenkins' lookup3, hashlittle, public domain
/// (burtleburtle.net/bob/c/lookup3.c).
ORXSIM_API std::uint32_t hdf_MetadataChecksum(const unsigned char* bytes, std::size_t count);
