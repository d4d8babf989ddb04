#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_Rows.h>

#include <UTI_ORXSimDynamicAPI/objects/hdf_ObjectRep.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace {
// What is moved at a time: small enough to be still in a cache of the processor for its checksum, large
// enough that the calls do not count (measured: 4 MiB is faster than 1 MiB or all at once).
constexpr std::int64_t kPiece = std::int64_t{4} << 20;
constexpr std::int64_t kVerifyPiece = std::int64_t{256} << 10;

using Bytes = std::unique_ptr<unsigned char[]>;

// A damaged file may ask for more than there is.
Bytes allocate(hdf_Operation& operation, std::int64_t bytes) {
  Bytes memory(new (std::nothrow) unsigned char[static_cast<std::size_t>(bytes)]);
  if (memory == nullptr)
    operation.Refuse("out of memory");
  return memory;
}

std::int64_t chunkRows(hid_t data) {
  const hdf_PropertiesHandle properties(H5Dget_create_plist(data));
  hsize_t chunk[H5S_MAX_RANK] = {};
  if (H5Pget_layout(properties.Get()) != H5D_CHUNKED ||
      H5Pget_chunk(properties.Get(), H5S_MAX_RANK, chunk) < 1)
    return 1;
  return static_cast<std::int64_t>(std::clamp<hsize_t>(chunk[0], 1, INT32_MAX));
}
} // namespace

// A block of which only some rows are given, with the others from the file.
struct ORXSimRows::Edge {
  int block = -1;     // -1: there is none
  bool whole = false; // all of it has to be written
  Bytes bytes;
};

ORXSimRows::ORXSimRows(const hdf_DatasetRep& data, hid_t number, int rows, int components)
    : m_data(&data), m_number(number), m_rows(rows), m_components(components),
      m_rowBytes(static_cast<std::int64_t>(H5Tget_size(number)) * components),
      m_contiguous(hdf_DataOffset(data.id) != HADDR_UNDEF),
      m_sums(rows, m_rowBytes, m_contiguous ? 1 : chunkRows(data.id)) {}

bool ORXSimRows::Select(hdf_Operation& operation, int first, int end, hid_t& memory, hid_t& file) {
  memory = file = H5S_ALL;
  if (end - first == m_rows)
    return true;
  const int rank = m_components == 1 ? 1 : 2;
  const hsize_t start[2] = {static_cast<hsize_t>(first), 0};
  const hsize_t extent[2] = {static_cast<hsize_t>(end - first), static_cast<hsize_t>(m_components)};
  if (m_memoryRows != end - first) {
    m_memory = hdf_SpaceHandle(H5Screate_simple(rank, extent, nullptr));
    m_memoryRows = end - first;
  }
  if (!m_file.IsOpen())
    m_file = hdf_SpaceHandle(H5Dget_space(m_data->id));
  memory = m_memory.Get();
  file = m_file.Get();
  return operation.Check(H5Sselect_hyperslab(file, H5S_SELECT_SET, start, nullptr, extent, nullptr));
}

// One HDF5 call for rows [first, end), straight between the memory and the file.
bool ORXSimRows::Transfer(hdf_Operation& operation, int first, int end, void* target, const void* source) {
  hid_t memory, file;
  if (!Select(operation, first, end, memory, file))
    return false;
  return operation.Check(target != nullptr
                             ? H5Dread(m_data->id, m_number, memory, file, H5P_DEFAULT, target)
                             : H5Dwrite(m_data->id, m_number, memory, file, H5P_DEFAULT, source));
}

// Whole blocks, straight into the caller's rows.
bool ORXSimRows::ReadBlocks(hdf_Operation& operation, int first, int end, unsigned char* target) {
  const int piece = m_sums.PieceRows(kPiece);
  int to = 0;
  for (int row = first; row < end; row = to) {
    to = row + std::min(piece, end - row);
    unsigned char* const bytes = target + BytesOf(row - first);
    if (!Transfer(operation, row, to, bytes, nullptr) || !m_sums.CheckRows(operation, row, to, bytes))
      return false;
  }
  return true;
}

