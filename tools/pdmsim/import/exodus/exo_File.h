#pragma once

#include <pdmsim/import/exodus/exo_Model.h>
#include <pdmsim/import/exodus/exo_Series.h>

/// An Exodus II mesh, open for reading.
///
/// Opening reads the names, ids and counts and checks that they agree; numbers of nodes, elements and steps
/// are read when asked for, in pieces of the caller's choice, and checked then. Every failure throws an
/// exo_Error. Node, element and side numbers are handed out 0-based, user numbers as they are.
class exo_File {
 public:
  explicit exo_File(const std::string& path);

  const std::string& Path() const { return m_file.Path(); }
  unsigned long long FileSize() const { return m_file.FileSize(); }
  const std::string& Title() const { return m_title; }
  std::size_t Dimension() const { return m_dimension; }
  std::size_t Nodes() const { return m_nodes; }
  std::size_t Elements() const { return m_elements; }
  const std::vector<std::string>& AxisNames() const { return m_axisNames; } // [Dimension()]
  const std::vector<exo_Block>& Blocks() const { return m_blocks; }
  const std::vector<exo_Set>& Sets(exo_SetKind kind) const { return m_sets[static_cast<std::size_t>(kind)]; }
  const std::vector<exo_Map>& NodeMaps() const { return m_nodeMaps; }
  const std::vector<exo_Map>& ElementMaps() const { return m_elementMaps; }
  const std::vector<double>& Times() const { return m_times; }
  const exo_Variables& Variables(exo_Place place) const {
    return m_variables[static_cast<std::size_t>(place)];
  }
  /// What the file holds beyond all this, one line each.
  const std::vector<std::string>& Notes() const { return m_notes; }

  /// One coordinate of every node.
  /// \param axis in [0, Dimension()).
  exo_Series Coordinate(std::size_t axis) const;
  /// The user's numbers; none when the file has no such map and the numbers are 1, 2, 3...
  std::optional<exo_Series> NodeNumbers() const;
  std::optional<exo_Series> ElementNumbers() const;
  /// A further map: one integer a node or element.
  exo_Series Map(const exo_Map& map) const;

  /// The attributes of a block's elements; each row has as many as the block has attributes.
  exo_Series Attributes(const exo_Block& block) const;

  /// Members [first, first + count) of a set: nodes, or elements.
  /// \param out [count], 0-based.
  void ReadSet(const exo_Set& set, std::size_t first, std::size_t count, int* out) const;
  /// The sides of the elements of a side set.
  /// \param elements [count] as ReadSet gives them.
  /// \param out [count], 0-based sides in the file format's order of the element type's sides.
  void ReadSides(const exo_Set& set, std::size_t first, std::size_t count, const int* elements,
                 int* out) const;
  /// The distribution factors of a set that has some.
  exo_Series Factors(const exo_Set& set) const;

  /// The values of a variable on one entity at one step.
  /// REQUIRES Variables(place).present[entity][variable].
  exo_Series Values(exo_Place place, std::size_t variable, std::size_t entity, std::size_t step) const;

  const exo_NetCDF& File() const { return m_file; }

 private:
  friend class exo_Reader;
  exo_NetCDF m_file;
  std::string m_title;
  std::size_t m_dimension = 0, m_nodes = 0, m_elements = 0;
  std::vector<std::string> m_axisNames, m_notes;
  std::vector<exo_Block> m_blocks;
  std::vector<exo_Set> m_sets[3];
  std::vector<exo_Map> m_nodeMaps, m_elementMaps;
  std::vector<double> m_times;
  exo_Variables m_variables[6];
};

/// The connectivity of one block, read once from its first element to its last.
class exo_Connectivity {
 public:
  /// REQUIRES a block of fixed shape or of polygons with at least one element.
  exo_Connectivity(const exo_File& file, const exo_Block& block);
  /// Nodes in a row: those of an element, or of the polygon with most corners.
  std::size_t Width() const { return m_width; }
  /// The next `count` elements.
  /// \param out [count][Width()] 0-based nodes, -1 behind a polygon's last corner.
  void Next(std::size_t count, int* out);

 private:
  void NextPolygons(std::size_t count, int* out);
  void CheckNodes(const exo_Array& array, int* nodes, std::size_t count) const;

  const exo_File& m_file;
  const exo_Block& m_block;
  std::optional<exo_Series> m_nodes, m_corners;
  std::size_t m_width = 0, m_element = 0, m_corner = 0; // the next element, and its first corner
};
