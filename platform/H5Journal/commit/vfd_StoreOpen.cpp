#include <H5Journal/commit/vfd_Store.h>

#include <H5Journal/files/vfd_Rules.h>
#include <H5Journal/opening/vfd_Locks.h>
#include <H5Journal/opening/vfd_Superblock.h>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

std::unique_ptr<vfd_Store> vfd_Store::Open(const vfd_Options& options, bool upToDamage) {
  std::unique_ptr<vfd_Store> store(new vfd_Store(options));
  vfd_MainFile& main = store->m_files.main;
  const auto give = [&] {
    if (!store->OpenMain(false) || !store->ShowJournal(upToDamage))
      return false;
    if (options.readOnly)
      return true;
    vfd_Locks::MarkWriter(main.Get());
    vfd_SweepNextJournal(store->m_files);
    // Without a journal there is nothing that live readers could be shown.
    return !options.Scratch() || vfd_Locks::TryReaders(main.Get()) != vfd_Locks::Result::kHeld ||
           vfd_Refuse(
               "live readers have the file open: a writer without a journal would change what they see");
  };
  if (give())
    return store;
  store->Abandon();
  return nullptr;
}

bool vfd_Store::OpenMain(bool again) {
  if (!vfd_OpenMain(m_options, again, m_files))
    return false;
  m_registered.Has(Identity());
  return true;
}

// Reads what a dead writer, or the living one beside a live reader, has committed there.
bool vfd_Store::ShowJournal(bool upToDamage) {
  m_found.reset();
  m_image.unapplied.Clear();
  m_journalFileId = {};
  m_sequence = 0;
  auto content = std::make_unique<vfd_JournalContent>();
  vfd_Verdict verdict;
  if (!vfd_FindJournal(m_options, m_files, *content, verdict))
    return false;
  const bool whole = upToDamage && content->state == vfd_JournalContent::State::kDamaged;
  if (!verdict.cause.empty() && !(whole && verdict.state == H5J_DAMAGED))
    return vfd_Refuse(verdict.cause);
  const std::uint64_t size = m_files.main.Size();
  m_eof = m_committedEnd = size;
  m_floor = vfd_PagesOf(size);
  if (verdict.state == H5J_CLEAN) {
    content->commits = 0;
    content->index.Clear();
    content->header.fileId = {};
  } else {
    m_files.journal.GoOn(*content);
    m_journalFileId = content->header.fileId;
    m_sequence = content->sequence;
    m_image.unapplied = content->index;
    if (content->commits > 0)
      m_eof = m_committedEnd = content->eof;
  }
  if (m_options.readOnly && verdict.state == H5J_CLEAN)
    m_files.journal.Close();
  if (!m_options.readOnly && m_files.journal.IsOpen())
    m_found = std::move(content);
  if (!m_options.readOnly && !m_options.Scratch() && verdict.state == H5J_CLEAN)
    ReadSpare();
  return true;
}

// Only of use as long as it lies within the file.
void vfd_Store::ReadSpare() {
  m_spare.Clear();
  for (const auto& [address, bytes] : m_files.main.Mark().spare)
    if (address >= kVfdMark && address + bytes <= m_committedEnd)
      m_spare.Add({address, address + bytes});
  m_spare.Sort();
  m_spareNow = m_spare;
}

bool vfd_Store::Recover() {
  if (Forked())
    return vfd_Refuse("the file belongs to another process");
  const auto readers = vfd_Locks::TryReaders(m_files.main.Get());
  if (readers == vfd_Locks::Result::kFailed)
    return vfd_Fail("lock the file");
  const bool alone = readers != vfd_Locks::Result::kHeld;
  // Going on in a damaged journal would destroy what stands behind the damaged place.
  if (!alone && m_found->state == vfd_JournalContent::State::kDamaged)
    return vfd_Refuse("live readers have the file open");
  const bool done =
      vfd_Try(false, [&] { return !alone && m_found->commits > 0 ? Adopt(*m_found) : BringFoundHome(); });
  if (alone && !m_options.Scratch())
    vfd_Locks::ReleaseReaders(m_files.main.Get());
  if (done)
    m_found.reset();
  return done;
}

