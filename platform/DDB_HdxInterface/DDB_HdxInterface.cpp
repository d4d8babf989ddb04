#include <DDB_HdxInterface/DDB_HdxInterface.h>

#include <UTI_CoreUtils/mod_Counter.h>

namespace {
constinit mod_Counter s_counter;
}

void DDB_HdxInterface_initialize(int& modules) {
  s_counter.Initialize(modules);
}

void DDB_HdxInterface_finalize(int& modules) {
  s_counter.Finalize(modules);
}
