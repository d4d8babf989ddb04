#include <dof/dof_Tables.h>

#include <dof/dof_Bits.h>
#include <dof/dof_Lanes.h>

#include <algorithm>
#include <array>
#include <bit>

// A node's mask is taken eight labels at a time, which for most systems is all of it. A pattern gives by the
// value of the eight bits the whole of what they bring to the node's row and to the code array, so that eight
// labels cost two stores of eight ints whatever is set in them. A store may reach past its row, or past the
// codes of its node, where what comes next is written afterwards; the last nodes go one by one. The two
// tables take turns, block by block, which is a fifth faster than both at once when they come from memory.

namespace {

constexpr int kNodes = 64; // nodes a block

// What eight bits of a mask bring. Two cache lines: any other size costs a tenth more.
struct alignas(64) Pattern {
  int ordinals[8]; // per column the DOF's place among the active ones
  int absent[8];   // per column -1 where it is not active, else 0
  int ids[8];      // the DOF ids of the active ones, without gaps
  int count[4];    // active ones, the same in each
};

// Eight neighbouring labels.
struct Eight {
  int column;              // the DOF id of the first of them that is in use
  const Pattern* patterns; // [256], filled for all parts of the labels in use
};

struct Patterns {
  explicit Patterns(unsigned labels);

  int count = 0;   // eights, up to the last label in use
  int columns = 0; // labels in use
  Eight eights[4];

 private:
  std::unique_ptr<void, dof_Free> m_block;
};

void fill(Pattern& pattern, unsigned bits, unsigned labels, int column) {
  pattern = {};
  int lane = 0;
  for (unsigned rest = labels; rest != 0; rest &= rest - 1, ++lane) {
    const bool active = (bits & rest & (0 - rest)) != 0;
    pattern.ordinals[lane] = pattern.count[0];
    pattern.absent[lane] = active ? 0 : -1;
    if (active)
      pattern.ids[pattern.count[0]++] = column + lane;
  }
  std::fill_n(pattern.count + 1, 3, pattern.count[0]);
}

Patterns::Patterns(unsigned labels) : count((static_cast<int>(std::bit_width(labels)) + 7) / 8) {
  std::size_t room = static_cast<std::size_t>(count) * 256 * sizeof(Pattern) + alignof(Pattern);
  void* start = mem_OperatorNewThrow(room);
  m_block.reset(start);
  auto* patterns = static_cast<Pattern*>(std::align(alignof(Pattern), sizeof(Pattern), start, room));
  for (int i = 0; i < count; ++i, patterns += 256) {
    const unsigned of = labels >> 8 * i & 255;
    unsigned bits = 0;
    do
      fill(patterns[bits], bits, of, columns);
    while ((bits = (bits - of) & of) != 0);
    eights[i] = {columns, patterns};
    columns += dof_CountBits(of);
  }
}

// A block's nodes, and the system DOF before which they start.
struct Block {
  const int* masks;
  int node, end;
  int dof;
};

// Writes the rows, from the first on. Answers the DOF after the block's last. The block and the eights come
// by value, so that no store can be taken for a change of them; what counts up does so in all lanes.
template <std::size_t Count>
int rowsByPattern(Block block, std::array<Eight, Count> eights, std::ptrdiff_t columns, int* row) {
  dof_Lanes first = dof_Lanes::Splat(block.dof);
  for (; block.node < block.end; ++block.node, row += columns) {
    const auto mask = static_cast<unsigned>(block.masks[block.node]);
    for (std::size_t i = 0; i < Count; ++i) {
      const Pattern& pattern = eights[i].patterns[mask >> 8 * i & 255];
      for (int lane = 0; lane < 8; lane += 4)
        ((first + dof_Lanes::Load(pattern.ordinals + lane)) | dof_Lanes::Load(pattern.absent + lane))
            .Store(row + (i == 0 ? 0 : eights[i].column) + lane);
      first = first + dof_Lanes::Load(pattern.count);
    }
  }
  int reached[4];
  first.Store(reached);
  return reached[0];
}

template <std::size_t Count>
void codesByPattern(Block block, std::array<Eight, Count> eights, int* code) {
  const dof_Lanes step = dof_Lanes::Splat(128);
  dof_Lanes ofNode = dof_Lanes::Splat(128 * (block.node + 1));
  for (; block.node < block.end; ++block.node, ofNode = ofNode + step) {
    const auto mask = static_cast<unsigned>(block.masks[block.node]);
    for (std::size_t i = 0; i < Count; ++i) {
      const Pattern& pattern = eights[i].patterns[mask >> 8 * i & 255];
      for (int lane = 0; lane < 8; lane += 4)
        (ofNode + dof_Lanes::Load(pattern.ids + lane)).Store(code + lane);
      code += pattern.count[0];
    }
  }
}

int rowsOneByOne(Block block, unsigned labels, int* row) {
  for (; block.node < block.end; ++block.node)
    for (unsigned rest = labels; rest != 0; rest &= rest - 1)
      *row++ = (static_cast<unsigned>(block.masks[block.node]) & rest & (0 - rest)) != 0 ? block.dof++ : -1;
  return block.dof;
}

void codesOneByOne(Block block, unsigned labels, int* code) {
  for (; block.node < block.end; ++block.node)
    for (unsigned rest = static_cast<unsigned>(block.masks[block.node]); rest != 0; rest &= rest - 1)
      *code++ = 128 * (block.node + 1) + dof_CountBits(labels & ((rest & (0 - rest)) - 1));
}

template <std::size_t Count>
void fill(const int* masks, int n, dof_MaskSums sums, const Patterns& patterns, dof_Tables tables) {
  std::array<Eight, Count> eights;
  std::copy_n(patterns.eights, Count, eights.begin());
  const int past = (8 + patterns.columns - 1) / patterns.columns; // rows into which a row's stores may reach
  int* row = tables.ordinals;
  Block block{masks, 0, 0, 0};
  for (; block.node < n; block.node = block.end) {
    block.end = std::min(block.node + kNodes, n);
    const int dof = block.end <= n - past ? rowsByPattern(block, eights, patterns.columns, row)
                                          : rowsOneByOne(block, sums.labels, row);
    if (dof <= sums.dofs - 8)
      codesByPattern(block, eights, tables.codes + block.dof);
    else
      codesOneByOne(block, sums.labels, tables.codes + block.dof);
    row += static_cast<std::ptrdiff_t>(block.end - block.node) * patterns.columns;
    block.dof = dof;
  }
}

} // namespace

void dof_FillTables(const int* masks, int n, dof_MaskSums sums, dof_Tables tables) {
  if (sums.labels == 0)
    return;
  if (n <= kNodes) { // not worth the patterns
    const Block all{masks, 0, n, 0};
    rowsOneByOne(all, sums.labels, tables.ordinals);
    codesOneByOne(all, sums.labels, tables.codes);
    return;
  }
  const Patterns patterns(sums.labels);
  constexpr decltype(&fill<1>) byCount[]{fill<1>, fill<2>, fill<3>, fill<4>};
  byCount[patterns.count - 1](masks, n, sums, patterns, tables);
}
