#pragma once

#include <H5Journal/H5Journal.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/objects/hdf_Handle.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

class hdf_GroupRep;
class hdf_ObjectRep;
class hdf_Operation;

/// Brings a file's journal home and lets go of the file.
struct hdf_Releaser {
  void operator()(H5J_hold_t* hold) const { H5Jrelease(hold); }
};

/// What all objects of one open file share; outlives the file for as long as one of them is held. Private
/// to the module.
struct hdf_Context {
  /// How many groups keep their last dataset open: those that came back to it, and those that used it once.
  /// Few of the latter: a program that goes through many objects would only spread HDF5's memory.
  static constexpr std::size_t kKeptDatasets = 256, kLateDatasets = 1;
  /// How many groups below the root have an identifier.
  static constexpr std::size_t kAwakeGroups = 8;

  hdf_Context() = default;
  hdf_Context(const hdf_Context&) = delete;
  hdf_Context& operator=(const hdf_Context&) = delete;

  bool IsOpen() const { return file >= 0; }
  /// True where there is a commit point to go back to.
  bool Journalled() const { return durability > 0 && !readOnly; }
  /// The one place where what was written becomes permanent, as the durability option promises. One that
  /// failed may be tried again as long as it has not barred the context.
  bool CommitPoint(hdf_Operation& operation);
  /// Ends one write: a commit point unless an update scope is open.
  bool EndWrite(hdf_Operation& operation) { return scopes > 0 || CommitPoint(operation); }
  /// Closes every object and the file. What was not committed, or cannot be, is dropped where there is a
  /// journal.
  /// \return false when anything of that was lost.
  bool Close(hdf_Operation& operation) noexcept;

  /// False, with the cause reported, when nothing may be written.
  bool MayWrite(hdf_Operation& operation) {
    return !(readOnly || stopped || Forked()) || RefuseWrite(operation);
  }
  bool RefuseWrite(hdf_Operation& operation) const;
  /// A write has failed halfway: nothing is committed any more before a Rollback. The first cause stays.
  void Bar(std::string_view cause, const char* during = "") noexcept;

  void BeginScope();
  /// Ends a scope that was not committed; the outermost takes back what was written in it.
  void AbandonScope() noexcept;
  /// Ends a scope: back to the last commit point. The scopes around it come to nothing.
  bool RollbackScope(hdf_Operation& operation);
  /// Ends a scope; the outermost makes the commit point.
  /// \return false when the scope stays open.
  bool CommitScope(hdf_Operation& operation);

  /// Back to the last commit point; costs nothing when nothing was written since.
  bool Rollback(hdf_Operation& operation);
  /// A live reader moves on to the newest commit point.
  bool Refresh(hdf_Operation& operation);
  ORXSimCommitInfo LastCommit() const;
  /// How the file's journal stands; all zero when the file is closed.
  H5J_info_t Info() const;
  /// How often this process has become another one by fork().
  static unsigned Forks();
  bool Forked() const { return forks != Forks(); }

  ORXSimContextID id;
  std::string fileName; // as the host gave it
  hid_t file = H5I_INVALID_HID;
  std::unique_ptr<H5J_hold_t, hdf_Releaser> hold; // the bytes under it, with the lock; while the file is open
  bool isNew = false;                             // no commit point yet
  bool readOnly = false;
  bool live = false;  // reads beside a writer
  int durability = 1; // 0 none, 1 death of the process, 2 loss of power
  int scopes = 0;     // open update scopes
  /// Says whether this process may open the file, which open() gives, of `fileBytes`; reports why not. Null:
  /// the file is trusted.
  bool (*admit)(hdf_Operation& operation, std::uint64_t fileBytes,
                const std::function<hid_t()>& open) = nullptr;

  std::uint64_t epoch = 0;      // of the last time that the file changed under its objects
  std::uint64_t writes = 0;     // HDF5 calls of writing operations so far
  std::uint64_t committed = 0;  // of them, before the last commit point
  std::uint64_t scopeStart = 0; // of them, before the outermost scope
  bool takenBack = false;       // the creation of the file, too: it is not made unless more is written
  unsigned forks = 0;           // Forks() of the process that opened the file
  bool stopped = false;         // barred, or rolled back within a scope: nothing may be written
  bool barred = false;          // a write has failed halfway
  std::string barCause;         // why
  std::string lost;             // why the file could not be opened again; "" in general

  hdf_ObjectRep* objects = nullptr;           // every open object but datasets, linked through the objects
  hdf_ObjectRep* datasets = nullptr;          // every open dataset
  std::list<hdf_GroupRep*> keepers, lately;   // groups that keep a dataset open, latest use first
  std::list<hdf_GroupRep*> awake;             // groups that can sleep and do not, latest use first
  hdf_GroupHandle collections, distributions; // of the bulk store, once used

 private:
  template <class Leave>
  void LeaveObjects(Leave leave);
  bool MakeCommitPoint(hdf_Operation& operation);
  bool KeepWork(hdf_Operation& operation);
  bool CloseFile(bool keep) noexcept;
  bool MoveOn(hdf_Operation& operation) const;
  bool Reopen(hdf_Operation& operation);
  void EndScope();
};

/// How long opening waits for a file that another process holds, milliseconds.
int hdf_WaitingTime();
void hdf_SetWaitingTime(int milliseconds);

/// The contexts of the process. Private to the module.
class hdf_Contexts {
 public:
  /// Null when the context is unknown or closed. Valid until the context is closed. Needs no lock.
  static const std::shared_ptr<hdf_Context>& Find(ORXSimContextID id);
  /// Makes room for one more, so that Add cannot fail when its file is open; both under one silence. Throws
  /// std::bad_alloc.
  static void Reserve();
  /// Gives the context its number and keeps it until Remove. After Reserve.
  static ORXSimContextID Add(std::shared_ptr<hdf_Context> context);
  static void Remove(ORXSimContextID id);
  /// Closes all that are open.
  static void CloseAll();
};
