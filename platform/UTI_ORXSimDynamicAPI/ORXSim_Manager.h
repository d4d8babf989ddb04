#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Identifiers.h>
#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>

#include <atomic>
#include <cstdint>

struct hdf_Context;

/// Opens and closes simulation files.
///
/// Threads: a context and everything that was made of it belong to one thread at a time; other threads may
/// use contexts of their own at the same time. Calls that reach a file take turns. A child made by fork() may
/// open files, also while other threads of its parent are at work.
class ORXSIM_API ORXSimManager {
 public:
  /// Makes a new simulation file. It appears under its name with its first commit point, whole; a closed HDF5
  /// file or an empty file of that name stays as it is until then and is replaced. One that this or another
  /// process has open is left alone and the call fails, and so is everything that is not a regular file or no
  /// HDF5 file, so that a wrong name destroys nothing. The context holds a lock (flock) on its file as long
  /// as it is open: readers of the same file share it, a writer has it alone.
  ///
  /// \param createFlags the sum of 1, to fail when the file exists instead of replacing a closed one, and 2,
  /// to make no file unless something is written to it: without 2, closing the context makes an empty one.
  ///
  /// \param version layout version the caller was built for: 102.
  ///
  /// \param reserved taken as it comes.
  ///
  /// \param contextOption what a commit point survives: 0 nothing (scratch files without a journal), 1 the
  /// death of the process at any instant, 2 the loss of power.
  ///
  /// \return the null context on failure, with the cause in LastError().
  static ORXSimContextID CreateContext(const cow_String& fileName, int createFlags, int version,
                                       bool reserved, int contextOption);
  /// Opens an existing simulation file. When its last writer died, it is first brought to that writer's last
  /// commit point, or read from there when it is opened for reading only. The rest is as CreateContext.
  ///
  /// \param openFlags the sum of 1 for reading only and 2 for a file of unknown origin: a child process with
  /// limits walks through all of it first, which costs as much as reading it.
  ///
  /// \param contextOption as CreateContext, and 3, with reading only: live reading beside a writer, of the
  /// last commit point when the file was opened or refreshed (see Refresh).
  static ORXSimContextID OpenContext(const cow_String& fileName, int openFlags, int version, bool reserved,
                                     int contextOption);
  /// Commits what is pending and closes the file; every object of it becomes empty. The null context and
  /// one closed already are ignored. What cannot be committed is dropped, so that the file is as at its last
  /// commit point: after a failed write, and what was written within an update scope that is still open.
  /// \return false when anything was lost.
  static bool CloseContext(ORXSimContextID context);

  /// How long CreateContext and OpenContext wait for a file that another process holds, in all threads.
  /// \param milliseconds 0, the default, waits for nothing.
  static void SetWaitingTime(int milliseconds);
  /// Moves a context with option 3 on to the newest commit point of its writer. Objects open again by their
  /// paths when they are used; identifiers stay what they are. May be repeated after it failed; until it
  /// succeeds the context shows nothing.
  /// \return false on failure, and for other contexts.
  static bool Refresh(ORXSimContextID context);

  /// Changes when any open file is rolled back or refreshed; it never becomes smaller. Costs one load.
  static std::uint64_t Epochs() { return s_epochs.load(std::memory_order_relaxed); }

  /// The last failure of the module in this thread: "FILE: OBJECT PATH: operation: cause" in one line,
  /// without the path where the whole file is meant; "" when none was. Valid until the next failing call in
  /// this thread.
  static const char* LastError();
  /// How often the module has failed in this thread: compare before and after a call whose answer does not
  /// say whether it failed. That something is not there is no failure. Costs one load.
  static std::uint64_t Failures();

 private:
  friend struct hdf_Context;
  static std::atomic<std::uint64_t> s_epochs;
};

/// The last commit point of a context.
struct ORXSimCommitInfo {
  /// Its number in the writer's session; every commit point is one more. Begins anew when the file was
  /// closed.
  std::uint64_t sequence = 0;
  std::int64_t imageBytes = 0; ///< size of the file at it
  /// Length of the committed part of the journal. While live readers stay it may be as long as twice what has
  /// changed since the last copying into the file, and 4 MiB.
  std::int64_t journalBytes = 0;
};

/// One open context.
class ORXSIM_API ORXSimContextRef {
 public:
  explicit ORXSimContextRef(ORXSimContextID context) : m_context(context) {}
  hdf_File File() const;
  ORXSimContextID Context() const { return m_context; }
  /// True when the context is open for reading only.
  bool ReadOnly() const;
  /// Ends one write: outside an update scope this is a commit point. One that fails for lack of room may be
  /// tried again.
  /// \return false when it failed, or the context is barred or rolled back.
  bool Commit() const;
  /// Grows whenever what the file holds may have changed under its objects: by a rollback or a refresh. At
  /// least 1, and 0 when the context is not open.
  std::uint64_t Epoch() const;
  /// True after a write that failed halfway: nothing is written or committed any more before the context is
  /// rolled back (ORXSimUpdate::Rollback), or, after a sync that failed, closed; reading goes on. Mistakes of
  /// the caller that are refused before anything is written bar nothing.
  bool Barred() const;
  /// All 0 when the context is not open.
  ORXSimCommitInfo LastCommit() const;

 private:
  ORXSimContextID m_context;
};

/// Keeps HDF5 silent over the many calls of one piece of work instead of anew in each; the host's handler is
/// back afterwards. Not to be held while code of the host runs: other threads wait for their files.
class ORXSIM_API ORXSimQuiet {
 public:
  ORXSimQuiet();
  ORXSimQuiet(const ORXSimQuiet&) = delete;
  ORXSimQuiet& operator=(const ORXSimQuiet&) = delete;
  ~ORXSimQuiet();
};

/// Joins the writes of its lifetime into one commit point. Scopes nest; the outermost decides: left without a
/// successful Commit() it takes back everything that was written in it, an inner one changes nothing.
///
///     ORXSimUpdate update(context);
///     ... many writes ...
///     update.Commit();
///
/// Taking back means that the file and every object are as at the last commit point. Objects open again by
/// their paths when they are used; one that is not in the file any more answers false. It costs nothing when
/// nothing was written, else the closing and opening of the file. A context with option 0 has no journal:
/// there nothing can be taken back, and a scope that is left just ends.
class ORXSIM_API ORXSimUpdate {
 public:
  explicit ORXSimUpdate(ORXSimContextID context);
  ORXSimUpdate(const ORXSimUpdate&) = delete;
  ORXSimUpdate& operator=(const ORXSimUpdate&) = delete;
  ~ORXSimUpdate();
  /// Ends the scope; the outermost one makes the commit point.
  /// \return false when it failed: the scope is still open then and may be committed again, rolled back or
  ///     left. False also when a scope inside it was rolled back.
  bool Commit();
  /// Ends the scope and takes back everything since the last commit point. The scopes around it cannot commit
  /// any more, and nothing can be written before the outermost has ended. Lifts the bar after a failed write.
  /// \return false when there is no journal, or the file cannot be opened again.
  bool Rollback();

 private:
  ORXSimContextID m_context;
  bool m_open;
};
