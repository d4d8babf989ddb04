#include <pdmsim/commands/cmd_Opening.h>

#include <pdmsim/show/show_Text.h>

#include <cstdlib>

CLI::Validator cmd_Between(double least, double greatest) {
  return {[=](std::string& text) {
            char* end = nullptr;
            const double number = std::strtod(text.c_str(), &end);
            return end != text.c_str() && *end == '\0' && number >= least && number <= greatest
                       ? std::string()
                       : "expected " + show_Number(least, 10) + " to " + show_Number(greatest, 10) +
                             ", found " + text;
          },
          ""};
}

void cmd_AddOpening(CLI::App& command, sto_Opening& opening) {
  command.add_option("FILE", opening.file, "simulation file")->required();
  cmd_AddWaiting(command, opening.wait);
  command.add_flag("--live", opening.live, "read beside a program that writes FILE, at its last commit");
}

void cmd_AddWaiting(CLI::App& command, int& seconds) {
  constexpr int kLongest = 1'000'000;
  command
      .add_option("--wait", seconds,
                  "how long to wait for a program that has FILE open (default: not at all)")
      ->type_name("SECONDS")
      ->check(cmd_Between(0, kLongest));
}
