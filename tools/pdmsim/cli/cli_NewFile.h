#pragma once

#include <string>
#include <string_view>

/// Refuses what no command writes to: "-", since nothing goes to standard output but what is to be read
/// there, a name in a directory that is not there, and the file that it reads.
/// \param input  the file that is read.
void cli_CheckOutput(const std::string& path, const std::string& input);

/// Writes a file as one of cli_NewFiles.
/// \param force   a file of that name may be replaced when it begins with `begins`, in any case, or is empty.
/// \param begins  by which files of the kind are known.
void cli_WriteNewFile(const std::string& path, std::string_view bytes, bool force, std::string_view begins);
/// The same refusals before there are any bytes, so that they come early.
void cli_CheckNewFile(const std::string& path, bool force, std::string_view begins);
