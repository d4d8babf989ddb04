#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <kda/kda_none.h>
#include <kda/kda_string.h>

/// Applies the macro X to each of the twelve value types for which the library exports its containers.
/// \param X  a macro of one argument, the type.
#define KDA_FOR_EACH_VALUE_TYPE(X)                                                                           \
  X(bool)                                                                                                    \
  X(unsigned char)                                                                                           \
  X(int)                                                                                                     \
  X(long long)                                                                                               \
  X(float)                                                                                                   \
  X(double)                                                                                                  \
  X(kda_string)                                                                                              \
  X(kda_none)                                                                                                \
  X(ORXSimCSetID)                                                                                            \
  X(ORXSimCollectionID)                                                                                      \
  X(ORXSimDSetID)                                                                                            \
  X(ORXSimDistributionID)
