#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What a file must be that a new one replaces.
struct cli_Replaced {
  std::string what = "a file";                  // in words
  std::function<bool(const std::string&)> fits; // whether the file of a name is such; none: every file is
};

/// The file that a name stands for, there or not: where its symbolic links lead. Throws cli_Failure for links
/// in a circle.
std::string cli_LinkTarget(const std::string& path);

/// Refuses the name of a new file in a directory that is not there.
void cli_ExpectFolder(const std::string& path);

/// New files that appear under their names when they are whole and on the disk, and not at all otherwise.
/// Until then each is called NAME.new-PID, beside the file that NAME leads to where it is a symbolic link. A
/// file that replaces another has its mode, and its owner and group as far as the system allows. Every
/// failure throws a cli_Failure, and leaves the files of those names as they were.
class cli_NewFiles {
 public:
  /// \param force  true: regular files of the names may be replaced.
  /// \param usual  what they must be, where nothing else is said.
  explicit cli_NewFiles(bool force, cli_Replaced usual = {}) : m_force(force), m_usual(std::move(usual)) {}
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
    std::string path, target, written; // as it was asked for, where that leads, and the file until then
    bool named = false;                // it has its name
    bool fresh = true;                 // there was nothing of its name before
    std::string old;                   // what was there before, "" for nothing or when it could not be kept
  };
  void Name(File& file) const;
  /// Takes the names back from what has them.
  void Undo();

  bool m_force;
  cli_Replaced m_usual;
  unsigned long long m_bytes = 0;
  std::vector<File> m_files;
  std::vector<std::string> m_leftOver, m_spared;
};
