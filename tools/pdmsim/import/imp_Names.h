#pragma once

#include <set>
#include <string>
#include <vector>

/// One name that could not be kept as it stands in the mesh.
struct imp_Renamed {
  std::string what, from, to; // what: as "node set 7"
};

/// The keys of one map of the mesh, each used once.
class imp_Names {
 public:
  /// \param renamed receives a line for every name that had to be changed; outlives this object.
  explicit imp_Names(std::vector<imp_Renamed>& renamed) : m_renamed(renamed) {}

  /// Keeps a key for the importer's own use.
  void Reserve(const std::string& key) { m_taken.insert(key); }
  /// The key for a name: the name itself while it is free; else NAME_ID, then NAME_ID_2, NAME_ID_3 and so on.
  std::string Take(const std::string& name, long long id, const std::string& what);

 private:
  std::set<std::string> m_taken;
  std::vector<imp_Renamed>& m_renamed;
};

/// A thing that wants a key: its name, which may be empty, its number, and the word before the number where
/// there is no name.
struct imp_Wanted {
  std::string name;
  long long id;
  const char* word; // as "block"; the key of a nameless one is block_ID
};

/// Keys for a list, in its order. Names that the mesh gives come before names made of a word and a number,
/// so that nobody's name gives way to an invented one.
std::vector<std::string> imp_TakeAll(imp_Names& names, const std::vector<imp_Wanted>& wanted);
