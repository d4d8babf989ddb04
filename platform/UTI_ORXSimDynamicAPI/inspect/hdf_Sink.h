#pragma once

#include <hdf5.h>

/// Has HDF5 write a new file that may not get all the room it needs. HDF5 does not outlive a file that it
/// cannot write to the end, so a write that fails is kept, and all goes on as if it had not.
/// \param access file access properties to use for H5Fcreate.
/// \param error  becomes errno of the first failure, and lives as long as the file. 0 before.
/// \return negative when it failed.
herr_t hdf_UseSink(hid_t access, int* error);
