#include <UTI_ORXSimDynamicAPI/inspect/hdf_Blocks.h>

#include <algorithm>

namespace {
constexpr hsize_t kBlock = hsize_t{8} << 20;   // what is read at once, or one row of chunks
constexpr hsize_t kLargest = hsize_t{1} << 30; // and never more

struct Shape {
  int rank = -1;
  hsize_t dims[H5S_MAX_RANK] = {};
  hsize_t rowBytes = 0; // of one step along the first dimension
  hsize_t chunkRows = 1;
};

Shape shapeOf(hid_t dataset, hid_t space, hid_t type) {
  Shape shape;
  shape.rowBytes = H5Tget_size(type);
  shape.rank = H5Sget_simple_extent_dims(space, shape.dims, nullptr);
  for (int i = 1; i < shape.rank; ++i)
    if (__builtin_mul_overflow(shape.rowBytes, shape.dims[i], &shape.rowBytes))
      shape.rank = -1;
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset));
  hsize_t chunk[H5S_MAX_RANK] = {1};
  if (H5Pget_layout(properties.Get()) == H5D_CHUNKED &&
      H5Pget_chunk(properties.Get(), H5S_MAX_RANK, chunk) > 0)
    shape.chunkRows = std::max<hsize_t>(chunk[0], 1);
  return shape;
}

bool selectRows(hdf_Block& block, const Shape& shape, hsize_t first, hsize_t count) {
  hsize_t start[H5S_MAX_RANK] = {first}, extent[H5S_MAX_RANK];
  std::copy(shape.dims, shape.dims + shape.rank, extent);
  extent[0] = count;
  block.bytes = static_cast<std::size_t>(count * shape.rowBytes);
  block.memory = hdf_SpaceHandle(H5Screate_simple(shape.rank, extent, nullptr));
  return H5Sselect_hyperslab(block.file.Get(), H5S_SELECT_SET, start, nullptr, extent, nullptr) >= 0;
}
} // namespace

bool hdf_ForEachBlock(hid_t dataset, const std::function<bool(const hdf_Block&)>& f) {
  const hdf_TypeHandle type(H5Dget_type(dataset));
  hdf_Block block;
  block.file = hdf_SpaceHandle(H5Dget_space(dataset));
  const hssize_t elements = H5Sget_simple_extent_npoints(block.file.Get());
  if (elements <= 0)
    return elements == 0;
  const Shape shape = shapeOf(dataset, block.file.Get(), type.Get());
  if (shape.rank == 0) {
    block.bytes = static_cast<std::size_t>(shape.rowBytes);
    block.memory = hdf_SpaceHandle(H5Screate(H5S_SCALAR));
    return f(block);
  }
  if (shape.rank < 0 || shape.rowBytes == 0 || shape.rowBytes > kLargest)
    return false;
  hsize_t rows = std::max<hsize_t>(kBlock / shape.rowBytes / shape.chunkRows, 1) * shape.chunkRows;
  rows = std::min(rows, kLargest / shape.rowBytes);
  for (hsize_t first = 0; first < shape.dims[0]; first += rows)
    if (!selectRows(block, shape, first, std::min(rows, shape.dims[0] - first)) || !f(block))
      return false;
  return true;
}

bool hdf_ReadBlocks(hid_t dataset, const std::function<bool(const unsigned char*, std::size_t)>& take) {
  const hdf_TypeHandle type(H5Dget_type(dataset));
  std::vector<unsigned char> bytes;
  bool ended = false;
  const bool whole = hdf_ForEachBlock(dataset, [&](const hdf_Block& block) {
    bytes.resize(block.bytes);
    if (H5Dread(dataset, type.Get(), block.memory.Get(), block.file.Get(), H5P_DEFAULT, bytes.data()) < 0)
      return false;
    ended = !take(bytes.data(), bytes.size());
    return !ended;
  });
  return whole || ended;
}
