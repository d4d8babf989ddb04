#pragma once

#include <H5Journal/files/vfd_Place.h>
#include <H5Journal/journal/vfd_Journal.h>
#include <H5Journal/journal/vfd_MainFile.h>
#include <H5Journal/opening/vfd_Judge.h>

#include <memory>
#include <string>

/// How a file is opened.
struct vfd_Options {
  std::string fileName;
  bool readOnly = false;
  bool live = false;        // read-only beside a writer at work
  int durability = 1;       // 0 none, 1 death of the process, 2 loss of power
  unsigned waitingTime = 0; // milliseconds to wait for a file that another process holds
  std::uint64_t memoryLimit = std::uint64_t{32} << 20; // bytes of changed pages
  std::uint64_t journalLimit = std::uint64_t{4} << 20; // bytes; a longer journal ends its generation

  bool Power() const { return durability == 2; }
  bool Scratch() const { return durability == 0 && !readOnly; }
};

/// A file, its journal, and where they are.
struct vfd_Files {
  vfd_Place place;
  vfd_MainFile main;
  vfd_Journal journal;
};

// All answer false with the cause in vfd_LastCause(), and throw std::bad_alloc.

/// Opens the file and takes its lock; again, by the name it had, when the place is known already.
bool vfd_OpenMain(const vfd_Options& options, bool again, vfd_Files& files);
/// Opens and reads what lies beside the file under its journal's name. A live reader looks again for as long
/// as a writer may be between two steps.
/// \return false when reading failed; the verdict tells the rest.
bool vfd_FindJournal(const vfd_Options& options, vfd_Files& files, vfd_JournalContent& content,
                     vfd_Verdict& verdict);
/// Makes a new file under a name of its own, with the writer's lock on it, beside the place.
/// \param model the file it is to replace, whose owner, group and mode it takes; null: none.
bool vfd_MakeTemporary(const vfd_Options& options, vfd_Files& files, const struct stat* model,
                       std::string& temporary);
/// Removes what dead processes left: files that were made here and never got their names, journals that never
/// took their places. Each is told by its content.
void vfd_SweepTemporaries(const vfd_Place& place);
void vfd_SweepNextJournal(const vfd_Files& files);
