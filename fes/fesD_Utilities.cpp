#include <fes/fesD_Utilities.h>

#include <UTI_CoreUtils/UTI_CoreUtils.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>
#include <fes/dpa/fesD_NodalDofDefinition.h>
#include <gbb/gbb_Call.h>

#include <algorithm>

int* fesD_Utilities::InternalToUserNodes(fesD_FESystem system, int& count) {
  const gbb_Call call("**ERROR fesD_Utilities::InternalToUserNodes: ");
  const ORXSimDistributionID labels = system.nodalLabels();
  if (labels.IsNull()) {
    err_Write("User node labels distribution not found!");
    err_Write("\n");
    err_Flush();
    count = 0;
    return static_cast<int*>(mem_OperatorNewThrowBuiltin(0));
  }
  return fesD_NodalDofDefinition::ReadInts(ORXSimDistributionRef(labels), count);
}

int* fesD_Utilities::UserToInternalNodes(fesD_FESystem system, int& count) {
  const gbb_Call call("**ERROR fesD_Utilities::UserToInternalNodes: ");
  int nodes = 0;
  int* const labels = InternalToUserNodes(system, nodes);
  count = 0;
  for (int node = 0; node < nodes; ++node)
    count = std::max(count, labels[node]);
  const std::size_t entries = static_cast<std::size_t>(count) + 1;
  int* const internal = static_cast<int*>(mem_OperatorNewThrowBuiltin(entries * sizeof(int)));
  std::fill_n(internal, entries, -1);
  for (int node = 0; node < nodes; ++node)
    if (labels[node] > 0)
      internal[labels[node]] = node;
  mem_Free(labels);
  return internal;
}
