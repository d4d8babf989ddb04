#include <kda/kda_Module.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void kda_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void kda_finalize(int& modules) {
  s_counter.Finalize(modules);
}
