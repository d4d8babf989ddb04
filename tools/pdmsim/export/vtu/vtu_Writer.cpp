#include <pdmsim/export/vtu/vtu_Writer.h>

#include <pdmsim/cli/cli_Markup.h>
#include <pdmsim/export/out/exp_Read.h>
#include <pdmsim/mesh/mesh_Elements.h>

#include <climits>
#include <cstdint>
#include <limits>

namespace {

using What = vtu_Array::What;
constexpr std::size_t kOffsetDigits = 20;

struct TypeName {
  const char* name;
  std::size_t bytes;
};
TypeName typeName(mesh_Numbers::Type type) {
  constexpr TypeName names[] = {{"Int32", 4}, {"Int64", 8}, {"Float32", 4}, {"Float64", 8}};
  return names[static_cast<std::size_t>(type)];
}

/// The one type that holds the numbers of two.
mesh_Numbers::Type wider(mesh_Numbers::Type a, mesh_Numbers::Type b) {
  using Type = mesh_Numbers::Type;
  const bool mixed = (a <= Type::kLong) != (b <= Type::kLong);
  return mixed ? Type::kDouble : std::max(a, b);
}

} // namespace

int vtu_CellType(const mesh_Block& block) {
  constexpr int kEmpty = 0, kPoints = 2, kPolygon = 7;
  if (block.nodesPerElement == 0)
    return kEmpty;
  if (block.shape == mesh_Block::Shape::kPolygons)
    return kPolygon;
  const mesh_Element* const type = mesh_FindElement(block.type, block.nodesPerElement);
  return type == nullptr ? kPoints : type->vtk;
}

vtu_Writer::vtu_Writer(const exp_Task& task, const vtu_Arrays& arrays, std::size_t step,
                       const std::string& written)
    : m_task(task), m_mesh(task.mesh), m_arrays(arrays), m_step(step), m_out(written, task.wanted.out),
      m_sink(m_out, task.wanted.packed) {}

void vtu_Writer::Write() {
  m_out << vtu_kHead << " version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\""
        << (m_task.wanted.packed ? " compressor=\"vtkZLibDataCompressor\"" : "")
        << ">\n<UnstructuredGrid>\n<FieldData>\n";
  AddFieldData();
  m_out << "</FieldData>\n<Piece NumberOfPoints=\"" << m_mesh.Nodes() << "\" NumberOfCells=\""
        << m_mesh.Elements() << "\">\n<PointData>\n";
  for (const vtu_Array& array : m_arrays.nodes)
    AddNodeArray(array);
  m_out << "</PointData>\n<CellData>\n";
  for (const vtu_Array& array : m_arrays.cells)
    AddCellArray(array);
  m_out << "</CellData>\n<Points>\n";
  AddPoints();
  m_out << "</Points>\n<Cells>\n";
  AddCells();
  m_out << "</Cells>\n</Piece>\n</UnstructuredGrid>\n<AppendedData encoding=\"raw\">\n_";
  const unsigned long long begin = m_out.Position();
  std::vector<unsigned long long> offsets;
  for (const Data& data : m_data) {
    offsets.push_back(m_out.Position() - begin);
    m_sink.Begin(data.bytes);
    data.write();
    m_sink.End();
  }
  m_out << "\n</AppendedData>\n</VTKFile>\n";
  for (std::size_t i = 0; i < offsets.size(); ++i)
    m_out.Patch(m_data[i].offsetAt, std::to_string(offsets[i]) + '"');
  m_out.Close();
}

void vtu_Writer::Add(const std::string& name, const char* type, std::size_t typeBytes, std::size_t components,
                     std::size_t rows, std::function<void()> write) {
  m_out << "<DataArray type=\"" << type << "\" Name=\"" << cli_Escaped(name) << "\" NumberOfComponents=\""
        << components << "\" NumberOfTuples=\"" << rows << "\" format=\"appended\" offset=\"";
  m_data.push_back({m_out.Position(), typeBytes * components * rows, std::move(write)});
  m_out << std::string(kOffsetDigits + 1, ' ') << "/>\n"; // the quote comes behind the offset
}

