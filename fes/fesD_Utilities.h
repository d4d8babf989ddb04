#pragma once

#include <fes/dpa/fesD_FESystem.h>

/// Translates between a system's internal nodes (0-based places in its node distributions) and the user's
/// node labels, as they stand in the system's nodalLabels distribution.
///
/// A system without labels is reported on the error stream and treated like one without nodes; so are labels
/// that cannot be read or are no ints, and ORXSimManager::LastError() has the cause as well.
/// The arrays come from the core allocator; the caller releases them with mem_Free.
///
/// Threads: one at a time for all objects of the system's root.
class PDM_CORE_API fesD_Utilities {
 public:
  /// \param count  receives the number of nodes.
  /// \return [count] the user label of each internal node.
  static int* InternalToUserNodes(fesD_FESystem system, int& count);
  /// \param count  receives the largest label, 0 when none is above 0.
  /// \return [count + 1] by user label the internal node, -1 for labels that no node has; of several nodes
  ///         with one label the last. Labels below 1 are not there.
  /// Cost: O(nodes + largest label), in memory also.
  static int* UserToInternalNodes(fesD_FESystem system, int& count);
};
