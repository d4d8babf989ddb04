#pragma once

#include <fes/dpa/fesD_FESystem.h>
#include <fes/dpa/fesD_GenericSystem.h>
#include <fes/dpa/fesD_ModalSystem.h>
#include <fes/dpa/fesD_SubstructureSystem.h>
#include <msf/dpa/msfD_DiscreteModel.h>
#include <msf/dpa/msfD_Mesh.h>
#include <msf/msfD_Sim.h>

#include <tuple>

/// The classes that `pdmsim show` knows without their description in a file, derived ones before their bases.
/// A class of the library is a word here.
using show_Classes = std::tuple<msfD_Sim, msfD_DiscreteModel, msfD_Mesh, fesD_GenericSystem, fesD_ModalSystem,
                                fesD_ModalEvent, fesD_SubstructureSystem, fesD_SubDamp, fesD_FESystem>;
