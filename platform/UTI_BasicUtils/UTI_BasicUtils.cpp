#include <UTI_BasicUtils/UTI_BasicUtils.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void UTI_BasicUtils_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void UTI_BasicUtils_finalize(int& modules) {
  s_counter.Finalize(modules);
}
