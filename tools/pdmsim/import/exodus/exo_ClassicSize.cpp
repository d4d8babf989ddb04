#include <pdmsim/import/exodus/exo_ClassicSize.h>

#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <vector>

namespace {

using Count = std::uint64_t;

constexpr Count kTagDimensions = 10, kTagVariables = 11, kTagAttributes = 12;

/// Reads the big-endian header of a classic file, field by field.
class Header {
 public:
  Header(const std::string& path, Count size) : m_path(path), m_size(size), m_in(path, std::ios::binary) {}

  /// True when the file is of a classic format; its version is known then.
  bool Begin() {
    std::array<char, 4> magic{};
    if (!m_in.read(magic.data(), 4) || magic[0] != 'C' || magic[1] != 'D' || magic[2] != 'F')
      return false;
    m_version = magic[3];
    m_at = 4;
    return m_version == 1 || m_version == 2 || m_version == 5;
  }

  Count Word(int bytes) {
    std::array<char, 8> raw{};
    if (!m_in.read(raw.data(), bytes))
      CutShort();
    m_at += static_cast<Count>(bytes);
    Count value = 0;
    for (int i = 0; i < bytes; ++i)
      value = value << 8 | static_cast<unsigned char>(raw[static_cast<std::size_t>(i)]);
    return value;
  }
  /// A length or a dimension number: eight bytes since CDF-5.
  Count Size() { return Word(m_version == 5 ? 8 : 4); }
  /// The number of records; 0 where the writer left it open.
  Count Records() {
    const Count records = Size();
    return records == (m_version == 5 ? UINT64_MAX : UINT32_MAX) ? 0 : records;
  }
  Count Offset() { return Word(m_version == 1 ? 4 : 8); }

  /// Steps over `bytes` bytes and their padding to four.
  void Skip(Count bytes) {
    if (bytes > m_size - std::min(m_at, m_size))
      CutShort();
    const Count padded = (bytes + 3) / 4 * 4;
    m_in.seekg(static_cast<std::streamoff>(padded), std::ios::cur);
    m_at += padded;
  }
  void Name() { Skip(Size()); }

  /// The number of entries of a list; its tag must be `tag`, or 0 for an absent list.
  Count List(Count tag) {
    const Count found = Word(4), entries = Size();
    if (found != tag && (found != 0 || entries != 0))
      throw mesh_Error(m_path, "expected a netCDF header, found a damaged one");
    if (entries > m_size)
      CutShort();
    return entries;
  }

  [[noreturn]] void CutShort() const {
    throw mesh_Error(m_path, "expected a whole netCDF header, found the end of the file after " +
                                 std::to_string(m_size) + " bytes");
  }

 private:
  const std::string& m_path;
  Count m_size, m_at = 0;
  int m_version = 0;
  std::ifstream m_in;
};

Count TypeBytes(Count type) {
  constexpr std::array<Count, 12> bytes{0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};
  return type < bytes.size() ? bytes[type] : 0;
}

/// a * b, or the greatest value where that does not fit.
Count Times(Count a, Count b) {
  Count product = 0;
  return __builtin_mul_overflow(a, b, &product) ? UINT64_MAX : product;
}
Count Plus(Count a, Count b) {
  return a > UINT64_MAX - b ? UINT64_MAX : a + b;
}
Count Padded(Count bytes) {
  return Plus(bytes, 3) / 4 * 4;
}

void SkipAttributes(Header& header) {
  for (Count i = header.List(kTagAttributes); i > 0; --i) {
    header.Name();
    const Count type = header.Word(4);
    header.Skip(Times(header.Size(), TypeBytes(type)));
  }
}

/// Where the data of the variables lie.
struct Extent {
  Count fixedEnd = 0;    // end of the last variable without records
  Count recordBegin = 0; // end of the first record of the last variable with records
  Count recordBytes = 0; // bytes from one record to the next
  Count recordVariables = 0, lastRecordBytes = 0;
};

void AddVariable(Header& header, const std::vector<Count>& dimensions, Extent& extent) {
  header.Name();
  bool record = false;
  Count bytes = 1;
  const Count rank = header.Size();
  for (Count i = 0; i < rank; ++i) {
    const Count dimension = header.Size();
    if (dimension >= dimensions.size())
      header.CutShort();
    if (i == 0 && dimensions[dimension] == 0)
      record = true;
    else
      bytes = Times(bytes, dimensions[dimension]);
  }
  SkipAttributes(header);
  bytes = Times(bytes, TypeBytes(header.Word(4)));
  header.Size(); // the stored size, which wraps for great variables
  const Count end = Plus(header.Offset(), bytes);
  if (!record) {
    extent.fixedEnd = bytes ? std::max(extent.fixedEnd, end) : extent.fixedEnd;
    return;
  }
  extent.recordBegin = std::max(extent.recordBegin, end);
  extent.recordBytes = Plus(extent.recordBytes, Padded(bytes));
  extent.lastRecordBytes = bytes;
  ++extent.recordVariables;
}

} // namespace

void exo_CheckClassicSize(const std::string& path, unsigned long long size) {
  Header header(path, size);
  if (!header.Begin())
    return;
  const Count records = header.Records();
  std::vector<Count> dimensions;
  for (Count i = header.List(kTagDimensions); i > 0; --i) {
    header.Name();
    dimensions.push_back(header.Size());
  }
  SkipAttributes(header);
  Extent extent;
  for (Count i = header.List(kTagVariables); i > 0; --i)
    AddVariable(header, dimensions, extent);
  if (extent.recordVariables == 1) // a single variable's records are not padded
    extent.recordBytes = extent.lastRecordBytes;
  Count expected = extent.fixedEnd;
  if (extent.recordVariables && records)
    expected = std::max(expected, Plus(extent.recordBegin, Times(records - 1, extent.recordBytes)));
  if (expected > size)
    throw mesh_Error(path, "expected " + std::to_string(expected) +
                               " bytes as its netCDF header says, found " + std::to_string(size) +
                               " (a truncated file?)");
}
