#include "fuzz_Mesh.h"

#include "fuzz_Common.h"

#include <pdmsim/mesh/mesh_Elements.h>
#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>

namespace {

void readNumbers(const mesh_NumbersPtr& numbers, std::size_t rows) {
  if (!numbers)
    return;
  fuzz_Require(numbers->Rows() == rows, "as many rows as there are items");
  if (numbers->NumberType() <= mesh_Numbers::Type::kLong) {
    std::vector<long long> values(rows * numbers->Width());
    numbers->Read(0, rows, values.data());
  } else {
    std::vector<double> values(rows * numbers->Width());
    numbers->Read(0, rows, values.data());
  }
}

void requireRange(const std::vector<int>& values, std::size_t limit, const char* what) {
  fuzz_Require(std::all_of(values.begin(), values.end(),
                           [&](int value) { return value >= 0 && static_cast<std::size_t>(value) < limit; }),
               what);
}

void readBlocks(const mesh_Source& mesh) {
  std::size_t elements = 0;
  for (const mesh_Block& block : mesh.Blocks()) {
    fuzz_Require(block.firstElement == elements, "blocks that follow each other");
    elements += block.elements;
    if (block.elements == 0 || block.nodesPerElement == 0)
      continue;
    const auto connectivity = mesh.Connectivity(block);
    std::vector<int> nodes(block.elements * connectivity->Width());
    connectivity->Next(block.elements, nodes.data());
    if (block.shape == mesh_Block::Shape::kPolygons) {
      nodes.erase(std::remove(nodes.begin(), nodes.end(), -1), nodes.end());
      fuzz_Require(nodes.size() == block.nodesPerElement, "as many corners as are told");
    }
    requireRange(nodes, mesh.Nodes(), "nodes in range");
  }
  fuzz_Require(elements == mesh.Elements(), "every element in a block");
}

void readSets(const mesh_Source& mesh) {
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : mesh.Sets(kind)) {
      std::vector<int> items(set.size), sides(set.size);
      mesh.ReadSet(set, 0, set.size, items.data());
      requireRange(items, kind == mesh_SetKind::kNodes ? mesh.Nodes() : mesh.Elements(), "members in range");
      if (kind != mesh_SetKind::kSides)
        continue;
      mesh.ReadSides(set, 0, set.size, items.data(), sides.data());
      for (std::size_t i = 0; i < set.size; ++i) {
        const auto block =
            std::find_if(mesh.Blocks().begin(), mesh.Blocks().end(), [&](const mesh_Block& one) {
              return static_cast<std::size_t>(items[i]) < one.firstElement + one.elements;
            });
        const mesh_Element* const type = mesh_FindElement(block->type, block->nodesPerElement);
        fuzz_Require(type && static_cast<std::size_t>(sides[i]) < mesh_SideCount(*type), "sides in range");
      }
    }
}

void readFields(const mesh_Source& mesh) {
  for (const mesh_Place place : {mesh_Place::kNodes, mesh_Place::kBlocks}) {
    const mesh_Variables& variables = mesh.Variables(place);
    for (std::size_t variable = 0; variable < variables.names.size(); ++variable)
      for (std::size_t entity = 0; entity < variables.present.size(); ++entity)
        for (std::size_t step = 0; step < (variables.Constant(variable) ? 1 : mesh.Times().size()); ++step)
          if (variables.present[entity][variable])
            readNumbers(mesh.Values(place, variable, entity, step), variables.entitySizes[entity]);
  }
}

} // namespace

void fuzz_ReadMesh(const std::uint8_t* data, std::size_t size, decltype(mesh_Format::open) open) {
  static const std::string s_path = fuzz_Path("mesh");
  fuzz_Write(s_path, data, size);
  try {
    const auto mesh = open(s_path, {});
    for (std::size_t axis = 0; axis < mesh->Dimension(); ++axis)
      readNumbers(mesh->Coordinate(axis), mesh->Nodes());
    readNumbers(mesh->NodeNumbers(), mesh->Nodes());
    readNumbers(mesh->ElementNumbers(), mesh->Elements());
    readBlocks(*mesh);
    readSets(*mesh);
    readFields(*mesh);
  } catch (const mesh_Error&) { // said what is wrong
  }
}
