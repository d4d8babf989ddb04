#include "imp_Mesh.h"

#include <netcdf.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <numeric>
#include <unistd.h>
#include <vector>

namespace {
constexpr std::size_t kPiece = std::size_t{4} << 20, kSteps = 4;

void require(int status) {
  if (status == NC_NOERR)
    return;
  std::fprintf(stderr, "bench_Import: %s\n", nc_strerror(status));
  std::abort();
}

// A mesh in the making: dimensions and variables are declared, then filled.
class Maker {
 public:
  Maker(const std::string& path, int mode) {
    require(nc_create(path.c_str(), mode | NC_CLOBBER, &m_file));
    int old = 0;
    require(nc_set_fill(m_file, NC_NOFILL, &old));
    const float version = 8.11F;
    for (const char* const name : {"api_version", "version"})
      require(nc_put_att_float(m_file, NC_GLOBAL, name, NC_FLOAT, 1, &version));
    const int size = 8;
    require(nc_put_att_int(m_file, NC_GLOBAL, "floating_point_word_size", NC_INT, 1, &size));
    require(nc_put_att_text(m_file, NC_GLOBAL, "title", 5, "bench"));
  }
  ~Maker() { require(nc_close(m_file)); }
  Maker(const Maker&) = delete;
  Maker& operator=(const Maker&) = delete;

  int Dimension(const char* name, std::size_t size) {
    int id = 0;
    require(nc_def_dim(m_file, name, size, &id));
    return id;
  }
  int Variable(const std::string& name, nc_type type, const std::vector<int>& dimensions) {
    int id = 0;
    require(
        nc_def_var(m_file, name.c_str(), type, static_cast<int>(dimensions.size()), dimensions.data(), &id));
    return id;
  }
  void Text(int variable, const char* name, const char* text) {
    require(nc_put_att_text(m_file, variable, name, std::strlen(text), text));
  }
  void Begin() { require(nc_enddef(m_file)); }
  void Put(int variable, const std::vector<int>& values) {
    require(nc_put_var_int(m_file, variable, values.data()));
  }
  void Put(int variable, const std::vector<double>& values) {
    require(nc_put_var_double(m_file, variable, values.data()));
  }
  void PutNames(int variable, const std::vector<std::string>& names, std::size_t width) {
    std::string table;
    for (std::string name : names) {
      name.resize(width, '\0');
      table += name;
    }
    require(nc_put_var_text(m_file, variable, table.data()));
  }
  void PutStep(int variable, std::size_t step, const std::vector<double>& values) {
    const std::size_t first[] = {step, 0}, count[] = {1, values.size()};
    require(nc_put_vara_double(m_file, variable, first, count, values.data()));
  }
  void PutTime(int variable, std::size_t step) {
    const auto time = 0.1 * static_cast<double>(step);
    require(nc_put_var1_double(m_file, variable, &step, &time));
  }

 private:
  int m_file = -1;
};

std::vector<int> hexahedra(int side) {
  std::vector<int> nodes;
  const auto node = [side](int x, int y, int z) { return 1 + x + (side + 1) * (y + (side + 1) * z); };
  for (int z = 0; z < side; ++z)
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x)
        for (const int up : {0, 1})
          nodes.insert(nodes.end(), {node(x, y, z + up), node(x + 1, y, z + up), node(x + 1, y + 1, z + up),
                                     node(x, y + 1, z + up)});
  return nodes;
}

