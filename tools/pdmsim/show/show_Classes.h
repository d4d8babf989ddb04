#pragma once

#include <fes/dpa/fesD_FESystem.h>
#include <fes/dpa/fesD_GenericSystem.h>
#include <fes/dpa/fesD_ModalSystem.h>
#include <fes/dpa/fesD_SubstructureSystem.h>
#include <msf/dpa/msfD_DiscreteModel.h>
#include <msf/dpa/msfD_Mesh.h>
#include <msf/msfD_Sim.h>

#include <tuple>

/// The classes that `pdmsim show` knows, derived ones before their bases. One word here is all that a new
/// schema class needs.
using show_Classes = std::tuple<msfD_Sim, msfD_DiscreteModel, msfD_Mesh, fesD_GenericSystem, fesD_ModalSystem,
                                fesD_ModalEvent, fesD_SubstructureSystem, fesD_SubDamp, fesD_FESystem>;
