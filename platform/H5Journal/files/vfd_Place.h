#pragma once

#include <H5Journal/files/vfd_Io.h>

#include <functional>
#include <string>

/// Where a file is: its directory, held open, and its name there. All names of its neighbours (the journal,
/// temporary files) are looked up in this directory, wherever it is moved to and whatever the working
/// directory is. What is removed or renamed is told by its inode, never by its name alone.
class vfd_Place {
 public:
  /// The place of an existing file, links followed.
  /// \return false with errno set.
  bool Find(const std::string& path);
  /// Where a new file of that name belongs; a link that points to nothing yet is followed.
  /// \return false with errno set when there is no such place.
  bool FindNew(std::string path);
  /// True when the file's name leaves room for those of its neighbours.
  /// \return false with errno ENAMETOOLONG.
  bool HasRoom() const;

  const std::string& Name() const { return m_name; }
  std::string Neighbour(const char* suffix) const { return m_name + suffix; }
  std::string JournalName() const { return Neighbour("-journal"); }
  /// Of a journal that is going to take the place of the one of that name.
  std::string NextName() const { return Neighbour("-journal-next"); }

  // Names in the directory. All answer false, or a closed descriptor, with errno set.
  /// Never follows a link and never waits for the other end of a pipe.
  vfd_Descriptor Open(const std::string& name, int flags, unsigned mode = 0) const;
  bool Status(const std::string& name, struct stat& status) const;
  /// True when the name stands for that file.
  bool Is(const std::string& name, const vfd_FileIdentity& file) const;
  /// Removes the name if it stands for that file.
  /// \return true when the name does not stand for it any more.
  bool Remove(const std::string& name, const vfd_FileIdentity& file) const;
  /// With `mustBeNew` an existing file of the new name is left alone, errno EEXIST.
  bool Rename(const std::string& from, const std::string& to, bool mustBeNew) const;
  /// Keeps the journal for people to look at, under a name with its generation.
  /// \param lost becomes that name.
  bool SetJournalAside(std::uint64_t generation, std::string& lost) const;
  /// Waits until the directory's names are on the disk.
  bool Sync() const;
  /// Tells every name that begins with `prefix`.
  void ForEach(const std::string& prefix, const std::function<void(const std::string&)>& tell) const;

 private:
  bool OpenDirectory(const std::string& path);

  vfd_Descriptor m_directory;
  std::string m_name;
};
