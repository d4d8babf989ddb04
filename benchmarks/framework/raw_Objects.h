#pragma once

#include <string>
#include <vector>

/// The same objects as ours, written by a user of the plain HDF5 C library.
class raw_Objects {
 public:
  /// \param tuned with the settings that make many small objects cheap; false is the library as it comes.
  explicit raw_Objects(bool tuned) : m_tuned(tuned) {}

  /// Makes a file with a group of n objects: a group, an 80-byte "class" attribute and a byte dataset each.
  void Create(const std::string& file, int n, const std::vector<unsigned char>& stream) const;
  /// Reads the dataset of every object.
  /// \return bytes read.
  long long ReadAll(const std::string& file, int n) const { return Read(file, 0, n); }
  /// Opens the file, reads the dataset of object i and closes the file.
  /// \return bytes read.
  long long ReadOne(const std::string& file, int i) const { return Read(file, i, i + 1); }

  /// An open file whose object 0 is rewritten.
  long long OpenForRewrite(const std::string& file);
  /// Reads the n objects of the open file, which leaves HDF5's cache full of them.
  long long ReadAll(int n) const { return Read(m_file, 0, n); }
  /// Writes the bytes of object 0; `flush` makes it a commit.
  void Rewrite(const std::vector<unsigned char>& stream, bool flush) const;
  void Close() const;

 private:
  long long AccessList() const;
  long long Read(const std::string& file, int first, int end) const;
  static long long Read(long long file, int first, int end);

  bool m_tuned;
  long long m_file = -1, m_dataset = -1;
};
