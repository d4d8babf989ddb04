#pragma once

#include <pdmsim/diff/diff_Rows.h>

/// What of two meshes a comparison of their connectivity goes by; null where one of them has none.
struct diff_Topology {
  const diff_Matching *nodes = nullptr, *elements = nullptr, *regions = nullptr;
};

/// Compares the nodes of elements, element by element, and the types and blocks of elements.
class diff_Connectivity {
 public:
  /// \param topology  with nodes.
  diff_Connectivity(diff_Files& files, std::string path, ORXSimDistributionID a, ORXSimDistributionID b,
                    const diff_Topology& topology);
  /// False when the numbers are no nodes, and no more than a field like another.
  bool IsOne() const;
  void Compare();

 private:
  void CompareRun(const diff_Run& run);
  void CompareBlocks(const diff_Run& run, std::size_t rows);
  bool SameNodes(const std::int32_t* a, std::size_t widthA, const std::int32_t* b, std::size_t widthB) const;
  std::vector<std::string> Names(int side, const std::int32_t* nodes, std::size_t count) const;
  std::string Element(const diff_Run& run, std::size_t row) const;
  void Finish();

  diff_Files& m_files;
  std::string m_path;
  ORXSimDistributionID m_id[2];
  diff_Topology m_topology;
  std::vector<ORXSimPersistentDrawerDesc> m_drawers[2]; // drawer k is block k
  bool m_byRegion;                                      // and region k
  std::size_t m_different = 0, m_moved = 0;
  std::string m_first, m_firstMoved; // of those
  std::vector<std::string> m_nodes[2];
};
