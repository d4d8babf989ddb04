#include <pdmsim/check/check_File.h>

#include <pdmsim/check/check_Objects.h>
#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/show/show_Values.h>

#include <UTI_BasicUtils/prc_Child.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>

namespace {

constexpr std::size_t kMostFindings = 10'000;
constexpr std::uint64_t kMuchWaste = 65536;

void LookInside(check_Report& report, ORXSimContextID context, const std::function<void(double)>& tick) {
  const check_Store::Finding finding = [&](const ORXSimFinding& found) {
    if (report.findings.size() < kMostFindings)
      report.findings.push_back(found);
    else if (report.findings.size() == kMostFindings)
      report.Add("", "more", "more findings than are listed");
  };
  check_Store store(finding);
  check_Objects objects(context, store, finding, tick);
  ORXSimInspectTotals totals;
  if (!ORXSimInspect::Walk(context, objects, totals))
    return report.Add("", "unreadable", ORXSimManager::LastError());
  store.Finish(context, tick);
  report.objects = totals.objects;
  report.bytes = totals.fileBytes;
  report.used = std::min(totals.usedBytes, totals.fileBytes);
  const std::uint64_t wasted = report.bytes - report.used;
  if (wasted > kMuchWaste && wasted > report.bytes / 5)
    report.Add("", "space",
               std::to_string(wasted) + " of " + std::to_string(report.bytes) +
                   " bytes are not in use; pdmsim compact gives them back",
               true);
}

/// The file's name at the beginning of an error line says nothing in its own report.
std::string WithoutName(const std::string& line, const std::string& file) {
  const std::string prefix = file + ": ";
  return line.starts_with(prefix) ? line.substr(prefix.size()) : line;
}

show_Json Pack(const check_Report& report) {
  show_Json findings = show_Json::array();
  for (const ORXSimFinding& found : report.findings)
    findings.push_back({found.path, found.kind, found.text, found.note});
  return {report.readable, report.objects, report.bytes, report.used, findings};
}

void Unpack(const std::string& text, check_Report& report) {
  const show_Json json = show_Json::parse(text);
  report.readable = json[0];
  report.objects = json[1];
  report.bytes = json[2];
  report.used = json[3];
  for (const show_Json& found : json[4])
    report.findings.push_back({found[0], found[1], found[2], found[3]});
}

bool Lives(const std::string& process) {
  const long number = std::atol(process.c_str());
  return number > 0 && number < INT32_MAX && (kill(static_cast<pid_t>(number), 0) == 0 || errno == EPERM);
}

} // namespace

std::size_t check_Report::Errors() const {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(), [](const auto& found) { return !found.note; }));
}

check_Report check_Open(const std::string& file, ORXSimContextID context,
                        const std::function<void(double)>& tick) {
  check_Report report{file, true, {}, 0, 0, 0};
  LookInside(report, context, tick);
  return report;
}

check_Report check_File(const std::string& file, bool live, const std::function<void(double)>& tick) {
  const cli_Library library;
  check_Report unreadable{file, false, {}, 0, 0, 0};
  try {
    cli_ExpectSimulation(file);
    const cli_Context context(ORXSimManager::OpenContext(file.c_str(), 1, 102, false, live ? 3 : 1));
    if (context.ID().IsNull())
      throw cli_Failure(cli_Exit::kUnusable, cli_LastError(cli_Offer::kWaitAndLive));
    cli_RefuseMesh(file, context.ID());
    return check_Open(file, context.ID(), tick);
  } catch (const cli_Failure& failure) {
    unreadable.Add("", "file", WithoutName(failure.what(), file));
  }
  return unreadable;
}

check_Report check_FileUntrusted(const std::string& file, bool live, const std::function<void()>& tick) {
  std::error_code ignored;
  const auto bytes = std::filesystem::file_size(file, ignored);
  const auto work = [&](const prc_Child::Say& say) {
    say(Pack(check_File(file, live, [](double) {
        })).dump(-1, ' ', false, show_Json::error_handler_t::replace));
  };
  const prc_Child::Outcome outcome =
      prc_Child::Run(prc_ChildLimits::ForFile(ignored ? 0 : bytes), work, tick);
  check_Report report{file, outcome.ended, {}, 0, 0, 0};
  if (outcome.ended)
    Unpack(outcome.output, report);
  else
    report.Add("", "process", "the process that read the file " + outcome.cause);
  return report;
}

void check_Beside(check_Report& report) {
  std::error_code ignored;
  std::filesystem::path file = std::filesystem::weakly_canonical(report.file, ignored);
  if (ignored)
    return;
  const std::string name = file.filename();
  for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), ignored)) {
    const std::string beside = entry.path().filename();
    if (beside == name + "-journal")
      report.Add(
          "", "journal",
          "a journal lies beside the file: a program has it open for writing or died; see pdmsim recover",
          true);
    if (beside == name + "-journal-next")
      report.Add("", "unfinished", beside + " was left by a program that died; the next writer removes it",
                 true);
    const std::string unfinished = name + ".new-";
    if (!beside.starts_with(unfinished) ||
        beside.find_first_not_of("0123456789", unfinished.size()) != std::string::npos)
      continue;
    const std::string process = beside.substr(unfinished.size());
    report.Add("", "unfinished",
               Lives(process) ? beside + " is being written by process " + process
                              : beside + " was left by a program that died; it can be removed",
               true);
  }
}
