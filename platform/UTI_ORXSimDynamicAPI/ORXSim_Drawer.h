#pragma once

#include <UTI_BasicUtils/cow_String.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>

#include <cstdint>

/// Type of the numbers in a drawer.
enum class ORXSimItemType : unsigned char { kInt32, kInt64, kFloat, kDouble };

/// Bytes of one number.
constexpr int ORXSimItemSize(ORXSimItemType type) {
  return type == ORXSimItemType::kInt32 || type == ORXSimItemType::kFloat ? 4 : 8;
}

/// What a drawer to be created shall be.
/// Threads: a value; each thread uses values of its own.
struct ORXSimDrawerDescription {
  /// The member set that the rows belong to: row i is the data of the set's i-th member.
  ORXSimCSetID members;
  ORXSimItemType type = ORXSimItemType::kDouble;
  /// Numbers a row, 1 or more.
  int components = 1;
  /// Unit of the numbers, and a name for people; shown and compared, never interpreted. May be empty.
  cow_String unit{}, longName{};
  /// Rows a chunk; 0 stores the drawer as one contiguous block, which is the fastest. A deflated drawer with
  /// 0 here gets chunks of about 4 MiB.
  int chunkItems = 0;
  /// 0: stored as it is; 1 (fast) to 9 (small): shuffled and deflated. Pays for integers.
  int deflate = 0;
};

/// One drawer as it stands in the file.
class ORXSimPersistentDrawerDesc {
 public:
  /// A description of nothing: null set, no rows.
  ORXSimPersistentDrawerDesc() = default;
  ORXSimPersistentDrawerDesc(const ORXSimDrawerDescription& description, int items)
      : m_description(description), m_items(items) {}

  /// The member set that the rows belong to.
  ORXSimCSetID CSet() const { return m_description.members; }
  ORXSimItemType Type() const { return m_description.type; }
  /// Numbers a row.
  int Components() const { return m_description.components; }
  /// Rows.
  int Items() const { return m_items; }
  /// Bytes of the whole drawer: rows x components x size of a number.
  std::int64_t Bytes() const {
    return std::int64_t{m_items} * m_description.components * ORXSimItemSize(m_description.type);
  }
  const cow_String& Unit() const { return m_description.unit; }
  const cow_String& LongName() const { return m_description.longName; }
  /// Rows a chunk, 0 when contiguous.
  int ChunkItems() const { return m_description.chunkItems; }
  /// The level it was created with, 0 when not deflated.
  int Deflate() const { return m_description.deflate; }

 private:
  ORXSimDrawerDescription m_description;
  int m_items = 0;
};
