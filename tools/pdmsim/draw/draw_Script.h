#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

/// What pictures begin with.
inline constexpr std::string_view draw_kPicture = "\x89PNG";

/// Has the drawing script make a picture. The script stands beside this program where it is installed and
/// where it was built; the first Python of PDM_PYTHON, python3 and /usr/bin/python3 that has VTK or
/// Matplotlib runs it. Throws cli_Failure.
/// \param job    what the script is told; "out" is the picture, which appears whole or not at all.
/// \param force  a picture of that name may be replaced.
/// \return what the script says of it: who drew, "by", and of colours "min", "max", "values" and "missing".
nlohmann::json draw_Run(const nlohmann::json& job, bool force);
