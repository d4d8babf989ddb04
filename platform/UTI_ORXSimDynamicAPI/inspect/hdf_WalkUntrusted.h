#pragma once

#include <hdf5.h>

#include <cstdint>
#include <functional>

class hdf_Operation;

/// Lets a child process with limits walk a file before this process opens it: groups, attributes, the shape,
/// type and size of every dataset, and the content of small ones. Private to the module.
/// \param fileBytes size of the file.
/// \param open opens the file for reading, in the child; a negative identifier when it cannot.
/// \return false, with one line as the cause, when the child died, took too long or found something that HDF5
///     cannot read or that is not laid out as this library does. Links that are not followed are no cause.
bool hdf_WalkUntrusted(hdf_Operation& operation, std::uint64_t fileBytes, const std::function<hid_t()>& open);
