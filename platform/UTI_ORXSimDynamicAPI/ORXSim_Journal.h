#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Export.h>

#include <UTI_BasicUtils/cow_String.h>

#include <cstdint>
#include <string>

/// What stands in the journal beside a simulation file. A journal is there while a writer is at work; without
/// one it is hot: its writer died, and it may hold commits that the main file does not show yet.
struct ORXSIM_API ORXSimJournalInfo {
  bool exists = false;
  bool missing = false;     // the file says that a journal belongs to it, and it is not there
  bool headerValid = false; // what follows is known
  bool belongs = false;     // it was written for this file
  bool damaged = false;     // there are commits behind a damaged place
  bool writerAtWork = false;
  std::uint64_t commits =
      0; // whole commits in it, before any damage; one that was written anew has the sum of many
  std::uint64_t lostCommits = 0; // behind a damaged place, at least
  std::uint64_t frames = 0;      // changed pages of 4096 bytes in them
  std::uint64_t sequence = 0;    // number of the last commit in its writer's session
  std::int64_t imageBytes = 0;   // size of the file after the last commit
  std::int64_t journalBytes = 0;
  std::int64_t unfinishedBytes = 0; // behind the last commit: of a large update that was never finished
  std::uint64_t ownerProcess = 0;
  std::string ownerHost;
  std::string cause; // what is wrong, "" when nothing is
};

/// Looks after the journals of dead writers. Opening a file does by itself what Apply does; these calls are
/// for tools. All answer false with the cause in ORXSimManager::LastError().
/// Threads: any, at any time.
class ORXSIM_API ORXSimJournal {
 public:
  /// Reads the journal beside the file and writes nothing.
  static ORXSimJournalInfo Read(const cow_String& fileName);
  /// Brings the journal's commits into the file and removes it. False, too, when it has to stay since live
  /// readers have the file open.
  /// Refused while a process has the file open, and when the journal does not belong to the file. True when
  /// there is no journal.
  /// \param upToDamage a damaged journal is applied up to the damaged place, and kept under another name.
  static bool Apply(const cow_String& fileName, bool upToDamage = false);
  /// Removes the journal, or the file's claim to one that is missing. What it holds and the file does not
  /// show is lost, and a file of which only a part was brought up to date may be damaged. Refused while a
  /// process has the file open.
  static bool Discard(const cow_String& fileName);
};
