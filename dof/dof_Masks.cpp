#include <dof/dof_Masks.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Lanes.h>

#include <algorithm>
#include <bit>

namespace {
constexpr unsigned kAcousticTwin = 1 << 9; // label 10
}

void dof_TransformMasks(int* masks, int n, int shift, bool addLabel10) {
  shift &= 31;
  if (shift == 0 && !addLabel10)
    return; // shifted by nothing a mask is what it was
  const unsigned twin = addLabel10 ? kAcousticTwin : 0;
  for (int node = 0; node < n; ++node) {
    auto mask = static_cast<unsigned>(masks[node]);
    mask |= (mask & dof_kAcoustic) != 0 ? twin : 0;
    masks[node] = static_cast<int>(mask | mask << shift);
  }
}

dof_MaskSums dof_SumMasks(const int* masks, int n) {
  const dof_Lanes ones = dof_Lanes::Splat(0x55555555), twos = dof_Lanes::Splat(0x33333333),
                  fours = dof_Lanes::Splat(0x0f0f0f0f), eights = dof_Lanes::Splat(0x00ff00ff),
                  sixteens = dof_Lanes::Splat(0x0000ffff);
  dof_Lanes labels = dof_Lanes::Splat(0), dofs = labels;
  int i = 0;
  while (i <= n - 4) {
    const int end = std::min(n - 3, i + 4 * 31); // a byte holds the sum of 31 bytes' bits
    dof_Lanes bytes = dof_Lanes::Splat(0);
    for (; i < end; i += 4) {
      dof_Lanes bits = dof_Lanes::Load(masks + i);
      labels = labels | bits;
      bits = bits - (bits.ShiftRight<1>() & ones);
      bits = (bits & twos) + (bits.ShiftRight<2>() & twos);
      bytes = bytes + ((bits + bits.ShiftRight<4>()) & fours);
    }
    bytes = (bytes & eights) + (bytes.ShiftRight<8>() & eights);
    dofs = dofs + ((bytes + bytes.ShiftRight<16>()) & sixteens);
  }
  int each[8];
  labels.Store(each);
  dofs.Store(each + 4);
  dof_MaskSums sums;
  for (int lane = 0; lane < 4; ++lane) {
    sums.labels |= static_cast<unsigned>(each[lane]);
    sums.dofs += each[lane + 4];
  }
  for (; i < n; ++i) {
    sums.labels |= static_cast<unsigned>(masks[i]);
    sums.dofs += dof_CountBits(static_cast<unsigned>(masks[i]));
  }
  return sums;
}

void dof_NumberLabels(unsigned labels, int* idByLabel, int* labelById) {
  const int highest = static_cast<int>(std::bit_width(labels));
  idByLabel[0] = -1;
  int id = 0;
  for (int label = 1; label <= highest; ++label) {
    const bool used = (labels >> (label - 1) & 1) != 0;
    idByLabel[label] = used ? id : -1;
    if (used)
      labelById[id++] = label;
  }
}

int dof_IdsOf(unsigned mask, const int* idByLabel, int* ids) {
  int count = 0;
  for (unsigned rest = mask; rest != 0; rest &= rest - 1)
    ids[count++] = idByLabel[std::countr_zero(rest) + 1];
  return count;
}
