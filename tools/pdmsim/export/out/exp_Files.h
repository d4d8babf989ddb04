#pragma once

#include <string>
#include <vector>

/// New files that appear under their names when they are whole and on the disk, and not at all otherwise.
/// Until then each is called NAME.new-PID. Every failure throws a cli_Failure.
class exp_Files {
 public:
  /// \param force  true: regular files of the names may be replaced.
  explicit exp_Files(bool force) : m_force(force) {}
  exp_Files(const exp_Files&) = delete;
  exp_Files& operator=(const exp_Files&) = delete;
  /// Removes what has not got its name.
  ~exp_Files();

  /// Throws where no file of that name may be made.
  void CheckName(const std::string& path) const;
  /// Begins one, empty.
  /// \return where to write it.
  std::string Add(const std::string& path);
  /// Gives all of them their names, in the order in which they were begun.
  void Commit();
  /// The length of all files together, once they have their names.
  unsigned long long Bytes() const { return m_bytes; }

 private:
  struct File {
    std::string path, written;
    bool named = false;
  };
  void Name(File& file);

  bool m_force;
  unsigned long long m_bytes = 0;
  std::vector<File> m_files;
};
