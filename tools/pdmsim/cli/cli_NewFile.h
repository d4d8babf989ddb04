#pragma once

#include <string>
#include <string_view>

/// Writes a file as one of cli_NewFiles.
/// \param force   a file of that name may be replaced when it begins with `begins`, in any case, or is empty.
/// \param begins  by which files of the kind are known.
void cli_WriteNewFile(const std::string& path, std::string_view bytes, bool force, std::string_view begins);
/// The same refusals before there are any bytes, so that they come early.
void cli_CheckNewFile(const std::string& path, bool force, std::string_view begins);
