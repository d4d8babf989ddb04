#include <pdmsim/commands/cmd_Compact.h>

#include <pdmsim/check/check_File.h>
#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/cli/cli_NewFile.h>
#include <pdmsim/cli/cli_NewFiles.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Text.h>

#include <PDM_Core.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Compact.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Options {
  std::string file, output;
  int wait = 0;
  bool force = false, json = false, dropOrphans = false, listOrphans = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim compact beam.pdm                     the same file without its unused space
  pdmsim compact beam.pdm -o small.pdm        a tight copy beside it
  pdmsim compact beam.pdm --list-orphans      what an analysis that was repeated has left behind
  pdmsim compact beam.pdm --drop-orphans      the same file without that

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
    Fail(cli_LastError(cli_Offer::kWait));
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0)
    Fail(path + ": expected a simulation file, found none: " + std::strerror(errno));
  return status;
}

/// What nothing in the file names.
struct Orphan {
  std::string path, what, name;
  unsigned long long bytes;
};

Orphan Describe(const std::string& path, ORXSimContextID context) {
  int first = 0, second = 0;
  if (std::sscanf(path.c_str(), "/store/distributions/%d", &first) == 1) {
    const ORXSimDistributionRef field(ORXSimDistributionID(context, first));
    Orphan orphan{path, "distribution", field.Name().CStr(), 0};
    for (int i = 0; i < field.NumDrawers(); ++i)
      orphan.bytes += static_cast<unsigned long long>(field.Drawer(i).Bytes());
    return orphan;
  }
  std::sscanf(path.c_str(), "/store/collections/%d/sets/%d", &first, &second);
  const ORXSimCollectionID collection(context, first);
  const std::string name = ORXSimCollectionRef(collection).Name().CStr();
  const auto members = static_cast<unsigned long long>(ORXSimCSet({collection, second}).Size());
  return second > 0 ? Orphan{path, "set", "of " + name, 4 * members} : Orphan{path, "collection", name, 0};
}

std::vector<Orphan> RefuseUnsound(const std::string& path, ORXSimContextID context, cli_Progress& progress) {
  const check_Report report = check_Open(path, context, [&](double read) { progress.Advance(read); });
  for (const ORXSimFinding& found : report.findings)
    if (!found.note)
      throw cli_Failure(cli_Exit::kNotThere, path + ": " + found.path + (found.path.empty() ? "" : ": ") +
                                                 found.text + "; pdmsim check says more");
  std::vector<Orphan> orphans;
  for (const ORXSimFinding& found : report.findings)
    if (found.kind == "orphan")
      orphans.push_back(Describe(found.path, context));
  return orphans;
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
void Write(const Options& options, const std::string& output, bool inPlace,
           const std::vector<Orphan>& orphans, cli_Progress& progress) {
  cli_Context to(cli_CreateFile(output, inPlace || options.force)); // in place, the lock of the file
  ORXSimUpdate update(to.ID());
  cli_Context from(Open(options.file, inPlace));
  ORXSimCompact compact(from.ID(),
                        [&](std::uint64_t bytes) { progress.Advance(static_cast<double>(bytes)); });
  std::set<std::string> leftOut;
  for (const Orphan& orphan : orphans)
    leftOut.insert(orphan.path);
  compact.LeaveOut(std::move(leftOut));
  Require(compact.Copy(to.ID()) && compact.Compare(to.ID()));
  RefuseUnsound(options.file, to.ID(), progress);
  from.Close();
  cli_CheckSignals();
  Require(update.Commit() && to.Close());
}

/// \param orphans receives what nothing names.
/// \return bytes of the new file.
unsigned long long Compact(const Options& options, const struct stat& status, std::vector<Orphan>& orphans) {
  std::error_code ignored;
  const bool inPlace =
      options.output.empty() || std::filesystem::equivalent(options.file, options.output, ignored);
  const std::string& output = inPlace ? options.file : options.output;
  const bool isNew = !std::filesystem::exists(output, ignored);
  cli_Progress progress("compacting " + show_Printable(options.file), true);
  progress.Total(5.0 * static_cast<double>(status.st_size)); // check, copy, compare both, check
  const cli_Library library;
  {
    const cli_Context context(Open(options.file, false));
    cli_RefuseMesh(options.file, context.ID());
    orphans = RefuseUnsound(options.file, context.ID(), progress);
  }
  if (options.listOrphans)
    return static_cast<unsigned long long>(status.st_size);
  umask(077); // nobody else may look at what is not yet known to be for him
  Write(options, output, inPlace, options.dropOrphans ? orphans : std::vector<Orphan>(), progress);
  if (isNew)
    KeepPermissions(output, status);
  return std::filesystem::file_size(output);
}

show_Json Describe(const std::vector<Orphan>& orphans) {
  show_Json list = show_Json::array();
  for (const Orphan& orphan : orphans)
    list.push_back(
        {{"path", orphan.path}, {"what", orphan.what}, {"name", orphan.name}, {"bytes", orphan.bytes}});
  return list;
}

/// The orphans, where they were asked for.
void Print(const Options& options, const std::vector<Orphan>& orphans) {
  if (!options.listOrphans && !options.dropOrphans)
    return;
  unsigned long long bytes = 0;
  for (const Orphan& orphan : orphans) {
    bytes += orphan.bytes;
    std::cout << show_Printable(orphan.path + ": " + orphan.what + " " + orphan.name) << ", "
              << show_Size(orphan.bytes) << '\n';
  }
  std::cout << show_Printable(options.file) << ": "
            << show_Counted(std::ssize(orphans), "object of the store that nothing names",
                            "objects of the store that nothing names")
            << ", " << show_Size(bytes) << (options.dropOrphans ? ", left out" : "") << '\n';
}

void Run(const Options& options) {
  cli_CatchSignals();
  cli_ExpectSimulation(options.file);
  ORXSimManager::SetWaitingTime(1000 * options.wait);
  if (options.output == "-")
    cli_CheckOutput(options.output, options.file);
  if (!options.output.empty())
    cli_ExpectFolder(options.output);
  const struct stat status = StatusOf(options.file);
  const auto before = static_cast<unsigned long long>(status.st_size);
  std::vector<Orphan> orphans;
  const unsigned long long after = Compact(options, status, orphans);
  const std::string& output = options.output.empty() ? options.file : options.output;
  if (options.json)
    show_PrintJson(show_Json{{"file", options.file},
                             {"output", output},
                             {"before", before},
                             {"after", after},
                             {"orphans", Describe(orphans)},
                             {"dropped", options.dropOrphans ? orphans.size() : 0}});
  else
    Print(options, orphans);
  if (!options.json && !options.listOrphans)
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
  cmd_AddWaiting(*command, options->wait);
  command->add_flag("--force", options->force, "replace an existing OUTPUT");
  CLI::Option* list =
      command->add_flag("--list-orphans", options->listOrphans,
                        "list collections, sets and distributions that nothing names; write nothing");
  command
      ->add_flag("--drop-orphans", options->dropOrphans,
                 "list them and leave them out; the numbers of others stay as they are")
      ->excludes(list);
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Run(*options); });
}
