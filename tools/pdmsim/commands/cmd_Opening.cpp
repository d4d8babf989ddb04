#include <pdmsim/commands/cmd_Opening.h>

#include <charconv>
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

CLI::Validator cmd_Whole(int least, int greatest) {
  return {[=](std::string& text) {
            int number = 0;
            const char* const end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data(), end, number);
            return error == std::errc() && stop == end && number >= least && number <= greatest
                       ? std::string()
                       : "expected a whole number from " + std::to_string(least) + " to " +
                             std::to_string(greatest) + ", found " + text;
          },
          ""};
}

void cmd_AddOpening(CLI::App& command, sto_Opening& opening) {
  command.add_option("FILE", opening.file, "simulation file")->required();
  cmd_AddWaitingAndLive(command, opening);
}

void cmd_AddWaitingAndLive(CLI::App& command, sto_Opening& opening) {
  cmd_AddWaiting(command, opening.wait);
  command.add_flag("--live", opening.live, "read beside a program that writes FILE, at its last commit");
  opening.offer = cli_Offer::kWaitAndLive;
}

void cmd_AddWaiting(CLI::App& command, int& seconds) {
  constexpr int kLongest = 1'000'000;
  command
      .add_option("--wait", seconds,
                  "how long to wait for a program that has FILE open (default: not at all)")
      ->type_name("SECONDS")
      ->check(cmd_Whole(0, kLongest));
}

void cmd_AddJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "print JSON, for scripts");
}

void cmd_PrintFound(const show_Json& found, bool json, void (*print)(const show_Json&)) {
  if (json)
    show_PrintJson(found);
  else
    print(found);
  show_Flush();
}
