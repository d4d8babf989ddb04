#pragma once

#include <pdm/pdm_Numbering.h>

#include <mpi.h>

#include <numeric>
#include <random>

using Longs = std::vector<std::int64_t>;

/// The same system on every rank, drawn by a seed: which rank has what, and what all have together.
struct Model {
  Model(MPI_Comm comm, unsigned seed, int nodes) : random(seed), masks(static_cast<std::size_t>(nodes)) {
    MPI_Comm_rank(comm, &rank);
    MPI_Comm_size(comm, &size);
    std::vector<int> cuts{0, nodes};
    for (int i = 1; i < size; ++i)
      cuts.push_back(Draw(nodes + 1));
    std::sort(cuts.begin(), cuts.end());
    if (size > 2 && seed % 2 == 0)
      cuts[1] = cuts[2]; // a rank without nodes in between
    for (int i = 0; i < size; ++i)
      counts.push_back(cuts[static_cast<std::size_t>(i) + 1] - cuts[static_cast<std::size_t>(i)]);
    first = cuts[static_cast<std::size_t>(rank)];
    count = counts[static_cast<std::size_t>(rank)];
    for (int width : {2, 4, 8}) {
      widths.push_back(width);
      all.emplace_back();
      mine.emplace_back();
      for (int element = nodes == 0 ? 0 : nodes / width; element > 0; --element)
        AddElement(width, Draw(nodes), nodes);
    }
  }

  int Draw(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random); }
  /// A mask of a few of some labels, 0 for one node in four.
  int DrawMask() { return Draw(4) == 0 ? 0 : Draw(1 << 12) & 0b1001'1000'1110; }
  bool IsMine(int owner) const { return owner == rank; }
  /// The part of something of all nodes that this rank has.
  template <class Value>
  std::vector<Value> Own(const std::vector<Value>& ofAll) const {
    return {ofAll.begin() + first, ofAll.begin() + first + count};
  }
  /// Any order of the numbers from 0.
  std::vector<int> Shuffled(int n) {
    std::vector<int> numbers(static_cast<std::size_t>(n));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), random);
    return numbers;
  }

  std::mt19937 random;
  int rank = 0, size = 1, first = 0, count = 0;
  std::vector<int> counts, masks, widths;
  std::vector<std::vector<int>> all; // the elements of all ranks by width
  std::vector<Longs> mine;           // those of this one

 private:
  // Mostly neighbours, some far away, some places empty; whoever has it.
  void AddElement(int width, int near, int nodes) {
    const bool own = IsMine(Draw(size));
    for (int i = 0; i < width; ++i) {
      const int node = Draw(9) == 0 ? -1 : Draw(5) == 0 ? Draw(nodes) : std::min(nodes - 1, near + i);
      all.back().push_back(node);
      if (own)
        mine.back().push_back(node);
    }
  }
};
