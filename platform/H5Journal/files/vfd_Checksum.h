#pragma once

#include <cstddef>
#include <cstdint>

/// XXH3 with 64 bits, a published hash (xxhash 0.8). The same on every machine. Finds damage, not deceit.
/// \param count may be 0.
std::uint64_t vfd_Checksum(const void* bytes, std::size_t count, std::uint64_t seed = 0);
/// The checksum of HDF5's metadata: Bob Jenkins' lookup3, hashlittle, public domain
/// (burtleburtle.net/bob/c/lookup3.c).
std::uint32_t vfd_MetadataChecksum(const unsigned char* bytes, std::size_t count);
