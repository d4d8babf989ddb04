#include <gbb/gbb_Call.h>

#include <UTI_CoreUtils/err_Stream.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>

constinit thread_local gbb_Call* gbb_Call::t_outermost = nullptr;

void gbb_Call::Tell() const {
  m_cause.RootGroup(); // reports the first cause again
  err_Write(m_head);
  err_Write(ORXSimManager::LastError());
  err_Write("\n");
}

bool gbb_Call::Fail() {
  if (t_outermost != nullptr && !t_outermost->m_failed) {
    t_outermost->m_failed = true;
    t_outermost->m_cause = ORXSimContextRef(ORXSimContextID()).File();
  }
  return false;
}
