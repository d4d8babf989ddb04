#include "py_Arrays.h"
#include "py_Map.h"

// Fields and their drawers, blocks and surfaces.

namespace {

using Set = py_Bound<pdm::Set>;
using Drawer = py_Bound<pdm::Drawer>;
using Field = py_Bound<pdm::Field>;
using Fields = py_Bound<pdm::Fields>;

/// Some rows of a drawer as an array: [rows] of one number each, [rows][components] else.
py::array read_rows(const Drawer& self, py::ssize_t first, py::ssize_t last) {
  struct Shape {
    int rows, components;
    pdm::Type type;
  };
  const Shape is = self.call([](const pdm::Drawer& drawer) {
    return Shape{drawer.rows(), drawer.components(), drawer.type()};
  });
  last = std::min<py::ssize_t>(last, is.rows);
  const py::ssize_t count = std::max<py::ssize_t>(last - first, 0);
  std::vector<py::ssize_t> shape{count};
  if (is.components != 1)
    shape.push_back(is.components);
  py::array out(py_Type(is.type), std::move(shape));
  void* const data = out.mutable_data();
  const auto numbers = static_cast<std::size_t>(out.size());
  if (count > 0)
    self.call([&](const pdm::Drawer& drawer) {
      drawer.read_rows(static_cast<int>(first), static_cast<int>(count), pdm::Buffer(data, numbers, is.type));
    });
  return out;
}

py::object read_slice(const Drawer& self, const py::slice& slice) {
  const int rows = self.call([](const pdm::Drawer& drawer) { return drawer.rows(); });
  py::ssize_t first = 0, last = 0, step = 0, length = 0;
  if (!slice.compute(rows, &first, &last, &step, &length))
    throw py::error_already_set();
  if (step == 1)
    return read_rows(self, first, last);
  return read_rows(self, 0, rows).attr("__getitem__")(slice);
}

py::object read_index(const Drawer& self, const py::object& index) {
  if (py::isinstance<py::slice>(index))
    return read_slice(self, index.cast<py::slice>());
  if (!py_IsNumber(index))
    return read_rows(self, 0, std::numeric_limits<int>::max()).attr("__getitem__")(index);
  const int rows = self.call([](const pdm::Drawer& drawer) { return drawer.rows(); });
  const int row = py_Index(self, "row", py_Number(index), rows);
  return read_rows(self, row, row + 1).attr("__getitem__")(0);
}

/// The drawer where it lies in the file.
py::array view(const Drawer& self) {
  struct Map {
    ORXSimMappedDrawer drawer;
    int rows, components;
    pdm::Type type;
    py_Views::One counted;
  };
  auto map = self.call([](const pdm::Drawer& drawer) {
    return std::unique_ptr<Map>(new Map{drawer.map(), drawer.rows(), drawer.components(), drawer.type(),
                                        py_Views::One(drawer.state()->file)});
  });
  std::vector<py::ssize_t> shape{map->rows};
  if (map->components != 1)
    shape.push_back(map->components);
  const Map& kept = *map;
  const py::capsule owner(map.release(), [](void* at) { delete static_cast<Map*>(at); });
  py::array out(py_Type(kept.type), std::move(shape), kept.drawer.Data(), owner);
  out.attr("setflags")(py::arg("write") = false);
  return out;
}

Drawer only(const Field& self, const char* operation) {
  return {self.session, self.call([&](const pdm::Field& field) {
            if (const int drawers = field.size(); drawers != 1)
              throw pdm::Error(field.state()->file, field.path(), operation,
                               "the field has " + std::to_string(drawers) +
                                   " drawers: say which one, field[0][:] or field.at(time=)[:]");
            return field[0];
          })};
}

void write_drawer(const Drawer& self, const py::object& values) {
  struct Shape {
    int components;
    pdm::Type type;
  };
  const Shape is = self.call([](const pdm::Drawer& drawer) {
    return Shape{drawer.components(), drawer.type()};
  });
  const pdm::Error where(py_FileOf(self), self.path(), "write a field", {});
  const py_Numbers numbers(where, values, is.type);
  if (numbers.components() != is.components)
    throw pdm::Error(where.file(), where.path(), where.operation(),
                     "expected rows of " + std::to_string(is.components) + ", found rows of " +
                         std::to_string(numbers.components()));
  self.write([&](const pdm::Drawer& drawer) { drawer.write(numbers.numbers()); });
}

pdm::FieldOptions options(const py_Text& unit, const py_Text& long_name, const std::optional<Set>& over,
                          bool replace, int deflate, int chunk_rows) {
  pdm::FieldOptions all{
      .unit = unit, .long_name = long_name, .replace = replace, .deflate = deflate, .chunk_rows = chunk_rows};
  if (over.has_value())
    all.over = over->value;
  return all;
}

Field create(const Fields& self, const py_Text& name, const py::object& values, const py_Text& unit,
             const py_Text& long_name, const std::optional<Set>& over, bool replace, int deflate,
             int chunk_rows) {
  pdm::FieldOptions like = options(unit, long_name, over, replace, deflate, chunk_rows);
  if (values.is_none())
    return {self.session,
            self.write([&](const pdm::Fields& fields) { return fields.create_empty(name, like); })};
  const py_Numbers numbers({py_FileOf(self), self.path(), "create a field", {}}, values);
  like.components = numbers.components();
  return {self.session, self.write([&](const pdm::Fields& fields) {
            return fields.create(name, numbers.numbers(), like);
          })};
}

Drawer append(const Field& self, const py::object& values, const py_Text& unit, const py_Text& long_name,
              const std::optional<Set>& over, int deflate, int chunk_rows) {
  pdm::FieldOptions like = options(unit, long_name, over, false, deflate, chunk_rows);
  const std::optional<pdm::Type> first = self.call(
      [](const pdm::Field& field) { return field.empty() ? std::nullopt : std::optional(field.type()); });
  const py_Numbers numbers({py_FileOf(self), self.path(), "append to a field", {}}, values, first);
  like.components = numbers.components();
  return {self.session,
          self.write([&](const pdm::Field& field) { return field.append(numbers.numbers(), like); })};
}

/// A drawer for the ranks of a job to fill.
Drawer append_unwritten(const Field& self, const std::string& type, int components, const py_Text& unit,
                        const py_Text& long_name, const std::optional<Set>& over, int deflate,
                        int chunk_rows) {
  constexpr pdm::Type kTypes[] = {pdm::Type::int32, pdm::Type::int64, pdm::Type::float32, pdm::Type::float64};
  const auto* const of = std::find_if(std::begin(kTypes), std::end(kTypes) - 1,
                                      [&](pdm::Type one) { return type == pdm::name_of(one); });
  pdm::FieldOptions like = options(unit, long_name, over, false, deflate, chunk_rows);
  like.components = components;
  return {self.session,
          self.write([&](const pdm::Field& field) { return field.append_unwritten(*of, like); })};
}

/// What ranks must know of a drawer: (distribution, drawer, rows, components, type).
auto place_of(const Drawer& self) {
  return self.call([](const pdm::Drawer& drawer) {
    return std::make_tuple(drawer.distribution().Minor(), drawer.index(), drawer.rows(), drawer.components(),
                           std::string(pdm::name_of(drawer.type())));
  });
}

Drawer drawer_at(const Field& self, py::ssize_t index) {
  const int count = self.call([](const pdm::Field& field) { return field.size(); });
  const int at = py_Index(self, "drawer", index, count);
  return {self.session, self.call([&](const pdm::Field& field) { return field[at]; })};
}

py::object field_item(const Field& self, const py::object& index) {
  if (py_IsNumber(index))
    return py::cast(drawer_at(self, py_Number(index)));
  return read_index(only(self, "read a field"), index);
}

std::vector<double> times_of(const Field& self) {
  return self.call([](const pdm::Field& field) {
    return pdm::detail::run(field, "read the times", [&] { return pdm::detail::times_of(*field.state()); });
  });
}

template <class T>
auto type_name() {
  return
      [](const py_Bound<T>& self) { return py_Type(self.call([](const T& value) { return value.type(); })); };
}

void define_drawer(py::module_& module) {
  py::class_<Drawer>(module, "Drawer", R"(One drawer of a field: a row of numbers for each item of a set.

>>> step = mesh.node_fields["temperature"][1]
>>> len(step), step.unit, step[:2]
(4, 'K', array([10., 11.]))
)")
      .def("__len__", py_Get<pdm::Drawer>(&pdm::Drawer::rows))
      .def("__getitem__", &read_index, py::arg("index"))
      .def("__iter__", [](const Drawer& self) { return py::iter(read_rows(self, 0, INT_MAX)); })
      .def("__array__",
           [](const Drawer& self, const py::args&, const py::kwargs&) { return read_rows(self, 0, INT_MAX); })
      .def(
          "read", [](const Drawer& self) { return read_rows(self, 0, INT_MAX); },
          "All rows, checked: as `[:]`.")
      .def("view", &view,
           "A read-only map of the drawer where it lies in the file: no copy, and not checked. Raises where "
           "the file, the drawer or a journal does not allow it. As long as an array of it is alive nobody "
           "can "
           "open the file for writing, this program neither.")
      .def("write", &write_drawer, py::arg("values"),
           "Writes the whole drawer. One commit point, unless an update is open.")
      .def_property_readonly(
          "index", [](const Drawer& self) { return self.value.index(); },
          "The drawer's place in its field, from 0.")
      .def_property_readonly("rows", py_Get<pdm::Drawer>(&pdm::Drawer::rows),
                             "How many rows it has, one for each item of `set`.")
      .def_property_readonly("components", py_Get<pdm::Drawer>(&pdm::Drawer::components),
                             "How many numbers a row has.")
      .def_property_readonly("dtype", type_name<pdm::Drawer>(),
                             "numpy's type of the numbers: int32, int64, float32 or float64.")
      .def_property_readonly("unit", py_Get<pdm::Drawer>(&pdm::Drawer::unit),
                             "The unit of the numbers, \"\" without.")
      .def_property_readonly("long_name", py_Get<pdm::Drawer>(&pdm::Drawer::long_name),
                             "For people: names of components, or the type of a block's elements.")
      .def_property_readonly("set", py_Get<pdm::Drawer>(&pdm::Drawer::set),
                             "The items that the rows belong to.")
      .def_property_readonly("deflate", py_Get<pdm::Drawer>(&pdm::Drawer::deflate),
                             "How much it is compressed, from 1 to 9; 0: not at all.")
      .def_property_readonly(
          "dataset_path", py_Get<pdm::Drawer>(&pdm::Drawer::dataset_path),
          "Where other programs find it in the file; \"\" for a file open live or for writing.")
      .def("_place", &place_of)
      .def_property_readonly("path", &Drawer::path, py_PathDoc);
}

void define_field_facts(py::class_<Field>& bound) {
  bound
      .def_property_readonly(
          "times", [](const Field& self) { return py_Array(times_of(self)); }, "The model's times.")
      .def_property_readonly("steps", py_Get<pdm::Field>(&pdm::Field::steps),
                             "The number of steps that are written.")
      .def_property_readonly(
          "name", [](const Field& self) { return py_Text(self.value.name()); }, "The field's name.")
      .def_property_readonly("unit", py_Get<pdm::Field>(&pdm::Field::unit),
                             "The unit of its numbers, \"\" without.")
      .def_property_readonly(
          "long_name", py_Get<pdm::Field>(&pdm::Field::long_name),
          "What its first drawer has for people: names of components, or a type of elements.")
      .def_property_readonly("components", py_Get<pdm::Field>(&pdm::Field::components),
                             "How many numbers a row of its first drawer has.")
      .def_property_readonly("dtype", type_name<pdm::Field>(),
                             "numpy's type of the numbers of its first drawer.")
      .def_property_readonly(
          "set", py_Get<pdm::Field>(&pdm::Field::set),
          "The items that the rows of its only drawer belong to; of several steps each has its own.")
      .def_property_readonly("path", &Field::path, py_PathDoc);
}

void define_field(py::module_& module) {
  py::class_<Field> bound(module, "Field",
                          R"(Numbers over sets of items: a sequence of drawers, of a result one each step.

A number gives a drawer, a slice rows of the only drawer.

>>> mesh.node_fields["coordinates"][1:3]
array([[1., 0.],
       [1., 1.]])
>>> temperature = mesh.node_fields["temperature"]
>>> len(temperature), temperature.times, temperature.at(time=0.5)[:]
(2, array([0. , 0.5]), array([10., 11., 12., 13.]))
)");
  bound.def("__len__", py_Get<pdm::Field>(&pdm::Field::size))
      .def("__getitem__", &field_item, py::arg("index"))
      .def("__iter__",
           [](const Field& self) {
             py::list drawers;
             const int count = self.call([](const pdm::Field& field) { return field.size(); });
             for (int i = 0; i < count; ++i)
               drawers.append(drawer_at(self, i));
             return py::iter(drawers);
           })
      .def("__array__", [](const Field& self, const py::args&,
                           const py::kwargs&) { return read_rows(only(self, "read a field"), 0, INT_MAX); })
      .def(
          "read", [](const Field& self) { return read_rows(only(self, "read a field"), 0, INT_MAX); },
          "All rows of the only drawer, checked: as `[:]`.")
      .def(
          "view", [](const Field& self) { return view(only(self, "map a field")); },
          "The only drawer's `view()`, which holds the file as well.")
      .def(
          "write",
          [](const Field& self, const py::object& values) {
            write_drawer(only(self, "write a field"), values);
          },
          py::arg("values"), "Writes the only drawer anew. One commit point, unless an update is open.")
      .def("append", &append, py::arg("values"), py::kw_only(), py::arg("unit") = "",
           py::arg("long_name") = "", py::arg("over") = py::none(), py::arg("deflate") = 0,
           py::arg("chunk_rows") = 0,
           "Adds a drawer, such as the next step of a result. One commit point, unless an update is open.")
      .def("_append_unwritten", &append_unwritten)
      .def(
          "at",
          [](const Field& self, double time) {
            return Drawer{self.session, self.call([&](const pdm::Field& field) { return field.at(time); })};
          },
          py::arg("time"), "The drawer at one of the model's times.")
      .def(
          "step",
          [](const Field& self, py::ssize_t step) {
            const int steps = self.call([](const pdm::Field& field) { return field.steps(); });
            const int at = py_Index(self, "step", step, steps);
            return Drawer{self.session, self.call([&](const pdm::Field& field) { return field.step(at); })};
          },
          py::arg("step"), "The drawer of a step; -1 is the last one.");
  define_field_facts(bound);
}

void define_fields(py::module_& module) {
  py::class_<Fields> fields(module, "Fields", R"(Fields by name: a mapping.

>>> with pdm_core.open("a.pdm", "r+") as sim, sim.update():
...     fields = sim.model.mesh.node_fields
...     fields.create("heat", np.arange(4.0), unit="W").unit, list(fields)
('W', ['coordinates', 'heat', 'temperature'])
)");
  py_DefineMapping<pdm::Fields>(fields);
  fields
      .def(
          "__getitem__",
          [](const Fields& self, const py_Text& name) {
            return Field{self.session, py_Entry(self, name)};
          },
          py::arg("name"))
      .def("create", &create, py::arg("name"), py::arg("values") = py::none(), py::kw_only(),
           py::arg("unit") = "", py::arg("long_name") = "", py::arg("over") = py::none(),
           py::arg("replace") = false, py::arg("deflate") = 0, py::arg("chunk_rows") = 0,
           "Stores a new field of one drawer, or without values one that append() fills step by step. One "
           "commit point, unless an update is open.")
      .def(
          "__delitem__", [](const py::object& self, const py_Text& name) { self.attr("remove")(name); },
          py::arg("name"));
}

} // namespace

void py_DefineFields(py::module_& module) {
  define_drawer(module);
  define_field(module);
  define_fields(module);
}
