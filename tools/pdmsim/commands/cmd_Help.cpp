#include <pdmsim/commands/cmd_Help.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Guess.h>
#include <pdmsim/commands/cmd_Commands.h>
#include <pdmsim/show/show_Text.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>

#include <iostream>
#include <memory>

namespace {

void Help(const CLI::App& program, const std::string& command) {
  if (!command.empty())
    cmd_ExpectCommand(program, command);
  std::cout << (command.empty()
                    ? program.get_formatter()->make_help(&program, "pdmsim", CLI::AppFormatMode::Normal)
                    : cmd_FindCommand(program, command)->help("pdmsim"));
  show_Flush();
}

} // namespace

std::vector<const CLI::App*> cmd_Commands(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); });
}

const CLI::App* cmd_FindCommand(const CLI::App& program, const std::string& name) {
  const auto found = program.get_subcommands([&](const CLI::App* one) { return one->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

void cmd_AddHelp(CLI::App& program) {
  auto command = std::make_shared<std::string>();
  CLI::App* help = program.add_subcommand("help", "Say how a command is used, with examples");
  help->add_option("COMMAND", *command, "the command (default: an overview)");
  help->callback([&program, command] { Help(program, *command); });
}

void cmd_AddVersion(CLI::App& program) {
  program.set_version_flag("--version", [] {
    return std::string("pdmsim " PDM_VERSION "\nHDF5 ") + ORXSimInspect::HDF5Version().CStr() +
           "\nfile layout 102, format 2";
  });
}

void cmd_ExpectCommand(const CLI::App& program, const std::string& word) {
  if (word.starts_with("-") || cmd_FindCommand(program, word) != nullptr)
    return;
  std::vector<std::string> names;
  for (const CLI::App* const one : cmd_Commands(program))
    names.push_back(one->get_name());
  std::string guess = cli_Guess(word, names);
  if (cli_Nearest(word, names).empty()) {
    guess = "; there are";
    for (const std::string& name : names)
      guess += " " + name;
  }
  throw cli_Failure(cli_Exit::kNotThere, "expected a command, found '" + word + "'" + guess);
}
