#include <PDM_Core.h>

namespace {
constinit mod_Counter s_counter;
}

void DDB_PDM_Core_initialize(int& modules) {
  if (!s_counter.Initialize(modules))
    return;
  UTI_CoreUtils_initialize(modules);
  UTI_BasicUtils_initialize(modules);
  UTI_ORXSimDynamicAPI_initialize(modules);
  DDB_HdxInterface_initialize(modules);
  kda_initialize(modules);
  gbb_initialize(modules);
  fesD_initialize(modules);
  msfD_initialize(modules);
}

void DDB_PDM_Core_finalize(int& modules) {
  if (!s_counter.Finalize(modules))
    return;
  msfD_finalize(modules);
  fesD_finalize(modules);
  gbb_finalize(modules);
  kda_finalize(modules);
  DDB_HdxInterface_finalize(modules);
  UTI_ORXSimDynamicAPI_finalize(modules);
  UTI_BasicUtils_finalize(modules);
  UTI_CoreUtils_finalize(modules);
}

const char* DDB_PDM_Core_version() {
  return PDM_CORE_VERSION;
}
