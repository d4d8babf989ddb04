#pragma once

#include <string>

/// Writes an Exodus II mesh of side^3 hexahedra in one block, with its numbers, a node set and a side set,
/// and three nodal and two element variables at four steps: 230 MB of numbers for a side of 100.
/// \param mode the netCDF format, as nc_create takes it.
void imp_MakeMesh(const std::string& path, int mode, int side);

/// Reads every number of the mesh through netCDF, a few MiB at a time, and writes it to `to` as it comes,
/// which is then on the disk.
void imp_CopyNumbers(const std::string& path, const std::string& to);