template <class T>
void vtu_Writer::WriteEach(std::size_t rows, const std::function<T(std::size_t)>& number) {
  const std::size_t step = exp_RowsAtATime(sizeof(T));
  std::vector<T> piece;
  for (std::size_t first = 0; first < rows; first += step) {
    piece.resize(std::min(step, rows - first));
    for (std::size_t i = 0; i < piece.size(); ++i)
      piece[i] = number(first + i);
    m_sink.Bytes(piece.data(), piece.size() * sizeof(T));
    m_task.progress.Advance(static_cast<double>(piece.size() * sizeof(T)));
  }
}

void vtu_Writer::AddFieldData() {
  const auto real = [&](const std::string& name, double value) {
    Add(name, "Float64", sizeof value, 1, 1, [this, value] { m_sink.Bytes(&value, sizeof value); });
  };
  const auto id = [&](const std::string& name, long long value) {
    Add(name, "Int64", sizeof value, 1, 1, [this, value] { m_sink.Bytes(&value, sizeof value); });
  };
  if (!m_mesh.Times().empty()) {
    real("TimeValue", m_mesh.Times()[m_step]);
    const auto& names = m_mesh.Variables(mesh_Place::kGlobal).names;
    std::vector<double> values(names.size());
    if (!names.empty())
      exp_ReadRows(*m_mesh.Values(mesh_Place::kGlobal, 0, 0, m_step), 0, names.size(), values.data());
    for (std::size_t i = 0; i < names.size(); ++i)
      real("global " + names[i], values[i]);
  }
  for (const auto& [name, value] : mesh_Ids(m_mesh))
    id(name, value);
}

void vtu_Writer::AddPoints() {
  Add("Points", "Float64", sizeof(double), 3, m_mesh.Nodes(), [this] {
    const std::size_t nodes = m_mesh.Nodes(), step = exp_RowsAtATime(3 * sizeof(double));
    std::vector<mesh_NumbersPtr> axes;
    for (std::size_t axis = 0; axis < m_mesh.Dimension() && nodes > 0; ++axis)
      axes.push_back(m_mesh.Coordinate(axis));
    std::vector<double> points, column;
    for (std::size_t first = 0; first < nodes; first += step) {
      const std::size_t count = std::min(step, nodes - first);
      points.assign(3 * count, 0.0);
      column.resize(count);
      for (std::size_t axis = 0; axis < axes.size(); ++axis) {
        axes[axis]->Read(first, count, column.data());
        for (std::size_t i = 0; i < count; ++i)
          points[3 * i + axis] = column[i];
      }
      m_sink.Bytes(points.data(), points.size() * sizeof(double));
      m_task.progress.Advance(static_cast<double>(points.size() * sizeof(double)));
    }
  });
}

