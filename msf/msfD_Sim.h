#pragma once

#include <gbb/gbb_DistributionService.h>
#include <gbb/gbb_Link.h>
#include <gbb/gbb_ObjectInterface.h>
#include <gbb/gbb_SchemaSnapshot.h>
#include <gbb/pattern/gbb_MemberTable.h>
#include <gbb/pattern/gbb_ObjectHandle.h>
#include <gbb/pattern/gbb_ObjectHolder.h>
#include <kda/kda_Export.h>
#include <msf/dpa/msfD_DiscreteModel.h>

class msfD_Sim;
class msfD_SimHolder;
class msfD_SimImpl;
class msfD_SimInterface;

/// A Sim has no simple members.
struct msfD_SimMembers {};

/// What the class pattern has to know of msfD_Sim.
struct PDM_CORE_API msfD_SimTraits {
  using Handle = msfD_Sim;
  using Holder = msfD_SimHolder;
  using Interface = msfD_SimInterface;
  using Impl = msfD_SimImpl;
  using Members = msfD_SimMembers;
  using Base = void;
  using Initial = std::tuple<>;
  static constexpr gbb_Text kName{"msfD_Sim"};
  static constexpr const char* kPersistentName = "com.vertana.Sim";
  static const char kDescription[]; // as docs/file-format.md says
};

extern template class gbb_InterfaceOf<msfD_SimTraits>;
extern template class gbb_ObjectHandle<msfD_SimTraits>;
extern template class gbb_HolderBase<msfD_SimTraits>;

/// The operations of a Sim object; a caller's own object derives from it.
class PDM_CORE_API msfD_SimInterface : public gbb_InterfaceOf<msfD_SimTraits> {
 public:
  /// "com.vertana.Sim". Abstract: a Sim is opened only by its holder.
  static gbb_Class StaticClass();
};

/// One simulation: the root object of one file.
///
/// A handle, one pointer wide; valid until the Sim is closed. On an empty handle each operation prints its
/// line and answers the null value. After a createSim that could not make its file the Sim is there, but
/// holds nothing and takes nothing; ORXSimManager::LastError() says why.
///
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API msfD_Sim : public gbb_ObjectHandle<msfD_SimTraits> {
 public:
  constexpr msfD_Sim() = default;
  /// Empty unless the object is a Sim.
  msfD_Sim(const gbb_Handle& object) : gbb_ObjectHandle(object) {}

  /// A new Sim that belongs to no root and no file.
  /// \param trace  0, or prints each operation.
  static msfD_SimHolder New(int trace);
  /// As above, with the caller's own interface object, which must outlive the Sim.
  static msfD_SimHolder New(msfD_SimInterface* outer, int trace);

  /// The context of the Sim's file.
  gbb_DistributionService distributionService() const;
  /// The classes that the file may hold; a host registers its own here.
  gbb_SchemaSnapshot schemaSnapshot() const;
  /// The discrete model, empty when there is none.
  msfD_DiscreteModel discreteModel() const;
  /// Gives the Sim its discrete model; the holder is empty afterwards. One that is there already stays: a
  /// line is printed and the new one destroyed. Prints a line when the write fails.
  /// \return the handle of what is there now, empty after a failed write.
  msfD_DiscreteModel DiscreteModel(msfD_DiscreteModelHolder model) const;

 private:
  friend class gbb_HolderBase<msfD_SimTraits>;
  explicit constexpr msfD_Sim(msfD_SimImpl* impl) : gbb_ObjectHandle(impl) {}
};

/// Carries a Sim from one holder to another.
class PDM_CORE_API msfD_SimHolderMoveSrc {
 private:
  friend class msfD_SimHolder;
  msfD_SimHolderMoveSrc() = default;
  gbb_HolderBase<msfD_SimTraits> m_held;
};

/// Owns one Sim; the file is closed with it. Moved, never copied.
class PDM_CORE_API msfD_SimHolder : public gbb_HolderBase<msfD_SimTraits> {
 public:
  constexpr msfD_SimHolder() = default;
  msfD_SimHolder(msfD_SimHolderMoveSrc source) : gbb_HolderBase(std::move(source.m_held)) {}
  /// Hands the Sim over; this holder is empty afterwards.
  operator msfD_SimHolderMoveSrc() {
    msfD_SimHolderMoveSrc source;
    source.m_held = std::move(*this);
    return source;
  }

  /// The Sim of an open file.
  /// \param root  whose Sim it is.
  /// \param index  its position there.
  /// \param context  of the file; the Sim owns it from then on and closes it.
  /// \param group  the file's group "sim".
  static msfD_SimHolder Open(gbb_Root root, int index, ORXSimContextID context, const gbb_Group& group,
                             int trace);
  /// As above, with the caller's own interface object, which must outlive the Sim.
  static msfD_SimHolder Open(msfD_SimInterface* outer, gbb_Root root, int index, ORXSimContextID context,
                             const gbb_Group& group, int trace);
  /// Attaches a new Sim to a file, which the Sim owns from then on. A connected Sim prints a line and stays
  /// as it is. Prints a line when the write fails.
  void Bind(ORXSimContextID context, const gbb_Group& group) const;
  /// Places the Sim at a position of a root.
  void SetPath(gbb_Root root, int index) const;

 private:
  friend class msfD_Sim;
  msfD_SimHolder(msfD_SimImpl* impl, unsigned flags) : gbb_HolderBase(impl, flags) {}
};

extern template class gbb_TypedLink<msfD_Sim>;

template <>
struct gbb_MemberTable<msfD_SimTraits> {
  using Members = std::tuple<>;
};

template <>
struct gbb_ChildTable<msfD_SimTraits> {
  using Children = std::tuple<gbb_ChildMember<
      "discreteModel", 0, static_cast<msfD_DiscreteModel (msfD_Sim::*)() const>(&msfD_Sim::discreteModel)>>;
};
