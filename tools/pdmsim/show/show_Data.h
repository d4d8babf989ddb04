#pragma once

#include <pdmsim/show/show_Values.h>

/// Ranges and first rows of a field. Reads its data a few MiB at a time.
/// \param head rows of the first drawer shown.
/// \param drawer the only drawer to look at; none: all. Adds "drawers": [{..., "range": [{"min", "max",
///     "nan"}]}] and "head": {"drawer", "items", "rows"} to `description`. Throws cli_Failure when data
///     cannot be read or there is no such drawer.
void show_FieldData(ORXSimDistributionID id, int head, std::optional<int> drawer, show_Json& description);

/// The first members of a set, as "head": {"items"}.
void show_SetData(ORXSimCSetID id, int head, show_Json& description);
