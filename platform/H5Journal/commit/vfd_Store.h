#pragma once

#include <H5Journal/files/vfd_Io.h>
#include <H5Journal/journal/vfd_Format.h>
#include <H5Journal/pages/vfd_Overlay.h>

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

/// How a file is opened.
struct vfd_Options {
  std::string fileName;
  bool readOnly = false;
  bool live = false;   // read-only beside a writer at work
  int durability = 1;  // 0 none, 1 death of the process, 2 loss of power
  int waitingTime = 0; // milliseconds to wait for a file that another process holds
};

/// One file as HDF5 sees it: the bytes of its last commit point and, over them, what was written since.
///
/// Nothing that is written touches committed bytes of the main file until a record of the whole update stands
/// in the journal beside it. Until then changed pages wait in memory (or, when there are many, in the journal
/// without a commit record), and only space past everything that was ever committed is written at once.
/// Commit() makes all of it permanent together; Discard(), and every way for the process to end, leaves the
/// last commit point. docs/journal-format.md and docs/durability.md tell the whole story.
///
/// In a child process made by fork() nothing is written; Write and SetEnd succeed silently, Commit does not.
/// Private to the module.
class vfd_Store {
 public:
  vfd_Store(const vfd_Store&) = delete;
  vfd_Store& operator=(const vfd_Store&) = delete;
  /// As after Finish().
  ~vfd_Store();

  /// A new file under a name of its own beside `options.fileName`; the first commit point gives it its name.
  /// \param replaced the file of that name that it takes the place of, null when there is none; it is held
  /// until then. \return null with the cause.
  static std::unique_ptr<vfd_Store> Create(const vfd_Options& options, std::unique_ptr<vfd_Store> replaced,
                                           std::string& cause);
  /// An existing file at its last commit point, under its lock. When its writer died that point may be in the
  /// journal; it is read from there, and nothing is written before Recover(). \return null with the cause.
  static std::unique_ptr<vfd_Store> Open(const vfd_Options& options, std::string& cause);

  /// True when a journal of a dead writer is to be brought into the main file first.
  bool NeedsRecovery() const { return m_needsRecovery; }
  /// Brings the journal's commits into the main file and removes it; with live readers on the file it is gone
  /// on with instead. May die anywhere and be started again.
  bool Recover(std::string& cause);
  /// Lets go of the file and leaves it and its journal as they are.
  void Abandon();
  /// A live reader moves on to the newest commit point. Nothing may be open in HDF5.
  bool TakeSnapshot(std::string& cause);

  // As HDF5 calls them. False: an I/O error or no memory.
  bool Read(std::uint64_t address, std::size_t count, void* bytes) const;
  bool Write(std::uint64_t address, std::size_t count, const void* bytes);
  std::uint64_t End() const { return m_eof; }
  /// HDF5's file ends there.
  bool SetEnd(std::uint64_t end);
  /// A call of HDF5's has failed: what it has written since the last commit point may be half an update,
  /// whatever it tells its caller (closing a dataset tells nothing), and is not committed.
  void HasFailed() noexcept;

  /// Makes everything written since the last commit point permanent, all or nothing. \return false with the
  /// cause when it is not; MayRetry() tells whether another try can help.
  bool Commit(std::string& cause);
  /// A sync has failed: nothing is written any more.
  bool IsPoisoned() const { return !m_poison.empty(); }
  bool MayRetry() const { return m_poison.empty() && m_broken.empty(); }
  /// Why not; "" when it can.
  const std::string& Obstacle() const { return m_poison.empty() ? m_broken : m_poison; }
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
  /// HDF5 has closed the file that it used through that pointer. Without BeginClosing before it, as at
  /// exit(), this is the end of the store.
  void ClosedBy(vfd_Store** user, bool opening);
  /// Brings the main file up to date, removes the journal and lets go of the file. With live readers on the
  /// file the journal stays for the next opening. \return false when it had to stay because of a failure; it
  /// holds all commits then.
  bool Finish();

  bool IsClosing() const { return m_closing != Closing::kNo; }
  bool IsNew() const { return !m_temporary.empty(); } // no commit point yet
  bool ReadOnly() const { return m_options.readOnly; }
  bool Forked() const;
  const vfd_FileIdentity& Identity() const { return m_identity; }
  const std::string& RealName() const { return m_name; }
  std::uint64_t Sequence() const { return m_sequence; }
  /// Bytes of the image at the last commit point.
  std::uint64_t CommittedEnd() const { return m_committedEnd; }
  std::uint64_t JournalBytes() const { return m_journal.IsOpen() ? m_journalEnd : 0; }
  /// The file's own id, which ties its journals to it; zeros where it has none.
  void SetFileId(const vfd_FileId& id) {
    m_fileId = id;
    m_fileIdKnown = true;
  }
  bool FileIdKnown() const { return m_fileIdKnown; }
  /// The id in the journal that was found; zeros when there was none.
  const vfd_FileId& JournalFileId() const { return m_journalFileId; }
  /// Where HDF5's superblock begins, for the mark in it that says "open for writing".
  void SetSuperblock(std::uint64_t address) { m_superblock = address; }

  static std::string JournalName(const std::string& realName) { return realName + "-journal"; }
  /// Of a journal that is going to take the place of the one of that name.
  static std::string NextName(const std::string& journal) { return journal + "-next"; }

 private:
  enum class Closing { kNo, kKeep, kDiscard };
  enum class HeaderState { kNone, kWritten, kDurable };
  struct Plan; // which pages of an update go where
  struct Page {
    std::uint64_t number;
    const unsigned char* bytes;
  };

