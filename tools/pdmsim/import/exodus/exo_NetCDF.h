#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

class exo_NetCDF;

/// One variable of a netCDF file. Valid as long as its file. Nothing is read before a Read.
///
/// The Read functions take the hyperslab [first, first + count) of every dimension and fill `out` row by
/// row; integers only from integer variables, reals only from float and double ones. A value outside the
/// range of the target throws, as every failure does, an mesh_Error.
class exo_Array {
 public:
  const std::string& Name() const { return m_name; }
  const std::vector<std::size_t>& Shape() const { return m_shape; }
  bool IsInteger() const;
  bool FitsInt() const; // of a type whose every value an int can hold
  bool IsReal() const;
  bool IsFloat() const; // stored with four bytes
  bool IsText() const;

  void Read(const std::vector<std::size_t>& first, const std::vector<std::size_t>& count, int* out) const;
  void Read(const std::vector<std::size_t>& first, const std::vector<std::size_t>& count,
            long long* out) const;
  void Read(const std::vector<std::size_t>& first, const std::vector<std::size_t>& count, float* out) const;
  void Read(const std::vector<std::size_t>& first, const std::vector<std::size_t>& count, double* out) const;

  /// All of an integer array.
  /// \param limit most entries that are accepted.
  std::vector<long long> Integers(std::size_t limit) const;
  /// The rows of a two-dimensional text array, each cut at its first NUL, without blanks at its end.
  std::vector<std::string> Texts(std::size_t limit) const;
  /// A text attribute of the variable, cut like Texts(); "" when there is none.
  std::string TextAttribute(const char* name) const;

  /// Throws "expected NAME to be WHAT, found TYPE[SHAPE]".
  [[noreturn]] void Unexpected(const std::string& what) const;
  /// Throws unless the shape is exactly `shape`, and the type integer, real or text as `kind` says.
  enum class Kind { kInteger, kReal, kText };
  void Require(const std::vector<std::size_t>& shape, Kind kind) const;

 private:
  friend class exo_NetCDF;
  exo_Array(const exo_NetCDF& file, int id, std::string name)
      : m_file(&file), m_id(id), m_name(std::move(name)) {}
  void CheckLimit(std::size_t limit) const;

  const exo_NetCDF* m_file;
  int m_id;
  int m_type = 0;
  std::string m_name;
  std::vector<std::size_t> m_shape;
};

/// A netCDF file of any format, open for reading. Opening reads its header only.
class exo_NetCDF {
 public:
  /// Throws mesh_Error for everything that is not a whole, readable netCDF file on this machine.
  explicit exo_NetCDF(const std::string& path);
  exo_NetCDF(const exo_NetCDF&) = delete;
  exo_NetCDF& operator=(const exo_NetCDF&) = delete;
  ~exo_NetCDF();

  const std::string& Path() const { return m_path; }
  unsigned long long FileSize() const { return m_size; }
  std::optional<std::size_t> Dimension(const std::string& name) const;
  std::optional<exo_Array> Find(const std::string& name) const;
  bool HasAttribute(const char* name) const;
  std::string TextAttribute(const char* name) const;

  [[noreturn]] void Fail(const std::string& what) const;

 private:
  friend class exo_Array;
  std::string TextAttribute(int variable, const char* name) const;
  /// Gives the variable a cache that holds one of its chunks, so that a sweep over it unpacks each once. Only
  /// the last few variables have such a cache at a time.
  void FitChunkCache(int variable, std::size_t itemBytes) const;

  std::string m_path;
  unsigned long long m_size = 0;
  int m_id = -1;
  mutable std::vector<int> m_greatCaches; // variables whose caches were enlarged, the oldest first
};
