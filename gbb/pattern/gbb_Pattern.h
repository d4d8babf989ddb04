#pragma once

// The definitions of the class pattern's templates. Only the source file of a schema class includes this;
// it instantiates them for its class, and everybody else links against that.
// Threads: as the templates' own headers say.

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Call.h>
#include <gbb/gbb_Context.h>
#include <gbb/gbb_TraverseContext.h>
#include <gbb/pattern/gbb_Array.h>
#include <gbb/pattern/gbb_Holder.h>
#include <gbb/pattern/gbb_MemberCodec.h>
#include <gbb/pattern/gbb_MemberTable.h>
#include <gbb/pattern/gbb_ObjectAccess.h>
#include <gbb/pattern/gbb_ObjectHandle.h>
#include <gbb/pattern/gbb_ObjectHolder.h>
#include <gbb/pattern/gbb_ObjectImpl.h>

#include <array>
#include <cstring>
#include <memory>
#include <type_traits>

/// What the line of a failed call begins with. \tparam Call the call, with what stands behind the class's
/// name.
template <class Traits, gbb_Text... Call>
const char* gbb_HeadOf() {
  return gbb_TextOf<"**ERROR ", Traits::kName, Call..., ": ">();
}

/// The class of Traits, its descriptor filled on the first call.
template <class Traits>
gbb_Class gbb_DefineClass(gbb_ClassDescriptor::OpenFunction open) {
  static constinit gbb_ClassDescriptor s_class;
  gbb_Class parent;
  if constexpr (!std::is_void_v<typename Traits::Base>)
    parent = Traits::Base::Interface::StaticClass();
  return gbb_Class::Define(s_class, Traits::kPersistentName, parent, open);
}

/// The open function of a class: a new implementation bound to the group.
template <class Traits>
gbb_ObjectInterface* gbb_OpenObject(const gbb_Path& parent, int index, const gbb_Group& group, int trace) {
  return new typename Traits::Impl(nullptr, parent, index, group, trace);
}

#include <gbb/pattern/gbb_PatternChildren.h>
#include <gbb/pattern/gbb_PatternHandle.h>
#include <gbb/pattern/gbb_PatternHolder.h>
#include <gbb/pattern/gbb_PatternImpl.h>
