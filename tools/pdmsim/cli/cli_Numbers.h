#pragma once

#include <CLI/CLI.hpp>

#include <cmath>
#include <string>

/// For an option: a number that is at least `least`, and neither infinite nor NaN.
inline CLI::Validator cli_AtLeast(int least) {
  return CLI::Validator(
      [least](const std::string& text) {
        double number = 0;
        const bool good = CLI::detail::lexical_cast(text, number) && std::isfinite(number) && number >= least;
        return good ? std::string()
                    : "expected a number of " + std::to_string(least) + " or more, found '" + text + "'";
      },
      "");
}
