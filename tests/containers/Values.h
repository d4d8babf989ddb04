#pragma once

#include <kda/kda_ValueTypes.h>

#include <gtest/gtest.h>

#include <string>

using ValueTypes = ::testing::Types<bool, unsigned char, int, long long, float, double, kda_string, kda_none,
                                    ORXSimCSetID, ORXSimCollectionID, ORXSimDSetID, ORXSimDistributionID>;

/// The n-th value of a type, different from T() for n > 0 where the type has different values at all.
/// \param context of identifiers.
template <class T>
T makeValue(int n, ORXSimContextID context = ORXSimContextID(3)) {
  if constexpr (std::is_arithmetic_v<T>)
    return static_cast<T>(std::is_same_v<T, bool> ? n % 2 : n % 256);
  else if constexpr (std::is_same_v<T, kda_string>)
    return kda_string(n == 0 ? "" : ("value " + std::to_string(n)).c_str());
  else if constexpr (std::is_same_v<T, kda_none>)
    return kda_none();
  else if constexpr (std::is_same_v<T, ORXSimCSetID>)
    return n == 0 ? T() : T(ORXSimCollectionID(context, n), n + 1);
  else
    return n == 0 ? T() : T(context, n);
}
