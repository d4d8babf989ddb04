#include "py_Arrays.h"
#include "py_Map.h"

// Blocks, surfaces, the mesh and the model.

namespace {

using Block = py_Bound<pdm::Block>;
using Surface = py_Bound<pdm::Surface>;
using Surfaces = py_Bound<pdm::Surfaces>;
using Mesh = py_Bound<pdm::Mesh>;
using Model = py_Bound<pdm::Model>;

Surface create_surface(const Surfaces& self, const py_Text& name, const py::object& elements,
                       const py::object& sides) {
  const pdm::Error where(py_FileOf(self), self.path(), "create a surface", {});
  const std::vector<int> all = py_Items(where, elements), numbers = py_Items(where, sides);
  return {self.session,
          self.write([&](const pdm::Surfaces& surfaces) { return surfaces.create(name, all, numbers); })};
}

std::vector<double> times_from(const Mesh& self, const py::object& times) {
  return py_Line<double>({py_FileOf(self), self.path(), "set the times", {}}, times);
}

Block create_block(const Mesh& self, const py_Text& name, const std::string& type, const py::object& nodes) {
  const py_Numbers all({py_FileOf(self), self.path(), "make a block", {}}, nodes, pdm::Type::int32);
  const std::span items(static_cast<const int*>(all.numbers().data()), all.numbers().count());
  return {self.session, self.write([&](const pdm::Mesh& to) {
            return to.create_block(name, type, all.components(), items);
          })};
}

/// VTK's number of a block's elements, and which of ours each of its nodes is; (None, None) when it has none.
py::tuple vtk_type(const Block& self) {
  const pdm::ElementType* const element =
      self.call([](const pdm::Block& block) { return block.element_type(); });
  if (element == nullptr)
    return py::make_tuple(py::none(), py::none());
  std::vector<int> order(element->to_vtk.begin(), element->to_vtk.end());
  if (order.empty()) {
    order.resize(static_cast<std::size_t>(element->nodes));
    std::iota(order.begin(), order.end(), 0);
  }
  return py::make_tuple(element->vtk, py_Array(std::move(order)));
}

void define_parts(py::module_& module) {
  py::class_<Block>(module, "Block", R"(Elements of one type, with their connectivity.

>>> [(block.id, block.type, len(block)) for block in mesh.blocks]
[(1, 'TRI3', 2)]
)")
      .def("__len__", py_Get<pdm::Block>(&pdm::Block::size))
      .def_property_readonly(
          "number", [](const Block& self) { return self.value.number(); },
          "The block's place among the blocks, from 0.")
      .def_property_readonly(
          "name", [](const Block& self) { return py_Text(self.value.name()); },
          "The name of the set of its region, \"\" without.")
      .def_property_readonly(
          "id", [](const Block& self) { return self.value.id(); }, "The user's number.")
      .def_property_readonly("type", py_Get<pdm::Block>(&pdm::Block::type),
                             "The type of its elements, \"HEX8\".")
      .def_property_readonly("nodes_per_element", py_Get<pdm::Block>(&pdm::Block::nodes_per_element),
                             "How many nodes each of its elements has.")
      .def_property_readonly("elements", py_Get<pdm::Block>(&pdm::Block::elements),
                             "The 0-based elements of the block.")
      .def("_vtk", &vtk_type)
      .def_property_readonly(
          "connectivity", py_Get<pdm::Block>(&pdm::Block::connectivity),
          "[elements][nodes_per_element] the 0-based nodes of each element, in the order of Exodus II.")
      .def_property_readonly("path", &Block::path, py_PathDoc);

  py::class_<Surface>(module, "Surface", "Sides of elements: pairs of an element and the number of its side.")
      .def("__len__", py_Get<pdm::Surface>(&pdm::Surface::size))
      .def_property_readonly(
          "name", [](const Surface& self) { return py_Text(self.value.name()); }, "The surface's name.")
      .def_property_readonly("elements", py_Get<pdm::Surface>(&pdm::Surface::elements),
                             "The 0-based element of each side.")
      .def_property_readonly("sides", py_Get<pdm::Surface>(&pdm::Surface::sides),
                             "The 0-based number of each side at its element.")
      .def_property_readonly("field", py_Get<pdm::Surface>(&pdm::Surface::field),
                             "The numbers of the sides as the field that they are.")
      .def_property_readonly("path", &Surface::path, py_PathDoc);

  py::class_<Surfaces> surfaces(module, "Surfaces", "Surfaces by name: a mapping.");
  py_DefineMapping<pdm::Surfaces>(surfaces);
  surfaces
      .def(
          "__getitem__",
          [](const Surfaces& self, const py_Text& name) {
            return Surface{self.session, py_Entry(self, name)};
          },
          py::arg("name"))
      .def("create", &create_surface, py::arg("name"), py::arg("elements"), py::arg("sides"),
           "Stores a new surface. One commit point, unless an update is open.");
}

template <class Get>
void define_maps(py::class_<Mesh>& mesh, Get get) {
  get("node_sets", &pdm::Mesh::node_sets, "Sets of nodes by name.");
  get("element_sets", &pdm::Mesh::element_sets, "Sets of elements by name; each block's elements are one.");
  get("instance_sets", &pdm::Mesh::instance_sets, "Sets of instances by name.");
  get("region_sets", &pdm::Mesh::region_sets,
      "Sets of regions by name; a set of one region is the name of its block.");
  get("surfaces", &pdm::Mesh::surfaces, "Sides of elements by name.");
  get("node_fields", &pdm::Mesh::node_fields,
      "Numbers of each node by name, such as \"coordinates\"; results have a drawer a step.");
  get("element_fields", &pdm::Mesh::element_fields,
      "Numbers of each element by name, such as \"connectivity\", which has a drawer a block.");
  get("surface_fields", &pdm::Mesh::surface_fields,
      "Numbers of each side by name; drawers and rows are those of the surface.");
  get("region_fields", &pdm::Mesh::region_fields, "Numbers of each region by name.");
  get("frame_fields", &pdm::Mesh::frame_fields, "Numbers of each step by name, such as \"time\".");
  get("mesh_fields", &pdm::Mesh::mesh_fields, "Numbers of the mesh as a whole by name.");
  get("local_node_fields", &pdm::Mesh::local_node_fields,
      "Numbers of the nodes of each element by name, [elements][local nodes].");
  get("nodes", &pdm::Mesh::nodes, "The collection that node numbers count.");
  get("elements", &pdm::Mesh::elements, "The collection that element numbers count.");
  get("faces", &pdm::Mesh::faces, "The collection of faces; false when there is none.");
  get("instances", &pdm::Mesh::instances, "The collection of instances; false when there is none.");
  get("regions", &pdm::Mesh::regions, "The collection of regions, one for each block.");
  get("node_count", &pdm::Mesh::node_count, "How many nodes it has.");
  get("element_count", &pdm::Mesh::element_count, "How many elements it has.");
  get("dimension", &pdm::Mesh::dimension, "How many axes the coordinates have, 0 when there are none.");
  get("blocks", &pdm::Mesh::blocks, "The elements by type, in the order of the connectivity's drawers.");
  get("node_labels", &pdm::Mesh::node_labels,
      "[nodes] the user's numbers; 1, 2, 3... where the mesh has none.");
  get("element_labels", &pdm::Mesh::element_labels,
      "[elements] the user's numbers; 1, 2, 3... where the mesh has none.");
  get("systems", &pdm::Mesh::systems, "The systems of equations on the mesh.");
  mesh.def_property(
      "times", py_Get<pdm::Mesh>(&pdm::Mesh::times),
      [](const Mesh& self, const py::object& times) {
        const std::vector<double> all = times_from(self, times);
        self.write([&](const pdm::Mesh& to) { to.set_times(all); });
      },
      "The times of the steps, ascending. What is assigned gives the model new steps.");
}

} // namespace

