#pragma once

#include <pdmsim/import/bytes/byt_Numbers.h>
#include <pdmsim/import/bytes/byt_Xml.h>

#include <UTI_ORXSimDynamicAPI/hdf_Foreign.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The numbers of a DataItem, wherever they are.
class xdmf_Item {
 public:
  std::uint64_t Count() const { return m_count; }
  bool IsReal() const { return m_isReal; }
  bool IsFloat() const { return m_isFloat; } // of 4 bytes
  bool IsLong() const { return m_isLong; }   // perhaps of integers that a double does not hold
  /// Throws mesh_Error.
  /// \param as double, int or long long.
  template <class T>
  std::vector<T> Read(const mesh_File& file) const;
  /// True when both are the same place of the same file.
  bool IsSame(const xdmf_Item& other) const;

 private:
  friend class xdmf_Document;
  std::uint64_t m_count = 0;
  bool m_isReal = false, m_isFloat = false, m_isLong = false;
  byt_Numbers m_numbers; // in the XML file, unless there is an m_hdf
  std::shared_ptr<hdf_ForeignFile> m_hdf;
  std::string m_hdfPath, m_dataset;      // in m_hdf
  std::optional<hdf_ForeignPart> m_part; // of the dataset
};

/// An XDMF file: its elements, and the numbers that they lead to. Throws mesh_Error.
class xdmf_Document {
 public:
  explicit xdmf_Document(const std::string& path);

  const mesh_File& File() const { return m_file; }
  const byt_XmlNode& Root() const { return m_root; }
  [[noreturn]] void Fail(const std::string& what) const { m_file.Fail(what); }

  /// The element that a path leads to, as /Xdmf/Domain/Grid[2]/Topology or //Grid[@Name="mesh"]; null when
  /// there is none.
  const byt_XmlNode* Find(std::string_view path) const;
  /// The element itself, or the one that its Reference leads to.
  const byt_XmlNode& Resolved(const byt_XmlNode& node) const;
  /// What a DataItem is, held against the file that has its numbers.
  xdmf_Item Item(const byt_XmlNode& node) const;
  /// The HDF5 files that items had their numbers in so far.
  std::vector<std::string> HdfFiles() const;
  /// The text of an element, which must be short.
  std::string Text(const byt_XmlNode& node) const;

 private:
  xdmf_Item HdfItem(const std::string& place) const;
  xdmf_Item Slab(const byt_XmlNode& node) const;
  std::optional<std::uint64_t> Dimensions(const byt_XmlNode& node) const;
  byt_Type Type(const byt_XmlNode& node) const;

  mesh_File m_file;
  byt_XmlNode m_root;
  mutable std::map<std::string, std::shared_ptr<hdf_ForeignFile>> m_hdf; // by path
};
