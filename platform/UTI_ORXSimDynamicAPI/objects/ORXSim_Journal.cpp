#include <UTI_ORXSimDynamicAPI/ORXSim_Journal.h>

#include <H5Journal/commit/vfd_Store.h>
#include <H5Journal/opening/vfd_Locks.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Operation.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <new>
#include <system_error>

namespace {
constexpr int kVersion = 102;
constexpr int kPowerSafe = 2;

std::string journalOf(const cow_String& fileName) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(fileName.CStr(), nullptr), &std::free);
  return real == nullptr ? "" : vfd_Store::JournalName(real.get());
}

vfd_Descriptor openForReading(const char* name) {
  return vfd_Descriptor(::open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

void describe(const vfd_JournalContent& content, const vfd_Descriptor& file, ORXSimJournalInfo& info) {
  info.journalBytes = static_cast<std::int64_t>(content.size);
  info.headerValid = content.state == vfd_JournalContent::State::kSound;
  if (!info.headerValid) {
    // One that never got its header says nothing, and is removed at the next opening.
    if (content.state == vfd_JournalContent::State::kNoHeader)
      info.cause = "the journal has no valid header";
    return;
  }
  std::uint64_t sector = 0;
  info.belongs = content.commits == 0 || (vfd_ReadSectorSum(file.Get(), sector) && content.Belongs(sector));
  if (!info.belongs)
    info.cause = "the journal belongs to another file, or the file was changed without it";
  info.commits = content.commits;
  info.frames = content.frames;
  info.sequence = content.sequence;
  info.imageBytes = static_cast<std::int64_t>(content.eof);
  info.unfinishedBytes = static_cast<std::int64_t>(content.unfinished);
  info.ownerProcess = content.header.process;
  info.ownerHost = content.header.host;
}
} // namespace

ORXSimJournalInfo ORXSimJournal::Read(const cow_String& fileName) {
  ORXSimJournalInfo info;
  const vfd_Descriptor file = openForReading(fileName.CStr());
  if (!file.IsOpen()) {
    info.cause = std::generic_category().message(errno);
    return info;
  }
  info.writerAtWork = vfd_Locks::HasWriter(file.Get());
  const vfd_Descriptor journal = openForReading(journalOf(fileName).c_str());
  info.exists = journal.IsOpen();
  if (!info.exists) {
    if (errno != ENOENT)
      info.cause = std::generic_category().message(errno);
    return info;
  }
  try {
    vfd_JournalContent content;
    if (content.Read(journal.Get()))
      describe(content, file, info);
    else
      info.cause = std::generic_category().message(errno);
  } catch (const std::bad_alloc&) {
    info.cause = "out of memory";
  }
  return info;
}

bool ORXSimJournal::Apply(const cow_String& fileName) {
  const ORXSimContextID context = ORXSimManager::OpenContext(fileName, 0, kVersion, false, kPowerSafe);
  if (context.IsNull() || !ORXSimManager::CloseContext(context))
    return false;
  hdf_Operation operation("apply journal", fileName.CStr());
  return ::access(journalOf(fileName).c_str(), F_OK) != 0 ||
         operation.Refuse("live readers have the file open");
}

bool ORXSimJournal::Discard(const cow_String& fileName) {
  hdf_Operation operation("discard journal", fileName.CStr());
  const vfd_Descriptor file(::open(fileName.CStr(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsOpen())
    return operation.RefuseErrno(errno);
  const auto lock = vfd_Locks::TakeFile(file.Get(), false);
  vfd_FileIdentity locked, named;
  if (lock == vfd_Locks::Result::kHeld || !vfd_FileIdentity::Of(file.Get(), locked) ||
      !vfd_FileIdentity::Of(fileName.CStr(), named) || locked != named)
    return operation.Refuse("a process has the file open");
  if (lock == vfd_Locks::Result::kFailed)
    return operation.RefuseErrno(errno);
  if (vfd_Locks::TryReaders(file.Get()) == vfd_Locks::Result::kHeld)
    return operation.Refuse("live readers have the file open");
  const std::string name = journalOf(fileName);
  vfd_Remove(vfd_Store::NextName(name));
  return (vfd_Remove(name) && vfd_SyncDirectoryOf(name)) || operation.RefuseErrno(errno);
}
