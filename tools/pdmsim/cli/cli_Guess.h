#pragma once

#include <string>
#include <vector>

/// Those of `names` that a wrong word may have meant, the likeliest first: spelt nearly so, or with it at the
/// beginning, whatever the case. Empty when nothing is near.
std::vector<std::string> cli_Nearest(const std::string& word, const std::vector<std::string>& names);

/// The same as a clause for an error line: ": did you mean 'show'?", or what there is, cut after a few:
/// "; there are a, b, c … 4 more".
std::string cli_Guess(const std::string& word, const std::vector<std::string>& names);
