#include <gbb/gbb_DistributionService.h>

#include <cstring>

gbb_DistributionService::gbb_DistributionService(const gbb_Handle& handle) {
  if (handle.Class().IsA(StaticClass()))
    std::memcpy(static_cast<void*>(this), handle.Data(), sizeof *this);
  if (m_context.Value() == 0) // a handle of nothing: no context has this number
    m_context = {};
}

gbb_DistributionService::operator gbb_Handle() const {
  return gbb_Handle(this, sizeof *this, StaticClass());
}

gbb_Class gbb_DistributionService::StaticClass() {
  static constinit gbb_ClassDescriptor s_class;
  return gbb_Class::Define(s_class, "com.vertana.DistributionService", {}, nullptr);
}
