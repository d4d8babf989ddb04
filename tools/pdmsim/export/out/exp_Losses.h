#pragma once

#include <pdmsim/mesh/mesh_Source.h>

#include <string>
#include <vector>

/// What a format keeps of a mesh beside its nodes and elements.
struct exp_Holds {
  bool nodeSets = false, elementSets = false, sideSets = false;
  bool setOrder = false, factors = false; // of the sets that it keeps
  bool attributes = false, maps = false, polygons = false, shells = false;
  bool globals = false, setVariables = false;
  bool units = false, components = false, integers = false, constants = false; // of variables
};

/// The variables of a place, or the members of a set, in words: "node sets".
const char* exp_PlaceName(mesh_Place place);
/// A set of the kind, in words: "node set".
const char* exp_SetName(mesh_SetKind kind);

/// What a format that keeps this much loses of the mesh, one line each, Notes() among them.
std::vector<std::string> exp_Losses(const mesh_Source& mesh, const exp_Holds& holds);

/// What VTK's formats lose of the mesh, one line each, names aside.
/// \param setVariables  whether they keep variables of node and element sets.
std::vector<std::string> exp_VtkLosses(const mesh_Source& mesh, bool setVariables);

/// The same of the types of elements that only few formats have names for.
std::vector<std::string> exp_UnknownTypes(const mesh_Source& mesh);

/// True when a variable has integers on some entity.
bool exp_HasIntegers(const mesh_Source& mesh, mesh_Place place, std::size_t variable);
