#include <pdmsim/commands/cmd_Check.h>

#include <pdmsim/check/check_File.h>
#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Text.h>
#include <pdmsim/view/view_Sidecar.h>
#include <pdmsim/view/view_Sources.h>

#include <filesystem>
#include <iostream>
#include <map>
#include <memory>

namespace {

struct Options {
  sto_Opening opening;
  bool untrusted = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim check beam.pdm                       is everything in it as it should be?
  pdmsim check --untrusted mail.pdm           the same for a file from anywhere
  pdmsim check beam.pdm --json | jq '.findings[] | select(.note | not)'

Looks at the file's structure, every member stream, every checksum, sets and fields of the bulk store and
the identifiers that lead there, and reads every byte. Writes nothing. Notes are legal, like a field that no
object names; everything else is damage, or was written by a program that does not keep to the layout.
With --untrusted a child process with little memory and time does the reading. The kinds of findings are
listed in docs/checking.md.

Exit codes:
  0  sound (there may be notes)
  1  something is wrong with it, or wrong use of the command
  2  it cannot be read)";

show_Json Describe(const check_Report& report) {
  show_Json findings = show_Json::array();
  for (const ORXSimFinding& found : report.findings)
    findings.push_back(
        {{"path", found.path}, {"kind", found.kind}, {"note", found.note}, {"text", found.text}});
  return {{"file", report.file},
          {"readable", report.readable},
          {"sound", report.Errors() == 0},
          {"objects", report.objects},
          {"bytes", report.bytes},
          {"wasted", report.bytes - report.used},
          {"findings", std::move(findings)}};
}

// A solver that gave its file new times at every step leaves an orphan or two at each.
void Print(const check_Report& report) {
  constexpr std::size_t kMostNotes = 5; // of a kind
  std::map<std::string, std::size_t> notes;
  for (const ORXSimFinding& found : report.findings)
    if (!found.note || ++notes[found.kind] <= kMostNotes)
      std::cout << show_Printable(report.file + ": " + found.path + (found.path.empty() ? "" : ": ") +
                                  (found.note ? "note: " : "") + found.text + " [" + found.kind + "]")
                << '\n';
  for (const auto& [kind, count] : notes)
    if (count > kMostNotes)
      std::cout << show_Printable(report.file) << ": … " << count - kMostNotes << " more notes [" << kind
                << "]: --json has them all\n";
  if (report.readable && report.Errors() == 0)
    std::cout << show_Printable(report.file) << ": sound, " << report.objects << " objects, "
              << show_Size(report.bytes) << '\n';
}

check_Report Look(const Options& options) {
  cli_Progress progress("checking " + show_Printable(options.opening.file), true);
  std::error_code ignored;
  const auto bytes = std::filesystem::file_size(options.opening.file, ignored);
  progress.Total(ignored ? 0 : static_cast<double>(bytes));
  if (options.untrusted)
    return check_FileUntrusted(options.opening.file, options.opening.live, [&] { progress.Advance(0); });
  return check_File(options.opening.file, options.opening.live, [&](double read) { progress.Advance(read); });
}

/// A view is held against the files that it shows.
check_Report LookAtView(const Options& options) {
  check_Report report;
  report.file = options.opening.file;
  report.readable = true;
  report.bytes = report.used = std::filesystem::file_size(options.opening.file);
  for (const view_Finding& finding : view_CheckSources(options.opening.file))
    report.Add("", "view.source", finding.text, finding.note);
  return report;
}

void Check(const Options& options) {
  cli_CatchSignals();
  ORXSimManager::SetWaitingTime(1000 * options.opening.wait);
  check_Report report = view_IsForViewers(options.opening.file) ? LookAtView(options) : Look(options);
  if (std::error_code ignored; std::filesystem::is_regular_file(options.opening.file, ignored))
    check_Beside(report);
  if (options.json)
    show_PrintJson(Describe(report));
  else if (!report.readable)
    throw cli_Failure(cli_Exit::kUnusable, report.file + ": " + report.findings.front().text);
  else
    Print(report);
  show_Flush();
  if (!report.readable)
    throw cli_Quiet(cli_Exit::kUnusable);
  if (report.Errors() > 0)
    throw cli_Quiet(cli_Exit::kNotThere);
}

} // namespace

void cmd_AddCheck(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("check", "See whether a simulation file is sound");
  cmd_AddOpening(*command, options->opening);
  command->add_flag("--untrusted", options->untrusted, "read the file in a child process with limits");
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Check(*options); });
}
