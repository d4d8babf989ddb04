#include <gbb/gbb_Path.h>

#include <UTI_CoreUtils/err_Stream.h>
#include <gbb/gbb_Handle.h>

gbb_RootImpl::~gbb_RootImpl() = default;

gbb_Handle gbb_Root::Traverse(gbb_TraverseContext& context) const {
  if (m_impl == nullptr) {
    err_Write("** ERROR gbb_RootImpl::Traverse: called on an empty handle\n");
    return {};
  }
  return m_impl->Traverse(context);
}

int gbb_Path::Index() const {
  return m_impl == nullptr ? -1 : m_impl->Index();
}

gbb_Path gbb_Path::Parent() const {
  return m_impl == nullptr ? gbb_Path() : m_impl->Parent();
}

gbb_Root gbb_Path::Root() const {
  const gbb_Path top = Top();
  return !top ? gbb_Root() : top.m_impl->Root();
}

gbb_Path gbb_Path::Top() const {
  gbb_Path at = *this;
  while (at.m_impl != nullptr && !at.m_impl->Root())
    at = at.m_impl->Parent();
  return at;
}

gbb_Path gbb_Path::Removed() {
  static constinit const gbb_PathImpl s_removed;
  return gbb_Path(&s_removed);
}

bool gbb_Path::IsRemoved() const {
  gbb_Path at = *this;
  while (at.m_impl != nullptr && !(at == Removed()))
    at = at.m_impl->Parent();
  return at.m_impl != nullptr;
}
