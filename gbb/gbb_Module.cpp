#include <gbb/gbb_Module.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void gbb_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void gbb_finalize(int& modules) {
  s_counter.Finalize(modules);
}
