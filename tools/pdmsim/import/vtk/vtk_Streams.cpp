#include <pdmsim/import/vtk/vtk_Streams.h>

#include <algorithm>
#include <cstring>
#include <zlib.h>

namespace {

// Deflate makes nothing smaller by more than this; a claim beyond it is damage.
constexpr std::uint64_t kLargestExpansion = 1032;
constexpr std::size_t kMostBlocks = std::size_t{1} << 24;

int sextet(char c) {
  if (c >= 'A' && c <= 'Z')
    return c - 'A';
  if (c >= 'a' && c <= 'z')
    return c - 'a' + 26;
  if (c >= '0' && c <= '9')
    return c - '0' + 52;
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

/// Decodes groups of four letters, one after the other; one with padding gives fewer bytes and does not end
/// it.
class Base64 {
 public:
  Base64(const mesh_File& file, byt_Range range) : m_cursor(file, range) {}

  void operator()(char* to, std::size_t bytes) {
    while (bytes > 0) {
      if (m_next == m_count)
        Decode(bytes);
      const std::size_t taken = std::min(bytes, m_count - m_next);
      std::memcpy(to, m_bytes + m_next, taken);
      m_next += taken;
      to += taken;
      bytes -= taken;
    }
  }

 private:
  static constexpr std::size_t kPiece = 4096;

  char Letter() {
    for (;; ++m_letter) {
      if (m_letter == m_letters.size()) {
        m_letters.resize(std::min<std::uint64_t>(m_cursor.Left(), 16 * kPiece));
        if (m_letters.empty())
          m_cursor.File().Fail("expected more base64 letters at byte " + std::to_string(m_cursor.At()) +
                               ", found the end");
        m_cursor.Bytes(m_letters.data(), m_letters.size());
        m_letter = 0;
      }
      if (static_cast<unsigned char>(m_letters[m_letter]) > ' ')
        return m_letters[m_letter++];
    }
  }

  void Group() {
    int values[4], count = 0;
    for (int& value : values) {
      const char letter = Letter();
      value = sextet(letter);
      if (letter == '=' && count >= 2)
        value = 0;
      else if (value < 0 || count != static_cast<int>(&value - values))
        m_cursor.File().Fail("expected base64 before byte " + std::to_string(m_cursor.At()) + ", found " +
                             byt_Quoted({&letter, 1}));
      else
        ++count;
    }
    const int bits = values[0] << 18 | values[1] << 12 | values[2] << 6 | values[3];
    for (int i = 0; i < count - 1; ++i)
      m_bytes[m_count++] = static_cast<char>(bits >> (16 - 8 * i));
  }

  // As many groups as the next bytes need: what follows may be something else.
  void Decode(std::size_t bytes) {
    m_next = m_count = 0;
    while (m_count < std::min(bytes, kPiece))
      Group();
  }

  byt_Cursor m_cursor;
  std::string m_letters;
  char m_bytes[kPiece + 4];
  std::size_t m_letter = 0, m_next = 0, m_count = 0;
};

/// The header of compressed numbers.
struct Blocks {
  std::uint64_t blockBytes = 0, lastBytes = 0; // before compression
  std::vector<std::uint64_t> sizes;            // compressed, of each block

  std::uint64_t Bytes(std::size_t block) const {
    return block + 1 == sizes.size() && lastBytes != 0 ? lastBytes : blockBytes;
  }
};

std::uint64_t headerNumber(const byt_Source& source, const vtk_Packing& packing) {
  unsigned char bytes[8];
  source(reinterpret_cast<char*>(bytes), packing.headerBytes);
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < packing.headerBytes; ++i)
    number = number << 8 | bytes[packing.bigEndian ? i : packing.headerBytes - 1 - i];
  return number;
}

Blocks readBlocks(const mesh_File& file, const vtk_Packing& packing, const byt_Source& source,
                  std::uint64_t room) {
  Blocks blocks;
  const std::uint64_t count = headerNumber(source, packing);
  blocks.blockBytes = headerNumber(source, packing);
  blocks.lastBytes = headerNumber(source, packing);
  if (count > kMostBlocks || count > room)
    file.Fail("expected compressed blocks that the file can hold, found " + std::to_string(count));
  std::uint64_t left = room;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t size = headerNumber(source, packing);
    blocks.sizes.push_back(size);
    const std::uint64_t bytes = i + 1 == count && blocks.lastBytes ? blocks.lastBytes : blocks.blockBytes;
    if (size > left || bytes / kLargestExpansion > size || bytes > UINT32_MAX)
      file.Fail("expected blocks that the file can hold, found one of " + std::to_string(bytes) +
                " bytes in " + std::to_string(size));
    left -= size;
  }
  return blocks;
}

