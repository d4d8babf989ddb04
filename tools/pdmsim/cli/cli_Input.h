#pragma once

#include <PDM_Core.h>

#include <string>

// What a command was given in the place of what it works on, in the same words in every command. All throw
// cli_Failure as a file that cannot be read.

/// Refuses what is not there, a directory, and what is no regular file.
/// \param expected  as "a mesh".
void cli_ExpectFile(const std::string& path, const std::string& expected);

/// Refuses what cannot be a simulation file, by a look at its first bytes. A mesh is told as one, with the
/// command that makes a simulation file of it.
void cli_ExpectSimulation(const std::string& path);

/// Refuses an open HDF5 file that is a mesh.
void cli_RefuseMesh(const std::string& path, ORXSimContextID context);

/// Refuses an open HDF5 file that holds no simulation.
void cli_CheckSimulation(const std::string& path, ORXSimContextID context);

/// True for a simulation file, as far as that can be told without opening one that others hold, and for what
/// has a journal beside it.
bool cli_IsSimulation(const std::string& path);

/// Refuses a simulation file where a mesh is expected. Needs the library.
void cli_RefuseSimulation(const std::string& path);

/// What a command has for a file that another program holds.
enum class cli_Offer { kNothing, kWait, kWaitAndLive };

/// The library's last failure in the words of the command line: who holds a file is followed by the options
/// that help.
/// \param offer  those that the command has.
std::string cli_LastError(cli_Offer offer = cli_Offer::kNothing);
