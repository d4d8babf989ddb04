#pragma once

#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>

/// Makes a new file or opens one, the only place where files are opened. Takes the lock before it touches
/// anything.
/// \param context fileName, readOnly, live, admit and durability are set; file and store are filled.
/// \return false, with the cause reported and nothing left open.
bool hdf_CreateFile(hdf_Operation& operation, hdf_Context& context, bool mustBeNew);
bool hdf_OpenFile(hdf_Operation& operation, hdf_Context& context);
/// Opens a context's file again after HDF5 has closed it, with what its store shows now.
bool hdf_ReopenFile(hdf_Operation& operation, hdf_Context& context);
