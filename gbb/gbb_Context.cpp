#include <gbb/gbb_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_DistributionService.h>
#include <gbb/gbb_Link.h>

ORXSimContextID gbb_ContextOf(const gbb_Path& path) {
  return gbb_DistributionService(gbb_SimpleLink(path, "#/distributionService").Get(0)).Context();
}

gbb_SchemaSnapshot gbb_SnapshotOf(const gbb_Path& path) {
  return gbb_SchemaSnapshot(gbb_SimpleLink(path, "#/schemaSnapshot").Get(0));
}

void gbb_TakeBack(ORXSimContextID context) {
  if (!ORXSimContextRef(context).Barred())
    ORXSimUpdate(context).Rollback();
}

bool gbb_CommitWhole(ORXSimUpdate& update, std::uint64_t failures) {
  if (ORXSimManager::Failures() == failures)
    return update.Commit();
  update.Rollback();
  return false;
}

bool gbb_HasMoved(const gbb_Path& path, std::uint64_t seen) {
  return path.IsRemoved() || (!!path.Root() && ORXSimContextRef(gbb_ContextOf(path)).Epoch() > seen);
}