/// Gives the blocks as they were before they were compressed.
class Inflated {
 public:
  Inflated(mesh_File file, Blocks blocks, byt_Source source)
      : m_file(std::move(file)), m_blocks(std::move(blocks)), m_source(std::move(source)) {}

  void operator()(char* to, std::size_t bytes) {
    while (bytes > 0) {
      if (m_next == m_bytes.size())
        Inflate();
      const std::size_t taken = std::min(bytes, m_bytes.size() - m_next);
      std::memcpy(to, m_bytes.data() + m_next, taken);
      m_next += taken;
      to += taken;
      bytes -= taken;
    }
  }

 private:
  void Inflate() {
    if (m_block == m_blocks.sizes.size())
      m_file.Fail("expected more compressed blocks, found the end");
    std::vector<char> packed(m_blocks.sizes[m_block]);
    m_source(packed.data(), packed.size());
    m_bytes.resize(m_blocks.Bytes(m_block));
    uLongf size = m_bytes.size();
    const int result = uncompress(reinterpret_cast<Bytef*>(m_bytes.data()), &size,
                                  reinterpret_cast<const Bytef*>(packed.data()), packed.size());
    if (result != Z_OK || size != m_bytes.size())
      m_file.Fail("expected zlib to make " + std::to_string(m_bytes.size()) + " bytes of block " +
                  std::to_string(m_block + 1) + ", found damage");
    m_next = 0;
    ++m_block;
  }

  mesh_File m_file;
  Blocks m_blocks;
  byt_Source m_source;
  std::vector<char> m_bytes;
  std::size_t m_block = 0, m_next = 0;
};

std::uint64_t wholeNumbers(const mesh_File& file, std::uint64_t bytes, byt_Type type) {
  if (bytes % byt_Size(type) != 0)
    file.Fail("expected numbers of " + std::to_string(byt_Size(type)) + " bytes, found " +
              std::to_string(bytes) + " bytes");
  return bytes / byt_Size(type);
}

} // namespace

byt_Source vtk_Raw(const mesh_File& file, byt_Range range) {
  return [cursor = std::make_shared<byt_Cursor>(file, range)](char* to, std::size_t bytes) {
    cursor->Bytes(to, bytes);
  };
}

byt_Source vtk_Base64(const mesh_File& file, byt_Range range) {
  return [decoder = std::make_shared<Base64>(file, range)](char* to, std::size_t bytes) {
    (*decoder)(to, bytes);
  };
}

byt_Numbers vtk_Unpack(const mesh_File& file, const vtk_Packing& packing, byt_Type type,
                       const std::function<byt_Source()>& makeSource, std::uint64_t room) {
  byt_Numbers numbers;
  numbers.type = type;
  numbers.bigEndian = packing.bigEndian;
  const byt_Source source = makeSource();
  if (!packing.compressed) {
    const std::uint64_t bytes = headerNumber(source, packing);
    if (bytes > room)
      file.Fail("expected numbers that the file can hold, found " + std::to_string(bytes) + " bytes");
    numbers.count = wholeNumbers(file, bytes, type);
    numbers.bytes = [=] {
      byt_Source next = makeSource();
      headerNumber(next, packing);
      return next;
    };
    return numbers;
  }
  Blocks blocks = readBlocks(file, packing, source, room);
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < blocks.sizes.size(); ++i)
    bytes += blocks.Bytes(i);
  numbers.count = wholeNumbers(file, bytes, type);
  numbers.bytes = [=]() -> byt_Source {
    const byt_Source next = makeSource();
    for (std::size_t i = 0; i < blocks.sizes.size() + 3; ++i)
      headerNumber(next, packing);
    return [inflated = std::make_shared<Inflated>(file, blocks, next)](char* to, std::size_t size) {
      (*inflated)(to, size);
    };
  };
  return numbers;
}
