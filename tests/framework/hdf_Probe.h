#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Group.h>

/// A new object group below the root of an open file.
inline gbb_Group hdf_GroupOf(ORXSimContextID context, const char* name) {
  return gbb_Group::Create(gbb_Group(ORXSimContextRef(context).File().RootGroup()), name);
}
