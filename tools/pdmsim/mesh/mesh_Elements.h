#pragma once

#include <pdm/pdm_ElementType.h>

// The element types of the face of C++, in this program's words.

using mesh_Element = pdm::ElementType;

inline const mesh_Element* mesh_FindElement(std::string_view type, std::size_t nodes) {
  return pdm::find_element_type(type, nodes);
}
inline std::size_t mesh_SideCount(const mesh_Element& element) {
  return element.side_count();
}
inline std::span<const int> mesh_SideCorners(const mesh_Element& element, std::size_t side) {
  return element.side_corners(side);
}
