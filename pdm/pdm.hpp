#pragma once

// A simulation file in a few words of C++20: open a file, read and write its mesh, sets, fields and systems.
// Everything stands on the plain calls of PDM_Core.h and shows their handles; what fails throws pdm::Error,
// and nothing is printed.
// Threads: one at a time for all objects of a Sim; different Sims in different threads at the same time.

#include <pdm/pdm_Block.h>
#include <pdm/pdm_ElementType.h>
#include <pdm/pdm_Error.h>
#include <pdm/pdm_Field.h>
#include <pdm/pdm_Fields.h>
#include <pdm/pdm_Mesh.h>
#include <pdm/pdm_Numbering.h>
#include <pdm/pdm_Numbers.h>
#include <pdm/pdm_Object.h>
#include <pdm/pdm_Set.h>
#include <pdm/pdm_Sim.h>
#include <pdm/pdm_System.h>
#include <pdm/pdm_Systems.h>
