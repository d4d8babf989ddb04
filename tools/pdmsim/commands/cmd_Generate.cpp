#include <pdmsim/commands/cmd_Generate.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/commands/cmd_Commands.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

/// What the help says of one option.
struct Option {
  std::vector<std::string> names; // "-o", "--output"; none: positional
  std::string name, value, text;  // value: "" for a flag
  std::string choices;            // of the values, with spaces between them; "" for any
};

std::vector<Option> OptionsOf(const CLI::App& command) {
  std::vector<Option> options;
  for (const CLI::Option* const one : command.get_options()) {
    if (one->get_group().empty())
      continue;
    Option option;
    if (one->get_positional())
      option.name = one->get_name(true);
    else
      for (std::istringstream names(one->get_name(false, true)); std::getline(names, option.name, ',');)
        option.names.push_back(option.name);
    if (!one->get_positional() && one->get_items_expected_max() > 0)
      option.value = one->get_type_name();
    if (const std::size_t list = option.value.find('{'); list != std::string::npos) {
      option.choices = option.value.substr(list + 1, option.value.rfind('}') - list - 1);
      std::replace(option.choices.begin(), option.choices.end(), ',', ' ');
    }
    option.text = one->get_description();
    if (!one->get_default_str().empty() && !option.value.empty())
      option.text += " (default: " + one->get_default_str() + ")";
    options.push_back(std::move(option));
  }
  return options;
}

std::string Escaped(const std::string& text, const std::string& special, const std::string& with = "\\") {
  std::string escaped;
  for (const char c : text)
    escaped += (special.find(c) == std::string::npos ? "" : with) + c;
  return escaped;
}

/// Text that roff shows as it is.
std::string Roff(const std::string& text) {
  std::string roff;
  bool begins = true;
  for (const char c : text) {
    if (begins && (c == '.' || c == '\''))
      roff += "\\&";
    roff += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
    begins = c == '\n';
  }
  return roff;
}

std::string Usage(const CLI::App& command) {
  std::string usage = " [\\fIOPTIONS\\fR]";
  for (const CLI::Option* const one : command.get_options())
    if (one->get_positional())
      usage += one->get_required() ? " \\fI" + one->get_name(true) + "\\fR"
                                   : " [\\fI" + one->get_name(true) + "\\fR]";
  return usage;
}

void WriteOptions(std::ostream& out, const CLI::App& command) {
  out << ".SH OPTIONS\n";
  for (const Option& option : OptionsOf(command)) {
    out << ".TP\n";
    std::string names;
    for (const std::string& name : option.names)
      names += (names.empty() ? "\\fB" : ", \\fB") + Roff(name) + "\\fR";
    out << (option.names.empty() ? "\\fI" + option.name + "\\fR" : names)
        << (option.value.empty() ? "" : " \\fI" + Roff(option.value) + "\\fR") << '\n'
        << Roff(option.text) << '\n';
  }
}

void WriteMan(std::ostream& out, const CLI::App& program, const CLI::App& command) {
  const bool whole = &program == &command;
  const std::string name = whole ? "pdmsim" : "pdmsim-" + command.get_name();
  out << ".TH " << Escaped(name, "-") << " 1 \"\" \"pdmsim " PDM_VERSION "\" \"PDM_Core\"\n.SH NAME\n"
      << Roff(name) << " \\- " << Roff(command.get_description()) << "\n.SH SYNOPSIS\n.B pdmsim"
      << (whole ? " COMMAND\n" : " " + command.get_name() + "\n") << Usage(command).substr(1) << '\n';
  if (whole) {
    out << ".SH COMMANDS\n";
    for (const CLI::App* const one : cmd_Commands(program))
      out << ".TP\n\\fB" << one->get_name() << "\\fR\n" << Roff(one->get_description()) << '\n';
  }
  WriteOptions(out, command);
  out << ".SH USE\n.nf\n" << Roff(command.get_footer()) << "\n.fi\n.SH SEE ALSO\n";
  std::string others = whole ? "" : "pdmsim";
  for (const CLI::App* const one : cmd_Commands(program))
    if (one != &command)
      others += (others.empty() ? "" : ", ") + ("pdmsim\\-" + one->get_name());
  out << others << '\n';
}

std::string Words(const CLI::App& command) {
  std::string words;
  for (const Option& option : OptionsOf(command))
    for (const std::string& name : option.names)
      words += (words.empty() ? "" : " ") + name;
  return words;
}

/// Cases of a shell for the values of options that have few.
void WriteChoices(std::ostream& out, const CLI::App& command) {
  for (const Option& option : OptionsOf(command))
    for (const std::string& name : option.names)
      if (!option.choices.empty())
        out << "    \"" << command.get_name() << ' ' << name << "\") words=\"" << option.choices << "\" ;;\n";
}

