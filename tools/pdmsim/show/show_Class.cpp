#include <pdmsim/show/show_Class.h>

#include <pdmsim/show/show_Classes.h>

#include <gbb/pattern/gbb_MemberCodec.h>

#include <algorithm>

namespace {

template <class Handle>
struct ChildOf {
  using Element = Handle;
  static constexpr bool kArray = false;
};
template <class E, class H, class R, class O>
struct ChildOf<gbb_Array<E, H, R, O>> {
  using Element = E;
  static constexpr bool kArray = true;
};

template <class T>
struct FieldOf;
template <class Members, class T>
struct FieldOf<T Members::*> {
  using Type = T;
};
template <class T>
struct ResultOf;
template <class Handle, class R>
struct ResultOf<R (Handle::*)() const> {
  using Type = R;
};

template <class Traits>
show_Class Describe() {
  show_Class described;
  described.name = Traits::kPersistentName;
  if constexpr (!std::is_void_v<typename Traits::Base>)
    described.base = Traits::Base::kPersistentName;
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>([&](auto member) {
    using Codec = gbb_Codec<typename FieldOf<std::remove_cv_t<decltype(member.kField)>>::Type>;
    described.members.push_back(
        {member.name(), member.kIndex, gbb_MemoryStream::Tag(Codec::kShape, Codec::kBase)});
  });
  gbb_ForEach<typename gbb_ChildTable<Traits>::Children>([&](auto child) {
    using Child = ChildOf<typename ResultOf<std::remove_cv_t<decltype(child.kGetter)>>::Type>;
    described.children.push_back(
        {child.name(), Child::Element::Traits::kPersistentName, Child::kArray, child.kIndex});
  });
  return described;
}

template <class... Handles>
std::vector<show_Class> DescribeAll(std::tuple<Handles...>*) {
  return {Describe<typename Handles::Traits>()...};
}

} // namespace

const show_Member* show_Class::Member(int index) const {
  const auto found =
      std::find_if(members.begin(), members.end(), [&](const auto& member) { return member.index == index; });
  return found == members.end() ? nullptr : &*found;
}

const show_ClassChild* show_Class::Child(const std::string& child) const {
  const auto found = std::find_if(children.begin(), children.end(),
                                  [&](const auto& candidate) { return candidate.name == child; });
  return found == children.end() ? nullptr : &*found;
}

const show_Class* show_Class::Known(const std::string& name) {
  static const std::vector<show_Class> classes = DescribeAll(static_cast<show_Classes*>(nullptr));
  const auto found =
      std::find_if(classes.begin(), classes.end(), [&](const auto& known) { return known.name == name; });
  return found == classes.end() ? nullptr : &*found;
}
