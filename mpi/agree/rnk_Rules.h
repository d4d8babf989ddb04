#pragma once

/// Rules without which ranks corrupt a file. The campaign breaks each on purpose, in a build of its own, to
/// see that it would notice; in every other build none can be broken and the questions cost nothing.
enum class rnk_Rule {
  kAgreement, // no rank acts on a status before all have told theirs
  kBorders,   // a block whose rows several ranks have is summed and written by one of them
};

#ifdef PDM_BREAKABLE
#include <cstdlib>
#include <cstring>

/// True for the rule that the environment names in PDM_BREAK.
inline bool rnk_Broken(rnk_Rule rule) {
  static const char* const broken = std::getenv("PDM_BREAK");
  return broken != nullptr &&
         std::strcmp(broken, rule == rnk_Rule::kAgreement ? "agreement" : "borders") == 0;
}
#else
constexpr bool rnk_Broken(rnk_Rule) {
  return false;
}
#endif
