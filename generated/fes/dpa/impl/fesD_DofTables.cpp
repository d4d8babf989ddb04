#include <fes/dpa/impl/fesD_DofTables.h>

#include <fes/dpa/impl/fesD_DofSink.h>
#include <fes/dpa/impl/fesD_DofWriter.h>

#include <algorithm>

// A node's mask is taken four labels at a time. For each of its (up to eight) fours, a small table gives by
// the value of the four bits the whole of what goes into the node's row and into the code array, so that a
// four costs two stores of four ints whatever is set in it. A store may reach past its row, or past the codes
// of its node, into what is written next: so a block of nodes is filled in a small buffer that has room for it
// and goes from there to the tables.

namespace {

struct Four {
  alignas(16) int ordinals[4]; // per column the DOF's place among the four's active ones
  alignas(16) int absent[4];   // per column -1 where it is not active, else 0
  alignas(16) int ids[4];      // the DOF ids of the active ones, without gaps
};

struct Group {
  int shift;  // the four's first bit
  int column; // the DOF id of the four's first label in use
  Four byBits[16];
};

struct Groups {
  int count = 0;
  int columns = 0; // labels in use
  Group each[8];
};

void describe(Four& four, unsigned bits, unsigned labels, int column) {
  int lane = 0, active = 0;
  for (int& absent : four.absent)
    absent = -1;
  for (unsigned label = 1; label < 16; label <<= 1) {
    if ((labels & label) == 0)
      continue;
    if ((bits & label) != 0) {
      four.ordinals[lane] = active;
      four.absent[lane] = 0;
      four.ids[active++] = column + lane;
    }
    ++lane;
  }
}

void describe(Groups& groups, unsigned labels) {
  for (int shift = 0; shift < 32; shift += 4) {
    const unsigned of = labels >> shift & 15;
    if (of == 0)
      continue;
    Group& group = groups.each[groups.count++];
    group.shift = shift;
    group.column = groups.columns;
    for (unsigned bits = 0; bits < 16; ++bits)
      describe(group.byBits[bits] = {}, bits, of, group.column);
    groups.columns += fesD_kBitsOfFour[of];
  }
}

constexpr long long kStreamFrom = 32 << 20; // bytes that no cache keeps until they are used
constexpr int kNodes = 64; // nodes a block
constexpr int kColumns = 31;
using Sink = fesD_DofSink<kNodes * kColumns>;

// Fills one block's rows and codes; `dof` is its first DOF. Answers the DOF after its last.
template <int Count>
int fillBlock(const int* masks, int node, int end, int dof, const Groups& groups, int* row, int* codes) {
  codes -= dof;
  for (; node < end; ++node, row += groups.columns) {
    const auto mask = static_cast<unsigned>(masks[node]);
    const fesD_Lanes code = fesD_Lanes::Splat(128 * (node + 1));
    for (int i = 0; i < (Count > 0 ? Count : groups.count); ++i) {
      const Group& group = groups.each[i];
      const unsigned bits = mask >> group.shift & 15;
      const Four& four = group.byBits[bits];
      const fesD_Lanes first = fesD_Lanes::Splat(dof);
      ((first + fesD_Lanes::Load(four.ordinals)) | fesD_Lanes::Load(four.absent)).Store(row + group.column);
      (code + fesD_Lanes::Load(four.ids)).Store(codes + dof);
      dof += fesD_kBitsOfFour[bits];
    }
  }
  return dof;
}

template <int Count>
void fill(const int* masks, int n, const Groups& groups, fesD_DofTables tables, bool streaming) {
  Sink rows(tables.ordinals, streaming), codes(tables.codes, streaming);
  int dof = 0;
  for (int node = 0; node < n; node += kNodes) {
    const int end = std::min(node + kNodes, n), first = dof;
    dof = fillBlock<Count>(masks, node, end, first, groups, rows.Room(), codes.Room());
    rows.Take((end - node) * groups.columns);
    codes.Take(dof - first);
  }
  rows.Finish();
  codes.Finish();
}

} // namespace

fesD_MaskSums fesD_SumMasks(const int* masks, int n) {
  const fesD_Lanes ones = fesD_Lanes::Splat(0x55555555), twos = fesD_Lanes::Splat(0x33333333),
                   fours = fesD_Lanes::Splat(0x0f0f0f0f), total = fesD_Lanes::Splat(0x3f);
  fesD_Lanes labels = fesD_Lanes::Splat(0), dofs = labels;
  int i = 0;
  for (; i <= n - 4; i += 4) {
    fesD_Lanes bits = fesD_Lanes::Load(masks + i);
    labels = labels | bits;
    bits = bits - (bits.ShiftRight<1>() & ones);
    bits = (bits & twos) + (bits.ShiftRight<2>() & twos);
    bits = (bits + bits.ShiftRight<4>()) & fours;
    bits = bits + bits.ShiftRight<8>();
    dofs = dofs + ((bits + bits.ShiftRight<16>()) & total);
  }
  int each[8];
  labels.Store(each);
  dofs.Store(each + 4);
  fesD_MaskSums sums;
  for (int lane = 0; lane < 4; ++lane) {
    sums.labels |= static_cast<unsigned>(each[lane]);
    sums.dofs += each[lane + 4];
  }
  for (; i < n; ++i) {
    sums.labels |= static_cast<unsigned>(masks[i]);
    sums.dofs += fesD_CountBits(static_cast<unsigned>(masks[i]));
  }
  return sums;
}

void fesD_FillDofTables(const int* masks, int n, fesD_MaskSums sums, fesD_DofTables tables) {
  Groups groups;
  describe(groups, sums.labels);
  if (groups.count == 0)
    return;
  const bool streaming = 4LL * (static_cast<long long>(n) * groups.columns + sums.dofs) > kStreamFrom;
  (groups.count == 1   ? fill<1>
   : groups.count == 2 ? fill<2>
                       : fill<0>)(masks, n, groups, tables, streaming);
}