void vtu_Writer::AddCells() {
  std::size_t corners = 0;
  for (const mesh_Block& block : m_mesh.Blocks())
    corners += block.nodesPerElement * (block.shape == mesh_Block::Shape::kPolygons ? 1 : block.elements);
  m_longIndices = corners > INT_MAX;
  const char* const type = m_longIndices ? "Int64" : "Int32";
  const std::size_t bytes = m_longIndices ? 8 : 4;
  Add("connectivity", type, bytes, 1, corners, [this] {
    for (const mesh_Block& block : m_mesh.Blocks())
      WriteCorners(block);
  });
  Add("offsets", type, bytes, 1, m_mesh.Elements(), [this] {
    std::int64_t end = 0;
    const auto write = [&]<class T>(const mesh_Block& block, T) {
      if (block.shape == mesh_Block::Shape::kPolygons)
        return exp_EachNodes(m_mesh, block, m_task.progress,
                             [&](std::size_t, std::size_t count, std::size_t width, const int* nodes) {
                               for (std::size_t i = 0; i < count; ++i) {
                                 end += std::count_if(nodes + i * width, nodes + (i + 1) * width,
                                                      [](int node) { return node >= 0; });
                                 const T offset = static_cast<T>(end);
                                 m_sink.Bytes(&offset, sizeof offset);
                               }
                             });
      WriteEach<T>(block.elements, [&](std::size_t i) {
        return static_cast<T>(end + static_cast<std::int64_t>((i + 1) * block.nodesPerElement));
      });
      end += static_cast<std::int64_t>(block.elements * block.nodesPerElement);
    };
    for (const mesh_Block& block : m_mesh.Blocks())
      m_longIndices ? write(block, std::int64_t()) : write(block, std::int32_t());
  });
  Add("types", "UInt8", 1, 1, m_mesh.Elements(), [this] {
    for (const mesh_Block& block : m_mesh.Blocks()) {
      const auto cell = static_cast<std::uint8_t>(vtu_CellType(block));
      WriteEach<std::uint8_t>(block.elements, [&](std::size_t) { return cell; });
    }
  });
}

void vtu_Writer::WriteCorners(const mesh_Block& block) {
  const mesh_Element* const type = mesh_FindElement(block.type, block.nodesPerElement);
  const std::span<const int> order = type ? type->to_vtk : std::span<const int>();
  const auto write = [&]<class T>(T) {
    std::vector<T> corners;
    exp_EachNodes(m_mesh, block, m_task.progress,
                  [&](std::size_t, std::size_t count, std::size_t width, const int* nodes) {
                    corners.clear();
                    for (std::size_t i = 0; i < count; ++i, nodes += width)
                      for (std::size_t k = 0; k < width; ++k)
                        if (const int node = nodes[order.empty() ? k : static_cast<std::size_t>(order[k])];
                            node >= 0)
                          corners.push_back(static_cast<T>(node));
                    m_sink.Bytes(corners.data(), corners.size() * sizeof(T));
                  });
  };
  m_longIndices ? write(std::int64_t()) : write(std::int32_t());
}

void vtu_Writer::WriteNumbers(const mesh_Numbers& numbers) {
  const auto write = [&]<class T>(T) {
    exp_EachPiece<T>(numbers, m_task.progress, [&](std::size_t, std::size_t count, const T* values) {
      m_sink.Bytes(values, count * numbers.Width() * sizeof(T));
    });
  };
  switch (numbers.NumberType()) {
  case mesh_Numbers::Type::kInt:
    return write(int());
  case mesh_Numbers::Type::kLong:
    return write(0LL);
  case mesh_Numbers::Type::kFloat:
    return write(float());
  case mesh_Numbers::Type::kDouble:
    return write(double());
  }
}

void vtu_Writer::AddNumbers(const std::string& name, mesh_NumbersPtr (*make)(const mesh_Source&, std::size_t),
                            std::size_t index, std::size_t rows) {
  if (rows == 0)
    return;
  const mesh_NumbersPtr numbers = make(m_mesh, index);
  if (!numbers)
    return Add(name, "Int32", 4, 1, rows,
               [this, rows] { WriteEach<int>(rows, [](std::size_t i) { return static_cast<int>(i) + 1; }); });
  const TypeName type = typeName(numbers->NumberType());
  Add(name, type.name, type.bytes, numbers->Width(), rows,
      [this, make, index] { WriteNumbers(*make(m_mesh, index)); });
}

void vtu_Writer::AddSet(const std::string& name, const mesh_Set& set, std::size_t rows) {
  Add(name, "UInt8", 1, 1, rows, [this, &set, rows] {
    std::vector<std::uint8_t> inside(rows);
    for (const int member : exp_Members(m_mesh, set))
      inside[static_cast<std::size_t>(member)] = 1;
    m_sink.Bytes(inside.data(), inside.size());
    m_task.progress.Advance(static_cast<double>(rows));
  });
}

