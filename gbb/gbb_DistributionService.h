#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <gbb/gbb_Handle.h>
#include <kda/kda_Export.h>

/// Where an object finds the context of its Sim: the target of the link "#/distributionService".
/// Threads: one at a time for all objects of a root.
class PDM_CORE_API gbb_DistributionService {
 public:
  constexpr gbb_DistributionService() = default;
  constexpr gbb_DistributionService(ORXSimContextID context, int reserved)
      : m_context(context), m_reserved(reserved) {}
  /// Empty unless the handle's class is the service's.
  explicit gbb_DistributionService(const gbb_Handle& handle);
  operator gbb_Handle() const;

  /// True when there is no context behind the service.
  bool operator!() const { return m_context.IsNull(); }
  /// The context of the Sim's file, null for an empty service.
  ORXSimContextID Context() const { return m_context; }
  /// "com.vertana.DistributionService".
  static gbb_Class StaticClass();

 private:
  ORXSimContextID m_context;
  [[maybe_unused]] int m_reserved = 0; // part of the handle data
};
