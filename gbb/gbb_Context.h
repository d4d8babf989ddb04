#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_SchemaSnapshot.h>
#include <kda/kda_Export.h>

class gbb_Path;
class ORXSimUpdate;

// Threads: one at a time for all objects of a root.

/// The context of the file that an object belongs to, by the link "#/distributionService"; null, after the
/// link's line, when its path has no root.
PDM_CORE_API ORXSimContextID gbb_ContextOf(const gbb_Path& path);

/// The schema snapshot of the file that an object belongs to, by the link "#/schemaSnapshot".
PDM_CORE_API gbb_SchemaSnapshot gbb_SnapshotOf(const gbb_Path& path);

/// Writes the description of a class into the file of an object, as gbb_SchemaSnapshot::Describe; nothing for
/// an object that is in no file.
PDM_CORE_API void gbb_DescribeClass(const gbb_Path& path, ORXSimContextID context, const char* name,
                                    const char* text);

/// A write of an object has failed: what has not barred the context is rolled back, so that no open scope
/// commits the rest without it.
PDM_CORE_API void gbb_TakeBack(ORXSimContextID context);

/// Ends the write of an object, as ORXSimContextRef::Commit(). Without a context there are no commit points.
/// \return false when it failed, which the gbb_Call under way tells.
PDM_CORE_API bool gbb_Commit(ORXSimContextID context);

/// Commits the update in which an object was made, or rolls it back when the gbb_Call under way has failed,
/// which every write is checked with: not every failure bars the context, but half an object may stand in the
/// file. Without a context there is nothing to commit.
/// \return false when it was not committed, which the call tells.
PDM_CORE_API bool gbb_CommitWhole(ORXSimUpdate& update, ORXSimContextID context);

/// As gbb_CommitWhole for an object that stays where it is. A bar on the context stays as well.
PDM_CORE_API void gbb_CommitBound(ORXSimUpdate& update, ORXSimContextID context);
