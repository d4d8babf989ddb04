#pragma once

#include <dof/dof_System.h>
#include <dof/dof_Tables.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <set>
#include <utility>
#include <vector>

using Ints = std::vector<int>;
constexpr int kUnwritten = 0x5a5a5a5a;

/// A system's arrays, each of exactly the documented size.
struct dof_Arrays {
  explicit dof_Arrays(Ints given, int shift = 0, bool addLabel10 = false) : masks(std::move(given)) {
    const int n = static_cast<int>(masks.size());
    dof_TransformMasks(masks.data(), n, shift, addLabel10);
    sums = dof_SumMasks(masks.data(), n);
    const auto size = [](int entries) { return static_cast<std::size_t>(entries); };
    columns = std::popcount(sums.labels);
    idByLabel.assign(size(static_cast<int>(std::bit_width(sums.labels)) + 1), kUnwritten);
    labelById.assign(size(columns), kUnwritten);
    dof_NumberLabels(sums.labels, idByLabel.data(), labelById.data());
    ordinals.assign(masks.size() * size(columns), kUnwritten);
    codes.assign(size(sums.dofs), kUnwritten);
    dof_FillTables(masks.data(), n, sums, {ordinals.data(), codes.data()});
  }
  dof_System System() const {
    return {masks.data(), static_cast<int>(masks.size()), sums, columns, idByLabel.data(), ordinals.data()};
  }

  Ints masks, idByLabel, labelById, ordinals, codes;
  dof_MaskSums sums;
  int columns;
};

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

  /// All that the arrays say.
  void Check(const dof_Arrays& ours) const {
    ASSERT_EQ(ours.labelById, Ints(labels.begin(), labels.end()));
    Ints ids(labels.empty() ? 1 : static_cast<std::size_t>(*labels.rbegin()) + 1, -1);
    for (const int label : labels)
      ids[static_cast<std::size_t>(label)] = Id(label);
    ASSERT_EQ(ours.idByLabel, ids);

    Ints codes, ordinals;
    for (const auto& [node, label] : dofs)
      codes.push_back(128 * (node + 1) + Id(label));
    ASSERT_EQ(ours.codes, codes);
    for (int node = 0; node < static_cast<int>(ours.masks.size()); ++node) {
      Ints active;
      for (const int label : labels) {
        ordinals.push_back(Ordinal({node, label}));
        if (ordinals.back() >= 0)
          active.push_back(Id(label));
      }
      Ints found(active.size(), kUnwritten);
      ASSERT_EQ(dof_IdsOf(ours.System().Mask(node), ours.idByLabel.data(), found.data()),
                static_cast<int>(active.size()));
      ASSERT_EQ(found, active);
    }
    ASSERT_EQ(ours.ordinals, ordinals);
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
