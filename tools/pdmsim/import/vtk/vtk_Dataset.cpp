#include <pdmsim/import/vtk/vtk_Dataset.h>

#include <algorithm>

namespace {

// The names that numbers of the user go by.
constexpr std::string_view kLabels[] = {"label", "GlobalNodeId", "GlobalElementId"};

bool areLabels(const vtk_Array& array) {
  return array.components == 1 && !array.IsReal() &&
         (array.isIds || std::find(std::begin(kLabels), std::end(kLabels), array.name) != std::end(kLabels));
}

/// Checks the arrays of points or cells: the labels are taken, the others become fields.
void addFields(mesh_Raw& raw, const vtk_Dataset& dataset, bool cells, const std::vector<int>& order) {
  const std::uint64_t rows = cells ? dataset.cells.types.size() : dataset.points.Count() / 3;
  for (const vtk_Array& array : cells ? dataset.cellData : dataset.pointData) {
    if (array.Count() != rows * array.components)
      dataset.file.Fail("expected " + std::to_string(rows * array.components) + " numbers in the array " +
                        array.name + ", found " + std::to_string(array.Count()));
    if (areLabels(array)) {
      if (mesh_TakeLabels(raw, cells, mesh_InOrder(array.Read<long long>(dataset.file), order, 1)))
        continue;
    }
    mesh_RawField field;
    field.name = array.name;
    field.components = array.components;
    field.isFloat = !array.parts.empty() && array.parts[0].type == byt_Type::kFloat;
    const auto read = [array, file = dataset.file, order]<class T>(T) {
      return mesh_InOrder(array.Read<T>(file), order, array.components);
    };
    field.read = [read](std::size_t) { return read(double()); };
    if (array.IsLong())
      mesh_KeepIntegers(raw, field, 1, [read](std::size_t) { return read(0LL); });
    (cells ? raw.cellFields : raw.nodeFields).push_back(std::move(field));
  }
}

} // namespace

std::uint64_t vtk_Array::Count() const {
  std::uint64_t count = 0;
  for (const byt_Numbers& part : parts)
    count += part.count;
  return count;
}

bool vtk_Array::IsLong() const {
  return std::any_of(parts.begin(), parts.end(), [](const byt_Numbers& part) { return part.IsLong(); }) &&
         std::none_of(parts.begin(), parts.end(),
                      [](const byt_Numbers& part) { return byt_IsReal(part.type); });
}

std::unique_ptr<mesh_Source> vtk_Assemble(vtk_Dataset dataset, const mesh_Reading& reading) {
  mesh_Raw raw;
  raw.path = dataset.file.Path();
  raw.keepSides = true;
  raw.notes = dataset.notes;
  raw.coordinates = dataset.points.Read<double>(dataset.file);
  if (raw.coordinates.size() % 3 != 0)
    dataset.file.Fail("expected points of three coordinates, found " +
                      std::to_string(raw.coordinates.size()) + " numbers");
  if (dataset.time)
    raw.times = {*dataset.time};
  mesh_VtkCells cells = std::move(dataset.cells);
  dataset.cells.types = cells.types; // their number is asked for
  const std::vector<int> order = mesh_AddVtkCells(raw, std::move(cells));
  addFields(raw, dataset, false, {});
  addFields(raw, dataset, true, order);
  mesh_SetsFrom(raw, reading.setsFrom);
  return mesh_Assemble(std::move(raw));
}
