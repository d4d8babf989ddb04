#pragma once

#include <PDM_Core.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>
#include <vector>

using Ints = std::vector<int>;

inline int* GiveAway(const Ints& masks) {
  void* const given = mem_OperatorNewThrowBuiltin(masks.size() * sizeof(int));
  std::copy(masks.begin(), masks.end(), static_cast<int*>(given));
  return static_cast<int*>(given);
}

inline fesD_NodalDofDefinition Number(const Ints& masks, int shift = 0, bool addLabel10 = false) {
  return {GiveAway(masks), static_cast<int>(masks.size()), shift, addLabel10};
}

/// Takes over an array of the library. The count is read when the array is there.
inline Ints Taken(int* array, const int& count) {
  const Ints copy(array, array + count);
  mem_Free(array);
  return copy;
}

inline Ints OrderOf(const fesD_NodalDofDefinition& dofs) {
  Ints order;
  for (int i = 0; i < dofs.NumberOfDofs(); ++i)
    order.push_back(dofs.SystemDofFromSolverDof(i));
  return order;
}

/// The numbering told slowly, with sets of labels in place of masks and without any table.
struct dof_Telling {
  using Dof = std::pair<int, int>; // node and label

  dof_Telling(const Ints& masks, int shift, bool addLabel10) {
    for (std::size_t node = 0; node < masks.size(); ++node) {
      std::set<int> active = LabelsOf(masks[node]);
      if (addLabel10 && active.count(8) != 0)
        active.insert(10);
      for (const int label : std::set<int>(active))
        if (label + shift <= 32)
          active.insert(label + shift);
      for (const int label : active) {
        labels.insert(label);
        dofs.emplace_back(static_cast<int>(node), label);
      }
    }
  }

  static std::set<int> LabelsOf(int mask) {
    std::set<int> found;
    for (int label = 1; label <= 32; ++label)
      if ((static_cast<unsigned>(mask) >> (label - 1)) % 2 == 1)
        found.insert(label);
    return found;
  }
  int Id(int label) const { return static_cast<int>(std::distance(labels.begin(), labels.find(label))); }
  int Ordinal(Dof dof) const {
    const auto found = std::lower_bound(dofs.begin(), dofs.end(), dof);
    return found == dofs.end() || *found != dof ? -1 : static_cast<int>(found - dofs.begin());
  }

  /// Everything that the system numbering answers.
  void Check(const fesD_NodalDofDefinition& ours, int nodes) const {
    ASSERT_EQ(ours.NumberOfNodes(), nodes);
    ASSERT_EQ(ours.NumberOfDofs(), static_cast<int>(dofs.size()));
    ASSERT_EQ(ours.MaxNodalDof(), static_cast<int>(labels.size()));
    for (const int label : labels) {
      EXPECT_EQ(ours.SystemDofId(label), Id(label));
      EXPECT_EQ(ours.DofLabel(Id(label)), label);
    }
    for (std::size_t dof = 0; dof < dofs.size(); ++dof) {
      const fesD_NodeDof of = ours.NodeDofFromSystemDof(static_cast<int>(dof));
      ASSERT_EQ(Dof(of.node, ours.DofLabel(of.dofId)), dofs[dof]);
    }
    Ints flat, expected;
    for (int node = 0; node < nodes; ++node) {
      Ints ids;
      for (const int label : labels) {
        expected.push_back(Ordinal({node, label}));
        flat.push_back(static_cast<int>(flat.size()));
        ASSERT_EQ(ours.SystemOrdinal(node, Id(label)), expected.back());
        if (expected.back() >= 0)
          ids.push_back(Id(label));
      }
      int count = -1;
      const int* const active = ours.NodalDofIds(node, count);
      ASSERT_EQ(Ints(active, active + count), ids);
    }
    ours.MaxDofToSystemOrdinals(flat.data(), static_cast<int>(flat.size()));
    ASSERT_EQ(flat, expected);
  }

  std::set<int> labels;
  std::vector<Dof> dofs; // ascending
};

using Random = std::minstd_rand;
inline unsigned Draw(Random& random) {
  return static_cast<unsigned>(random()) << 16 ^ static_cast<unsigned>(random());
}

/// Masks as models have them: few kinds, any kind, or hardly any label.
inline Ints RandomMasks(Random& random, int nodes, unsigned labels) {
  const unsigned kinds[4] = {Draw(random) & labels, Draw(random) & labels, labels, 0};
  const auto style = Draw(random) % 3;
  Ints masks;
  for (int node = 0; node < nodes; ++node)
    masks.push_back(
        static_cast<int>(style == 0   ? kinds[Draw(random) % 4]
                         : style == 1 ? Draw(random) & labels
                                      : Draw(random) & Draw(random) & Draw(random) & Draw(random) & labels));
  return masks;
}
