#include <gbb/gbb_Context.h>

#include <gbb/gbb_DistributionService.h>
#include <gbb/gbb_Link.h>

ORXSimContextID gbb_ContextOf(const gbb_Path& path) {
  return gbb_DistributionService(gbb_SimpleLink(path, "#/distributionService").Get(0)).Context();
}

gbb_SchemaSnapshot gbb_SnapshotOf(const gbb_Path& path) {
  return gbb_SchemaSnapshot(gbb_SimpleLink(path, "#/schemaSnapshot").Get(0));
}
