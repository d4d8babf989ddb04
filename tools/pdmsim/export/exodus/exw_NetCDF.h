#pragma once

#include <string>
#include <vector>

/// The name of one of several: "connect3".
inline std::string exw_Numbered(const std::string& name, long long number) {
  return name + std::to_string(number);
}

/// A netCDF file that is being written: its dimensions and variables first, then their values. Every failure
/// throws a cli_Failure.
class exw_NetCDF {
 public:
  enum class Type { kInt, kLong, kFloat, kDouble, kText };
  using Places = std::vector<std::size_t>;

  /// \param written  where the bytes go, an existing file.
  /// \param shown    the name that failures tell.
  /// \param large    true: netCDF-4, which has integers of 64 bits and variables of any length; false: the
  /// classic format with offsets of 64 bits.
  exw_NetCDF(const std::string& written, std::string shown, bool large);
  exw_NetCDF(const exw_NetCDF&) = delete;
  exw_NetCDF& operator=(const exw_NetCDF&) = delete;
  ~exw_NetCDF();

  /// \param size  0: the format has no such dimension, and none is made.
  void Dimension(const std::string& name, std::size_t size);
  /// The dimension that grows.
  void Unlimited(const std::string& name);
  void Variable(const std::string& name, Type type, const std::vector<std::string>& dimensions);
  /// \param variable  "" for an attribute of the file.
  void Attribute(const std::string& variable, const char* name, const std::string& text);
  void Attribute(const char* name, float number);
  void Attribute(const char* name, int number);
  /// Ends what is defined; values can be written from now on.
  void Begin();

  void Write(const std::string& name, const Places& first, const Places& count, const int* values);
  void Write(const std::string& name, const Places& first, const Places& count, const long long* values);
  void Write(const std::string& name, const Places& first, const Places& count, const float* values);
  void Write(const std::string& name, const Places& first, const Places& count, const double* values);
  /// Texts as rows of a table.
  /// \param width  of a row, in bytes; longer texts are cut.
  void Write(const std::string& name, const std::vector<std::string>& texts, std::size_t width);
  void Close();

 private:
  void Check(int status, const std::string& what) const;
  int Find(const std::string& variable) const;

  std::string m_shown;
  int m_id = -1;
};
