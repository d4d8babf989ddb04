#pragma once

#include <pdmsim/show/show_Values.h>

/// What a simulation is, at a glance: {"dimension", "nodes", "elements", "types": [{"type", "count"}],
/// "blocks", "nodeSets", "elementSets", "surfaces", "fields", "steps", "times": [first, last], "systems"}.
/// A number that the file does not have is null.
/// \param simulation  as show_Objects describes it.
show_Json show_Summarize(const show_Json& simulation, ORXSimContextID context);

/// The same in a line: "2-D, 719 nodes, 659 quadrilaterals in 2 blocks, 3 steps".
std::string show_SummaryLine(const show_Json& summary);

/// The names that a simulation's fields of a map have but for those that the layout gives itself:
/// coordinates, labels and the like, which are no results.
/// \param map  its description.
std::vector<std::string> show_ResultNames(const show_Json& map);
