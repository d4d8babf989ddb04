#include <gbb/gbb_Freshness.h>

#include <gbb/gbb_Context.h>
#include <gbb/gbb_Path.h>

gbb_Freshness::Answer gbb_Freshness::Look(const gbb_Path& path, const hdf_Group& place) {
  if (m_gone) {
    place.Found(); // says why
    return kSame;
  }
  ORXSimFound found = ORXSimFound::kMissing;
  if (!path.IsRemoved()) {
    if (!path.Root())
      return kSame;
    const ORXSimContextID context = gbb_ContextOf(path);
    if (context.IsNull()) // nothing is known yet
      return kSame;
    if (ORXSimContextRef(context).Epoch() <= m_seen) {
      Keep();
      return kSame;
    }
    found = !place ? ORXSimFound::kFound : place.Found();
  }
  m_change = ORXSimManager::Epochs();
  if (found == ORXSimFound::kUnreadable)
    return kUnread;
  m_gone = found == ORXSimFound::kMissing;
  m_seen = m_gone ? 0 : m_change;
  return m_gone ? kGone : kMoved;
}

gbb_Freshness::Answer gbb_Freshness::Look(ORXSimContextID context) {
  const bool moved = ORXSimContextRef(context).Epoch() > m_seen;
  Keep();
  if (moved)
    m_change = m_seen;
  return moved ? kMoved : kSame;
}
