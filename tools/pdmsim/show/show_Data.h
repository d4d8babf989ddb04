#pragma once

#include <pdmsim/show/show_Values.h>

/// What of a field to look at.
struct show_Choice {
  int head = 10;                   // rows of a drawer, or members of a set
  std::optional<int> drawer, step; // the only one; neither: all drawers
  int most = 0;                    // drawers in all; 0: any number
};

/// Adds "drawers": [{..., "range": [{"min", "max", "nan"}], "head": {"items", "labels", "times", "rows"}}] to
/// `description`: every drawer that was chosen with its first rows, or all drawers and the first rows of the
/// first, which stands again as "head". Reads data a few MiB at a time. Throws cli_Failure when data cannot
/// be read or there is no such drawer or step.
/// \param what  file and field, for messages.
void show_FieldData(const std::string& what, ORXSimDistributionID id, const show_Choice& choice,
                    show_Json& description);

/// The first members of a set, as "head": {"items", "labels"}.
void show_SetData(ORXSimCSetID id, int head, show_Json& description);
