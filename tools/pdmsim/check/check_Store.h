#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>
#include <pdmsim/check/check_Stream.h>

#include <map>
#include <set>

/// What the bulk store of a file holds, as far as it was found to be sound, and who speaks of it.
class check_Store {
 public:
  using Finding = std::function<void(const ORXSimFinding&)>;

  explicit check_Store(const Finding& finding) : m_finding(finding) {}

  /// What the walk meets below `store`. A name that is no number is not the store's.
  void Group(const ORXSimInspected& store);
  void Collection(int minor, const ORXSimInspected& object);
  void Set(int collection, int minor, const ORXSimInspected& object);
  void Distribution(int minor, const ORXSimInspected& object);
  void Drawer(int distribution, const ORXSimInspected& object);
  /// An identifier in a member of the object at `path`.
  void Refer(const std::string& path, const std::string& member, const check_Reference& reference);

  /// Looks at everything together once the walk is over: members of sets, rows of drawers, names that lead
  /// nowhere, and what nobody names. Reads all of the sets and drawers.
  /// \param tick see check_File.
  void Finish(ORXSimContextID context, const std::function<void(double)>& tick);

  /// The number that a link's name stands for, -1 when it is none.
  static int Number(const std::string& name);

 private:
  struct CollectionFacts {
    std::int64_t items = -1;          // -1: not known
    std::map<int, std::int64_t> sets; // sizes, -1 when damaged
  };
  struct DrawerFacts {
    std::string path;
    int distribution, drawer;
    std::int64_t collection, set, rows; // collection 0: not known
    double bytes;                       // 0: not to be read
  };

  struct Naming {
    std::string path, member;
    check_Reference reference;
  };

  void CheckSets(ORXSimContextID context, const std::function<void(double)>& tick);
  void CheckMembers(const std::string& path, ORXSimCSetID id, std::int64_t items, std::int64_t size);
  void CheckDrawers(ORXSimContextID context, const std::function<void(double)>& tick);
  void CheckRows(const DrawerFacts& drawer);
  void Report(const std::string& path, const ORXSimVerification& verified) const;
  void CheckReferences();
  /// Notes that a member speaks of it.
  /// \return false when it is not there.
  bool Mark(const check_Reference& reference);
  void ReportOrphans();
  /// Size of a set, -1 when it is damaged; tells of one that is not there.
  std::int64_t SizeOf(std::int64_t collection, std::int64_t set, bool& there) const;
  void Tell(const std::string& path, const char* kind, const std::string& text, bool note = false) const {
    m_finding({path, kind, text, note});
  }

  const Finding& m_finding;
  std::map<int, CollectionFacts> m_collections;
  std::map<int, bool> m_distributions; // named?
  std::vector<DrawerFacts> m_drawers;
  std::set<std::pair<int, int>> m_namedSets;
  std::vector<Naming> m_references;
};

/// The library's last error without the file and the path that it begins with.
std::string check_Cause(const std::string& path);
