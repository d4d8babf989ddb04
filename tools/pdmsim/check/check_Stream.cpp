#include <pdmsim/check/check_Stream.h>

#include <UTI_ORXSimDynamicAPI/hdf_Checksum.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr unsigned char kMark[] = {0xf7, 'X', '3', 0xe1};
constexpr std::size_t kHeader = 4, kTrailer = 12;

std::uint64_t LittleEndian(const unsigned char* bytes, int n) {
  std::uint64_t value = 0;
  while (n-- > 0)
    value = value << 8 | bytes[n];
  return value;
}

bool IsKnown(unsigned char tag) {
  const int shape = tag >> 4, base = tag & 15;
  return (shape == 0 || shape == 1 || shape == 3 || shape == 4) && base >= 1 && base <= 11;
}

} // namespace

void check_Stream::Fail(const std::string& text) {
  m_tell("stream.record", "byte " + std::to_string(m_at) + ": " + text, false);
  throw Failure();
}

/// The place of the next n bytes.
std::size_t check_Stream::Take(std::size_t n) {
  if (n > m_limit - m_at)
    Fail("the stream ends in the middle of a record");
  m_at += n;
  return m_at - n;
}

std::size_t check_Stream::Number() {
  return static_cast<std::size_t>(LittleEndian(m_bytes.data() + Take(4), 4));
}

int check_Stream::Count() {
  const std::size_t count = Number();
  if (count > m_limit - m_at) // no entry takes less than a byte
    Fail("a count of " + std::to_string(static_cast<std::int32_t>(count)) + " where " +
         std::to_string(m_limit - m_at) + " bytes are left");
  return static_cast<int>(count);
}

void check_Stream::Run() try {
  if (m_bytes.size() < kHeader)
    return m_tell("stream.length", "the dataset has no room for a stream", false);
  const auto stated = static_cast<std::size_t>(LittleEndian(m_bytes.data(), kHeader));
  m_limit = stated;
  CheckSum();
  if (stated < kHeader || stated > m_bytes.size())
    return m_tell("stream.length",
                  "states a length of " + std::to_string(static_cast<std::int32_t>(stated)) +
                      " bytes in a dataset of " + std::to_string(m_bytes.size()),
                  false);
  m_at = kHeader;
  while (m_at < m_limit)
    Record();
} catch (const Failure&) {
  // what follows cannot be told apart
}

void check_Stream::CheckSum() {
  const bool fits = m_limit >= kHeader && m_limit + kTrailer <= m_bytes.size();
  const unsigned char* const trailer = fits ? m_bytes.data() + m_limit : nullptr;
  if (!fits || std::memcmp(trailer, kMark, sizeof kMark) != 0) {
    const auto mark = std::search(m_bytes.begin(), m_bytes.end(), std::begin(kMark), std::end(kMark));
    return mark == m_bytes.end()
               ? m_tell("stream.nochecksum", "the stream has no checksum", true)
               : m_tell("stream.checksum", "a checksum stands where the stream does not end", false);
  }
  if (LittleEndian(trailer + sizeof kMark, 8) != hdf_Checksum(m_bytes.data(), m_limit))
    m_tell("stream.checksum", "the stream does not match its checksum", false);
}

void check_Stream::Record() {
  if (m_bytes[Take(1)] != 3)
    Fail("no record begins here");
  const auto index = static_cast<std::int32_t>(Number());
  const unsigned char tag = m_bytes[Take(1)];
  if (!IsKnown(tag))
    Fail("member " + std::to_string(index) + " has a value of unknown type " + std::to_string(tag));
  const show_Member* const member = m_class == nullptr ? nullptr : m_class->Member(index);
  const std::string name = member != nullptr ? member->name : "member " + std::to_string(index);
  if (m_class != nullptr && member == nullptr)
    m_tell("stream.member", "member " + std::to_string(index) + ", which " + m_class->name + " has not",
           false);
  if (member != nullptr && member->tag != tag)
    m_tell("stream.member",
           name + " has a value of type " + std::to_string(tag) + " where " + std::to_string(member->tag) +
               " is expected",
           false);
  Value(tag, name);
}

void check_Stream::Value(unsigned char tag, const std::string& member) {
  const int shape = tag >> 4, base = tag & 15;
  if (shape == gbb_MemoryStream::kSingle)
    return Single(base, member);
  const int count = Count();
  for (int i = 0; i < count; ++i) {
    const std::string key =
        shape == gbb_MemoryStream::kList ? std::to_string(i) : Key(shape == gbb_MemoryStream::kMapByString);
    Single(base, member + '[' + key + ']');
  }
}

std::string check_Stream::Key(bool isText) {
  const std::size_t number = Number();
  if (!isText)
    return std::to_string(static_cast<std::int32_t>(number));
  const std::size_t at = Take(number);
  return {reinterpret_cast<const char*>(m_bytes.data()) + at, number};
}

void check_Stream::Single(int base, const std::string& member) {
  constexpr std::size_t kSizes[] = {0, 1, 1, 4, 8, 4, 8};
  constexpr int kKinds[] = {1, 2, 4, 3}; // of the bases from kCollection on
  if (base < gbb_MemoryStream::kString)
    Take(kSizes[base]);
  else if (base == gbb_MemoryStream::kString)
    Take(Number());
  else
    Identifier(kKinds[base - gbb_MemoryStream::kCollection], member);
}

void check_Stream::Identifier(int kind, const std::string& member) {
  const std::size_t length = Number();
  if (length > ORXSimIDExternal::kMaxLength)
    Fail("an identifier of " + std::to_string(length) + " bytes");
  const unsigned char* const form = m_bytes.data() + Take(length);
  if (length != (kind == 2 ? 9u : 5u) || form[0] != kind)
    return m_tell("stream.identifier", member + " holds an identifier of another kind", false);
  const auto minor = [&](int i) { return static_cast<std::int32_t>(LittleEndian(form + 1 + 4 * i, 4)); };
  const check_Reference reference =
      kind == 2 ? check_Reference{kind, minor(0), minor(1)} : check_Reference{kind, -1, minor(0)};
  if (reference.minor != -1)
    m_refer(member, reference);
}