bool vfd_Store::BringFoundHome() {
  const bool sync = !vfd_Broken(vfd_Rule::kRecoverySync), markSync = !vfd_Broken(vfd_Rule::kMarkSync);
  const vfd_JournalContent& found = *m_found;
  const vfd_Place& place = m_files.place;
  if ((found.commits > 0 && !ApplyPages()) || (sync && !m_files.main.Sync()) || !CloseMark() ||
      (markSync && m_files.main.Mark().present && !m_files.main.Sync()))
    return false;
  m_floor = vfd_PagesOf(m_committedEnd);
  m_image.HasApplied();
  // What cannot be read now may be worth something to somebody later.
  if (found.state == vfd_JournalContent::State::kDamaged) {
    std::string lost;
    if (!place.SetJournalAside(found.header.generation, lost))
      return vfd_Fail("set the damaged journal aside");
    m_note = "note: the damaged journal is kept as " + lost;
    if (m_files.main.Mark().direct > found.sequence)
      m_note += "; commits that are lost may have written over what the file shows: check it";
    m_files.journal.Close();
  } else if (!m_files.journal.Remove(place)) {
    return false;
  }
  // Should the name come back, it only says what the file says.
  if (sync)
    place.Sync();
  return true;
}

// Goes on in the dead writer's generation, since live readers look at the main file as it was. What came
// after its last commit must be gone from the disk before anything is written there.
bool vfd_Store::Adopt(const vfd_JournalContent& content) {
  vfd_Journal& journal = m_files.journal;
  // The dead writer may have promised less than this one does.
  if (!vfd_SetSize(journal.Get(), content.end) || !vfd_Sync(journal.Get()) ||
      (m_options.Power() && (!vfd_Sync(m_files.main.Get()) || !m_files.place.Sync())))
    return vfd_Fail("go on in its journal");
  journal.GoOn(content);
  journal.Cut(content.end);
  m_floor = std::max(content.reach, vfd_PagesOf(m_files.main.Size()));
  m_files.main.Mark().finished = 0; // it may have died after the file said that the generation is in it
  NoteAnnounced();
  m_mayReuse = false; // the index does not tell every page that has a frame
  return true;
}

bool vfd_Store::TakeSnapshot() {
  if (!Forked()) // a child would take the share of its parent, who goes on looking
    vfd_Locks::ReleaseReaders(m_files.main.Get());
  m_files.journal.Close();
  return OpenMain(true) && ShowJournal(false);
}

std::unique_ptr<vfd_Store> vfd_Store::Create(const vfd_Options& options, bool mustBeNew) {
  if (options.fileName.empty())
    return vfd_Refuse("a file needs a name"), nullptr;
  std::unique_ptr<vfd_Store> store(new vfd_Store(options));
  vfd_Place& place = store->m_files.place;
  struct stat status;
  if (!place.FindNew(options.fileName))
    return vfd_Fail(""), nullptr;
  if (place.Name().empty() || place.Name() == "." || place.Name() == "..")
    return vfd_Refuse("is a directory"), nullptr;
  if (!place.HasRoom())
    return vfd_Fail("its name leaves no room for its journal's"), nullptr;
  const bool exists = place.Status(place.Name(), status);
  if (exists && S_ISDIR(status.st_mode))
    return vfd_Refuse("is a directory"), nullptr;
  if (exists && mustBeNew) {
    errno = EEXIST;
    return vfd_Fail(""), nullptr;
  }
  if ((exists && !store->TakeReplaced(options)) || !store->Begin(exists ? &status : nullptr)) {
    store->Finish();
    return nullptr;
  }
  return store;
}

// The closed file of that name, locked and ready to be replaced.
bool vfd_Store::TakeReplaced(const vfd_Options& options) {
  const auto old = Open(options);
  if (old == nullptr)
    return false;
  const auto read = [&](std::uint64_t address, std::size_t count, void* bytes) {
    return old->Read(address, count, bytes);
  };
  if (old->End() != 0 && !vfd_Superblock::Read(old->End(), read).found)
    return vfd_Refuse("not an HDF5 file: it is not overwritten");
  if (old->NeedsRecovery() && !old->Recover())
    return false;
  if (old->m_files.journal.IsOpen())
    return vfd_Refuse("live readers have the file open");
  m_replaced = old->m_files.main.Release();
  return true;
}

bool vfd_Store::Begin(const struct stat* model) {
  vfd_SweepTemporaries(m_files.place);
  if (!vfd_MakeTemporary(m_options, m_files, model, m_temporary))
    return false;
  m_registered.Has(Identity());
  if (m_options.Scratch())
    vfd_Locks::TryReaders(m_files.main.Get()); // and keeps it, as in Open()
  return true;
}
