#pragma once

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

// What a collection's group holds; private to the module. Each reports failures to the operation.

/// Number of items of an open collection, -1 on failure.
int ORXSimItemsOf(hdf_Operation& operation, hid_t collection);
/// The group of an open collection's member sets; not open when there are none yet.
hdf_GroupHandle ORXSimOpenSets(hdf_Operation& operation, hid_t collection);
/// Number of members of a set, -1 on failure. Opens the set's dataset, unless it is the full set.
int ORXSimSizeOf(ORXSimStoreCall& call, ORXSimCSetID id);
