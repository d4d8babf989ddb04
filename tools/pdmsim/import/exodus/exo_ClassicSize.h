#pragma once

#include <string>

/// Compares the length of a classic netCDF file (CDF-1, CDF-2, CDF-5) with the length that its own header
/// implies, because the netCDF library reads the missing end of such a file as zeros.
/// \param path a readable regular file. A file of another format passes.
/// \param size its length in bytes.
/// Throws mesh_Error when the file is shorter than its header says, or ends inside the header.
/// Cost: reads the header only.
void exo_CheckClassicSize(const std::string& path, unsigned long long size);
