#include <dof/dof_Selection.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Writer.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

bool noneOfEight(const bool* selected) {
  static_assert(sizeof(bool) == 1);
  std::uint64_t flags;
  std::memcpy(&flags, selected, sizeof flags);
  return flags == 0;
}

// Calls take(mask, chosen, first) for the nodes in order, `first` the node's first system DOF and `chosen`
// its mask or, where it is not selected, 0; take answers the DOF after the node's last. Eight nodes of which
// none is selected are passed over, and their DOFs counted together with those of their like.
template <class Take>
void forSelected(const dof_System& system, const bool* selected, Take take) {
  int first = 0, reached = 0; // the first DOF of node `reached`
  for (int block = 0; block < system.nodes; block += 8) {
    const int end = std::min(block + 8, system.nodes);
    if (end == block + 8 && noneOfEight(selected + block))
      continue;
    if (reached < block)
      first += dof_SumMasks(system.masks + reached, block - reached).dofs;
    for (reached = block; reached < end; ++reached) {
      const unsigned mask = system.Mask(reached);
      first = take(mask, mask & (0u - static_cast<unsigned>(selected[reached])), first);
    }
  }
}

// The places of the wanted DOFs, of which there are `all`, in an order; four at once without branches, for as
// long as four more have room behind them.
int placesOf(const dof_Bits& wanted, const int* order, int all, int* places) {
  int count = 0, place = 0;
  for (; count <= all - 4; place += 4) {
    const int* const four = order + place;
    const unsigned bits =
        wanted.Bit(four[0]) | wanted.Bit(four[1]) << 1 | wanted.Bit(four[2]) << 2 | wanted.Bit(four[3]) << 3;
    (dof_Lanes::Splat(place) + dof_Lanes::Load(dof_kChosenOfFour[bits << 4 | 15].offsets))
        .Store(places + count);
    count += dof_kBitsOfFour[bits];
  }
  for (; count < all; ++place)
    if (wanted.Bit(order[place]) != 0)
      places[count++] = place;
  return count;
}

} // namespace

int dof_SelectSystemDofs(const dof_System& system, const bool* selected, int* dofs) {
  dof_Writer writer(dofs, system.sums.dofs, system.sums.labels);
  forSelected(system, selected,
              [&](unsigned mask, unsigned chosen, int first) { return writer.Append(mask, chosen, first); });
  return writer.Written();
}

// Marks the selected DOFs and takes them in the solver's order: no inverse, and nothing to sort.
int dof_SelectPlaces(const dof_System& system, const int* order, const bool* selected, int* places) {
  dof_Bits wanted(system.sums.dofs);
  int all = 0;
  forSelected(system, selected, [&](unsigned mask, unsigned chosen, int first) {
    const int chosenCount = dof_CountBits(chosen);
    wanted.SetRun(first, chosenCount);
    all += chosenCount;
    return first + dof_CountBits(mask);
  });
  return placesOf(wanted, order, all, places);
}
