#pragma once

#include <pdmsim/stored/sto_Modes.h>
#include <pdmsim/view/view_Output.h>

#include <optional>

/// The array of the times, in the field data.
inline constexpr char view_kTimeValue[] = "TimeValue";
/// The array of a field on a set.
std::string view_NameOnSet(const std::string& field, const mesh_Set& set);

/// What stands on the nodes and elements of a mesh in a view: labels, sets, fields with their steps, shapes
/// of modes. Array names are those of the file.
class view_Fields {
 public:
  /// \param step   the one to show; none: all of them.
  /// \param notes  receives what is not shown, one line each.
  view_Fields(const sto_Mesh& mesh, view_Output& output, std::optional<std::size_t> step,
              std::vector<std::string>& notes)
      : m_mesh(mesh), m_output(output), m_step(step), m_notes(notes) {
    m_names[1].Take("block");
    m_fieldNames.Take(view_kTimeValue);
  }

  void WriteLabels();
  void WriteSets();
  void WriteResults();
  void WriteModes(const sto_ModalSystem& system);
  /// The numbers of blocks and sets, as mesh_Ids has them.
  void WriteIds();
  /// What is no array: the times, and where the rows of each step are.
  void WriteSteps();

 private:
  enum On : unsigned char { kPoints, kCells };
  /// The name of a new array, with its group.
  std::string Take(On on, const std::string& name);
  void Constant(On on, const std::string& name, ORXSimDistributionID field);
  void WriteMask(const mesh_Set& set);
  void WriteVariable(const mesh_Variables& variables, std::size_t variable);
  void WriteSetVariable(const mesh_Variables& variables, std::size_t variable, std::size_t entity);
  void WriteGlobals();
  template <class PartsOf>
  void Steps(On on, const std::string& name, std::size_t width, bool constant, PartsOf partsOf);
  /// A number of the whole file, or one for each of its steps.
  void FieldData(const std::string& name, hdf_Datatype::Kind type, std::size_t count, const void* values);
  std::size_t Items(On on) const { return on == kPoints ? m_mesh.Nodes() : m_mesh.Elements(); }
  /// The steps that are shown of a field that has some.
  std::vector<std::size_t> Shown(bool constant) const;

  const sto_Mesh& m_mesh;
  view_Output& m_output;
  std::optional<std::size_t> m_step;
  std::vector<std::string>& m_notes;
  view_Names m_names[2], m_fieldNames;
  std::vector<std::pair<std::string, bool>> m_fieldData; // path, and whether it has a number for each step
  struct Array {
    std::string path;
    bool constant;
  };
  std::vector<Array> m_arrays;
};
