#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Check.h>
#include <pdmsim/commands/cmd_Commands.h>
#include <pdmsim/commands/cmd_Compact.h>
#include <pdmsim/commands/cmd_Diff.h>
#include <pdmsim/commands/cmd_Dofs.h>
#include <pdmsim/commands/cmd_Draw.h>
#include <pdmsim/commands/cmd_Export.h>
#include <pdmsim/commands/cmd_Generate.h>
#include <pdmsim/commands/cmd_Help.h>
#include <pdmsim/commands/cmd_Import.h>
#include <pdmsim/commands/cmd_Info.h>
#include <pdmsim/commands/cmd_Partition.h>
#include <pdmsim/commands/cmd_Recover.h>
#include <pdmsim/commands/cmd_Report.h>
#include <pdmsim/commands/cmd_Show.h>
#include <pdmsim/commands/cmd_View.h>
#include <pdmsim/commands/cmd_Watch.h>
#include <pdmsim/show/show_Text.h>

#include <csignal>
#include <iostream>
#include <new>

namespace {

constexpr char kFirstWords[] = R"(Simulation files of PDM_Core from the command line. To begin with:
  pdmsim import beam.exo beam.pdm             a mesh becomes a simulation file
  pdmsim info beam.pdm                        what it is, on one screen
  pdmsim show beam.pdm                        what is in it, and the paths of all that
  pdmsim draw beam.pdm -o beam.png            a picture of it
  pdmsim check beam.pdm                       is everything in it as it should be?
'pdmsim help' lists all commands, 'pdmsim help COMMAND' says more on one.
)";

constexpr char kFooter[] = R"(Examples:
  pdmsim import beam.exo beam.pdm             a mesh into a simulation file
  pdmsim export beam.pdm beam.vtu             a simulation file into a mesh format
  pdmsim info beam.pdm                        what it is, on one screen
  pdmsim show beam.pdm                        what is in it
  pdmsim show beam.pdm discreteModel/mesh/nodeFields/coordinates
  pdmsim watch beam.pdm                       follow the solver that writes it
  pdmsim dofs beam.pdm                        how its system numbers its DOFs
  pdmsim view beam.pdm                        beam.hdf, by which ParaView shows it
  pdmsim report beam.pdm -o beam.html         a page for somebody who has no viewer
  pdmsim diff old.pdm new.pdm                 in what do two results differ?
  pdmsim draw beam.pdm temperature -o heat.png  a picture of a field, a set, a mode or a matrix
  pdmsim partition beam.pdm 8                 eight parts of it, for a parallel run
  pdmsim check beam.pdm                       is everything in it as it should be?
  pdmsim compact beam.pdm                     the file without its unused space
  pdmsim help COMMAND                         more on one command

Exit codes:
  0  done
  1  wrong use, the file has nothing of the name asked for, or a check found something
  2  an input cannot be read, or the output cannot be written
Errors are one line on standard error: the file, what was expected, what was found.)";

int Report(cli_Exit code, const std::string& text) {
  std::cerr << "pdmsim: " << show_Printable(text) << '\n';
  return static_cast<int>(code);
}

/// Ends as the signal would have ended the program.
int Die(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  return 128 + signal;
}

/// What is wrong with the command line, in one line.
int ReportUse(const CLI::App& program, const CLI::ParseError& error, const std::string& command) {
  std::string text = error.what();
  text.resize(text.find_last_not_of(" \n") + 1);
  const bool known = cmd_FindCommand(program, command) != nullptr;
  return Report(cli_Exit::kNotThere, text + "; 'pdmsim help" + (known ? " " + command : "") + "' says more");
}

} // namespace

int main(int argc, char** argv) {
  std::signal(SIGXFSZ, SIG_IGN); // a file that grows too large is a failed write like others
  CLI::App program("Simulation files of PDM_Core from the command line.", "pdmsim");
  program.require_subcommand(1);
  program.footer(kFooter);
  cmd_AddVersion(program);
  cmd_AddImport(program);
  cmd_AddExport(program);
  cmd_AddInfo(program);
  cmd_AddShow(program);
  cmd_AddWatch(program);
  cmd_AddDofs(program);
  cmd_AddView(program);
  cmd_AddReport(program);
  cmd_AddDiff(program);
  cmd_AddDraw(program);
  cmd_AddPartition(program);
  cmd_AddCheck(program);
  cmd_AddRecover(program);
  cmd_AddCompact(program);
  cmd_AddHelp(program);
  cmd_AddGenerate(program);
  try {
    if (argc == 1) {
      std::cout << kFirstWords;
      show_Flush();
      return 0;
    }
    cmd_ExpectCommand(program, argv[1]);
    program.parse(argc, argv);
    return 0;
  } catch (const CLI::Success& shown) { // help or the version
    return program.exit(shown);
  } catch (const CLI::ParseError& error) {
    return ReportUse(program, error, argc > 1 ? argv[1] : "");
  } catch (const cli_Failure& failure) {
    return Report(failure.Code(), failure.what());
  } catch (const cli_Quiet& quiet) {
    return static_cast<int>(quiet.code);
  } catch (const cli_Interrupted& interrupted) {
    return Die(interrupted.signal);
  } catch (const std::bad_alloc&) {
    return Report(cli_Exit::kUnusable, "out of memory");
  } catch (const std::exception& error) { // a mesh that cannot be read
    return Report(cli_Exit::kUnusable, error.what());
  }
}
