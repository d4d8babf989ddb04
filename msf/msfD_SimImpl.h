#pragma once

#include <gbb/gbb_Freshness.h>
#include <gbb/pattern/gbb_Children.h>
#include <msf/msfD_Sim.h>

template <>
struct gbb_ChildrenOf<msfD_SimTraits> {
  using Type = std::tuple<gbb_Child<"discreteModel", 0, msfD_DiscreteModelHolder>>;
};

/// The implementation of a Sim: owns the context of its file and the file's schema snapshot.
/// Threads: one at a time for all objects of a root.
class msfD_SimImpl final : public msfD_SimInterface {
 public:
  /// A new Sim that belongs to no root and no file.
  msfD_SimImpl(msfD_SimInterface* outer, int trace);
  /// The Sim of an open file.
  msfD_SimImpl(msfD_SimInterface* outer, gbb_Root root, int index, ORXSimContextID context,
               const gbb_Group& group, int trace);
  ~msfD_SimImpl() override;
  msfD_SimImpl(const msfD_SimImpl&) = delete;
  msfD_SimImpl& operator=(const msfD_SimImpl&) = delete;

  void SetPath(const gbb_Path& parent, int index) override { m_path = gbb_PathImpl(parent, index); }
  void SetPath(gbb_Root root, int index) { m_path = gbb_PathImpl(root, index); }
  gbb_Path Path() const override { return gbb_Path(&m_path); }
  gbb_Class Class() const override;
  void* Handle(gbb_Class wanted) override;
  void Bind(const gbb_Group& group) override { Bind(m_context, group); }
  void Bind(ORXSimContextID context, const gbb_Group& group);
  gbb_Handle Traverse(gbb_TraverseContext& context) override;

  msfD_SimInterface* Interface() const { return m_interface; }
  gbb_DistributionService DistributionService() const { return {m_context, 0}; }
  gbb_SchemaSnapshot SchemaSnapshot() { return gbb_SchemaSnapshot(&m_schemaSnapshot); }
  const msfD_SimMembers* ReadMembers() const { return &m_members; }

  template <int Index>
  auto& OpenedChild() {
    Sync();
    return m_children.Opened<Index>(Owner());
  }
  /// An empty holder is placed like any other and says that it is empty.
  template <int Index>
  auto SetChild(auto& holder) {
    Sync();
    if (!holder && !m_children.Has<Index>(Owner()))
      holder.SetPath(Path(), Index);
    return m_children.Set<Index>(Owner(), m_context, holder);
  }

 private:
  // After a rollback or a refresh the children are looked up again.
  void Sync() {
    if (!m_freshness.Holds()) [[unlikely]]
      m_freshness.Look(m_context);
  }
  void RegisterClasses();
  gbb_ChildOwner Owner() const { return {Path(), m_group, m_trace, m_connected, m_freshness.Change()}; }

  msfD_SimInterface* m_interface;
  gbb_PathImpl m_path;
  ORXSimContextID m_context; // -1 while unbound
  gbb_Group m_group;         // the file's group "sim" once bound
  int m_trace;
  bool m_connected = false;
  gbb_SchemaSnapshotImpl m_schemaSnapshot;
  gbb_Children<msfD_SimTraits> m_children; // the discrete model
  gbb_Freshness m_freshness;               // of the children
  msfD_SimMembers m_members;
};
