#include <UTI_ORXSimDynamicAPI/ORXSim_Compact.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/inspect/hdf_Copy.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Context.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Listing.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

namespace {
// The work on both root groups; failures speak of the first file.
bool goThrough(const char* what, hdf_Copy::Work work, ORXSimContextID from, ORXSimContextID to,
               std::set<std::string>& own, const std::set<std::string>& leftOut,
               const std::function<void(std::uint64_t)>& moved) {
  const auto source = hdf_Contexts::Find(from), target = hdf_Contexts::Find(to);
  hdf_Operation writing(what, target.get());
  hdf_Operation operation(what, source.get());
  if (!operation.Usable() || !(work == hdf_Copy::kCopy ? writing.Writable() : writing.Usable()))
    return false;
  const hdf_GroupHandle here(H5Gopen2(source->file, "/", H5P_DEFAULT));
  const hdf_GroupHandle there(H5Gopen2(target->file, "/", H5P_DEFAULT));
  if (!operation.Check(here.Get()) || !writing.Check(there.Get()))
    return false;
  if (work == hdf_Copy::kCopy && !hdf_ListAttributes(there.Get(), own))
    return writing.Check(-1);
  return hdf_Copy(operation, work, own, leftOut, moved).Run(here.Get(), there.Get());
}
} // namespace

ORXSimCompact::ORXSimCompact(ORXSimContextID from, std::function<void(std::uint64_t)> moved)
    : m_from(from), m_moved(std::move(moved)) {}

bool ORXSimCompact::Copy(ORXSimContextID to) {
  ORXSimUpdate update(to);
  return goThrough("copy", hdf_Copy::kCopy, m_from, to, m_own, m_leftOut, m_moved) && update.Commit();
}

bool ORXSimCompact::Compare(ORXSimContextID copy) {
  return goThrough("compare", hdf_Copy::kCompare, m_from, copy, m_own, m_leftOut, m_moved);
}
