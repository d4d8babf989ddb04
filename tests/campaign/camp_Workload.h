#pragma once

#include <campaign/camp_Random.h>
#include <campaign/camp_Session.h>

/// How much a workload may make.
struct camp_Size {
  int systems = 7, collections = 6, sets = 5, distributions = 9, largeDistributions = 3, drawers = 3;
};

/// A sequence of steps that use the whole public interface: members of all sizes, growing and shrinking;
/// arrays, children, collections, sets, distributions, their bulk data; scopes, some of them rolled back;
/// files closed and opened again. What a step does is a function of the seed, its number and the state before
/// it, and each step is one commit point, or none.
class camp_Workload {
 public:
  explicit camp_Workload(std::uint64_t seed, camp_Size size = {}) : m_seed(seed), m_size(size) {}

  /// Takes step n in the state kept here, and in a session's file too when there is one.
  /// \return false when something in the file failed; the state here is the one after the step regardless.
  bool Step(int n, camp_Session* session);

  camp_State state;
  /// Begins instead with streams that move until the file shrinks, and with large data where they were.
  bool moves = false;

 private:
  bool Live() const { return m_session != nullptr; }
  ORXSimContextID Context() const { return Live() ? m_session->Context() : ORXSimContextID(0); }
  msfD_Mesh Mesh() const { return Live() ? m_session->Mesh() : msfD_Mesh(); }
  camp_Object& MeshObject() { return state.sim.children[0].children[0]; }

  bool Create();
  bool Build();
  bool Reopen();
  bool Scope();
  bool RolledBack();
  bool Move(int n);
  bool SetName(int system, int bytes);
  bool Several();

  // One of these is one commit point.
  bool Write();
  bool SetMember();
  bool NewSystem(int kind);
  bool NewChild();
  bool NewCollection();
  bool NewSet(int collection);
  bool NewDistribution(bool large);
  bool NewDrawer();
  bool Overwrite(bool whole);

  template <class Visit>
  void VisitObjects(Visit visit);
  template <class Handle>
  bool SetMemberOf(const Handle& handle, camp_Object& object);
  camp_Drawer RandomDrawer(bool large);
  std::string RandomRows(const camp_Drawer& drawer, int rows);
  int RowsOf(const camp_Drawer& drawer) const;
  ORXSimDrawerDescription Describe(const camp_Drawer& drawer);

  void Randomise(ORXSimCollectionID& value);
  void Randomise(ORXSimCSetID& value);
  void Randomise(ORXSimDistributionID& value);
  void Randomise(kda_string& value);
  void Randomise(int& value) { value = static_cast<int>(m_random.Next()); }
  void Randomise(double& value) { value = static_cast<double>(m_random.Below(1 << 30)) / 7; }
  template <class Value>
  void Randomise(kda_MapString<Value>& value);
  template <class Value>
  void Randomise(kda_MapInt<Value>& value);

  std::uint64_t m_seed;
  camp_Size m_size;
  camp_Random m_random{0};
  camp_Session* m_session = nullptr;
};
