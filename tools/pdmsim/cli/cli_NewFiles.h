#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What a file must be that a new one replaces.
struct cli_Replaced {
  std::string what = "a file";                  // in words
  std::function<bool(const std::string&)> fits; // whether the file of a name is such; none: every file is
};

/// New files that appear under their names when they are whole and on the disk, and not at all otherwise.
/// Until then each is called NAME.new-PID. Every failure throws a cli_Failure, and leaves the files of those
/// names as they were.
class cli_NewFiles {
 public:
  /// \param force  true: regular files of the names may be replaced.
  explicit cli_NewFiles(bool force) : m_force(force) {}
  cli_NewFiles(const cli_NewFiles&) = delete;
  cli_NewFiles& operator=(const cli_NewFiles&) = delete;
  /// Removes what has not got its name.
  ~cli_NewFiles();

  /// No file may get the name of this one, which is read.
  /// \param path  of the file.
  void Spare(const std::string& path) { m_spared.push_back(path); }
  /// Throws where no file of that name may be made.
  void CheckName(const std::string& path, const cli_Replaced& replaced = {}) const;
  /// Begins one, empty.
  /// \return where to write it.
  std::string Add(const std::string& path, const cli_Replaced& replaced = {});
  /// Makes one of these bytes.
  void Write(const std::string& path, std::string_view bytes, const cli_Replaced& replaced = {});
  /// Has a file removed that the new ones leave over, once they have their names.
  void Remove(const std::string& path) { m_leftOver.push_back(path); }
  /// Gives all of them their names, in the order in which they were begun.
  void Commit();
  /// The length of all files together, once they have their names.
  unsigned long long Bytes() const { return m_bytes; }

 private:
  struct File {
    std::string path, written;
    bool named = false; // it has its name
    bool fresh = true;  // there was nothing of its name before
    std::string old;    // what was there before, "" for nothing or when it could not be kept
  };
  void Name(File& file) const;
  /// Takes the names back from what has them.
  void Undo();

  bool m_force;
  unsigned long long m_bytes = 0;
  std::vector<File> m_files;
  std::vector<std::string> m_leftOver, m_spared;
};
