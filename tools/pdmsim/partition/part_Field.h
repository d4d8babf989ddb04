#pragma once

#include <pdmsim/stored/sto_File.h>

#include <vector>

inline constexpr char part_kField[] = "partition"; // of the elements

/// Refuses a field of that name that is another's: anything but one int32 for each element. Throws
/// cli_Failure, which says what it is.
/// \return whether there is one that is written anew.
bool part_HasField(const std::string& file, const msfD_Mesh& mesh);

/// Writes the part of each element, in one commit point; what is there already is written in its place.
/// Throws cli_Failure, with the file as it was.
/// \param file   open for writing.
/// \param parts  [items of the mesh's elements].
void part_WriteField(const sto_File& file, const msfD_Mesh& mesh, const std::vector<int>& parts);
