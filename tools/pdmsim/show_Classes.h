#pragma once

#include <fes/dpa/fesD_FESystem.h>
#include <msf/dpa/msfD_DiscreteModel.h>
#include <msf/dpa/msfD_Mesh.h>
#include <msf/msfD_Sim.h>

#include <tuple>

/// The classes that `pdmsim show` knows, derived ones before their bases. One word here is all that a new
/// schema class needs.
using show_Classes = std::tuple<msfD_Sim, msfD_DiscreteModel, msfD_Mesh, fesD_FESystem>;
