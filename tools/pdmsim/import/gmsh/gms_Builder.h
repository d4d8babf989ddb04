#pragma once

#include <pdmsim/import/gmsh/gms_Tags.h>
#include <pdmsim/import/gmsh/gms_Types.h>
#include <pdmsim/mesh/mesh_Input.h>
#include <pdmsim/mesh/mesh_Raw.h>

#include <map>
#include <optional>

/// What both versions of the format fill.
struct gms_Builder {
  explicit gms_Builder(mesh_Input& input) : in(input) { raw.path = input.Path(), raw.pointsAreNodes = true; }

  /// The type, or a failure that names it.
  /// \param count  of its elements, 0 for unknown.
  const gms_Type& Type(long long number, std::size_t count = 0) const;
  /// The cells of a type, with room for `count` more of perhaps `total`.
  mesh_RawCells& Cells(const gms_Type& type, std::size_t count, std::size_t total);
  /// The physical group, which is made where it is new.
  int Group(int dimension, long long tag);
  /// The family of the cells that are in these groups, -1 for none.
  int Family(int dimension, std::vector<long long> physicals);
  /// Numbers the nodes, whose labels are there.
  void NodesAreRead();
  /// Refuses cells without nodes.
  void RequireNodes() const;
  int Node(long long tag) const {
    const int node = tags->Find(tag);
    if (node < 0)
      in.Fail("a node of the mesh", tag);
    return node;
  }
  void Note(const std::string& text) { raw.notes.push_back(text); }

  mesh_Input& in;
  mesh_Raw raw;
  std::vector<long long> nodeLabels;
  std::shared_ptr<const gms_Tags> tags;            // of the nodes
  std::vector<gms_Tags::Alias> aliases;            // of cells, by their place in their list
  std::vector<const gms_Type*> aliasTypes;         // [aliases]
  std::map<std::pair<int, long long>, int> groups; // [dimension, tag]
  std::map<std::vector<int>, int> families;
  int partitions = 0; // the mesh is cut into
};

/// The sections of version 2.2 and of version 4.1, from behind their first line to before their last.
void gms_ReadNodes2(gms_Builder& mesh, bool binary);
void gms_ReadElements2(gms_Builder& mesh, bool binary);

class gms_Reader4 {
 public:
  /// \param wide  bytes of a size in binary files.
  gms_Reader4(gms_Builder& mesh, bool binary, int wide)
      : m_mesh(mesh), m_in(mesh.in), m_binary(binary), m_wide(wide) {}
  void ReadEntities(bool partitioned);
  void ReadNodes();
  void ReadElements();

 private:
  struct Entity {
    std::vector<long long> physicals;
    int parentDimension = -1, parent = 0;
  };
  int Int(const char* what);
  std::size_t Size(const char* what);
  double Real(const char* what);
  std::size_t Bytes(std::size_t sizes, std::size_t reals, std::size_t ints) const;
  std::vector<long long> Ints(const char* what);
  void ReadEntity(int dimension, bool partitioned);
  int FamilyOf(int dimension, int tag);
  template <class Number>
  void ReadCells(const gms_Type& type, std::size_t count, mesh_RawCells& cells);

  gms_Builder& m_mesh;
  mesh_Input& m_in;
  bool m_binary;
  int m_wide;
  std::map<std::pair<int, int>, Entity> m_entities; // [dimension, tag]
};
