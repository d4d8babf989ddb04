#include <pdmsim/commands/cmd_Recover.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Library.h>
#include <pdmsim/commands/cmd_Opening.h>
#include <pdmsim/show/show_Text.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <iostream>
#include <memory>

namespace {

struct Options {
  std::string file;
  bool apply = false, upToDamage = false, discard = false, json = false;
};

constexpr char kFooter[] = R"(Examples:
  pdmsim recover beam.pdm                     what did a program that died leave in the journal?
  pdmsim recover beam.pdm --apply             bring it into the file and remove the journal
  pdmsim recover beam.pdm --up-to-damage      the same with a damaged journal, as far as it is whole
  pdmsim recover beam.pdm --discard           remove the journal without looking back

A program that dies leaves FILE-journal behind. The next one that opens the file applies it by itself, and
those that only read look through it; this command is for people who want to know, or to move the file.
--up-to-damage keeps the damaged journal under another name. --discard loses what the journal holds, or gives up one that
is missing, and a file that was brought up to date in part may be damaged.

Exit codes:
  0  done, or there is no journal
  1  wrong use, or a journal that cannot be applied
  2  the file cannot be read or written, or a program has it open)";

[[noreturn]] void Fail(cli_Exit code, const std::string& text) {
  throw cli_Failure(code, text);
}

void CheckOpens(const std::string& file) {
  const cli_Context context(ORXSimManager::OpenContext(file.c_str(), 1, 102, false, 1));
  if (context.ID().IsNull())
    Fail(cli_Exit::kUnusable, cli_LastError());
  cli_RefuseMesh(file, context.ID());
}

/// There is a journal, or one should be.
bool Stands(const ORXSimJournalInfo& info) {
  return info.exists || info.missing;
}

bool Applies(const Options& options) {
  return options.apply || options.upToDamage;
}

show_Json Describe(const Options& options, const ORXSimJournalInfo& info, const std::string& note) {
  return {{"file", options.file},
          {"journal", info.exists},
          {"missing", info.missing},
          {"damaged", info.damaged},
          {"lostCommits", info.lostCommits},
          {"usable", info.exists && info.cause.empty()},
          {"writerAtWork", info.writerAtWork},
          {"commits", info.commits},
          {"pages", info.frames},
          {"sequence", info.sequence},
          {"imageBytes", info.imageBytes},
          {"journalBytes", info.journalBytes},
          {"unfinishedBytes", info.unfinishedBytes},
          {"process", info.ownerProcess},
          {"host", info.ownerHost},
          {"cause", info.cause},
          {"note", note},
          {"done", !Stands(info)      ? "nothing"
                   : Applies(options) ? "applied"
                   : options.discard  ? "discarded"
                                      : "nothing"}};
}

/// What counts in the journal, in one clause.
std::string Content(const ORXSimJournalInfo& info) {
  return info.commits == 0 ? "no commit"
                           : "changes in " + show_Size(info.frames * 4096) + " up to commit " +
                                 std::to_string(info.sequence);
}

/// What the library has to say of a success: where a damaged journal is kept, what to look at.
std::string Note() {
  const std::string_view last = ORXSimManager::LastError();
  const std::size_t note = last.find(": note: ");
  return note == std::string_view::npos ? "" : std::string(last.substr(note + 8));
}

std::string Tell(const Options& options, const ORXSimJournalInfo& info) {
  if (!Stands(info))
    return "no journal; the file is as its last writer closed it";
  const std::string owner = "process " + std::to_string(info.ownerProcess) + " on " + info.ownerHost;
  if (info.writerAtWork)
    return "a journal at work: " + owner + " has the file open; nothing to recover";
  if (options.discard)
    return "the journal was removed; lost: " +
           (info.headerValid || info.cause.empty() ? Content(info) : "what it held");
  if (!info.cause.empty() && !(info.damaged && options.upToDamage))
    return info.cause;
  if (info.commits == 0)
    return Applies(options) ? "the journal held no commit and was removed"
                            : "a journal that holds no commit; the file is as it stands";
  const std::string unfinished =
      info.unfinishedBytes > 0 ? "; what it holds of an update that was never finished is dropped" : "";
  return Applies(options)
             ? "brought into the file: " + Content(info) + unfinished
             : "a journal of " + owner + " with " + Content(info) + ", the file then having " +
                   show_Size(static_cast<unsigned long long>(info.imageBytes)) +
                   "; the next program that opens the file applies it, or --apply does" + unfinished;
}

void Recover(const Options& options) {
  cli_ExpectSimulation(options.file);
  const cli_Library library;
  const ORXSimJournalInfo info = ORXSimJournal::Read(options.file.c_str());
  if (!Stands(info) && !info.cause.empty())
    Fail(cli_Exit::kUnusable, options.file + ": " + info.cause);
  if (!Stands(info) && !info.writerAtWork)
    CheckOpens(options.file);
  const bool changes = Stands(info) && (Applies(options) || options.discard);
  const bool partly = options.upToDamage && info.damaged && info.headerValid;
  if (changes && info.writerAtWork)
    Fail(cli_Exit::kUnusable, options.file + ": " + Tell(options, info));
  if (changes && Applies(options) && !info.cause.empty() && !partly)
    Fail(cli_Exit::kNotThere,
         options.file + ": " + info.cause +
             (info.damaged && info.headerValid ? "; --up-to-damage applies what is whole" : "") +
             "; --discard gives it up");
  const bool done = !changes || (Applies(options) ? ORXSimJournal::Apply(options.file.c_str(), partly)
                                                  : ORXSimJournal::Discard(options.file.c_str()));
  if (!done)
    Fail(cli_Exit::kUnusable, cli_LastError());
  const std::string note = changes ? Note() : "";
  if (options.json)
    show_PrintJson(Describe(options, info, note));
  else
    std::cout << show_Printable(options.file + ": " + Tell(options, info) + (note.empty() ? "" : "; " + note))
              << '\n';
  show_Flush();
  if (!changes && !info.cause.empty())
    throw cli_Quiet(cli_Exit::kNotThere);
}

} // namespace

void cmd_AddRecover(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.add_subcommand("recover", "Say what a journal holds; apply or discard it");
  command->add_option("FILE", options->file, "simulation file")->required();
  CLI::Option* apply = command->add_flag("--apply", options->apply, "bring the journal into the file");
  command
      ->add_flag("--up-to-damage", options->upToDamage,
                 "bring what is whole of a damaged journal into the file")
      ->excludes(apply);
  command->add_flag("--discard", options->discard, "remove the journal; what it holds is lost")
      ->excludes(apply);
  cmd_AddJson(*command, options->json);
  command->footer(kFooter);
  command->callback([options] { Recover(*options); });
}
