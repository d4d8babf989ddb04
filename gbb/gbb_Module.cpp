#include <gbb/gbb_Module.h>

#include <UTI_CoreUtils/mod_Counter.h>
#include <gbb/gbb_DistributionService.h>

namespace {
constinit mod_Counter s_counter;
}

void gbb_initialize(int& modules) {
  s_counter.Initialize(modules);
  gbb_DistributionService::StaticClass(); // the first class tells the system of fork()
}

void gbb_finalize(int& modules) {
  s_counter.Finalize(modules);
}
