#pragma once

#include <pdmsim/mesh/mesh_Model.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Numbers that a mesh has for its items: equal rows, read in pieces.
class mesh_Numbers {
 public:
  enum class Type { kInt, kLong, kFloat, kDouble };

  virtual ~mesh_Numbers() = default;
  /// The narrowest type that holds every number as it stands in the mesh.
  virtual Type NumberType() const = 0;
  virtual std::size_t Rows() const = 0;
  /// Numbers in a row.
  virtual std::size_t Width() const = 0;

  /// Reads rows [first, first + count). Integers are read as integers only, reals as reals only; a number
  /// that does not fit into the target throws a mesh_Error.
  /// \param out [count][Width()]
  virtual void Read(std::size_t first, std::size_t count, int* out) const = 0;
  virtual void Read(std::size_t first, std::size_t count, long long* out) const = 0;
  virtual void Read(std::size_t first, std::size_t count, float* out) const = 0;
  virtual void Read(std::size_t first, std::size_t count, double* out) const = 0;
};

/// Numbers whose reading is one template: `ReadAs(first, count, out)` of the class, which is a friend of this
/// one.
template <class Self>
class mesh_NumbersBy : public mesh_Numbers {
 public:
  void Read(std::size_t first, std::size_t count, int* out) const override { As(first, count, out); }
  void Read(std::size_t first, std::size_t count, long long* out) const override { As(first, count, out); }
  void Read(std::size_t first, std::size_t count, float* out) const override { As(first, count, out); }
  void Read(std::size_t first, std::size_t count, double* out) const override { As(first, count, out); }

 private:
  template <class T>
  void As(std::size_t first, std::size_t count, T* out) const {
    static_cast<const Self*>(this)->ReadAs(first, count, out);
  }
};
using mesh_NumbersPtr = std::unique_ptr<const mesh_Numbers>;

/// The connectivity of one block, read once from its first element to its last.
class mesh_Connectivity {
 public:
  virtual ~mesh_Connectivity() = default;
  /// Nodes in a row: those of an element, or of the polygon with most corners.
  virtual std::size_t Width() const = 0;
  /// The next `count` elements.
  /// \param out [count][Width()] 0-based nodes in the node order of Exodus II, -1 behind a polygon's last
  /// corner.
  virtual void Next(std::size_t count, int* out) = 0;
};

/// A mesh with its sets and results, whatever it is kept in.
///
/// The lists are known when the source has been made. Numbers of nodes, elements and steps are read when they
/// are asked for, in pieces of the caller's choice. Node, element and side numbers are handed out 0-based,
/// user numbers as they are. Every failure throws a mesh_Error.
class mesh_Source {
 public:
  virtual ~mesh_Source() = default;

  const std::string& Path() const { return m_path; }
  /// Files that numbers of the mesh are in besides.
  const std::vector<std::string>& OtherFiles() const { return m_otherFiles; }
  std::size_t Dimension() const { return m_dimension; } // 1, 2 or 3
  std::size_t Nodes() const { return m_nodes; }
  std::size_t Elements() const { return m_elements; }
  const std::vector<std::string>& AxisNames() const { return m_axisNames; } // [Dimension()]
  const std::string& LengthUnit() const { return m_lengthUnit; } // of the coordinates, "" for unknown
  /// Gives a unit to the coordinates (`what` is LENGTH) or to the variables of a name.
  /// \return false when there is nothing of that name.
  bool SetUnit(const std::string& what, const std::string& unit);
  const std::vector<mesh_Block>& Blocks() const { return m_blocks; }
  const std::vector<mesh_Set>& Sets(mesh_SetKind kind) const {
    return m_sets[static_cast<std::size_t>(kind)];
  }
  const std::vector<mesh_Map>& NodeMaps() const { return m_nodeMaps; }
  const std::vector<mesh_Map>& ElementMaps() const { return m_elementMaps; }
  const std::vector<double>& Times() const { return m_times; }
  const mesh_Variables& Variables(mesh_Place place) const {
    return m_variables[static_cast<std::size_t>(place)];
  }
  /// What the mesh holds beyond all this, one line each.
  const std::vector<std::string>& Notes() const { return m_notes; }

  /// One coordinate of every node.
  /// \param axis in [0, Dimension()).
  virtual mesh_NumbersPtr Coordinate(std::size_t axis) const = 0;
  /// The user's numbers; null when the mesh has none, and they are 1, 2, 3...
  virtual mesh_NumbersPtr NodeNumbers() const = 0;
  virtual mesh_NumbersPtr ElementNumbers() const = 0;
  /// \param map  place in NodeMaps().
  virtual mesh_NumbersPtr NodeMap(std::size_t map) const = 0;
  /// \param map  place in ElementMaps().
  virtual mesh_NumbersPtr ElementMap(std::size_t map) const = 0;
  /// REQUIRES a block of fixed shape or of polygons, with at least one element and one node.
  virtual std::unique_ptr<mesh_Connectivity> Connectivity(const mesh_Block& block) const = 0;
  /// The attributes of a block's elements; each row has as many as the block has attributes.
  /// REQUIRES a block with attributes.
  virtual mesh_NumbersPtr Attributes(const mesh_Block& block) const = 0;

  /// Members [first, first + count) of a set: nodes, or elements.
  /// \param out [count], 0-based.
  virtual void ReadSet(const mesh_Set& set, std::size_t first, std::size_t count, int* out) const = 0;
  /// The sides of the elements of a side set.
  /// \param elements [count] as ReadSet gives them.
  /// \param out [count], 0-based sides in the side order of Exodus II.
  virtual void ReadSides(const mesh_Set& set, std::size_t first, std::size_t count, const int* elements,
                         int* out) const = 0;
  /// The distribution factors of a set that has some: `factors` rows of one number, those of an entry
  /// together.
  virtual mesh_NumbersPtr Factors(const mesh_Set& set) const = 0;

  /// The values of a variable on one entity at one step. Of global variables all come at once, a row for
  /// each, whatever `variable` says. REQUIRES Variables(place).present[entity][variable].
  virtual mesh_NumbersPtr Values(mesh_Place place, std::size_t variable, std::size_t entity,
                                 std::size_t step) const = 0;

 protected:
  explicit mesh_Source(std::string path) : m_path(std::move(path)) {}

  std::string m_path, m_lengthUnit;
  std::size_t m_dimension = 0, m_nodes = 0, m_elements = 0;
  std::vector<std::string> m_axisNames, m_notes, m_otherFiles;
  std::vector<mesh_Block> m_blocks;
  std::vector<mesh_Set> m_sets[3];
  std::vector<mesh_Map> m_nodeMaps, m_elementMaps;
  std::vector<double> m_times;
  mesh_Variables m_variables[mesh_kPlaces];
};

/// The user's numbers of blocks, node sets and element sets, by "block NAME", "node set NAME" and "element
/// set NAME".
std::vector<std::pair<std::string, long long>> mesh_Ids(const mesh_Source& mesh);
