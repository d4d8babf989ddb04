#pragma once

#include <PDM_Core.h>

#include <tuple>

/// The schema classes, derived ones before their bases. A member stream's first byte is a place in here, so
/// new classes go to the end of their kind only together with new seeds.
using fuzz_Classes = std::tuple<msfD_DiscreteModel, msfD_Mesh, fesD_GenericSystem, fesD_ModalSystem,
                                fesD_ModalEvent, fesD_SubstructureSystem, fesD_SubDamp, fesD_FESystem>;
inline constexpr std::size_t fuzz_kClasses = std::tuple_size_v<fuzz_Classes>;

/// Calls f with an empty handle of the class at that place.
template <class F>
void fuzz_WithClass(std::size_t place, F&& f) {
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    ((I == place ? f(std::tuple_element_t<I, fuzz_Classes>{}) : void()), ...);
  }
  (std::make_index_sequence<fuzz_kClasses>());
}
