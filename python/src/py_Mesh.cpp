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
          self.call([&](const pdm::Surfaces& surfaces) { return surfaces.create(name, all, numbers); })};
}

std::vector<double> times_from(const Mesh& self, const py::object& times) {
  return py_Line<double>({py_FileOf(self), self.path(), "set the times", {}}, times);
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
      .def_property_readonly("number", [](const Block& self) { return self.value.number(); })
      .def_property_readonly("name", [](const Block& self) { return py_Text(self.value.name()); })
      .def_property_readonly(
          "id", [](const Block& self) { return self.value.id(); }, "The user's number.")
      .def_property_readonly("type", py_Get<pdm::Block>(&pdm::Block::type))
      .def_property_readonly("nodes_per_element", py_Get<pdm::Block>(&pdm::Block::nodes_per_element))
      .def_property_readonly("elements", py_Get<pdm::Block>(&pdm::Block::elements))
      .def("_vtk", &vtk_type)
      .def_property_readonly("connectivity", py_Get<pdm::Block>(&pdm::Block::connectivity))
      .def_property_readonly("path", &Block::path);

  py::class_<Surface>(module, "Surface", "Sides of elements: pairs of an element and the number of its side.")
      .def("__len__", py_Get<pdm::Surface>(&pdm::Surface::size))
      .def_property_readonly("name", [](const Surface& self) { return py_Text(self.value.name()); })
      .def_property_readonly("elements", py_Get<pdm::Surface>(&pdm::Surface::elements),
                             "The 0-based element of each side.")
      .def_property_readonly("sides", py_Get<pdm::Surface>(&pdm::Surface::sides),
                             "The 0-based number of each side at its element.")
      .def_property_readonly("field", py_Get<pdm::Surface>(&pdm::Surface::field))
      .def_property_readonly("path", &Surface::path);

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
  get("node_sets", &pdm::Mesh::node_sets);
  get("element_sets", &pdm::Mesh::element_sets);
  get("instance_sets", &pdm::Mesh::instance_sets);
  get("region_sets", &pdm::Mesh::region_sets);
  get("surfaces", &pdm::Mesh::surfaces);
  get("node_fields", &pdm::Mesh::node_fields);
  get("element_fields", &pdm::Mesh::element_fields);
  get("surface_fields", &pdm::Mesh::surface_fields);
  get("region_fields", &pdm::Mesh::region_fields);
  get("frame_fields", &pdm::Mesh::frame_fields);
  get("mesh_fields", &pdm::Mesh::mesh_fields);
  get("local_node_fields", &pdm::Mesh::local_node_fields);
  get("nodes", &pdm::Mesh::nodes);
  get("elements", &pdm::Mesh::elements);
  get("faces", &pdm::Mesh::faces);
  get("instances", &pdm::Mesh::instances);
  get("regions", &pdm::Mesh::regions);
  get("node_count", &pdm::Mesh::node_count);
  get("element_count", &pdm::Mesh::element_count);
  get("dimension", &pdm::Mesh::dimension);
  get("blocks", &pdm::Mesh::blocks);
  get("node_labels", &pdm::Mesh::node_labels);
  get("element_labels", &pdm::Mesh::element_labels);
  get("systems", &pdm::Mesh::systems);
  mesh.def_property("times", py_Get<pdm::Mesh>(&pdm::Mesh::times),
                    [](const Mesh& self, const py::object& times) {
                      const std::vector<double> all = times_from(self, times);
                      self.call([&](const pdm::Mesh& to) { to.set_times(all); });
                    });
}

} // namespace

void py_DefineMesh(py::module_& module) {
  define_parts(module);
  py::class_<Mesh> mesh(module, "Mesh", R"(One finite-element mesh: its sets, fields and systems.

>>> mesh = sim.model.mesh
>>> mesh.node_count, mesh.element_count, mesh.dimension
(4, 2, 2)
)");
  define_maps(mesh, [&](const char* name, auto method) {
    mesh.def_property_readonly(name, py_Get<pdm::Mesh>(method));
  });
  mesh.def(
          "append_time",
          [](const Mesh& self, double time) {
            self.call([&](const pdm::Mesh& to) { to.append_time(time); });
          },
          py::arg("time"), "Adds a step, later than all before.")
      .def_property_readonly(
          "object",
          [](const Mesh& self) {
            return py_Bound<pdm::Object>{self.session,
                                         self.call([](const pdm::Mesh& of) { return of.object().object(); })};
          },
          "The mesh as an object of its schema class.")
      .def_property_readonly("path", &Mesh::path);

  py::class_<Model>(module, "Model", "The discretisation of a simulation, with its mesh.")
      .def_property_readonly("mesh", py_Get<pdm::Model>(&pdm::Model::mesh))
      .def_property_readonly("has_mesh", py_Get<pdm::Model>(&pdm::Model::has_mesh))
      .def(
          "create_mesh",
          [](const Model& self, int nodes, int elements) {
            return Mesh{self.session,
                        self.call([&](const pdm::Model& to) { return to.create_mesh(nodes, elements); })};
          },
          py::arg("nodes"), py::arg("elements"), "Gives the model its mesh.")
      .def_property_readonly("object", py_Get<pdm::Model>(&pdm::Model::object))
      .def_property_readonly("path", &Model::path);
}
