#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Drawer.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Verification.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_Rows.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_StoreCall.h>

#include <optional>

/// One drawer of an open distribution. Private to the module. Each call reports failures to the operation.
class ORXSimDrawerFile {
 public:
  /// Makes a drawer of that number.
  /// \param items rows, the size of the description's member set.
  static bool Create(ORXSimStoreCall& call, hid_t distribution, int drawer,
                     const ORXSimDrawerDescription& description, int items);
  /// Opens a drawer; a closed one on failure.
  static ORXSimDrawerFile Open(ORXSimStoreCall& call, hid_t distribution, int drawer);
  /// The same of the distribution with that minor.
  static ORXSimDrawerFile OpenOf(ORXSimStoreCall& call, int distribution, int drawer);

  bool IsOpen() const { return m_data != nullptr; }
  int Items() const { return IsOpen() ? m_items : 0; }
  int Components() const { return m_components; }
  ORXSimItemType Type() const { return m_type; }
  /// Bytes of that many rows.
  std::int64_t BytesOf(int rows) const { return std::int64_t{rows} * m_components * ORXSimItemSize(m_type); }
  /// Everything about the drawer.
  /// \return false on failure.
  bool Describe(hdf_Operation& operation, ORXSimContextID context, ORXSimPersistentDrawerDesc& result) const;
  /// The member set of its rows, null on failure.
  ORXSimCSetID Members(hdf_Operation& operation, ORXSimContextID context) const;
  /// Moves rows [first, first + count), whose bytes must be `bytes`. Exactly one of target and source.
  /// Much data that is written anew as a whole goes into fresh space, so that it is written once.
  bool Move(hdf_Operation& operation, int first, int count, std::int64_t bytes, void* target,
            const void* source);
  /// Holds all rows of an open drawer against their checksums.
  ORXSimVerification Verify(hdf_Operation& operation) { return Rows().Verify(operation); }
  /// The rows of an open drawer.
  ORXSimRows& Rows();
  /// Rows of one checksum, of an open drawer.
  int BlockRows() { return Rows().BlockRows(); }
  /// False when the file was closed or taken back since the drawer was opened.
  bool HasStayed() const { return IsOpen() && m_data->id >= 0; }
  /// Type, rows and components of two drawers.
  bool IsLike(const ORXSimDrawerFile& other) const {
    return m_type == other.m_type && m_items == other.m_items && m_components == other.m_components;
  }
  /// True when its numbers lie in the file one behind the other as memory has them.
  /// \param offset becomes where they begin.
  bool Lies(std::uint64_t& offset) const;
  /// Where its numbers begin in the file, when they lie there one behind the other as memory has them.
  /// \return false, with the cause told, when they do not.
  bool LiesAt(hdf_Operation& operation, std::uint64_t& offset) const;
  /// A drawer of the same type, shape and attributes without a name: new space for much data.
  /// \return a closed one on failure.
  ORXSimDrawerFile MakeTwin(hdf_Operation& operation) const;
  /// The twin takes the place of this drawer, in the same update. Every open value follows.
  bool GiveWay(hdf_Operation& operation, const ORXSimDrawerFile& twin) const;
  /// True when the dataset has one name, so that another one can take its place.
  bool HasOneName() const;
  /// Its place in the file.
  std::string Path() const { return hdf_PathOf(m_data->id); }
  /// What fails next is told of this drawer.
  void Name(hdf_Operation& operation) const { operation.At(m_data->id); }

 private:
  bool Understand(hdf_Operation& operation);
  bool FillsItsSet(ORXSimStoreCall& call) const;
  bool Renew(hdf_Operation& operation, const void* source) const;
  bool CheckRange(hdf_Operation& operation, int first, int count, std::int64_t bytes) const;

  std::shared_ptr<hdf_DatasetRep> m_data; // null: not open
  std::optional<ORXSimRows> m_rows;       // of m_data, made when first needed
  ORXSimItemType m_type = ORXSimItemType::kDouble;
  int m_items = 0, m_components = 1;
};
