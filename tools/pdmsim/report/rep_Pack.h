#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Numbers made small for a page: each of these texts is base64 of zlib's format, which the page's script
/// takes apart again.

/// The corners of faces, of nodes that are numbered anew in the order in which they come.
class rep_Corners {
 public:
  /// \param nodes  of the mesh.
  explicit rep_Corners(std::size_t nodes) : m_places(nodes, -1) {}
  /// Packs as differences to the next new number, 7 bits in a byte: what is near in the mesh is small.
  std::string Pack(std::span<const int> nodes);
  /// Gives a node a number if it has none.
  /// \return the number.
  int Place(int node);
  bool Has(int node) const { return m_places[static_cast<std::size_t>(node)] >= 0; }
  /// The nodes of the mesh by their new numbers.
  const std::vector<int>& Used() const { return m_used; }

 private:
  std::vector<int> m_places, m_used;
};

/// Ascending numbers, as differences.
std::string rep_PackAscending(std::span<const int> numbers);

/// Numbers in 16 bits between their least and their greatest, which are kept exactly.
struct rep_Plane {
  double least = 0, greatest = 0; // of the finite ones; NaN when there are none
  std::string text;
};
/// What is not finite becomes 65535, the others 0 to 65534.
rep_Plane rep_PackPlane(std::span<const double> values);

std::string rep_Base64(std::span<const std::uint8_t> bytes);
