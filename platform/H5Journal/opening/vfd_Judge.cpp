#include <H5Journal/opening/vfd_Judge.h>

#include <algorithm>
#include <unistd.h>

namespace {
using State = vfd_JournalContent::State;

std::string quoted(const std::string& name) {
  return "its journal " + name;
}

// The file says that a journal belongs to it.
vfd_Verdict missing(const vfd_Mark& mark, const std::string& found) {
  return {H5J_MISSING, false,
          "its journal is missing: process " + std::to_string(mark.writer.process) + " on host " +
              mark.writer.host + " left " + mark.journalName +
              " beside it, with commits that may be nowhere else" + found +
              "; put that journal back, or give it up"};
}

vfd_Verdict foreign(const std::string& name) {
  return {H5J_FOREIGN, false, quoted(name) + " belongs to another file, or this file was changed without it"};
}

// The journal of the file's generation. A copy of the file may be older than what the journal builds on, or
// somebody has written it without the journal.
vfd_Verdict judgeTimes(const vfd_MainFile& main, const vfd_JournalContent& content, const std::string& name) {
  if (content.direct > main.Mark().direct)
    return {H5J_FOREIGN, false,
            quoted(name) + " is newer than this file, which is an older copy without what was written since"};
  std::uint64_t sector = 0;
  if (content.header.sectorAt < kVfdMark)
    return {H5J_HOT, false, ""};
  if (!vfd_ReadSectorSum(main.Get(), content.header.sectorAt, sector))
    return {H5J_UNREADABLE, false, "the file cannot be read"};
  return content.Resembles(sector) ? vfd_Verdict{H5J_HOT, false, ""} : foreign(name);
}

vfd_Verdict judgeMarked(const vfd_MainFile& main, const vfd_JournalContent& content,
                        const std::string& name) {
  const vfd_Mark& mark = main.Mark();
  const vfd_Header& header = content.header;
  if (header.fileId != mark.fileId)
    return foreign(name);
  if (mark.hasJournal && header.generation == mark.current)
    return judgeTimes(main, content, name);
  // All of that generation is in the file, and no other has begun.
  if (!mark.hasJournal && mark.finished != 0 && header.generation == mark.finished)
    return {H5J_CLEAN, true, ""};
  // A generation that was begun, and not named by the file yet: the one before it is in the file, which says
  // so. An older copy of the file does not.
  const bool begun = content.commits == 0 && content.state == State::kSound;
  const bool whole = mark.hasJournal ? header.previous == mark.current && mark.current == mark.finished
                                     : header.previous == 0 || header.previous == mark.finished;
  if (begun && whole)
    return {H5J_CLEAN, true, ""};
  return foreign(name);
}

vfd_Verdict judgeUnmarked(const vfd_MainFile& main, const vfd_JournalContent& content,
                          const std::string& name) {
  std::uint64_t sector = 0;
  if (content.commits == 0 &&
      content.state == State::kSound) // so it may be when the power was lost as it began
    return {H5J_CLEAN, true, ""};
  if (!vfd_ReadSectorSum(main.Get(), content.header.sectorAt, sector))
    return {H5J_UNREADABLE, false, "the file cannot be read"};
  return content.Resembles(sector) ? vfd_Verdict{H5J_HOT, false, ""} : foreign(name);
}
} // namespace

vfd_Verdict vfd_Judge(const vfd_MainFile& main, const vfd_JournalContent& content, const std::string& name) {
  const vfd_Mark& mark = main.Mark();
  if (mark.damaged)
    return {H5J_DAMAGED, false,
            "the file's own mark is damaged: it cannot say whether a journal belongs to it"};
  switch (content.state) {
  case State::kMissing:
    return mark.hasJournal ? missing(mark, "") : vfd_Verdict{};
  case State::kEmpty:
    return mark.hasJournal ? missing(mark, " (what lies there is empty)") : vfd_Verdict{H5J_CLEAN, true, ""};
  case State::kNoHeader:
    return {H5J_DAMAGED, false,
            quoted(name) + " is damaged and may hold commits that cannot be read, or it is none of ours"};
  case State::kSound:
  case State::kDamaged:
    break;
  }
  vfd_Verdict verdict = mark.present ? judgeMarked(main, content, name) : judgeUnmarked(main, content, name);
  if (verdict.state != H5J_HOT)
    return verdict;
  if (content.state == State::kDamaged)
    return {H5J_DAMAGED, false,
            quoted(name) + " is damaged at byte " + std::to_string(content.damagedAt) + ": " +
                std::to_string(content.commits) + " commits before it are whole, and at least " +
                std::to_string(content.lostCommits) + " behind it cannot be applied"};
  const std::uint64_t shown = std::max(main.Size(), content.reachOfFrames * kVfdPage);
  if (content.commits > 0 && content.eof > shown + kVfdUnseenEnd)
    return {H5J_DAMAGED, false,
            quoted(name) + " is damaged: it states a size of " + std::to_string(content.eof) + " bytes"};
  return verdict;
}

std::string vfd_Distrust(const struct stat& mainFile, const struct stat& journal) {
  if (!S_ISREG(journal.st_mode))
    return "is not a regular file";
  if (journal.st_nlink != 1)
    return "has another name as well";
  const bool byOwner =
      journal.st_uid == mainFile.st_uid || journal.st_uid == 0 || journal.st_uid == ::geteuid();
  const bool byGroup = (mainFile.st_mode & S_IWGRP) != 0 && journal.st_gid == mainFile.st_gid;
  if (!byOwner && !byGroup && (mainFile.st_mode & S_IWOTH) == 0)
    return "belongs to user " + std::to_string(journal.st_uid) + ", who may not write the file";
  const mode_t writers = mainFile.st_mode & (journal.st_gid == mainFile.st_gid ? S_IWGRP | S_IWOTH : S_IWOTH);
  return (journal.st_mode & (S_IWGRP | S_IWOTH) & ~writers & ~((writers & S_IWOTH) << 3)) != 0
             ? "may be written by more people than the file"
             : "";
}
