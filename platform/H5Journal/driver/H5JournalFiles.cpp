// What can be done with a file by its name: looking at its journal, applying it, giving it up.

#include <H5Journal/H5Journal.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/driver/vfd_Driver.h>
#include <H5Journal/driver/vfd_Hold.h>
#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/opening/vfd_Locks.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {
void describe(const vfd_JournalContent& content, H5J_journal_t& journal) {
  journal.journal_bytes = content.size;
  journal.readable = content.HasHeader();
  if (!journal.readable)
    return;
  journal.commits = content.commits;
  journal.lost_commits = content.lostCommits;
  journal.frames = content.frames;
  journal.sequence = content.sequence;
  journal.image_bytes = content.eof;
  journal.unfinished_bytes = content.unfinished;
  journal.damaged_at = content.damagedAt;
  journal.generation = content.header.generation;
  journal.process = content.header.writer.process;
  vfd_PutText(journal.host, content.header.writer.host);
}

bool inspect(const char* name, H5J_journal_t& journal) {
  vfd_Options options;
  options.readOnly = options.live = true; // a writer may be at work
  vfd_Files files;
  vfd_JournalContent content;
  vfd_Verdict verdict;
  struct stat status;
  if (!files.place.Find(name))
    return vfd_Fail("look for the file");
  vfd_Descriptor file = files.place.Open(files.place.Name(), O_RDONLY);
  if (!file.IsOpen() || !files.main.Take(std::move(file)))
    return vfd_Fail("open");
  journal.writer_at_work = vfd_Locks::HasWriter(files.main.Get());
  if (!vfd_FindJournal(options, files, content, verdict) && verdict.state == H5J_CLEAN)
    return false;
  journal.state = verdict.state;
  journal.exists = files.place.Status(files.place.JournalName(), status);
  vfd_PutText(journal.name, files.place.JournalName());
  vfd_PutText(journal.cause, verdict.cause);
  describe(content, journal);
  if (verdict.leftover) // it says nothing, whatever stands in it
    journal.commits = journal.frames = journal.unfinished_bytes = 0;
  if (const vfd_Mark& mark = files.main.Mark(); verdict.state == H5J_MISSING) {
    journal.generation = mark.current;
    journal.process = mark.writer.process;
    vfd_PutText(journal.host, mark.writer.host);
    vfd_PutText(journal.name, mark.journalName);
  }
  return true;
}

bool recover(const char* name, bool upToDamage) {
  vfd_Options options;
  options.fileName = name;
  options.durability = H5J_POWER;
  const auto store = vfd_Store::Open(options, upToDamage);
  if (store == nullptr)
    return false;
  if (!vfd_Driver::CheckWhole(*store) || (store->NeedsRecovery() && !store->Recover())) {
    store->Abandon();
    return false;
  }
  const std::string note = store->Note();
  const bool adopted = store->Journal().IsOpen();
  if (!store->Finish())
    return false;
  struct stat status;
  if (adopted && store->Place().Status(store->Place().JournalName(), status))
    return vfd_Refuse("live readers have the file open");
  if (!note.empty())
    vfd_Refuse(note);
  return true;
}

bool discard(const char* name) {
  vfd_Options options;
  options.fileName = name;
  vfd_Files files;
  if (!vfd_OpenMain(options, false, files))
    return false;
  const auto readers = vfd_Locks::TryReaders(files.main.Get());
  if (readers == vfd_Locks::Result::kHeld)
    return vfd_Refuse("live readers have the file open");
  if (readers == vfd_Locks::Result::kFailed)
    return vfd_Fail("lock the file");
  const vfd_Place& place = files.place;
  struct stat status;
  const bool exists = place.Status(place.JournalName(), status);
  if (exists && !S_ISREG(status.st_mode))
    return vfd_Refuse("its journal " + place.JournalName() + " is not a regular file");
  vfd_SweepNextJournal(files);
  vfd_Mark& mark = files.main.Mark();
  const bool wroteOver = mark.hasJournal && mark.direct > 0;
  if (mark.present && (mark.hasJournal || mark.damaged)) {
    if (mark.damaged) {
      const std::uint64_t numbers[2] = {vfd_Random(), vfd_Random()};
      std::memcpy(mark.fileId.data(), numbers, mark.fileId.size());
    }
    mark.finished = std::exchange(mark.current, 0);
    mark.hasJournal = mark.damaged = false;
    if (!files.main.WriteMark() || !files.main.Sync())
      return false;
  }
  if (exists && !(place.Remove(place.JournalName(), vfd_FileIdentity::Of(status)) && place.Sync()))
    return vfd_Fail("remove the journal");
  if (wroteOver)
    vfd_Refuse("note: what was given up may have written over what the file shows: check it");
  return true;
}

template <class Work>
herr_t call(Work work) {
  return vfd_Call(false, work) ? 0 : -1;
}
} // namespace

herr_t H5Jinspect(const char* name, H5J_journal_t* journal) {
  *journal = {};
  return call([&] { return inspect(name, *journal); });
}

herr_t H5Jrecover(const char* name, unsigned flags) {
  return call([&] { return recover(name, (flags & H5J_UP_TO_DAMAGE) != 0); });
}

herr_t H5Jdiscard(const char* name) {
  return call([&] { return discard(name); });
}