void py_DefineMesh(py::module_& module) {
  define_parts(module);
  py::class_<Mesh> mesh(module, "Mesh", R"(One finite-element mesh: its sets, fields and systems.

>>> mesh = sim.model.mesh
>>> mesh.node_count, mesh.element_count, mesh.dimension
(4, 2, 2)
)");
  define_maps(mesh, [&](const char* name, auto method, const char* means) {
    mesh.def_property_readonly(name, py_Get<pdm::Mesh>(method), means);
  });
  mesh.def_property_readonly("_file", [](const Mesh& self) { return py_Text(py_FileOf(self)); })
      .def(
          "append_time",
          [](const Mesh& self, double time) {
            self.write([&](const pdm::Mesh& to) { to.append_time(time); });
          },
          py::arg("time"), "Adds a step, later than all before.")
      .def(
          "create_block", &create_block, py::arg("name"), py::arg("type"), py::arg("nodes"),
          R"(Makes a block of the elements that follow those of the blocks so far, with an element set of its name.

`type` is "HEX8", `nodes` [elements][nodes an element] in the order of Exodus II; -1 fills up polygons.
One commit point, unless an update is open.

>>> with pdm.create("b.pdm") as sim:
...     mesh = sim.create_mesh(nodes=4, elements=2)
...     mesh.create_block("plate", "TRI3", [[0, 1, 2], [0, 2, 3]])
<pdm_core.Block: "plate", 2 TRI3>
)")
      .def_property_readonly(
          "object",
          [](const Mesh& self) {
            return py_Bound<pdm::Object>{self.session,
                                         self.call([](const pdm::Mesh& of) { return of.object().object(); })};
          },
          "The mesh as an object of its schema class.")
      .def_property_readonly("path", &Mesh::path, py_PathDoc);

  py::class_<Model>(module, "Model", "The discretisation of a simulation, with its mesh.")
      .def_property_readonly("mesh", py_Get<pdm::Model>(&pdm::Model::mesh),
                             "The mesh. Raises when there is none.")
      .def_property_readonly("has_mesh", py_Get<pdm::Model>(&pdm::Model::has_mesh), "Whether it has a mesh.")
      .def(
          "create_mesh",
          [](const Model& self, int nodes, int elements) {
            return Mesh{self.session,
                        self.write([&](const pdm::Model& to) { return to.create_mesh(nodes, elements); })};
          },
          py::arg("nodes"), py::arg("elements"), "Gives the model its mesh.")
      .def_property_readonly("object", py_Get<pdm::Model>(&pdm::Model::object),
                             "The model as an object of its schema class.")
      .def_property_readonly("path", &Model::path, py_PathDoc);
}
