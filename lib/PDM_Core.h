#pragma once

// Everything that a host program needs of PDM_Core.

#include <DDB_HdxInterface/DDB_HdxInterface.h>
#include <UTI_BasicUtils/UTI_BasicUtils.h>
#include <UTI_CoreUtils/UTI_CoreUtils.h>
#include <UTI_ORXSimDynamicAPI/UTI_ORXSimDynamicAPI.h>
#include <fes/dpa/fesD_FESystem.h>
#include <fes/dpa/fesD_GenericSystem.h>
#include <fes/dpa/fesD_ModalEvent.h>
#include <fes/dpa/fesD_ModalSystem.h>
#include <fes/dpa/fesD_NodalDofDefinition.h>
#include <fes/dpa/fesD_SubDamp.h>
#include <fes/dpa/fesD_SubstructureSystem.h>
#include <fes/fesD_Module.h>
#include <fes/fesD_Utilities.h>
#include <gbb/gbb_MemoryStream.h>
#include <gbb/gbb_Module.h>
#include <gbb/pattern/gbb_Holder.h>
#include <kda/kda_Module.h>
#include <msf/dpa/msfD_DiscreteModel.h>
#include <msf/dpa/msfD_Mesh.h>
#include <msf/msfD_Module.h>
#include <msf/msfD_Root.h>
#include <msf/msfD_Sim.h>

// Threads: any may call the pair; what several threads may do between them stands at msfD_Root.

/// Brings the library and everything it stands on up; call it before anything else. Only the first call
/// does work.
/// \param modules  the caller's counter: every module that comes up adds 1.
PDM_CORE_API void DDB_PDM_Core_initialize(int& modules);

/// Takes the library down on the last call, which closes all files: no other thread may use one then.
/// \param modules  every module that goes down subtracts 1.
PDM_CORE_API void DDB_PDM_Core_finalize(int& modules);

/// The version of the library that is loaded, as "major.minor.patch".
PDM_CORE_API const char* DDB_PDM_Core_version();
