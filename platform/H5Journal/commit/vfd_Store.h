#pragma once

#include <H5Journal/files/vfd_Cause.h>
#include <H5Journal/opening/vfd_Opening.h>
#include <H5Journal/opening/vfd_Registry.h>
#include <H5Journal/pages/vfd_FreeSpace.h>
#include <H5Journal/pages/vfd_Image.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

/// One file as HDF5 sees it: the bytes of its last commit point and, over them, what was written since.
///
/// Nothing that is written touches committed bytes of the main file until a record of the whole update stands
/// in the journal beside it. Until then changed pages wait in memory (or, when there are many, in the journal
/// without a commit record), and only space that no commit point knows is written at once.
/// Commit() makes all of it permanent together; Discard(), and every way for the process to end, leaves the
/// last commit point. docs/journal-format.md and docs/durability.md tell the whole story.
///
/// In a child process made by fork() nothing is written; Write and SetEnd succeed silently, Commit does not.
/// Calls answer false with the cause in vfd_LastCause().
class vfd_Store {
 public:
  vfd_Store(const vfd_Store&) = delete;
  vfd_Store& operator=(const vfd_Store&) = delete;
  /// As after Finish().
  ~vfd_Store();

  /// A new file under a name of its own beside `options.fileName`; the first commit point gives it its name,
  /// and until then a closed HDF5 file or an empty file of that name stays as it is, under its lock.
  /// \return null when that failed, or a file is there that must not be.
  static std::unique_ptr<vfd_Store> Create(const vfd_Options& options, bool mustBeNew);
  /// An existing file at its last commit point, under its lock. When its writer died that point may be in the
  /// journal; it is read from there, and nothing is written before Recover().
  /// \param upToDamage takes a damaged journal as far as it is whole.
  static std::unique_ptr<vfd_Store> Open(const vfd_Options& options, bool upToDamage = false);

  /// True when a journal of a dead writer is to be brought into the main file first.
  bool NeedsRecovery() const { return m_found != nullptr; }
  /// Brings the journal's commits into the main file and removes it; with live readers on the file it is gone
  /// on with instead. May die anywhere and be started again.
  bool Recover();
  /// Lets go of the file and leaves it and its journal as they are.
  void Abandon();
  /// A live reader moves on to the newest commit point. Nothing may be open in HDF5.
  bool TakeSnapshot();

  // As HDF5 calls them. False: an I/O error or no memory.
  bool Read(std::uint64_t address, std::size_t count, void* bytes) const;
  bool Write(std::uint64_t address, std::size_t count, const void* bytes);
  std::uint64_t End() const { return m_eof; }
  /// HDF5's file ends there.
  bool SetEnd(std::uint64_t end);
  /// A call of HDF5's has failed: what it has written since the last commit point may be half an update,
  /// whatever it tells its caller (closing a dataset tells nothing), and is not committed.
  void HasFailed() noexcept;

  /// Makes everything written since the last commit point permanent, all or nothing. When it fails MayRetry()
  /// tells whether another try can help.
  bool Commit();
  /// True when the program has used so much space at once that it is worth knowing what is free.
  bool WantsFreeSpace() const { return m_large; }
  /// What the last commit point leaves free. Right after Commit().
  void SetFreeSpace(vfd_FreeSpace space) { m_free = std::move(space); }
  /// A sync has failed: nothing is written any more.
  bool IsPoisoned() const { return !m_poison.Empty(); }
  bool MayRetry() const { return m_poison.Empty() && m_broken.Empty(); }
  /// Why not; "" when it can.
  const char* Obstacle() const { return m_poison.Empty() ? m_broken.Text() : m_poison.Text(); }
  /// Nothing is committed any more, for that reason.
  void Bar(const char* why) { m_poison.Set(why); }
  /// True for the first who asks.
  bool IsFirstCommit() { return !std::exchange(m_asked, true); }
  /// Forgets everything written since the last commit point.
  void Discard();
  /// From now on HDF5 is closing the file: nothing fails any more, and what is written is kept in memory for
  /// one more commit (`keep`) or forgotten.
  void BeginClosing(bool keep);
  /// The closing is over: makes the one more commit if HDF5 has done its work well. What HDF5 still holds of
  /// the file, after a failure of its own, is cut off.
  void EndClosing(bool good);
  /// HDF5 uses the store through this pointer from now on; it becomes null when HDF5 is cut off.
  void OpenedBy(vfd_Store** user);
  /// HDF5 has closed the file that it used through that pointer.
  /// \return true when this is the end of the store: without BeginClosing before it, as at exit().
  bool ClosedBy(vfd_Store** user, bool opening);
  /// Brings the main file up to date, removes the journal and lets go of the file. With live readers on the
  /// file the journal stays for the next opening.
  /// \return false when it had to stay because of a failure; it holds all commits then.
  bool Finish();

