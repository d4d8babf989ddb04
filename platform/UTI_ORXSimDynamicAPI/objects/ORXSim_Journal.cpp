#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <H5Journal/H5Journal.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

namespace {
constexpr int kVersion = 102;
constexpr int kPowerSafe = 2;

// A note, such as where a damaged journal is kept, is told as a failure is.
bool tell(hdf_Operation& operation, herr_t done) {
  if (done < 0 || *H5Jlast_error() != '\0')
    operation.Refuse(H5Jlast_error());
  return done >= 0;
}
} // namespace

ORXSimJournalInfo ORXSimJournal::Read(const cow_String& fileName) {
  ORXSimJournalInfo info;
  H5J_journal_t journal;
  if (H5Jinspect(fileName.CStr(), &journal) < 0) {
    info.cause = H5Jlast_error();
    return info;
  }
  info.exists = journal.exists;
  info.missing = journal.state == H5J_MISSING;
  info.headerValid = journal.readable;
  info.damaged = journal.state == H5J_DAMAGED;
  info.belongs = journal.state == H5J_CLEAN || journal.state == H5J_HOT || (info.damaged && journal.readable);
  info.writerAtWork = journal.writer_at_work;
  info.commits = journal.commits;
  info.lostCommits = journal.lost_commits;
  info.frames = journal.frames;
  info.sequence = journal.sequence;
  info.imageBytes = static_cast<std::int64_t>(journal.image_bytes);
  info.journalBytes = static_cast<std::int64_t>(journal.journal_bytes);
  info.unfinishedBytes = static_cast<std::int64_t>(journal.unfinished_bytes);
  info.ownerProcess = journal.process;
  info.ownerHost = journal.host;
  info.cause = journal.cause;
  return info;
}

// Opening compares what only this module knows of the file's content, too.
bool ORXSimJournal::Apply(const cow_String& fileName, bool upToDamage) {
  if (!upToDamage) {
    const ORXSimContextID context = ORXSimManager::OpenContext(fileName, 0, kVersion, false, kPowerSafe);
    if (context.IsNull() || !ORXSimManager::CloseContext(context))
      return false;
  }
  hdf_Operation operation("apply journal", fileName.CStr());
  return tell(operation, H5Jrecover(fileName.CStr(), upToDamage ? H5J_UP_TO_DAMAGE : 0));
}

bool ORXSimJournal::Discard(const cow_String& fileName) {
  hdf_Operation operation("discard journal", fileName.CStr());
  return tell(operation, H5Jdiscard(fileName.CStr()));
}
