#include <gbb/gbb_Link.h>

#include <UTI_CoreUtils/err_Stream.h>

gbb_LinkImpl::~gbb_LinkImpl() = default;

gbb_Handle gbb_LinkImpl::Get(unsigned flags) {
  if ((flags & gbb_kUseCache) != 0 && m_status == gbb_kResolved && m_freshness.Holds())
    return m_cached;
  const gbb_Path path = Path();
  const gbb_Root root = path.Root();
  if (!root) {
    err_Write("**ERROR gbb_LinkImpl::Get: root is empty\n");
    m_status = gbb_kBroken;
    return {};
  }
  gbb_TraverseContext context(Target(), path, flags);
  m_freshness.Keep();
  m_cached = root.Traverse(context);
  m_status = context.Status();
  return m_cached;
}

gbb_SimpleLink::gbb_SimpleLink(gbb_Path path, const char* target) : m_path(path), m_target(target) {}

gbb_SimpleLink::~gbb_SimpleLink() = default;

gbb_Path gbb_SimpleLink::Path() const {
  return m_path;
}

const char* gbb_SimpleLink::Target() const {
  return m_target.cStr();
}

gbb_LinkHolder& gbb_LinkHolder::operator=(gbb_LinkHolder&& other) noexcept {
  if (this != &other) {
    Delete();
    m_link = other.m_link;
    other.m_link = nullptr;
  }
  return *this;
}

void gbb_LinkHolder::Delete() {
  delete m_link;
  m_link = nullptr;
}
