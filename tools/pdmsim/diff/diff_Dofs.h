#pragma once

#include <pdmsim/diff/diff_Matching.h>
#include <pdmsim/stored/sto_File.h>

#include <optional>

/// Which degrees of freedom of a system of one file are which of the other's: those of one node and label.
/// \param nodes   how the systems' nodes go together.
/// \param system  the name of the system in both files.
/// \return none when their numbering cannot be told: no masks, or masks that are not in order.
std::optional<diff_Matching> diff_MatchDofs(const sto_File& a, const sto_File& b, const diff_Matching& nodes,
                                            const std::string& system);
