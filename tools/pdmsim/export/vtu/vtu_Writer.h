#pragma once

#include <pdmsim/export/out/exp_Format.h>
#include <pdmsim/export/out/exp_Stream.h>
#include <pdmsim/export/vtu/vtu_Arrays.h>
#include <pdmsim/export/vtu/vtu_Sink.h>

#include <functional>
#include <string_view>

/// What every file of these begins with.
inline constexpr std::string_view vtu_kHead = "<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\"";

/// Writes one step of a mesh as a VTU file with appended raw numbers.
class vtu_Writer {
 public:
  /// \param written  where the bytes go, an existing file.
  vtu_Writer(const exp_Task& task, const vtu_Arrays& arrays, std::size_t step, const std::string& written);
  void Write();

 private:
  /// An array of the file, in the order in which the file has them.
  struct Data {
    unsigned long long offsetAt = 0; // where the header tells its place
    std::size_t bytes = 0;
    std::function<void()> write;
  };

  void Add(const std::string& name, const char* type, std::size_t typeBytes, std::size_t components,
           std::size_t rows, std::function<void()> write);
  void AddFieldData();
  void AddPoints();
  void AddCells();
  void AddNodeArray(const vtu_Array& array);
  void AddCellArray(const vtu_Array& array);
  void AddNumbers(const std::string& name, mesh_NumbersPtr (*make)(const mesh_Source&, std::size_t),
                  std::size_t index, std::size_t rows);
  void AddSet(const std::string& name, const mesh_Set& set, std::size_t rows);
  void AddCellVariable(const vtu_Array& array);

  void WriteNumbers(const mesh_Numbers& numbers);
  void WriteCorners(const mesh_Block& block);
  template <class T>
  void WriteEach(std::size_t rows, const std::function<T(std::size_t)>& number);

  const exp_Task& m_task;
  const mesh_Source& m_mesh;
  const vtu_Arrays& m_arrays;
  std::size_t m_step;
  bool m_longIndices = false;
  exp_Stream m_out;
  vtu_Sink m_sink;
  std::vector<Data> m_data;
};

/// The cell type of a block's elements: points without order where the format knows none.
int vtu_CellType(const mesh_Block& block);
