#pragma once

#include <pdmsim/partition/part_Graph.h>

#include <functional>

/// Shares the items of a graph out, with few neighbours in two parts, as many items in each part as may be
/// and none without any. The same graph gives the same parts.
/// \param file   for messages.
/// \param count  of parts, 1 to graph.Items().
/// \param tick   called ten times a second; what it throws ends the work.
/// \return [items] the part of each, from 0.
/// Throws cli_Failure.
std::vector<int> part_Split(const std::string& file, const part_Graph& graph, int count,
                            const std::function<void()>& tick);
