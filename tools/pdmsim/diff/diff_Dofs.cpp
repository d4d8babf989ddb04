#include <pdmsim/diff/diff_Dofs.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/dofs/dofs_Numbering.h>

namespace {

std::optional<dofs_Numbering> numberingOf(const sto_File& file, const std::string& name) try {
  const auto systems = file.Mesh().systems();
  for (int i = 0; i < systems.count(); ++i)
    if (name == systems.get(i).systemName().cStr() && !systems.get(i).nodalActivityMask().IsNull())
      return dofs_Number(file.Path(), systems.get(i));
  return std::nullopt;
} catch (const cli_Failure&) { // what is wrong with it is not the comparison's affair
  return std::nullopt;
}

/// What tells each degree of freedom from all others, by the nodes as the first file numbers them.
std::vector<std::int64_t> keysOf(const fesD_NodalDofDefinition& dofs, const diff_Matching& nodes, int side) {
  constexpr std::int64_t kLabels = 64;
  std::vector<std::int64_t> keys(static_cast<std::size_t>(dofs.NumberOfDofs()));
  for (int node = 0; node < dofs.NumberOfNodes(); ++node) {
    const int other = side == 0 ? node : nodes.Other(1, node);
    int count = 0;
    const int* const ids = dofs.NodalDofIds(node, count);
    for (int i = 0; i < count; ++i) {
      const std::int64_t key = (other < 0 ? nodes.Count(0) + node : other) * kLabels + dofs.DofLabel(ids[i]);
      keys[static_cast<std::size_t>(dofs.SystemOrdinal(node, ids[i]))] = key;
    }
  }
  return keys;
}

} // namespace

std::optional<diff_Matching> diff_MatchDofs(const sto_File& a, const sto_File& b, const diff_Matching& nodes,
                                            const std::string& system) {
  const auto first = numberingOf(a, system), second = numberingOf(b, system);
  if (!first || !second || first->dofs->NumberOfNodes() != nodes.Count(0) ||
      second->dofs->NumberOfNodes() != nodes.Count(1))
    return std::nullopt;
  return diff_Matching(keysOf(*first->dofs, nodes, 0), keysOf(*second->dofs, nodes, 1)).Nameless();
}