// Rows [first, end) of one block, which is read whole to be checked.
bool ORXSimRows::ReadPart(hdf_Operation& operation, int first, int end, unsigned char* target) {
  const int start = m_sums.FirstRow(m_sums.BlockOf(first)), stop = m_sums.EndRow(m_sums.BlockOf(first));
  const Bytes block = allocate(operation, BytesOf(stop - start));
  if (block == nullptr || !ReadBlocks(operation, start, stop, block.get()))
    return false;
  std::memcpy(target, block.get() + BytesOf(first - start), static_cast<std::size_t>(BytesOf(end - first)));
  return true;
}

bool ORXSimRows::Read(hdf_Operation& operation, int first, int count, void* target) {
  if (!m_sums.Load(operation, *m_data))
    return false;
  const bool read = m_sums.IsKept()
                        ? ReadRows(operation, first, first + count, static_cast<unsigned char*>(target))
                        : Transfer(operation, first, first + count, target, nullptr);
  m_sums.Settle(*m_data); // reading changes none of them
  return read;
}

bool ORXSimRows::ReadRows(hdf_Operation& operation, int first, int wanted, unsigned char* target) {
  int end = 0;
  for (int row = first; row < wanted; row = end) {
    const int block = m_sums.BlockOf(row), tail = m_sums.BlockOf(wanted - 1);
    const bool part = row > m_sums.FirstRow(block) || wanted < m_sums.EndRow(block);
    end = part                           ? std::min(m_sums.EndRow(block), wanted)
          : wanted < m_sums.EndRow(tail) ? m_sums.FirstRow(tail)
                                         : wanted;
    unsigned char* const rows = target + BytesOf(row - first);
    if (!(part ? ReadPart(operation, row, end, rows) : ReadBlocks(operation, row, end, rows)))
      return false;
  }
  return true;
}

// Fills the edge: the rows of the file, or zeros, and over them the given ones.
bool ORXSimRows::Complete(hdf_Operation& operation, Edge& edge, int first, int end,
                          const unsigned char* source) {
  const int start = m_sums.FirstRow(edge.block), stop = m_sums.EndRow(edge.block);
  edge.bytes = allocate(operation, BytesOf(stop - start));
  if (edge.bytes == nullptr)
    return false;
  edge.whole = !m_contiguous || !m_sums.IsWritten(edge.block); // a chunk is written whole in any case
  if (!m_sums.IsWritten(edge.block))
    std::memset(edge.bytes.get(), 0, static_cast<std::size_t>(BytesOf(stop - start)));
  else if (!Transfer(operation, start, stop, edge.bytes.get(), nullptr) ||
           !m_sums.CheckRows(operation, start, stop, edge.bytes.get()))
    return false;
  const int from = std::max(first, start), to = std::min(end, stop);
  std::memcpy(edge.bytes.get() + BytesOf(from - start), source + BytesOf(from - first),
              static_cast<std::size_t>(BytesOf(to - from)));
  return true;
}

bool ORXSimRows::WriteEdge(hdf_Operation& operation, const Edge& edge, int first, int end,
                           const unsigned char* source) {
  const int start = m_sums.FirstRow(edge.block), stop = m_sums.EndRow(edge.block);
  m_sums.Note(start, stop, edge.bytes.get());
  if (edge.whole)
    return Transfer(operation, start, stop, nullptr, edge.bytes.get());
  const int from = std::max(first, start), to = std::min(end, stop);
  return Transfer(operation, from, to, nullptr, source + BytesOf(from - first));
}

bool ORXSimRows::WriteBlocks(hdf_Operation& operation, int first, int end, const unsigned char* source) {
  const int piece = m_sums.PieceRows(kPiece);
  int to = 0;
  for (int row = first; row < end; row = to) {
    to = row + std::min(piece, end - row);
    const unsigned char* const bytes = source + BytesOf(row - first);
    m_sums.Note(row, to, bytes);
    if (!Transfer(operation, row, to, nullptr, bytes))
      return false;
  }
  return true;
}

// Chunks wait in a cache, and what fails when they leave it must not go unseen.
bool ORXSimRows::Flush(hdf_Operation& operation) const {
  return m_contiguous || operation.Check(H5Dflush(m_data->id));
}

bool ORXSimRows::Write(hdf_Operation& operation, int first, int count, const void* source) {
  if (!m_sums.Load(operation, *m_data))
    return false;
  const bool written = m_sums.IsKept() ? WriteRows(operation, first, first + count,
                                                   static_cast<const unsigned char*>(source)) &&
                                             m_sums.Store(operation, *m_data)
                                       : Transfer(operation, first, first + count, nullptr, source);
  if (!written || !Flush(operation))
    return false;
  m_sums.Settle(*m_data);
  return true;
}

