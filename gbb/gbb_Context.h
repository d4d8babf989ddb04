#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_SchemaSnapshot.h>
#include <kda/kda_Export.h>

class gbb_Path;

/// The context of the file that an object belongs to, by the link "#/distributionService"; null, after the
/// link's line, when its path has no root.
PDM_CORE_API ORXSimContextID gbb_ContextOf(const gbb_Path& path);

/// The schema snapshot of the file that an object belongs to, by the link "#/schemaSnapshot".
PDM_CORE_API gbb_SchemaSnapshot gbb_SnapshotOf(const gbb_Path& path);