  explicit vfd_Store(const vfd_Options& options);

  // vfd_StoreOpen.cpp
  bool OpenMain(std::string& cause);
  bool TakeLock(std::string& cause);
  std::string HeldText() const;
  bool MakeTemporary(std::string& cause);
  void SweepTemporaries() const;
  bool FindJournal(std::string& cause);
  bool Adopt(const vfd_JournalContent& content, std::string& cause);

  // vfd_Store.cpp
  const unsigned char* InMemory(std::uint64_t page) const;
  bool ReadPage(std::uint64_t page, unsigned char* bytes) const;
  bool ReadFrame(std::uint64_t page, std::uint64_t frame, unsigned char* bytes) const;
  bool TakeFrame(std::uint64_t page, const unsigned char* record, std::size_t got,
                 unsigned char* bytes) const;
  unsigned char* PageForWriting(std::uint64_t page, bool whole);
  bool MayBypass(std::uint64_t page) const;
  bool WriteMain(std::uint64_t address, std::size_t count, const void* bytes);
  bool ScratchFailed();
  std::uint64_t PagesToFrame(std::uint64_t at, std::uint64_t end) const;
  bool WriteFrames(std::uint64_t page, std::uint64_t count, const unsigned char* bytes);
  bool SpillFrames(const std::vector<Page>& pages);
  void Spill();
  bool SpillPages();
  static std::uint64_t SpillLimit();
  void CutOff() { OpenedBy(nullptr); }
  bool Fail(const char* what) const; // errno

  // vfd_StoreCommit.cpp
  bool CommitFirst();
  bool CommitUpdate();
  Plan MakePlan() const;
  void HasCommitted(const Plan& plan);
  bool PlaceFresh(const Plan& plan);
  bool SyncMain();
  bool SyncMainFile();
  bool SyncDirectory();
  bool AppendRecord(const Plan& plan);
  void ReserveJournal(std::uint64_t end);
  void TakeBack(std::uint64_t end);
  void KeepRecent(const Plan& plan);
  bool ApplyPages();
  bool WriteRun(std::vector<unsigned char>& run, std::uint64_t firstPage);
  template <class Pages, class Bytes>
  bool WritePages(const Pages& pages, Bytes bytesOf);
  void StripOpenMark();
  bool Poison(const char* what);

  // vfd_StoreGeneration.cpp
  bool BeginGeneration();
  vfd_Descriptor MakeJournal(const std::string& name);
  bool WriteHeader(int journal, std::uint64_t sequence, std::uint64_t& salt);
  bool StartGeneration();
  bool EndGeneration();
  bool Apply();
  void Shorten();
  bool WriteShortened(const vfd_Descriptor& journal, vfd_PageIndex& index, std::uint64_t& end,
                      std::uint64_t& chain);
  bool BringHome();
  void HasApplied();
  bool Checkpoint();
  void CutLongJournal();
  bool CutJournal(std::uint64_t end);
  bool RemoveJournal();
  bool Power() const { return m_options.durability == 2; }
  bool Scratch() const { return m_options.durability == 0 && !m_options.readOnly; }

  vfd_Options m_options;
  pid_t m_owner;
  unsigned m_forks;        // vfd_Forks() of the owner
  std::string m_name;      // of the main file, without links
  std::string m_temporary; // its name until the first commit point; "" afterwards
  vfd_Descriptor m_main, m_journal;
  vfd_Descriptor m_replaced; // the locked file that the first commit point replaces
  vfd_FileIdentity m_identity;
  bool m_needsRecovery = false;
  std::unique_ptr<vfd_JournalContent> m_found; // until it is recovered

  vfd_Store** m_user = nullptr;     // of HDF5's open file
  std::uint64_t m_committedEnd = 0; // bytes of the image at the last commit point
  std::uint64_t m_eof = 0;          // where HDF5's file ends now
  std::uint64_t m_mainSize = 0;
  std::uint64_t m_syncedSize = 0; // of the main file on the disk, at least
  std::uint64_t m_floor = 0;  // pages from here on were never committed and have no frame in this generation
  vfd_Overlay m_overlay;      // written since the last commit point
  std::uint64_t m_spillAt;    // so many pages in memory are too many
  vfd_PageIndex m_unapplied;  // committed, and not yet in the main file
  vfd_Overlay m_recent;       // some of them, still in memory
  bool m_directDirty = false; // the main file has bytes of this update that may not be on the disk

  HeaderState m_header = HeaderState::kNone;
  bool m_newJournal = false;                             // its name may not be on the disk
  std::uint64_t m_journalEnd = kVfdHeader;               // behind the last commit record
  std::uint64_t m_chain = 0;                             // the checksum up to there
  std::uint64_t m_openEnd = kVfdHeader, m_openChain = 0; // the same with the frames spilled since
  std::uint64_t m_spilled = 0;                           // number of those frames
  std::uint64_t m_journalSize = 0;                       // of the journal's file, as far as we wrote it
  std::uint64_t m_nextTry = 0;                           // journal length at which the generation may end

  std::uint64_t m_sequence = 0;
  std::uint64_t m_superblock = 0;
  vfd_FileId m_fileId{}, m_journalFileId{};
  bool m_fileIdKnown = false;
  Closing m_closing = Closing::kNo;
  std::string m_broken;        // why this update cannot be committed; "" when it can
  std::string m_poison;        // why nothing can be committed any more; "" when it can
  mutable std::string m_cause; // of the last failure
};
