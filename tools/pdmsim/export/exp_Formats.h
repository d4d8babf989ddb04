#pragma once

#include <pdmsim/export/out/exp_Format.h>

#include <span>

std::span<const exp_Format> exp_Formats();

/// The format of a name, or the one whose files end as `path` does. Throws cli_Failure where there is none.
/// \param name  "" to go by the ending.
const exp_Format& exp_FormatOf(const std::string& path, const std::string& name);
