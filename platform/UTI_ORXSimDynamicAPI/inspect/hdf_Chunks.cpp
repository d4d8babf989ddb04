#include <UTI_ORXSimDynamicAPI/inspect/hdf_Chunks.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <algorithm>

namespace {
constexpr std::uint64_t kBlock = std::uint64_t{8} << 20;
constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
} // namespace

bool hdf_Chunks::Find(hid_t dataset) {
  m_dataset = dataset;
  const hdf_TypeHandle type(H5Dget_type(dataset));
  const hdf_SpaceHandle space(H5Dget_space(dataset));
  const hdf_PropertiesHandle properties(H5Dget_create_plist(dataset));
  H5D_space_status_t status;
  m_rank = H5Sget_simple_extent_dims(space.Get(), m_dims, nullptr);
  // Asked first: the size is 0 also where HDF5 cannot tell it.
  if (m_rank < 0 || H5Dget_space_status(dataset, &status) < 0)
    return false;
  const std::uint64_t stored = H5Dget_storage_size(dataset);
  m_any = stored != 0;
  m_chunked = H5Pget_layout(properties.Get()) == H5D_CHUNKED;
  if (!m_chunked)
    return true;
  m_chunkBytes = H5Tget_size(type.Get());
  if (H5Pget_chunk(properties.Get(), H5S_MAX_RANK, m_chunk) != m_rank)
    return false;
  for (int i = 0; i < m_rank; ++i)
    m_chunkBytes *= m_chunk[i]; // below 4 GiB
  return m_chunkBytes <= kLargest && FindChunks(stored);
}

// HDF5 has no other answer for a chunk that is not there than for one that it cannot find, so their sizes
// must add up.
bool hdf_Chunks::FindChunks(std::uint64_t stored) {
  const hdf_Silence silence;
  hsize_t start[H5S_MAX_RANK];
  for (std::uint64_t number = 0; stored > 0; ++number) {
    Place(number, start);
    if (start[0] >= m_dims[0])
      return false;
    hsize_t bytes = 0;
    if (H5Dget_chunk_storage_size(m_dataset, start, &bytes) < 0 || bytes == 0)
      continue;
    if (bytes > stored)
      return false;
    m_written.push_back(number);
    stored -= bytes;
  }
  return true;
}

std::uint64_t hdf_Chunks::Along(int dimension) const {
  return (m_dims[dimension] - 1) / m_chunk[dimension] + 1;
}

void hdf_Chunks::Place(std::uint64_t number, hsize_t* start) const {
  for (int i = m_rank - 1; i > 0; --i) {
    start[i] = number % Along(i) * m_chunk[i];
    number /= Along(i);
  }
  start[0] = number * m_chunk[0];
}

// Chunks as broad as the dataset are moved together, as many as make a block.
std::uint64_t hdf_Chunks::RunFrom(std::size_t first) const {
  for (int i = 1; i < m_rank; ++i)
    if (m_chunk[i] < m_dims[i])
      return 1;
  std::size_t end = first + 1;
  while (end < m_written.size() && m_written[end] == m_written[end - 1] + 1 &&
         (end + 1 - first) * m_chunkBytes <= kBlock)
    ++end;
  return end - first;
}

bool hdf_Chunks::Select(hdf_Block& block, std::uint64_t number, std::uint64_t run) const {
  const hdf_TypeHandle type(H5Dget_type(m_dataset));
  hsize_t start[H5S_MAX_RANK], extent[H5S_MAX_RANK];
  Place(number, start);
  block.bytes = H5Tget_size(type.Get());
  for (int i = 0; i < m_rank; ++i) {
    extent[i] = std::min(i == 0 ? run * m_chunk[0] : m_chunk[i], m_dims[i] - start[i]);
    block.bytes *= extent[i];
  }
  block.memory = hdf_SpaceHandle(H5Screate_simple(m_rank, extent, nullptr));
  return H5Sselect_hyperslab(block.file.Get(), H5S_SELECT_SET, start, nullptr, extent, nullptr) >= 0;
}

bool hdf_Chunks::ForEachBlock(const std::function<bool(const hdf_Block&)>& f) const {
  if (!m_chunked)
    return !m_any || hdf_ForEachBlock(m_dataset, f);
  hdf_Block block;
  block.file = hdf_SpaceHandle(H5Dget_space(m_dataset));
  std::uint64_t run = 0;
  for (std::size_t i = 0; i < m_written.size(); i += run) {
    run = RunFrom(i);
    if (!Select(block, m_written[i], run) || !f(block))
      return false;
  }
  return true;
}
