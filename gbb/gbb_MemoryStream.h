#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_AutoArray.h>
#include <kda/kda_Export.h>
#include <kda/kda_string.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

/// Stores a number in the byte order of this machine, or the other way round.
template <class T>
inline void gbb_StoreNumber(unsigned char* to, T value, bool reversed) {
  unsigned char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  if (reversed)
    std::reverse(bytes, bytes + sizeof value);
  std::memcpy(to, bytes, sizeof bytes);
}

/// The stored byte of a flag: 1 for every byte in memory but 0, whatever else a host has put there.
inline unsigned char gbb_FlagByte(const bool& flag) {
  unsigned char byte = 0;
  std::memcpy(&byte, &flag, sizeof byte);
  return byte != 0 ? 1 : 0;
}

/// What is stored of a value: how many bytes, and the bytes. Worked out once, so that a whole record can be
/// written after one look at the room that is left. This one is for identifiers: a length, then their
/// external form.
template <class T>
class gbb_Stored {
 public:
  explicit gbb_Stored(const T& value) : m_external(value) {}
  int Size() const { return 4 + m_external.Length(); }
  void Store(unsigned char* to, bool reversed) const {
    gbb_StoreNumber(to, m_external.Length(), reversed);
    std::memcpy(to + 4, m_external.Bytes(), static_cast<std::size_t>(m_external.Length()));
  }

 private:
  ORXSimIDExternal m_external;
};

template <class T>
requires std::is_arithmetic_v<T>
class gbb_Stored<T> {
 public:
  explicit gbb_Stored(T value) : m_value(value) {}
  static constexpr int Size() { return sizeof(T); }
  void Store(unsigned char* to, bool reversed) const { gbb_StoreNumber(to, m_value, reversed); }

 private:
  T m_value;
};

template <>
class gbb_Stored<bool> : public gbb_Stored<unsigned char> {
 public:
  explicit gbb_Stored(const bool& flag) : gbb_Stored<unsigned char>(gbb_FlagByte(flag)) {}
};

template <>
class gbb_Stored<kda_string> {
 public:
  explicit gbb_Stored(const kda_string& value) : m_text(value.cStr()), m_length(value.byteCount()) {}
  int Size() const { return 4 + m_length; }
  void Store(unsigned char* to, bool reversed) const {
    gbb_StoreNumber(to, m_length, reversed);
    std::memcpy(to + 4, m_text, static_cast<std::size_t>(m_length));
  }

 private:
  const char* m_text; // borrowed
  int m_length;
};

/// The simple members of one object as bytes, and back.
///
/// A buffer is a 32-bit header with its whole length, then the records. Integers and doubles are stored
/// least significant byte first. After the first error every further operation does nothing, so the first
/// error is the one that stands; the stream itself reports nothing.
///
/// Threads: one at a time for each stream.
class PDM_CORE_API gbb_MemoryStream {
 public:
  /// How values of a base type are grouped in a member: the upper half of a type tag.
  enum Shape : unsigned char { kSingle = 0, kList = 1, kMapByString = 3, kMapByInt = 4 };
  /// The base type of a member: the lower half of a type tag.
  enum Base : unsigned char {
    kBool = 1,
    kUChar = 2,
    kInt = 3,
    kLongLong = 4,
    kFloat = 5,
    kDouble = 6,
    kString = 7,
    kCollection = 8,
    kCSet = 9,
    kDistribution = 10,
    kDSet = 11
  };
  enum Error : int {
    kGood = 0,
    kWrongTag = 1,        ///< a type tag is not the expected one
    kPastLimit = 2,       ///< a read would pass the stated length, or a length or count cannot be true
    kWrongIdentifier = 3, ///< an identifier of another context (write), or one of over 64 bytes (read)
    kDamaged = 4          ///< what the file holds does not match its checksum; nothing of it is read
  };
  using Buffer = gbb_AutoArray<unsigned char, gbb_MemoryStream>;

  static constexpr int kHeaderSize = 4;