  // For processes that help this one (commit/vfd_StoreLoan.cpp).
  /// The answer to Lend: lent; not to be lent, since a commit point, a frame or a reader may know some of it.
  enum class Loan { kLent, kKept, kFailed };
  /// Lends the whole pages of an extent that HDF5 has given out in this update and nobody has written yet:
  /// other processes write them straight into the main file until EndLoan. Nothing is committed, taken back
  /// or closed meanwhile.
  /// \param first, end  becomes the lent part of the extent; the rest goes through Write().
  Loan Lend(std::uint64_t address, std::uint64_t count, std::uint64_t& first, std::uint64_t& end);
  /// Writes what the others do not write of it.
  bool PutLent(std::uint64_t address, std::uint64_t count, const void* bytes);
  /// The others have ended.
  /// \param good  every byte is written; otherwise the update cannot be committed.
  /// \return false when nothing was lent.
  bool EndLoan(bool good);
  bool IsOnLoan() const { return m_onLoan; }
  /// False, with the cause, while something is on loan.
  bool MayMove() const;
  /// Goes through the pages of an extent that the main file alone does not show, in their order.
  bool ForEachPatch(std::uint64_t address, std::uint64_t count,
                    const std::function<bool(std::uint64_t at, const unsigned char* bytes)>& take) const;
  /// Notes that this process has the file, for helpers that look whether it is the same one.
  /// \return the number that they know it by.
  std::uint64_t ShowSelf();

  bool IsClosing() const { return m_closing != Closing::kNo; }
  bool IsNew() const { return !m_temporary.empty(); } // no commit point yet
  bool ReadOnly() const { return m_options.readOnly; }
  bool Live() const { return m_options.live; }
  bool Power() const { return !m_options.readOnly && m_options.Power(); }
  bool Forked() const { return m_owner.Forked(); }
  const vfd_FileIdentity& Identity() const { return m_files.main.Identity(); }
  const vfd_Place& Place() const { return m_files.place; }
  const vfd_MainFile& Main() const { return m_files.main; }
  const vfd_Journal& Journal() const { return m_files.journal; }
  std::uint64_t Sequence() const { return m_sequence; }
  /// Bytes of the image at the last commit point.
  std::uint64_t CommittedEnd() const { return m_committedEnd; }
  std::uint64_t JournalBytes() const { return m_files.journal.IsOpen() ? m_files.journal.End() : 0; }
  /// Something to be told though nothing failed, "" when there is nothing.
  const std::string& Note() const { return m_note; }
  /// An id in the content of a file without a mark; zeros where it has none.
  void SetFileId(const vfd_FileId& id) { m_fileId = id; }
  /// The id in the journal that was found; zeros when there was none.
  const vfd_FileId& JournalFileId() const { return m_journalFileId; }
  /// Takes space that the file has and HDF5 does not know to be free, for at least so many bytes at a
  /// multiple of `alignment`.
  /// \return its address; 0 when there is none.
  std::uint64_t TakeSpare(std::uint64_t bytes, std::uint64_t alignment);
  /// Where HDF5's superblock begins, for the mark in it that says "open for writing".
  void SetSuperblock(std::uint64_t address) { m_superblock = address; }
  std::uint64_t Superblock() const { return m_superblock; }

 private:
  enum class Closing { kNo, kKeep, kDiscard };
  struct Plan; // which pages of an update go where

  explicit vfd_Store(const vfd_Options& options);

  // vfd_StoreOpen.cpp
  bool OpenMain(bool again);
  bool ShowJournal(bool upToDamage);
  void ReadSpare();
  bool Adopt(const vfd_JournalContent& content);
  bool BringFoundHome();
  bool TakeReplaced(const vfd_Options& options);
  bool Begin(const struct stat* model);

