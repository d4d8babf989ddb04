#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_BlockSums.h>

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Shared.h>

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

namespace {
constexpr const char* kName = "checksums";
constexpr std::int64_t kSmallestBlock = std::int64_t{64} << 10;
constexpr std::int64_t kMostBlocks = 4096; // their sums fit into one attribute

// Sums are of numbers with the least significant byte first; a machine with the other order makes none and
// looks at none.
constexpr bool kAble = std::endian::native == std::endian::little;

std::int64_t upTo(std::int64_t multiple, std::int64_t value) {
  return (value + multiple - 1) / multiple * multiple;
}

std::int64_t rowsOfBlock(std::int64_t rows, std::int64_t rowBytes, std::int64_t chunkRows) {
  const std::int64_t share = (rows * rowBytes + kMostBlocks - 1) / kMostBlocks;
  const std::int64_t bytes = std::max(kSmallestBlock, upTo(kSmallestBlock, share));
  return std::min(upTo(chunkRows, (bytes + rowBytes - 1) / rowBytes), rows);
}
} // namespace

ORXSimBlockSums::ORXSimBlockSums(int rows, std::int64_t rowBytes, std::int64_t chunkRows)
    : m_rows(rows), m_rowBytes(rowBytes) {
  if (rows == 0)
    return;
  m_blockRows = static_cast<int>(rowsOfBlock(rows, rowBytes, chunkRows));
  m_sums.resize((static_cast<std::size_t>(rows) + static_cast<std::size_t>(m_blockRows) - 1) /
                static_cast<std::size_t>(m_blockRows));
}

bool ORXSimBlockSums::Create(hdf_Operation& operation, hid_t data) const {
  if (m_sums.empty() || !kAble)
    return true;
  const hid_t space = hdf_Shared::Get().Line(m_sums.size());
  const hdf_AttributeHandle attribute(
      H5Acreate2(data, kName, H5T_STD_U64LE, space, H5P_DEFAULT, H5P_DEFAULT));
  return operation.Check(attribute.Get()) &&
         operation.Check(H5Awrite(attribute.Get(), H5T_NATIVE_UINT64, m_sums.data()));
}

bool ORXSimBlockSums::Load(hdf_Operation& operation, const hdf_DatasetRep& data) {
  // Settled again when the work is done: what fails halfway leaves nothing that could be believed.
  if (std::exchange(m_writes, std::nullopt) == data.context->writes)
    return true;
  m_kept = false;
  const htri_t exists = kAble && !m_sums.empty() ? H5Aexists(data.id, kName) : 0;
  if (exists <= 0)
    return operation.Check(exists);
  const hdf_AttributeHandle attribute(H5Aopen(data.id, kName, H5P_DEFAULT));
  if (!operation.Check(attribute.Get()))
    return false;
  const hdf_TypeHandle type(H5Aget_type(attribute.Get()));
  const hdf_SpaceHandle space(H5Aget_space(attribute.Get()));
  if (!(hdf_StoredType::Of(type.Get()) == hdf_StoredType{H5T_INTEGER, sizeof m_sums[0], false}) ||
      H5Sget_simple_extent_npoints(space.Get()) != static_cast<hssize_t>(m_sums.size()))
    return operation.Refuse("attribute 'checksums' is not " + std::to_string(m_sums.size()) +
                            " unsigned numbers of 64 bits");
  m_kept = operation.Check(H5Aread(attribute.Get(), H5T_NATIVE_UINT64, m_sums.data()));
  return m_kept;
}

bool ORXSimBlockSums::Store(hdf_Operation& operation, const hdf_DatasetRep& data) const {
  const hdf_AttributeHandle attribute(H5Aopen(data.id, kName, H5P_DEFAULT));
  return operation.Check(attribute.Get()) &&
         operation.Check(H5Awrite(attribute.Get(), H5T_NATIVE_UINT64, m_sums.data()));
}

int ORXSimBlockSums::PieceRows(std::int64_t bytes) const {
  const std::int64_t blocks = std::max<std::int64_t>(bytes / (m_blockRows * m_rowBytes), 1);
  return static_cast<int>(std::min<std::int64_t>(blocks * m_blockRows, m_rows));
}

std::uint64_t ORXSimBlockSums::SumOf(int block, const unsigned char* bytes) const {
  const std::int64_t rows = EndRow(block) - FirstRow(block);
  return SumOf(bytes, static_cast<std::size_t>(rows * m_rowBytes));
}

// 0 says that a block was never written.
std::uint64_t ORXSimBlockSums::SumOf(const void* bytes, std::size_t count) {
  const std::uint64_t sum = hdf_Checksum(bytes, count);
  return sum == 0 ? 1 : sum;
}

bool ORXSimBlockSums::CheckRows(hdf_Operation& operation, int first, int end,
                                const unsigned char* bytes) const {
  for (int row = first; row < end; row = EndRow(BlockOf(row))) {
    const int block = BlockOf(row);
    if (IsWritten(block) &&
        SumOf(block, bytes + (row - first) * m_rowBytes) != m_sums[static_cast<std::size_t>(block)])
      return operation.Refuse("the data is damaged: block " + std::to_string(block) + " (rows " +
                              std::to_string(FirstRow(block)) + " to " + std::to_string(EndRow(block) - 1) +
                              ") does not match its checksum");
  }
  return true;
}

void ORXSimBlockSums::Note(int first, int end, const unsigned char* bytes) {
  for (int row = first; row < end; row = EndRow(BlockOf(row)))
    m_sums[static_cast<std::size_t>(BlockOf(row))] = SumOf(BlockOf(row), bytes + (row - first) * m_rowBytes);
}