  /// A stream for writing, with nothing but its header.
  /// \param context  whose identifiers it accepts.
  explicit gbb_MemoryStream(ORXSimContextID context);
  /// A stream for reading; takes the buffer over. A header that states less than itself or more than the
  /// buffer holds is error 2.
  /// \param context  the context of the identifiers that are read.
  /// \param error  an error that stands before anything is read.
  gbb_MemoryStream(Buffer buffer, ORXSimContextID context, Error error = kGood);
  ~gbb_MemoryStream();
  gbb_MemoryStream(const gbb_MemoryStream&) = delete;
  gbb_MemoryStream& operator=(const gbb_MemoryStream&) = delete;

  int GetError() const { return m_error; }
  void SetError(Error error) {
    if (m_error == kGood)
      m_error = error;
  }
  int Position() const { return m_position; }
  /// Bytes that reading may use in all, header included.
  int Limit() const { return m_limit; }
  /// True while there is something left to read and no error.
  bool More() const { return m_error == kGood && m_position < m_limit; }
  /// Bytes left to read.
  int Left() const { return m_limit - m_position; }

  void Write(unsigned char value) { Put(&value, 1); }
  /// n bytes.
  void Write(const unsigned char* bytes, int n) { Put(bytes, n); }
  void Write(const bool& value) { Write(gbb_FlagByte(value)); }
  void Write(int value) { PutNumber(value); }
  void Write(long long value) { PutNumber(value); }
  void Write(float value) { PutNumber(value); }
  void Write(double value) { PutNumber(value); }
  void WriteSize(int value) { PutNumber(value); }
  /// Its length, then its bytes.
  void Write(const kda_string& value);
  /// An identifier that is neither null nor of the stream's context is error 3.
  void Write(ORXSimCollectionID value) { PutIdentifier(value); }
  void Write(ORXSimCSetID value) { PutIdentifier(value); }
  void Write(ORXSimDSetID value) { PutIdentifier(value); }
  void Write(ORXSimDistributionID value) { PutIdentifier(value); }
  /// A type tag.
  void Write(Shape shape, Base base) { Write(Tag(shape, base)); }
  /// Several values one after another, as Write of each would.
  template <class... T>
  void WriteTogether(const T&... values) {
    if (!(Accepts(values) && ...))
      return;
    PutStored(gbb_Stored<T>(values)...);
  }
  /// Makes room, so that the next n bytes are written without growing.
  void Reserve(int n);

  void Read(unsigned char& value) { Get(&value, 1); }
  void Read(bool& value);
  void Read(int& value) { GetNumber(value); }
  void Read(long long& value) { GetNumber(value); }
  void Read(float& value) { GetNumber(value); }
  void Read(double& value) { GetNumber(value); }
  void Read(kda_string& value);
  void Read(ORXSimCollectionID& value) { GetIdentifier(value); }
  void Read(ORXSimCSetID& value) { GetIdentifier(value); }
  void Read(ORXSimDSetID& value) { GetIdentifier(value); }
  void Read(ORXSimDistributionID& value) { GetIdentifier(value); }
  /// Reads a type tag; another one than the expected is error 1.
  void Read(Shape shape, Base base);
  /// Reads the head of a member record when it is the very one that comes next: its index and its type tag.
  /// \return false, with nothing read, when something else comes, and after an error.
  bool ReadHead(int index, Shape shape, Base base) {
    if (m_error != kGood || m_limit - m_position < kHeadSize || m_swap)
      return false;
    unsigned char expected[kHeadSize] = {Tag(kSingle, kInt)};
    gbb_StoreNumber(expected + 1, index, false);
    expected[kHeadSize - 1] = Tag(shape, base);
    if (std::memcmp(m_buffer.Data() + m_position, expected, kHeadSize) != 0)
      return false;
    m_position += kHeadSize;
    return true;
  }
  /// Reads the number of entries that follow. One that is negative, or that the bytes left cannot hold, is
  /// error 2 and gives 0.
  /// \param entrySize  the least bytes that an entry takes, at least 1.
  int ReadCount(int entrySize) {
    int count = 0;
    GetNumber(count);
    if (count == 0 || (count > 0 && count <= Left() / entrySize)) // 0 after an error
      return count;
    m_error = kPastLimit;
    return 0;
  }

  /// Completes the header and hands the buffer over; the stream starts again, empty, for writing.
  Buffer GetBuffer();

