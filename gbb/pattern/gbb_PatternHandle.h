#pragma once

// Part of gbb_Pattern.h: handles, accesses and interfaces.

// The null value that a call on an empty handle answers.
template <class T>
const T& gbb_NullValue() {
  static const T s_null{};
  return s_null;
}

// Lists have no assignment; they are copied and swapped in.
template <class T>
void gbb_Assign(T& to, const T& value) {
  if constexpr (std::is_copy_assignable_v<T>) {
    to = value;
  } else {
    T copy(value);
    to.swap(copy);
  }
}

template <class Traits, gbb_Text Operation>
void gbb_PrintEmptyHandle() {
  gbb_Print<"**ERROR ", Traits::kName, "::", Operation, ": called on an empty handle\n">();
}

template <class Traits>
gbb_ObjectHandle<Traits>::gbb_ObjectHandle(const gbb_Handle& object) {
  const gbb_Class wanted = Traits::Interface::StaticClass();
  if (object.Object() != nullptr && object.Class().IsA(wanted))
    m_impl = static_cast<typename Traits::Impl*>(
        static_cast<gbb_ObjectInterface*>(object.Object())->Handle(wanted));
}

template <class Traits>
gbb_ObjectHandle<Traits>::operator gbb_Handle() const {
  if (m_impl == nullptr)
    return {};
  gbb_ObjectInterface* const object = m_impl->Interface()->Identity();
  return gbb_Handle(object, object->Class());
}

template <class Traits>
gbb_Path gbb_ObjectHandle<Traits>::Path() const {
  if (m_impl != nullptr)
    return m_impl->Path();
  gbb_PrintEmptyHandle<Traits, "Path">();
  return {};
}

template <class Traits>
const typename Traits::Members* gbb_ObjectHandle<Traits>::ReadMembers() const {
  return m_impl == nullptr ? nullptr : m_impl->ReadMembers();
}

// A member as getters answer it: a flag is true or false, whatever byte a host has put there.
template <class T>
const T& gbb_Answer(const T& value) {
  return value;
}
inline const bool& gbb_Answer(const bool& flag) {
  static constexpr bool kFlags[] = {false, true};
  return kFlags[gbb_FlagByte(flag)];
}

template <class Traits>
template <auto Name, auto Field>
const auto& gbb_ObjectHandle<Traits>::Get() const {
  if (m_impl != nullptr)
    return gbb_Answer(m_impl->ReadMembers()->*Field);
  gbb_PrintEmptyHandle<Traits, Name>();
  return gbb_NullValue<std::remove_cvref_t<decltype(std::declval<typename Traits::Members&>().*Field)>>();
}

template <class Traits>
template <auto Name, auto Field, class T>
void gbb_ObjectHandle<Traits>::Set(const T& value) const {
  if (m_impl == nullptr)
    return gbb_PrintEmptyHandle<Traits, gbb_Capitalised<Name>()>();
  const gbb_Call call(gbb_HeadOf<Traits, "::", gbb_Capitalised<Name>()>());
  gbb_ObjectAccess<Traits> access(*this);
  gbb_Assign(access.members()->*Field, value);
  access.Commit();
}

template <class Traits>
template <auto Name, int Index>
auto gbb_ObjectHandle<Traits>::GetChild() const {
  using Child = decltype(m_impl->template OpenedChild<Index>().Get());
  if (m_impl != nullptr)
    return m_impl->template OpenedChild<Index>().Get();
  gbb_PrintEmptyHandle<Traits, Name>();
  return Child();
}

template <class Traits>
template <auto Name, int Index, class Holder>
auto gbb_ObjectHandle<Traits>::SetChild(Holder& child) const {
  const gbb_Call call(gbb_HeadOf<Traits, "::", gbb_Capitalised<Name>()>());
  if (m_impl != nullptr)
    return m_impl->template SetChild<Index>(child);
  gbb_PrintEmptyHandle<Traits, gbb_Capitalised<Name>()>();
  child.Close();
  return decltype(child.Get())();
}

template <class Traits>
gbb_ObjectAccess<Traits>::~gbb_ObjectAccess() {
  if (m_members != nullptr && !Stale())
    m_impl->DiscardMembers(m_members);
}

template <class Traits>
bool gbb_ObjectAccess<Traits>::Stale() const {
  return m_cacheNumber >= 0 && m_cacheNumber != m_impl->CacheNumber();
}

template <class Traits>
typename Traits::Members* gbb_ObjectAccess<Traits>::members() {
  if (m_impl == nullptr) {
    gbb_Print<"**ERROR ", Traits::kName, "Access::members: called on an empty object\n">();
    return nullptr;
  }
  if (m_members == nullptr || Stale()) {
    m_members = m_impl->WriteMembers();
    m_cacheNumber = m_impl->IsCache(m_members) ? m_impl->CacheNumber() : -1;
  }
  return m_members;
}

template <class Traits>
void gbb_ObjectAccess<Traits>::commit() {
  const gbb_Call call(gbb_HeadOf<Traits, "Access::commit">());
  if (m_impl != nullptr && m_members != nullptr && Stale())
    gbb_Print<"**ERROR ", Traits::kName,
              "Access::commit: the members have been discarded or taken back since they were asked for\n">();
  Commit();
}

template <class Traits>
void gbb_ObjectAccess<Traits>::Commit() {
  if (m_impl != nullptr && m_members != nullptr && !Stale())
    m_impl->CommitMembers(m_members);
  m_members = nullptr;
}

template <class Traits, class Base>
void gbb_InterfaceOf<Traits, Base>::SetPath(const gbb_Path& parent, int index) {
  if (m_implementation != nullptr)
    m_implementation->SetPath(parent, index);
}

template <class Traits, class Base>
gbb_Path gbb_InterfaceOf<Traits, Base>::Path() const {
  return m_implementation == nullptr ? gbb_Path() : m_implementation->Path();
}

template <class Traits, class Base>
gbb_Class gbb_InterfaceOf<Traits, Base>::Class() const {
  return Traits::Interface::StaticClass();
}

template <class Traits, class Base>
void* gbb_InterfaceOf<Traits, Base>::Handle(gbb_Class wanted) {
  return m_implementation == nullptr ? nullptr : m_implementation->Handle(wanted);
}

template <class Traits, class Base>
void gbb_InterfaceOf<Traits, Base>::Bind(const gbb_Group& group) {
  if (m_implementation != nullptr)
    m_implementation->Bind(group);
}

template <class Traits, class Base>
gbb_Handle gbb_InterfaceOf<Traits, Base>::Traverse(gbb_TraverseContext& context) {
  if (m_implementation != nullptr)
    return m_implementation->Traverse(context);
  context.SetStatus(gbb_kBroken);
  return {};
}
