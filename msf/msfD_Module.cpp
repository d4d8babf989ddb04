#include <msf/msfD_Module.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void msfD_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void msfD_finalize(int& modules) {
  s_counter.Finalize(modules);
}