  // commit/vfd_Store.cpp
  bool MayBypass(std::uint64_t page);
  void NoteAnnounced();
  bool MayReuse(std::uint64_t page);
  bool WriteMain(std::uint64_t address, std::size_t count, const void* bytes);
  bool WriteParts(std::uint64_t address, std::size_t count, const unsigned char* source);
  void CutWritten();
  bool ScratchFailed();
  std::uint64_t PagesToFrame(std::uint64_t at, std::uint64_t end);
  bool WriteFrames(std::uint64_t page, std::uint64_t count, const unsigned char* bytes);
  bool SpillFrames(const std::vector<vfd_NewPage>& pages);
  void Spill();
  bool SpillPages();
  std::uint64_t SpillLimit() const { return m_options.memoryLimit / kVfdPage; }
  void CutOff() { OpenedBy(nullptr); }

  // commit/vfd_StoreCommit.cpp
  bool CommitFirst();
  bool CommitUpdate();
  Plan MakePlan();
  void HasCommitted(Plan& plan);
  void NoteDropped();
  void NoteFree(const Plan& plan);
  bool PlaceFresh(const Plan& plan);
  bool ReserveHoles(const Plan& plan);
  bool SetAsideJournal(std::string& lost);
  bool TakeName();
  bool AnnounceDirect();
  bool SyncDirect();
  bool SyncMain();
  bool SyncDirectory();
  bool AppendRecord(Plan& plan, bool direct);
  void TakeBack();
  void StripOpenMark();
  bool Poison();

  // commit/vfd_Generation.cpp
  bool BeginGeneration();
  bool NameGeneration();
  vfd_Header NewHeader() const;
  bool StartGeneration();
  bool EndGeneration();
  bool Apply();
  bool ApplyPages();
  void Shorten();
  bool WriteShortened(vfd_Journal& journal, vfd_PageIndex& index);
  bool BringHome();
  bool LeaveJournal();
  bool Checkpoint();
  void CutLongJournal();
  bool CloseMark();
  void NoteSpare();

  vfd_Options m_options;
  vfd_Owner m_owner;
  std::string m_temporary; // the main file's name until the first commit point; "" afterwards
  vfd_Files m_files;
  vfd_Descriptor m_replaced;                   // the locked file that the first commit point replaces
  std::unique_ptr<vfd_JournalContent> m_found; // a dead writer's, until it is recovered
  vfd_Mark m_unnamed;                          // the mark before the file named a journal, with
  std::uint64_t m_unnamedAt = 0;               // the commit that was the last one then
  bool m_newJournal = false;                   // its name may not be on the disk
  std::string m_note;

  vfd_Store** m_user = nullptr;     // of HDF5's open file
  std::uint64_t m_committedEnd = 0; // bytes of the image at the last commit point
  std::uint64_t m_eof = 0;          // where HDF5's file ends now
  std::uint64_t m_floor = 0; // pages from here on were never committed and have no frame in this generation
  vfd_Image m_image;
  std::uint64_t m_spillAt;  // so many pages in memory are too many
  bool m_announced = false; // the file says that the next commit has pages in it alone, of an update given up
  bool m_directDirty = false; // the main file has bytes of this update that may not be on the disk

  vfd_FreeSpace m_free;     // at the last commit point, as far as HDF5 knows
  vfd_FreeSpace m_spare;    // at the last commit point, what former sessions left and HDF5 does not know
  vfd_FreeSpace m_spareNow; // what this update has left of it
  enum class Reuse { kUnknown, kYes, kNo };
  Reuse m_reuse = Reuse::kUnknown;              // whether no live reader needs what was free then
  bool m_mayReuse = true;                       // every page that has a frame is known
  std::vector<std::uint64_t> m_dropped;         // pages with frames that were cut off the file since, ordered
  std::uint64_t m_session = 0;                  // a number of its own, for helpers; 0: none yet
  bool m_endsSoon = false;                      // frames of the generation are in the way of lending
  bool m_onLoan = false;                        // other processes write
  std::uint64_t m_loanFirst = 0, m_loanEnd = 0; // that, now
  bool m_large = false;                         // a large call was made
  bool m_asked = false;                         // IsFirstCommit() was

  std::uint64_t m_nextTry = 0; // journal length at which the generation may end
  std::uint64_t m_sequence = 0;
  std::uint64_t m_superblock = 0;
  vfd_FileId m_fileId{}, m_journalFileId{};
  Closing m_closing = Closing::kNo;
  vfd_Cause m_broken; // why this update cannot be committed; "" when it can
  vfd_Cause m_poison; // why nothing can be committed any more; "" when it can

  vfd_Registered m_registered; // the last to come and the first to go
};
