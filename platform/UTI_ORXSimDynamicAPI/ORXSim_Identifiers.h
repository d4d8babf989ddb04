#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

/// One open simulation file; -1 is none. Never reused within a process.
/// Threads: identifiers are values; each thread uses values of its own.
class ORXSimContextID {
 public:
  constexpr ORXSimContextID() = default;
  explicit constexpr ORXSimContextID(int value) : m_value(value) {}

  constexpr int Value() const { return m_value; }
  constexpr bool IsNull() const { return m_value == -1; }
  friend constexpr bool operator==(ORXSimContextID, ORXSimContextID) = default;

 private:
  int m_value = -1;
};

/// What the identifiers of one numbered object of a context share: the context, a flag that is always
/// false for objects of this store, and the object's minor number, -1 for null.
class ORXSimStoreID {
 public:
  constexpr ORXSimContextID Context() const { return m_context; }
  constexpr bool Flag() const { return m_flag; }
  constexpr int Minor() const { return m_minor; }
  constexpr bool IsNull() const { return m_minor == -1; }

 protected:
  constexpr ORXSimStoreID() = default;
  constexpr ORXSimStoreID(ORXSimContextID context, int minor) : m_context(context), m_minor(minor) {}
  friend constexpr bool operator==(const ORXSimStoreID&, const ORXSimStoreID&) = default;

 private:
  ORXSimContextID m_context;
  bool m_flag = false;
  int m_minor = -1;
};

/// A collection of items, such as the nodes or the elements of a mesh.
class ORXSimCollectionID : public ORXSimStoreID {
 public:
  constexpr ORXSimCollectionID() = default;
  constexpr ORXSimCollectionID(ORXSimContextID context, int minor) : ORXSimStoreID(context, minor) {}
  friend constexpr bool operator==(const ORXSimCollectionID&, const ORXSimCollectionID&) = default;
};

/// A data set of the store.
class ORXSimDSetID : public ORXSimStoreID {
 public:
  constexpr ORXSimDSetID() = default;
  constexpr ORXSimDSetID(ORXSimContextID context, int minor) : ORXSimStoreID(context, minor) {}
  friend constexpr bool operator==(const ORXSimDSetID&, const ORXSimDSetID&) = default;
};

/// Data distributed over member sets of collections.
class ORXSimDistributionID : public ORXSimStoreID {
 public:
  constexpr ORXSimDistributionID() = default;
  constexpr ORXSimDistributionID(ORXSimContextID context, int minor) : ORXSimStoreID(context, minor) {}
  friend constexpr bool operator==(const ORXSimDistributionID&, const ORXSimDistributionID&) = default;
};

/// An ordered member set of a collection. Minor 0 is the full set of the collection, which costs no storage.
class ORXSimCSetID {
 public:
  constexpr ORXSimCSetID() = default;
  constexpr ORXSimCSetID(ORXSimCollectionID collection, int minor)
      : m_context(collection.Context()), m_collection(collection.Minor()), m_minor(minor) {}

  constexpr ORXSimContextID Context() const { return m_context; }
  constexpr bool Flag() const { return m_flag; }
  /// The collection's minor number.
  constexpr int CollectionMinor() const { return m_collection; }
  constexpr ORXSimCollectionID Collection() const { return {m_context, m_collection}; }
  constexpr int Minor() const { return m_minor; }
  constexpr bool IsNull() const { return m_minor == -1; }
  friend constexpr bool operator==(const ORXSimCSetID&, const ORXSimCSetID&) = default;

 private:
  ORXSimContextID m_context;
  bool m_flag = false;
  int m_collection = -1;
  int m_minor = -1;
};

static_assert(sizeof(ORXSimContextID) == 4 && sizeof(ORXSimCollectionID) == 12 &&
              sizeof(ORXSimDSetID) == 12 && sizeof(ORXSimDistributionID) == 12 && sizeof(ORXSimCSetID) == 16);
static_assert(std::is_trivially_copyable_v<ORXSimCollectionID> && std::is_trivially_copyable_v<ORXSimCSetID>);

/// The context-free form of an identifier, as it is stored in files.
///
/// One byte for the kind (1 collection, 2 member set, 3 data set, 4 distribution), then the minor numbers
/// as 32-bit little-endian integers: one of them, for a member set first the collection's, then its own.
/// A null identifier has minors of -1. Reading the form as another kind, or a form of the wrong length,
/// gives the null minor -1.
class ORXSimIDExternal {
 public:
  static constexpr int kMaxLength = 64;

  explicit ORXSimIDExternal(ORXSimCollectionID id) { Put(kCollection, id.Minor()); }
  explicit ORXSimIDExternal(ORXSimDSetID id) { Put(kDSet, id.Minor()); }
  explicit ORXSimIDExternal(ORXSimDistributionID id) { Put(kDistribution, id.Minor()); }
  explicit ORXSimIDExternal(ORXSimCSetID id) {
    Put(kCSet, id.IsNull() ? -1 : id.CollectionMinor(), id.Minor());
  }

  /// Takes over `length` stored bytes; a length outside [0, kMaxLength] gives a form of no kind.
  ORXSimIDExternal(const unsigned char* bytes, int length) {
    if (length > 0 && length <= kMaxLength) {
      m_bytes[0] = bytes[0]; // by itself: a minor is then loaded again from one store, which is no wait
      std::memcpy(m_bytes + 1, bytes + 1, static_cast<std::size_t>(length) - 1);
      m_length = length;
    }
  }

  const unsigned char* Bytes() const { return m_bytes; }
  int Length() const { return m_length; }

  /// The minor that the form has in a context, or -1 when it is null or of another kind.
  int CollectionIDMinor(ORXSimContextID) const { return Get(kCollection, kOne, 0); }
  int DSetIDMinor(ORXSimContextID) const { return Get(kDSet, kOne, 0); }
  int DistributionIDMinor(ORXSimContextID) const { return Get(kDistribution, kOne, 0); }
  /// As the others;
  /// \param collection receives the collection's minor.
  int CSetIDMinor(ORXSimContextID, int& collection) const {
    collection = Get(kCSet, kTwo, 0);
    return Get(kCSet, kTwo, 1);
  }

 private:
  enum : unsigned char { kCollection = 1, kCSet = 2, kDSet = 3, kDistribution = 4 };
  static constexpr int kOne = 5, kTwo = 9; // lengths of the forms with one and with two minors

  void Append(int minor) {
    const auto bits = static_cast<std::uint32_t>(minor);
    const unsigned char bytes[4] = {static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
                                    static_cast<unsigned char>(bits >> 16),
                                    static_cast<unsigned char>(bits >> 24)};
    std::memcpy(m_bytes + m_length, bytes, sizeof bytes);
    m_length += 4;
  }
  template <class... Minors>
  void Put(unsigned char kind, Minors... minors) {
    m_bytes[m_length++] = kind;
    (Append(minors), ...);
  }
  int Get(unsigned char kind, int length, int place) const {
    if (m_length != length || m_bytes[0] != kind)
      return -1;
    std::uint32_t bits = 0;
    for (int i = 3; i >= 0; --i)
      bits = bits << 8 | m_bytes[1 + 4 * place + i];
    return static_cast<int>(bits);
  }

  int m_length = 0;
  unsigned char m_bytes[kMaxLength];
};
