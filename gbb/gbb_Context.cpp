#include <gbb/gbb_Context.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <gbb/gbb_Call.h>
#include <gbb/gbb_DistributionService.h>
#include <gbb/gbb_Link.h>

ORXSimContextID gbb_ContextOf(const gbb_Path& path) {
  return gbb_DistributionService(gbb_SimpleLink(path, "#/distributionService").Get(0)).Context();
}

gbb_SchemaSnapshot gbb_SnapshotOf(const gbb_Path& path) {
  return gbb_SchemaSnapshot(gbb_SimpleLink(path, "#/schemaSnapshot").Get(0));
}

void gbb_DescribeClass(const gbb_Path& path, ORXSimContextID context, const char* name, const char* text) {
  if (!context.IsNull()) // else a path without a root would be told
    gbb_SnapshotOf(path).Describe(context, name, text);
}

void gbb_TakeBack(ORXSimContextID context) {
  if (!ORXSimContextRef(context).Barred())
    ORXSimUpdate(context).Rollback();
}

bool gbb_Commit(ORXSimContextID context) {
  return context.IsNull() || gbb_Call::Check(ORXSimContextRef(context).Commit());
}

bool gbb_CommitWhole(ORXSimUpdate& update, ORXSimContextID context) {
  if (!gbb_Call::Failed())
    return context.IsNull() || gbb_Call::Check(update.Commit());
  update.Rollback();
  return false;
}

void gbb_CommitBound(ORXSimUpdate& update, ORXSimContextID context) {
  if (gbb_Call::Failed())
    gbb_TakeBack(context);
  else if (!context.IsNull())
    gbb_Call::Check(update.Commit());
}