void vtu_Writer::AddNodeArray(const vtu_Array& array) {
  const std::size_t nodes = m_mesh.Nodes();
  if (array.what == What::kSet)
    return AddSet(array.name, m_mesh.Sets(mesh_SetKind::kNodes)[array.index], nodes);
  if (array.what == What::kVariable && nodes > 0) {
    const mesh_NumbersPtr values = m_mesh.Values(mesh_Place::kNodes, array.index, 0, m_step);
    const TypeName type = typeName(values->NumberType());
    return Add(array.name, type.name, type.bytes, values->Width(), nodes, [this, index = array.index] {
      WriteNumbers(*m_mesh.Values(mesh_Place::kNodes, index, 0, m_step));
    });
  }
  if (array.what == What::kMap)
    AddNumbers(
        array.name, [](const mesh_Source& mesh, std::size_t map) { return mesh.NodeMap(map); }, array.index,
        nodes);
  else if (array.what == What::kLabels)
    AddNumbers(
        array.name, [](const mesh_Source& mesh, std::size_t) { return mesh.NodeNumbers(); }, 0, nodes);
}

void vtu_Writer::AddCellArray(const vtu_Array& array) {
  const std::size_t cells = m_mesh.Elements();
  switch (array.what) {
  case What::kLabels:
    return AddNumbers(
        array.name, [](const mesh_Source& mesh, std::size_t) { return mesh.ElementNumbers(); }, 0, cells);
  case What::kMap:
    return AddNumbers(
        array.name, [](const mesh_Source& mesh, std::size_t map) { return mesh.ElementMap(map); },
        array.index, cells);
  case What::kBlocks:
    return Add(array.name, "Int64", 8, 1, cells, [this] {
      for (const mesh_Block& block : m_mesh.Blocks())
        WriteEach<long long>(block.elements, [&](std::size_t) { return block.id; });
    });
  case What::kSet:
    return AddSet(array.name, m_mesh.Sets(mesh_SetKind::kElements)[array.index], cells);
  case What::kVariable:
    return AddCellVariable(array);
  }
}

void vtu_Writer::AddCellVariable(const vtu_Array& array) {
  const mesh_Variables& variables = m_mesh.Variables(mesh_Place::kBlocks);
  const std::size_t variable = array.index, width = variables.Components(variable);
  auto type = mesh_Numbers::Type::kInt;
  bool any = false;
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
    if (variables.present[entity][variable]) {
      const auto one = m_mesh.Values(mesh_Place::kBlocks, variable, entity, m_step)->NumberType();
      type = any ? wider(type, one) : one;
      any = true;
    }
  const auto write = [this, variable, width]<class T>(T none) {
    const mesh_Variables& of = m_mesh.Variables(mesh_Place::kBlocks);
    for (std::size_t entity = 0; entity < of.present.size(); ++entity)
      if (of.present[entity][variable])
        exp_EachPiece<T>(*m_mesh.Values(mesh_Place::kBlocks, variable, entity, m_step), m_task.progress,
                         [&](std::size_t, std::size_t count, const T* values) {
                           m_sink.Bytes(values, count * width * sizeof(T));
                         });
      else
        WriteEach<T>(of.entitySizes[entity] * width, [&](std::size_t) { return none; });
  };
  const TypeName name = typeName(type);
  Add(array.name, name.name, name.bytes, width, m_mesh.Elements(), [write, type] {
    switch (type) {
    case mesh_Numbers::Type::kInt:
      return write(-1);
    case mesh_Numbers::Type::kLong:
      return write(-1LL);
    case mesh_Numbers::Type::kFloat:
      return write(std::numeric_limits<float>::quiet_NaN());
    case mesh_Numbers::Type::kDouble:
      return write(std::numeric_limits<double>::quiet_NaN());
    }
  });
}
