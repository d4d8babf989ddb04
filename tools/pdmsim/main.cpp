#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Check.h>
#include <pdmsim/commands/cmd_Compact.h>
#include <pdmsim/commands/cmd_Dofs.h>
#include <pdmsim/commands/cmd_Draw.h>
#include <pdmsim/commands/cmd_Import.h>
#include <pdmsim/commands/cmd_Recover.h>
#include <pdmsim/commands/cmd_Show.h>
#include <pdmsim/commands/cmd_View.h>
#include <pdmsim/show/show_Text.h>

#include <csignal>
#include <iostream>
#include <new>

namespace {

constexpr char kFooter[] = R"(Examples:
  pdmsim import beam.exo beam.pdm             a mesh into a simulation file
  pdmsim show beam.pdm                        what is in it
  pdmsim show beam.pdm discreteModel/mesh/nodeFields/coordinates
  pdmsim dofs beam.pdm 0                       how its first system numbers its DOFs
  pdmsim view beam.pdm                        beam.hdf, by which ParaView shows it
  pdmsim draw beam.pdm temperature -o heat.png
  pdmsim check beam.pdm                       is everything in it as it should be?
  pdmsim compact beam.pdm                     the file without its unused space
  pdmsim COMMAND --help                       more on one command

Exit codes:
  0  done
  1  wrong use, the file has nothing of the name asked for, or a check found something
  2  an input cannot be read, or the output cannot be written
Errors are one line on standard error: the file, what was expected, what was found.)";

int Report(cli_Exit code, const char* text) {
  std::cerr << "pdmsim: " << show_Printable(text) << '\n';
  return static_cast<int>(code);
}

/// Ends as the signal would have ended the program.
int Die(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  return 128 + signal;
}

} // namespace

int main(int argc, char** argv) {
  CLI::App program("Simulation files of PDM_Core from the command line.", "pdmsim");
  program.set_version_flag("--version", "pdmsim " PDM_VERSION);
  program.require_subcommand(1);
  program.footer(kFooter);
  cmd_AddImport(program);
  cmd_AddShow(program);
  cmd_AddDofs(program);
  cmd_AddView(program);
  cmd_AddDraw(program);
  cmd_AddCheck(program);
  cmd_AddRecover(program);
  cmd_AddCompact(program);
  try {
    program.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : static_cast<int>(cli_Exit::kNotThere);
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
