#pragma once

#include <pdmsim/mesh/mesh_Error.h>

#include <UTI_ORXSimDynamicAPI/hdf_Foreign.h>

#include <string>
#include <vector>

/// A MED file: what is asked for must be there. Every call throws mesh_Error. A place in the file is a path.
class med_File {
 public:
  explicit med_File(const std::string& path);

  const std::string& Path() const { return m_path; }
  [[noreturn]] void Fail(const std::string& what) const { throw mesh_Error(m_path, what); }

  bool IsGroup(const std::string& place) const { return m_file.Look(place) == hdf_ForeignKind::kGroup; }
  bool IsDataset(const std::string& place) const { return m_file.Look(place) == hdf_ForeignKind::kDataset; }
  std::vector<std::string> Links(const std::string& group) const;
  /// The links of a group that is perhaps not there.
  std::vector<std::string> LinksIfAny(const std::string& group) const;

  long long Integer(const std::string& object, const char* attribute) const;
  /// `otherwise` when there is no such attribute.
  long long Integer(const std::string& object, const char* attribute, long long otherwise) const;
  double Real(const std::string& object, const char* attribute, double otherwise) const;
  std::string Text(const std::string& object, const char* attribute) const;

  std::size_t Count(const std::string& dataset) const;
  /// All numbers of a dataset.
  /// \param count how many there must be.
  std::vector<int> Ints(const std::string& dataset, std::size_t count) const;
  std::vector<long long> Longs(const std::string& dataset, std::size_t count) const;
  std::vector<double> Doubles(const std::string& dataset, std::size_t count) const;
  bool IsFloat(const std::string& dataset) const; // of 4 bytes
  bool IsLong(const std::string& dataset) const;  // integers of 8 bytes
  std::vector<std::string> Texts(const std::string& dataset) const;

 private:
  template <class T>
  std::vector<T> Read(const std::string& dataset, hdf_Datatype type, std::size_t count) const;
  hdf_ForeignShape Shape(const std::string& dataset) const;

  std::string m_path;
  hdf_ForeignFile m_file;
};
