#include <pdmsim/commands/cmd_Compact.h>

#include <pdmsim/check/check_File.h>
#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/show/show_Text.h>

#include <PDM_Core.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Compact.h>

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
both against each other, checks the new one, brings it to the disk and only then puts it in its place; owner
and permissions stay. While it works nobody else can write the file; a file that somebody has open is not
compacted, live readers included, nor one in which pdmsim check finds something wrong. What a journal holds is
brought into the file first. Whatever else fails leaves the file as it was; a compact that was killed may
leave FILE.new-PID, which the next one removes. An OUTPUT that --force replaces keeps its own permissions.

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

/// Opens a file for reading. \param live beside our own lock on it.
ORXSimContextID Open(const std::string& path, bool live) {
  const ORXSimContextID id = ORXSimManager::OpenContext(path.c_str(), 1, 102, false, live ? 3 : 1);
  Require(!id.IsNull());
  return id;
}

/// A new file belongs to whom the old one does, as far as we may say so, and is never more open.
void KeepPermissions(const std::string& path, const struct stat& status) {
  if (chown(path.c_str(), status.st_uid, status.st_gid) != 0 && geteuid() == 0)
    Fail(path + ": expected to keep the owner, found: " + std::strerror(errno));
  const bool sameGroup = StatusOf(path).st_gid == status.st_gid;
  if (chmod(path.c_str(), status.st_mode & (sameGroup ? 07777 : 07707)) != 0)
    Fail(path + ": expected to keep the permissions, found: " + std::strerror(errno));
}

/// Writes the copy, holds it against the file and checks it, all before its commit, which gives it its name.
void Write(const Options& options, const std::string& output, bool inPlace, cli_Progress& progress) {
  cli_Context to(cli_CreateFile(output, inPlace || options.force)); // in place, the lock of the file
  ORXSimUpdate update(to.ID());
  cli_Context from(Open(options.file, inPlace));
  ORXSimCompact compact(from.ID(),
                        [&](std::uint64_t bytes) { progress.Advance(static_cast<double>(bytes)); });
  Require(compact.Copy(to.ID()) && compact.Compare(to.ID()));
  RefuseUnsound(options.file, to.ID(), progress);
  from.Close();
  cli_CheckSignals();
  Require(update.Commit() && to.Close());
}

/// \return bytes of the new file.
unsigned long long Compact(const Options& options, const struct stat& status) {
  std::error_code ignored;
  const bool inPlace =
      options.output.empty() || std::filesystem::equivalent(options.file, options.output, ignored);
  const std::string& output = inPlace ? options.file : options.output;
  const bool isNew = !std::filesystem::exists(output, ignored);
  cli_Progress progress("compacting " + show_Printable(options.file), true);
  progress.Total(5.0 * static_cast<double>(status.st_size)); // check, copy, compare both, check
  const cli_Library library;
  RefuseUnsound(options.file, cli_Context(Open(options.file, false)).ID(), progress);
  umask(077); // nobody else may look at what is not yet known to be for him
  Write(options, output, inPlace, progress);
  if (isNew)
    KeepPermissions(output, status);
  return std::filesystem::file_size(output);
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
