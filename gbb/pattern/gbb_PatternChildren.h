#pragma once

// Part of gbb_Pattern.h: the children of an object.

template <class>
inline constexpr bool gbb_kIsArrayHolder = false;
template <class Handle, class Impl>
inline constexpr bool gbb_kIsArrayHolder<gbb_Holder<Handle, Impl>> = true;

template <class Traits>
void gbb_Children<Traits>::Open(const gbb_ChildOwner& owner, auto& child) {
  using Child = std::remove_cvref_t<decltype(child)>;
  using Holder = typename Child::Holder;
  constexpr bool isArray = gbb_kIsArrayHolder<Holder>; // arrays look after themselves
  if constexpr (!isArray)
    if (!!child.holder && child.change != owner.change) [[unlikely]]
      LookAgain(owner, child);
  if (!!child.holder)
    return;
  child.change = owner.change;
  if (owner.connected && (isArray || owner.group.HasChild(Child::name()))) {
    const gbb_Group group = gbb_Group::Open(owner.group, Child::name());
    child.holder = Holder::Open(owner.path, Child::kIndex, group, owner.trace);
  } else if constexpr (isArray) {
    child.holder = Holder::New(owner.trace);
    child.holder.SetPath(owner.path, Child::kIndex);
  }
}

// Below an owner that is gone, or in a file that cannot be read, the children answer for themselves.
template <class Traits>
void gbb_Children<Traits>::LookAgain(const gbb_ChildOwner& owner, auto& child) {
  const ORXSimFound found = owner.group.Look(child.name());
  if (found == ORXSimFound::kFound)
    child.change = owner.change;
  else if (found == ORXSimFound::kMissing && owner.group.Found() == ORXSimFound::kFound)
    child.holder.RemoveTo(m_removed);
}

template <class Traits>
void gbb_Children<Traits>::SetPath(const gbb_Path& owner) {
  const auto place = [&](auto& child) {
    if (!!child.holder)
      child.holder.SetPath(owner, child.kIndex);
  };
  std::apply([&](auto&... child) { (place(child), ...); }, m_table);
}

template <class Traits>
void gbb_Children<Traits>::Place(const gbb_ChildOwner& owner, auto& child, auto& holder) {
  child.holder = std::move(holder);
  child.change = owner.change;
  child.holder.SetPath(owner.path, child.kIndex);
}

template <class Traits>
template <int Index>
auto& gbb_Children<Traits>::Opened(const gbb_ChildOwner& owner) {
  Open(owner, At<Index>());
  return At<Index>().holder;
}

template <class Traits>
template <int Index>
bool gbb_Children<Traits>::Has(const gbb_ChildOwner& owner) {
  return !!Opened<Index>(owner) || (owner.connected && owner.group.HasChild(At<Index>().name()));
}

template <class Traits>
template <int Index>
auto gbb_Children<Traits>::Set(const gbb_ChildOwner& owner, ORXSimContextID context, auto& holder) {
  using Child = std::remove_cvref_t<decltype(At<Index>())>;
  auto& held = At<Index>().holder;
  if (Has<Index>(owner)) {
    gbb_Print<"**ERROR:", Traits::kName, "Impl::", gbb_Capitalised<Child::kName>(), ": already exists\n">();
  } else if (!owner.connected) {
    if (!!holder)
      Place(owner, At<Index>(), holder);
  } else if (!holder) {
    holder.Bind(gbb_Group());
  } else {
    ORXSimUpdate update(context);
    if (const gbb_Group group = gbb_Group::Create(owner.group, Child::name()); !!group) {
      Place(owner, At<Index>(), holder);
      held.Bind(group);
      // What the file does not take the owner does not take.
      if (!gbb_CommitWhole(update, context))
        held.RemoveTo(m_removed);
    }
  }
  holder.Close();
  return held.Get();
}

template <class Traits>
void gbb_Children<Traits>::Bind(const gbb_ChildOwner& owner) {
  const auto bind = [&](auto& child) {
    using Child = std::remove_cvref_t<decltype(child)>;
    if constexpr (gbb_kIsArrayHolder<typename Child::Holder>) {
      Open(owner, child);
      child.holder.Bind(gbb_Group::CreateArray(owner.group, Child::name(), child.holder.Get().count()));
    } else if (!!child.holder) {
      child.holder.Bind(gbb_Group::Create(owner.group, Child::name()));
    }
  };
  std::apply([&](auto&... child) { (bind(child), ...); }, m_table);
}

template <class Traits>
bool gbb_Children<Traits>::Traverse(const gbb_ChildOwner& owner, gbb_TraverseContext& context,
                                    gbb_Handle& found) {
  const auto visit = [&](auto& child) {
    if (std::strcmp(child.name(), context.Component()) != 0)
      return false;
    Open(owner, child);
    if (!child.holder)
      context.SetStatus(gbb_kBroken);
    else
      found = child.holder.Traverse(context);
    return true;
  };
  return std::apply([&](auto&... child) { return (visit(child) || ...); }, m_table);
}
