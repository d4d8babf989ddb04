#include "cmd_Compact.h"

#include "check_File.h"
#include "cli_Failure.h"
#include "cli_Library.h"
#include "cli_Output.h"
#include "cli_Progress.h"
#include "show_Text.h"

#include <PDM_Core.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Options {
  std::string file, output;
  bool force = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim compact beam.pdm                     the same file without its unused space
  pdmsim compact beam.pdm -o small.pdm        a tight copy beside it

Writes a new file with the same objects, attributes, numbers, layouts and compression, holds every byte of
both against each other, checks the new one and only then puts it in its place; owner and permissions stay.
While it works nobody else can write the file. Whatever fails leaves the file as it was. A file in which
pdmsim check finds something wrong is not compacted.

Exit codes:
  0  done
  1  wrong use, or the check found something wrong with the file
  2  the file cannot be read, or the new one cannot be written)";

[[noreturn]] void Fail(const std::string& text) {
  throw cli_Failure(cli_Exit::kUnusable, text);
}

void Require(bool done) {
  if (!done)
    Fail(ORXSimManager::LastError());
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0)
    Fail(path + ": expected a simulation file, found: " + std::strerror(errno));
  return status;
}

void RefuseUnsound(const std::string& path, ORXSimContextID context, cli_Progress& progress) {
  const check_Report report = check_Open(path, context, [&](double read) { progress.Advance(read); });
  for (const ORXSimFinding& found : report.findings)
    if (!found.note)
      throw cli_Failure(cli_Exit::kNotThere, path + ": " + found.path + (found.path.empty() ? "" : ": ") +
                                                 found.text + "; pdmsim check says more");
}

void CopyInto(const std::string& unfinished, ORXSimContextID from, cli_Progress& progress) {
  ORXSimCompact compact(from, [&](std::uint64_t bytes) { progress.Advance(static_cast<double>(bytes)); });
  cli_Context to(ORXSimManager::CreateContext(unfinished.c_str(), 0, 102, false, 1));
  Require(!to.ID().IsNull() && compact.Copy(to.ID()) && to.Close());
  const cli_Context copy(ORXSimManager::OpenContext(unfinished.c_str(), 1, 102, false, 0));
  Require(!copy.ID().IsNull() && compact.Compare(copy.ID()));
  RefuseUnsound(unfinished, copy.ID(), progress);
}

/// The new file belongs to whom the old one did, as far as we may say so.
void KeepPermissions(const std::string& unfinished, const struct stat& status) {
  if (chown(unfinished.c_str(), status.st_uid, status.st_gid) != 0 && geteuid() == 0)
    Fail(unfinished + ": expected to keep the owner, found: " + std::strerror(errno));
  if (chmod(unfinished.c_str(), status.st_mode & 07777) != 0)
    Fail(unfinished + ": expected to keep the permissions, found: " + std::strerror(errno));
}

/// The original stays open, and so locked, until the copy is in its place.
unsigned long long Compact(const Options& options, const struct stat& status) {
  std::error_code ignored;
  const bool inPlace =
      options.output.empty() || std::filesystem::equivalent(options.file, options.output, ignored);
  cli_Progress progress("compacting " + show_Printable(options.file), true);
  progress.Total(5.0 * static_cast<double>(status.st_size)); // check, copy, compare both, check
  const cli_Library library;
  const cli_Context from(ORXSimManager::OpenContext(options.file.c_str(), inPlace ? 0 : 1, 102, false, 1));
  Require(!from.ID().IsNull());
  if (inPlace && ORXSimContextRef(from.ID()).LastCommit().journalBytes > 0)
    Fail(options.file + ": live readers have the file open: its journal must stay");
  RefuseUnsound(options.file, from.ID(), progress);
  cli_Output output(inPlace ? options.file : options.output, inPlace || options.force);
  CopyInto(output.Unfinished(), from.ID(), progress);
  KeepPermissions(output.Unfinished(), status);
  return output.Finish();
}

void Run(const Options& options) {
  cli_CatchSignals();
  const struct stat status = StatusOf(options.file);
  const auto before = static_cast<unsigned long long>(status.st_size);
  const unsigned long long after = Compact(options, status);
  const std::string& output = options.output.empty() ? options.file : options.output;
  if (options.json)
    show_PrintJson(
        show_Json{{"file", options.file}, {"output", output}, {"before", before}, {"after", after}});
  else
    std::cout << show_Printable(output) << ": " << show_Size(before) << " before, " << show_Size(after)
              << " now\n";
  show_Flush();
}

} // namespace

void cmd_AddCompact(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("compact", "Write a simulation file anew without unused space");
  command->add_option("FILE", options->file, "simulation file")->required();
  command->add_option("-o,--output", options->output, "write the tight copy here (default: in FILE's place)");
  command->add_flag("--force", options->force, "replace an existing OUTPUT");
  command->add_flag("--json", options->json, "print JSON, for scripts");
  command->footer(kFooter);
  command->callback([options] { Run(*options); });
}
