#include <mpi/numbering/rnk_Tables.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Tables.h>

namespace {
constexpr std::int64_t kBlock = std::int64_t{1} << rnk_Tables::kBlockBits;
}

rnk_Tables::rnk_Tables(const int* masks, std::int64_t nodes, unsigned labels)
    : m_columns(dof_CountBits(labels)), m_ordinals(dof_NewInts(nodes * m_columns)) {
  const auto inBlock = [nodes](std::int64_t first) {
    return static_cast<int>(std::min(kBlock, nodes - first));
  };
  for (std::int64_t first = 0; first < nodes; first += kBlock)
    m_firsts.push_back(m_firsts.back() + dof_SumMasks(masks + first, inBlock(first)).dofs);
  m_codes.reset(dof_NewInts(m_firsts.back()));
  for (std::int64_t first = 0, block = 0; first < nodes; first += kBlock, ++block) {
    const std::int64_t dof = m_firsts[rnk_At(block)];
    const dof_MaskSums sums{labels, static_cast<int>(m_firsts[rnk_At(block + 1)] - dof)};
    dof_FillTables(masks + first, inBlock(first), sums,
                   {m_ordinals.get() + first * m_columns, m_codes.get() + dof});
  }
}

rnk_NodeDof rnk_Tables::NodeDof(std::int64_t dof) const {
  const auto after = std::upper_bound(m_firsts.begin(), m_firsts.end(), dof);
  const std::int64_t block = after - m_firsts.begin() - 1;
  const int code = m_codes[rnk_At(dof)];
  return {(block << kBlockBits) + (code >> 7) - 1, code & 63};
}
