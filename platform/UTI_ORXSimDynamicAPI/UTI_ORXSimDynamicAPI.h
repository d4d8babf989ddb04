#pragma once

// The simulation-file API as a host uses it. What only tools use is installed beside it and included by name:
// ORXSim_Inspect.h, ORXSim_Compact.h, ORXSim_Journal.h and hdf_Checksum.h.

#include <UTI_ORXSimDynamicAPI/ORXSim_Array.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Assert.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_CSet.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Collection.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_OpenDrawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Store.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Verification.h>
#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

// Threads: bring the module up before threads that use it start, and take it down after they have ended.

/// Brings the module up on the first call. Files may be opened without it as well.
/// \param modules the caller's counter of modules brought up.
ORXSIM_API void UTI_ORXSimDynamicAPI_initialize(int& modules);
/// Takes the module down on the last call: closes the contexts that are still open and gives back what the
/// module keeps of HDF5.
/// \param modules the caller's counter of modules brought up.
ORXSIM_API void UTI_ORXSimDynamicAPI_finalize(int& modules);
