#include <fes/fesD_Module.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void fesD_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void fesD_finalize(int& modules) {
  s_counter.Finalize(modules);
}