std::string CommandNames(const CLI::App& program) {
  std::string names;
  for (const CLI::App* const one : cmd_Commands(program))
    names += (names.empty() ? "" : " ") + one->get_name();
  return names;
}

void WriteBash(std::ostream& out, const CLI::App& program) {
  out << "_pdmsim() {\n  local word=${COMP_WORDS[COMP_CWORD]} words\n  COMPREPLY=()\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    words=\""
      << CommandNames(program) << ' ' << Words(program) << "\"\n  else\n    case ${COMP_WORDS[1]} in\n";
  for (const CLI::App* const one : cmd_Commands(program))
    out << "    " << one->get_name() << ") words=\""
        << (one->get_name() == "help" ? CommandNames(program) : Words(*one)) << "\" ;;\n";
  out << "    esac\n    case \"${COMP_WORDS[1]} ${COMP_WORDS[COMP_CWORD-1]}\" in\n";
  for (const CLI::App* const one : cmd_Commands(program))
    WriteChoices(out, *one);
  out << "    *) case $word in\n    -*) ;;\n    *) [ \"${COMP_WORDS[1]} $COMP_CWORD\" = \"help 2\" ] || "
         "return ;;\n"
         "    esac ;;\n    esac\n  fi\n  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n}\n"
         "complete -o default -F _pdmsim pdmsim\n";
}

void WriteZsh(std::ostream& out, const CLI::App& program) {
  out << "#compdef pdmsim\nlocal -a commands\ncommands=(\n";
  for (const CLI::App* const one : cmd_Commands(program))
    out << "  '" << one->get_name() << ':' << Escaped(one->get_description(), "'", "'\\'") << "'\n";
  out << ")\nif (( CURRENT == 2 )); then\n  _describe command commands\n  return\nfi\ncase $words[2] in\n";
  for (const CLI::App* const one : cmd_Commands(program)) {
    out << one->get_name() << ")\n  _arguments";
    for (const Option& option : OptionsOf(*one))
      for (const std::string& name : option.names)
        out << " \\\n    '" << name << "[" << Escaped(Escaped(option.text, "[]:"), "'", "'\\'") << "]"
            << (option.value.empty()     ? ""
                : option.choices.empty() ? ":value:_files"
                                         : ":value:(" + option.choices + ")")
            << "'";
    out << " \\\n    '*:file:_files' ;;\n";
  }
  out << "esac\n";
}

void WriteFish(std::ostream& out, const CLI::App& program) {
  const auto quoted = [](const std::string& text) { return "'" + Escaped(text, "\\'") + "'"; };
  for (const CLI::App* const one : cmd_Commands(program)) {
    out << "complete -c pdmsim -n __fish_use_subcommand -f -a " << one->get_name() << " -d "
        << quoted(one->get_description()) << '\n';
    for (const Option& option : OptionsOf(*one))
      for (const std::string& name : option.names)
        out << "complete -c pdmsim -n '__fish_seen_subcommand_from " << one->get_name() << "' "
            << (name.starts_with("--") ? "-l " + name.substr(2) : "-s " + name.substr(1))
            << (option.value.empty()     ? ""
                : option.choices.empty() ? " -r"
                                         : " -x -a " + quoted(option.choices))
            << " -d " << quoted(option.text) << '\n';
  }
}

template <class F>
void Write(const std::filesystem::path& path, F&& f) {
  std::ofstream out(path);
  f(out);
  if (!out.flush())
    throw cli_Failure(cli_Exit::kUnusable, path.string() + ": expected to write, found it closed or full");
}

void Generate(const CLI::App& program, const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw cli_Failure(cli_Exit::kUnusable,
                      folder.string() + ": expected a folder to write to, found: " + error.message());
  Write(folder / "pdmsim.1", [&](std::ostream& out) { WriteMan(out, program, program); });
  for (const CLI::App* const one : cmd_Commands(program))
    Write(folder / ("pdmsim-" + one->get_name() + ".1"),
          [&](std::ostream& out) { WriteMan(out, program, *one); });
  Write(folder / "pdmsim.bash", [&](std::ostream& out) { WriteBash(out, program); });
  Write(folder / "_pdmsim", [&](std::ostream& out) { WriteZsh(out, program); });
  Write(folder / "pdmsim.fish", [&](std::ostream& out) { WriteFish(out, program); });
}

} // namespace

void cmd_AddGenerate(CLI::App& program) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command = program.add_subcommand("generate", "Write man pages and completions of shells");
  command->group("");
  command->add_option("FOLDER", *folder, "where to write them")->required();
  command->callback([&program, folder] { Generate(program, *folder); });
}