bool ORXSimRows::WriteRows(hdf_Operation& operation, int first, int end, const unsigned char* source) {
  const int head = m_sums.BlockOf(first), tail = m_sums.BlockOf(end - 1);
  const bool cutAtFirst = first > m_sums.FirstRow(head), cutAtEnd = end < m_sums.EndRow(tail);
  Edge edges[2];
  if (cutAtFirst || (head == tail && cutAtEnd))
    edges[0].block = head;
  if (cutAtEnd && head != tail)
    edges[1].block = tail;
  for (Edge& edge : edges)
    if (edge.block >= 0 && !Complete(operation, edge, first, end, source))
      return false;
  for (const Edge& edge : edges)
    if (edge.block >= 0 && !WriteEdge(operation, edge, first, end, source))
      return false;
  const int from = edges[0].block >= 0 ? m_sums.EndRow(head) : first;
  const int to = edges[1].block >= 0 ? m_sums.FirstRow(tail) : end;
  return WriteBlocks(operation, from, to, source + BytesOf(from - first));
}

bool ORXSimRows::IsWritten(hdf_Operation& operation) {
  if (!m_sums.Load(operation, *m_data) || !m_sums.IsKept())
    return false;
  for (int block = 0; block < m_sums.Blocks(); ++block)
    if (m_sums.IsWritten(block))
      return true;
  return false;
}

const ORXSimBlockSums* ORXSimRows::Sums(hdf_Operation& operation) {
  const bool loaded = m_sums.Load(operation, *m_data);
  if (loaded)
    m_sums.Settle(*m_data);
  return loaded ? &m_sums : nullptr;
}

bool ORXSimRows::KeepSums(hdf_Operation& operation, const std::uint64_t* sums) {
  if (!m_sums.Load(operation, *m_data))
    return false;
  if (!m_sums.IsKept())
    return true;
  m_sums.Set(sums);
  if (!m_sums.Store(operation, *m_data))
    return false;
  m_sums.Settle(*m_data);
  return true;
}

// \param bytes the block, null when it has to be read first.
void ORXSimRows::VerifyBlock(hdf_Operation& operation, int block, const unsigned char* bytes,
                             unsigned char* scratch, ORXSimVerification& found) {
  const int start = m_sums.FirstRow(block), stop = m_sums.EndRow(block);
  if (m_sums.IsKept() && !m_sums.IsWritten(block)) {
    found.unwritten.push_back(block);
    return;
  }
  if (bytes == nullptr && Transfer(operation, start, stop, scratch, nullptr))
    bytes = scratch;
  if (bytes == nullptr || !m_sums.CheckRows(operation, start, stop, bytes))
    found.damaged.push_back(block);
}

// What was never written is not read: it may be far larger than the file.
bool ORXSimRows::AllWritten(int first, int end) const {
  for (int row = first; m_sums.IsKept() && row < end; row = m_sums.EndRow(m_sums.BlockOf(row)))
    if (!m_sums.IsWritten(m_sums.BlockOf(row)))
      return false;
  return true;
}

ORXSimVerification ORXSimRows::Verify(hdf_Operation& operation) {
  ORXSimVerification found;
  const int piece = m_rows == 0 ? 1 : m_sums.PieceRows(kVerifyPiece);
  const Bytes scratch = allocate(operation, BytesOf(std::min(piece, m_rows)));
  if (scratch == nullptr || !m_sums.Load(operation, *m_data))
    return found;
  found.opened = true;
  found.hasChecksums = m_sums.IsKept();
  found.blocks = m_sums.Blocks();
  found.blockRows = m_sums.BlockRows();
  int end = 0;
  for (int row = 0; row < m_rows; row = end) {
    end = row + std::min(piece, m_rows - row);
    const bool read = AllWritten(row, end) && Transfer(operation, row, end, scratch.get(), nullptr);
    for (int at = row; at < end; at = m_sums.EndRow(m_sums.BlockOf(at)))
      VerifyBlock(operation, m_sums.BlockOf(at), read ? scratch.get() + BytesOf(at - row) : nullptr,
                  scratch.get(), found);
  }
  return found;
}