std::vector<int> numbersFrom(int first, std::size_t count) {
  std::vector<int> numbers(count);
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

// One netCDF variable of numbers as the rows of its last dimension.
void copyVariable(int file, int variable, int to) {
  nc_type type = 0;
  int rank = 0, dimensions[NC_MAX_VAR_DIMS];
  require(nc_inq_var(file, variable, nullptr, &type, &rank, dimensions, nullptr));
  if (type == NC_CHAR || rank < 1)
    return;
  std::vector<std::size_t> shape, first(static_cast<std::size_t>(rank)), count;
  for (int i = 0; i < rank; ++i)
    require(nc_inq_dimlen(file, dimensions[i], &shape.emplace_back()));
  std::size_t size = 0;
  require(nc_inq_type(file, type, nullptr, &size));
  std::vector<char> bytes;
  // Tables of elements by many rows at once, variables over time step by step.
  const bool steps = rank == 2 && shape[0] == kSteps;
  const std::size_t moving = steps ? 1 : 0, row = size * (rank == 2 && !steps ? shape[1] : 1);
  count = shape;
  for (std::size_t step = 0; step < (steps ? shape[0] : 1); ++step)
    for (std::size_t at = 0; at < shape[moving]; at += count[moving]) {
      count[0] = 1;
      count[moving] = std::min(shape[moving] - at, kPiece / row);
      first[0] = step;
      first[moving] = at;
      bytes.resize(count[moving] * row);
      require(nc_get_vara(file, variable, first.data(), count.data(), bytes.data()));
      if (::write(to, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        std::abort();
    }
}
} // namespace

void imp_MakeMesh(const std::string& path, int mode, int side) {
  Maker mesh(path, mode);
  const auto edge = static_cast<std::size_t>(side), corners = edge + 1;
  const std::size_t nodes = corners * corners * corners, elements = edge * edge * edge, face = edge * edge;
  const int time = mesh.Dimension("time_step", NC_UNLIMITED), name = mesh.Dimension("len_name", 33);
  const int n = mesh.Dimension("num_nodes", nodes), m = mesh.Dimension("num_elem", elements);
  mesh.Dimension("num_dim", 3);
  const int one = mesh.Dimension("num_el_blk", 1), e = mesh.Dimension("num_el_in_blk1", elements),
            k = mesh.Dimension("num_nod_per_el1", 8);
  const int set = mesh.Dimension("num_node_sets", 1),
            inSet = mesh.Dimension("num_nod_ns1", corners * corners);
  const int sides = mesh.Dimension("num_side_sets", 1), inSides = mesh.Dimension("num_side_ss1", face);
  const int three = mesh.Dimension("num_nod_var", 3), two = mesh.Dimension("num_elem_var", 2);
  const int times = mesh.Variable("time_whole", NC_DOUBLE, {time});
  std::vector<int> ids, coordinates, nodal, element;
  for (const auto& [prefix, dimension] : {std::pair{"eb", one}, {"ns", set}, {"ss", sides}})
    for (const char* const suffix : {"_prop1", "_status"})
      ids.push_back(mesh.Variable(std::string(prefix) + suffix, NC_INT, {dimension}));
  for (const char* const axis : {"coordx", "coordy", "coordz"})
    coordinates.push_back(mesh.Variable(axis, NC_DOUBLE, {n}));
  const int nodeMap = mesh.Variable("node_num_map", NC_INT, {n}),
            elementMap = mesh.Variable("elem_num_map", NC_INT, {m});
  const int connect = mesh.Variable("connect1", NC_INT, {e, k});
  mesh.Text(connect, "elem_type", "HEX8");
  const int nodeSet = mesh.Variable("node_ns1", NC_INT, {inSet});
  const int setElements = mesh.Variable("elem_ss1", NC_INT, {inSides}),
            setSides = mesh.Variable("side_ss1", NC_INT, {inSides});
  const int nodalNames = mesh.Variable("name_nod_var", NC_CHAR, {three, name}),
            elementNames = mesh.Variable("name_elem_var", NC_CHAR, {two, name});
  for (int i = 1; i <= 3; ++i)
    nodal.push_back(mesh.Variable("vals_nod_var" + std::to_string(i), NC_DOUBLE, {time, n}));
  for (int i = 1; i <= 2; ++i)
    element.push_back(mesh.Variable("vals_elem_var" + std::to_string(i) + "eb1", NC_DOUBLE, {time, e}));
  mesh.Begin();
  for (const int id : ids)
    mesh.Put(id, std::vector<int>{1});
  std::vector<double> values(nodes);
  for (const int axis : coordinates) {
    std::iota(values.begin(), values.end(), axis);
    mesh.Put(axis, values);
  }
  mesh.Put(nodeMap, numbersFrom(10, nodes));
  mesh.Put(elementMap, numbersFrom(20, elements));
  mesh.Put(connect, hexahedra(side));
  mesh.Put(nodeSet, numbersFrom(1, corners * corners));
  mesh.Put(setElements, numbersFrom(1, face));
  mesh.Put(setSides, std::vector<int>(face, 5));
  mesh.PutNames(nodalNames, {"ux", "uy", "uz"}, 33);
  mesh.PutNames(elementNames, {"stress", "strain"}, 33);
  for (std::size_t step = 0; step < kSteps; ++step) {
    mesh.PutTime(times, step);
    values.resize(nodes);
    for (const int variable : nodal)
      mesh.PutStep(variable, step, values);
    values.resize(elements);
    for (const int variable : element)
      mesh.PutStep(variable, step, values);
  }
}

void imp_CopyNumbers(const std::string& path, const std::string& to) {
  int file = 0, variables = 0;
  require(nc_open(path.c_str(), NC_NOWRITE, &file));
  require(nc_inq_nvars(file, &variables));
  const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  for (int variable = 0; variable < variables; ++variable)
    copyVariable(file, variable, out);
  if (::fsync(out) != 0 || ::close(out) != 0)
    std::abort();
  require(nc_close(file));
}
