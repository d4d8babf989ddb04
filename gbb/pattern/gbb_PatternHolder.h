#pragma once

// Part of gbb_Pattern.h: holders.

template <class Traits>
typename Traits::Handle gbb_HolderBase<Traits>::Get() const {
  return typename Traits::Handle(m_impl);
}

template <class Traits>
void* gbb_HolderBase<Traits>::Handle(gbb_Class wanted) const {
  return m_impl == nullptr ? nullptr : Target()->Handle(wanted);
}

template <class Traits>
gbb_ObjectInterface* gbb_HolderBase<Traits>::Target() const {
  if ((m_flags & gbb_kDirect) != 0)
    return m_impl;
  return m_impl->Interface();
}

template <class Traits>
void gbb_HolderBase<Traits>::Close() {
  if (m_impl != nullptr)
    delete Target();
  m_impl = nullptr;
  m_flags = 0;
}

template <class Traits>
void gbb_HolderBase<Traits>::RemoveTo(gbb_Removed& removed) {
  if (m_impl == nullptr)
    return;
  Target()->SetPath(gbb_Path::Removed(), -1);
  removed.Add(Target());
  m_impl = nullptr;
  m_flags = 0;
}

template <class Traits>
gbb_Handle gbb_HolderBase<Traits>::Traverse(gbb_TraverseContext& context) const {
  if (m_impl == nullptr) {
    gbb_Print<"**ERROR ", Traits::kName, "Holder::Traverse: called on an empty base holder\n">();
    context.SetStatus(gbb_kBroken);
    return {};
  }
  if ((m_flags & gbb_kBasePart) != 0)
    return m_impl->Traverse(context);
  const gbb_Handle own = Get();
  if (context.Visitor() != nullptr && !context.Visitor()->Visit(own))
    return own;
  return context.Advance() ? Target()->Traverse(context) : own;
}

template <class Traits>
void gbb_ObjectHolder<Traits>::SetPath(const gbb_Path& parent, int index) const {
  if (this->m_impl != nullptr)
    this->Target()->SetPath(parent, index);
  else
    gbb_Print<"**ERROR ", Traits::kName, "Holder::SetPath: called on an empty holder\n">();
}

template <class Traits>
void gbb_ObjectHolder<Traits>::Bind(const gbb_Group& group) const {
  const gbb_Call call(gbb_HeadOf<Traits, "Holder::Bind">());
  if (this->m_impl != nullptr)
    this->Target()->Bind(group);
  else
    gbb_Print<"**ERROR ", Traits::kName, "Holder::Bind: called on an empty holder\n">();
}

// The class of a stored object of expected class Traits, uninitialised after a line when there is no such
// class, or none that fits.
template <class Traits>
gbb_Class gbb_StoredClass(const gbb_Path& parent, const gbb_Group& group, auto fits) {
  const gbb_ClassID classID = group.ReadClass();
  const gbb_Class found = gbb_SnapshotOf(parent).GetClass(classID);
  if (!found) {
    gbb_Print<"**ERROR ", Traits::kName, "Holder::Open: class ">();
    classID.Print();
    err_Write(" is not registered\n");
    return {};
  }
  if (!found.IsA(Traits::Interface::StaticClass()) || !fits(found)) {
    gbb_Print<"**ERROR ", Traits::kName, "Holder::Open: unrelated class ">();
    classID.Print();
    err_Write("\n");
    return {};
  }
  return found;
}

template <class Traits>
gbb_ObjectHolder<Traits> gbb_ObjectHolder<Traits>::OpenStored(const gbb_Path& parent, int index,
                                                              const gbb_Group& group, int trace) {
  const gbb_Class found = gbb_StoredClass<Traits>(parent, group, [](gbb_Class) { return true; });
  gbb_ObjectInterface* const object = !found ? nullptr : found.Open(parent, index, group, trace);
  if (object == nullptr)
    return {};
  void* const impl = object->Handle(Traits::Interface::StaticClass());
  if (impl == nullptr) { // a derived object whose base part is missing
    delete object;
    return {};
  }
  return gbb_ObjectHolder(static_cast<typename Traits::Impl*>(impl), gbb_kHolds);
}

template <class Traits>
gbb_ObjectHolder<Traits> gbb_ObjectHolder<Traits>::OpenStored(typename Traits::Interface* outer,
                                                              const gbb_Path& parent, int index,
                                                              const gbb_Group& group, int trace) {
  const auto isOurs = [&](gbb_Class found) {
    return found == Traits::Interface::StaticClass() || (outer != nullptr && outer->Class().IsA(found));
  };
  if (!gbb_StoredClass<Traits>(parent, group, isOurs))
    return {};
  return gbb_ObjectHolder(new typename Traits::Impl(outer, parent, index, group, trace),
                          gbb_kHolds | gbb_kDirect);
}

template <class Traits>
template <class Base, auto Operation>
const typename Base::Holder& gbb_ObjectHolder<Traits>::BaseSubobject() const {
  static const typename Base::Holder s_empty;
  if (this->m_impl != nullptr)
    return this->m_impl->Base().Subobject();
  gbb_Print<"**ERROR ", Traits::kName, "Holder::", Operation, ": called on an empty holder\n">();
  return s_empty;
}
