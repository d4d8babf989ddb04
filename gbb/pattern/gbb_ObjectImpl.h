#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Freshness.h>
#include <gbb/gbb_Group.h>
#include <gbb/gbb_MemoryStream.h>
#include <gbb/gbb_ObjectInterface.h>
#include <gbb/gbb_Path.h>
#include <gbb/pattern/gbb_Children.h>
#include <gbb/pattern/gbb_Text.h>

#include <memory>
#include <tuple>
#include <utility>

/// The part that a derived object has of its base class: an implementation of that class with the derived
/// object as its interface, stored in the group "#base". Nothing for a class without a base.
template <class Traits, class Base = typename Traits::Base>
class gbb_BasePart {
 public:
  using Holder = typename Base::Holder;
  using Initial = typename Base::Initial;

  void New(typename Base::Interface* outer, Initial& initial, int trace);
  void Open(typename Base::Interface* outer, const gbb_Path& parent, int index, const gbb_Group& group,
            int trace);
  void SetPath(const gbb_Path& parent, int index) const { m_holder.SetPath(parent, index); }
  void Bind(const gbb_Group& group) const;
  void* Handle(gbb_Class wanted) const;
  gbb_Handle Traverse(gbb_TraverseContext& context) const;
  const Holder& Subobject() const { return m_holder; }

 private:
  Holder m_holder;
};
template <class Traits>
class gbb_BasePart<Traits, void> {
 public:
  using Initial = std::tuple<>;

  void New(gbb_ObjectInterface*, Initial&, int) {}
  void Open(gbb_ObjectInterface*, const gbb_Path&, int, const gbb_Group&, int) {}
  void SetPath(const gbb_Path&, int) const {}
  void Bind(const gbb_Group&) const {}
  void* Handle(gbb_Class) const { return nullptr; }
  gbb_Handle Traverse(gbb_TraverseContext& context) const;
};

/// The implementation of a schema class: owns the members, knows the object's group, loads and saves the
/// member stream. A class's own implementation derives from it and adds nothing but its name.
///
/// Members are read from the file, or made from the initial values, on their first use. A connected object
/// writes its whole stream at every commit. With a trace level other than 0 each operation prints a line.
///
/// After a rollback or a refresh of its file the object is as the file says from its next use on: the cached
/// members are dropped and the children looked up again. An object that the file does not have any more
/// answers default values and writes nothing; every use reports so in ORXSimManager::LastError().
///
/// Threads: one at a time for all objects of a root.
template <class Traits>
class gbb_ObjectImpl : public Traits::Interface {
 public:
  using InterfaceType = typename Traits::Interface;
  using Members = typename Traits::Members;
  using Initial = typename Traits::Initial;
  using BasePart = gbb_BasePart<Traits>;

  /// A new object, in memory only.
  /// \param outer  the caller's interface object, null for none.
  /// \param initial  what the members are made from.
  /// \param baseInitial  the same for the base part.
  gbb_ObjectImpl(InterfaceType* outer, Initial initial, typename BasePart::Initial baseInitial, int trace);
  /// A stored object; it is connected, its members are read on first use.
  gbb_ObjectImpl(InterfaceType* outer, const gbb_Path& parent, int index, const gbb_Group& group, int trace);
  ~gbb_ObjectImpl() override;
  gbb_ObjectImpl(const gbb_ObjectImpl&) = delete;
  gbb_ObjectImpl& operator=(const gbb_ObjectImpl&) = delete;

  void SetPath(const gbb_Path& parent, int index) override;
  gbb_Path Path() const override { return gbb_Path(&m_path); }
  gbb_Class Class() const override;
  void* Handle(gbb_Class wanted) override;
  void Bind(const gbb_Group& group) override;
  gbb_Handle Traverse(gbb_TraverseContext& context) override;
  gbb_ObjectInterface* Identity() override { return m_interface == this ? this : m_interface->Identity(); }

  /// The object that receives the class's operations: the caller's interface or this.
  InterfaceType* Interface() const { return m_interface; }
  const BasePart& Base() const { return m_base; }

  /// The members for reading: the cached ones, else those of the file, else new ones. Never null.
  const Members* ReadMembers();
  /// The members for changing: of a connected object the cached ones themselves, of an unconnected object
  /// that has some a copy, which becomes the cache with the commit.
  Members* WriteMembers();
  /// Takes the members over as the cache; a connected object writes them to the file.
  void CommitMembers(Members* members);
  /// Deletes members that were given out for changing; when they were the cache, it is forgotten.
  void DiscardMembers(Members* members);

  /// Rises with every cache that is deleted, so that who was given one can tell that it is gone.
  int CacheNumber() {
    Sync();
    return m_cacheNumber;
  }
  bool IsCache(const Members* members) const { return members == m_members; }

  /// The holder of the child at `Index`, opened if the file has it.
  template <int Index>
  auto& OpenedChild() {
    Sync();
    return m_children.template Opened<Index>(Owner());
  }
  /// Takes a child over, unless there is one.
  /// \return the child's handle.
  template <int Index>
  auto SetChild(auto& holder) {
    Sync();
    return m_children.template Set<Index>(Owner(), m_connected ? Context() : ORXSimContextID(), holder);
  }

 protected:
  /// Makes the caller's interface object speak for this one; the last thing that a constructor does.
  void AttachTo(InterfaceType* outer);

 private:
  gbb_ChildOwner Owner() const {
    return {gbb_Path(&m_path), m_group, m_trace, m_connected, m_freshness.Change()};
  }
  void Sync() {
    if (!m_freshness.Holds()) [[unlikely]]
      LookAgain();
  }
  void LookAgain();
  template <gbb_Text... Parts>
  void Trace() const;
  ORXSimContextID Context();
  Members* CreateMembers();
  Members* LoadMembers();
  void LoadMembersAgain();
  Members* CopyMembers() const;
  void BindMembers(ORXSimContextID context);
  void SaveMembers();
  bool Encode(gbb_MemoryStream::Buffer& bytes, ORXSimContextID context);

  InterfaceType* m_interface; // the caller's own or this
  gbb_Group m_group;
  int m_trace;
  bool m_connected = false;
  Members* m_members = nullptr; // owned cache, null until first needed
  gbb_Children<Traits> m_children;
  BasePart m_base;
  gbb_PathImpl m_path;
  gbb_Freshness m_freshness;        // of members and children
  std::unique_ptr<Members> m_stale; // a former cache that an access may still point to
  Initial m_initial;                // what CreateMembers makes the members from
  ORXSimContextID m_context;        // of the file; null until it is known, and when the object is placed anew
  bool m_unread = false;            // reading the stored stream failed: the cache holds defaults, never saved
  bool m_damaged = false;           // the stored stream was refused: the cache holds defaults, never saved
  int m_cacheNumber = 0;            // caches deleted so far
  int m_streamSize = 64;            // bytes of the last stream, a guess for the next
};
