#pragma once

#include <pdmsim/export/gmsh/gmsh_Groups.h>
#include <pdmsim/export/out/exp_Stream.h>

/// Writes a mesh in the format 4.1 of Gmsh.
class gmsh_Writer {
 public:
  /// \param written  where the bytes go, an existing file.
  gmsh_Writer(const exp_Task& task, const std::string& written);
  void Write();

 private:
  void Int(int number);
  void Size(std::size_t number);
  void Real(double number);
  void EndLine();

  void WriteGroups();
  void WriteEntities();
  void WriteNodes();
  void WriteElements();
  void WriteSides(std::size_t& tag);
  void WriteFields();
  void WriteNodeField(std::size_t variable, std::size_t step);
  void WriteElementField(std::size_t variable, std::size_t step);
  void BeginField(const std::string& name, std::size_t step, std::size_t components, std::size_t rows);
  /// Rows of a field, each behind its node's or element's number.
  void WriteRows(const mesh_Numbers& values, std::size_t components, std::size_t firstTag,
                 const std::vector<long long>& tags);

  const exp_Task& m_task;
  const mesh_Source& m_mesh;
  bool m_ascii;
  exp_Stream m_out;
  gmsh_Groups m_groups;
  std::vector<long long> m_nodeTags, m_elementTags; // empty: 1, 2, 3...
};

/// The user's numbers where all of them can stand in a file, else none.
/// \param numbers  null for none.
std::vector<long long> gmsh_Tags(const mesh_NumbersPtr& numbers, cli_Progress& progress);
/// The number of components that a field of so many gets; 0 for too many.
std::size_t gmsh_Components(std::size_t components);
