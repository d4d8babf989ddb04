#pragma once

#include <pdmsim/diff/diff_Mesh.h>

#include <set>

/// Compares the objects of two files, member by member, whatever their classes, and what the store holds
/// beside them.
class diff_Objects {
 public:
  /// Throws cli_Failure.
  explicit diff_Objects(diff_Files& files);
  void Compare();

 private:
  struct Where {
    std::string path;
    std::string member, name; // of the mesh, and the key there; "" elsewhere
  };
  using Ids = std::set<std::pair<int, int>>; // minor numbers: of a collection first for sets, else 0

  void Walk(const Where& where, const show_Json& a, const show_Json& b);
  void WalkObject(const Where& where, const show_Json& a, const show_Json& b);
  void MatchDofs(const show_Json& a, const show_Json& b);
  void WalkArray(const Where& where, const show_Json& a, const show_Json& b);
  void WalkEntries(const Where& where, const show_Json& a, const show_Json& b);
  void WalkKind(const Where& where, const std::string& kind, const show_Json& a, const show_Json& b);
  void Collection(const Where& where, ORXSimCollectionID a, ORXSimCollectionID b);
  void Value(const Where& where, const show_Json& a, const show_Json& b);
  void Number(const Where& where, const show_Json& a, const show_Json& b);
  void OneOnly(int side, const Where& where, const show_Json& value);

  void FindNamed(int side, const show_Json& value);
  void MatchUnnamed();
  void CompareUnnamed();
  void CompareUnnamedSets(const std::string& path, ORXSimCollectionID a, ORXSimCollectionID b);

  ORXSimContextID Context(int side) const { return m_files.File(side).Context(); }

  diff_Files& m_files;
  show_Json m_trees[2];
  diff_Mesh m_mesh;
  bool m_matching = true;                              // the first time round only collections are matched
  Ids m_collections[2], m_distributions[2], m_sets[2]; // that objects name
  std::vector<std::pair<ORXSimCollectionID, ORXSimCollectionID>> m_paired;
  std::set<std::pair<int, int>> m_done; // fields that have two names
};