  static constexpr unsigned char Tag(Shape shape, Base base) {
    return static_cast<unsigned char>(shape << 4 | base);
  }

 private:
  static constexpr bool kReversedHost = std::endian::native == std::endian::big;
  static constexpr int kHeadSize = 6; // of a member record: a tag, its index, the member's tag

  void Start();
  // Room for n more bytes, null after an error.
  unsigned char* Room(int n) { return m_error == kGood && n >= 0 ? m_buffer.Extend(n) : nullptr; }
  void Put(const void* bytes, int n) {
    if (unsigned char* const to = Room(n))
      std::memcpy(to, bytes, static_cast<std::size_t>(n));
  }
  void Get(void* bytes, int n) {
    if (const unsigned char* const from = Take(n))
      std::memcpy(bytes, from, static_cast<std::size_t>(n));
  }
  // The next n bytes, null (and error 2) when the limit is nearer.
  const unsigned char* Take(int n) {
    if (m_error != kGood)
      return nullptr;
    if (n < 0 || n > m_limit - m_position) {
      m_error = kPastLimit;
      return nullptr;
    }
    const unsigned char* const from = m_buffer.Data() + m_position;
    m_position += n;
    return from;
  }

  template <class... Stored>
  void PutStored(const Stored&... stored) {
    unsigned char* to = Room((stored.Size() + ...));
    if (to != nullptr)
      ((stored.Store(to, m_swap), to += stored.Size()), ...);
  }
  template <class T>
  void PutNumber(T value) {
    if (unsigned char* const to = Room(sizeof value))
      gbb_StoreNumber(to, value, m_swap);
  }
  template <class T>
  void GetNumber(T& value) {
    if (const unsigned char* const from = Take(sizeof value)) {
      std::memcpy(&value, from, sizeof value);
      if (m_swap)
        gbb_StoreNumber(reinterpret_cast<unsigned char*>(&value), value, true);
    }
  }
  template <class ID>
  void PutIdentifier(ID value) {
    if (!Accepts(value))
      return;
    const gbb_Stored<ID> stored(value);
    if (unsigned char* const to = Room(stored.Size()))
      stored.Store(to, m_swap);
  }
  // Error 3 for an identifier that is neither null nor of this context; everything else is accepted.
  bool Accepts(const auto& value) {
    if constexpr (requires { value.Context(); }) {
      if (!value.IsNull() && value.Context() != m_context)
        SetError(kWrongIdentifier);
    }
    return m_error == kGood;
  }
  template <class ID>
  void GetIdentifier(ID& value) {
    int length = 0;
    GetNumber(length);
    if (m_error == kGood && length > ORXSimIDExternal::kMaxLength) [[unlikely]]
      m_error = kWrongIdentifier;
    const unsigned char* const from = Take(length);
    if (from == nullptr)
      return;
    // Forms of the usual length, which the compiler then knows, come to a few instructions.
    constexpr int kUsual = std::is_same_v<ID, ORXSimCSetID> ? 9 : 5;
    Become(value, length == kUsual ? ORXSimIDExternal(from, kUsual) : ORXSimIDExternal(from, length));
  }
  void Become(ORXSimCollectionID& value, const ORXSimIDExternal& form) const {
    value = {m_context, form.CollectionIDMinor(m_context)};
  }
  void Become(ORXSimCSetID& value, const ORXSimIDExternal& form) const {
    int collection = -1;
    const int minor = form.CSetIDMinor(m_context, collection);
    value = {ORXSimCollectionID(m_context, collection), minor};
  }
  void Become(ORXSimDSetID& value, const ORXSimIDExternal& form) const {
    value = {m_context, form.DSetIDMinor(m_context)};
  }
  void Become(ORXSimDistributionID& value, const ORXSimIDExternal& form) const {
    value = {m_context, form.DistributionIDMinor(m_context)};
  }

  ORXSimContextID m_context;
  Buffer m_buffer;
  int m_position = kHeaderSize; // the read cursor
  bool m_swap = kReversedHost;  // numbers in memory have the opposite byte order of those in the buffer
  int m_error = kGood;
  int m_limit = 0; // valid bytes for reading
};
