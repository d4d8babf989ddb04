#pragma once

#include <campaign/camp_Random.h>
#include <campaign/camp_Session.h>

/// A sequence of steps that use the whole public interface: members of all sizes, growing and shrinking;
/// arrays, children, collections, sets, distributions, their bulk data; scopes, some of them rolled back;
/// files closed and opened again. What a step does is a function of the seed, its number and the state before
/// it, and each step is one commit point, or none.
class camp_Workload {
 public:
  explicit camp_Workload(std::uint64_t seed) : m_seed(seed) {}

  /// Takes step n in the state kept here, and in a session's file too when there is one.
  /// \return false when something in the file failed; the state here is the one after the step regardless.
  bool Step(int n, camp_Session* session);

  camp_State state;
  /// Begins instead with streams that move until the file shrinks, and with large data where they were.
  bool moves = false;
  /// Never closes the file.
  bool stays = false;
  /// A commit that was refused may be found done by the next session.
  bool mayStay = false;

 private:
  bool Live() const { return m_session != nullptr; }
  ORXSimContextID Context() const { return Live() ? m_session->Context() : ORXSimContextID(1 << 30); }
  msfD_Mesh Mesh() const { return Live() ? m_session->Mesh() : msfD_Mesh(); }
  camp_Object& MeshObject() { return state.sim.children[0].children[0]; }
  bool Commit(ORXSimUpdate& update) const { return !Live() || update.Commit(); }

  bool Create();
  bool Build();
  bool Reopen();
  bool Scope();
  bool RolledBack();
  bool Move(int n);
  bool Several();

  // One of these is one commit point.
  bool Write();
  bool SetMember();
  bool NewSystem(int kind);
  bool NewChild();
  bool NewCollection();
  bool NewSet(int collection);
  bool NewDistribution(bool large);
  bool NewDrawer(int distribution, bool large);
  bool Overwrite(bool whole);

  template <class Visit>
  void VisitObjects(Visit visit);
  template <class Handle>
  bool SetMemberOf(const Handle& handle, camp_Object& object);
  ORXSimDrawerDescription RandomDrawer(bool large);
  std::string RandomRows(const camp_Drawer& drawer, int rows);
  int RowsOf(const camp_Drawer& drawer) const;

  template <class Value>
  void Randomise(Value& value);
  template <class Value>
  void Randomise(kda_MapString<Value>& value);
  template <class Value>
  void Randomise(kda_MapInt<Value>& value);

  std::uint64_t m_seed;
  camp_Random m_random{0};
  camp_Session* m_session = nullptr;
};
