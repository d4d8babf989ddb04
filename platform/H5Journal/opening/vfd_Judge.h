#pragma once

#include <H5Journal/H5Journal.h>
#include <H5Journal/journal/vfd_Content.h>
#include <H5Journal/journal/vfd_MainFile.h>

#include <string>
#include <sys/stat.h>

/// Whose journal is it: how a file and what lies beside it under its journal's name stand to each other.
struct vfd_Verdict {
  H5J_state_t state = H5J_CLEAN;
  bool leftover = false; // H5J_CLEAN, and there is a journal that says nothing: its writer died as it went
  std::string cause;     // "" for H5J_CLEAN and H5J_HOT
};

/// Compares what file and journal say of each other. Throws std::bad_alloc.
/// \param name of the journal.
vfd_Verdict vfd_Judge(const vfd_MainFile& main, const vfd_JournalContent& content, const std::string& name);
/// Why a journal with these rights is not to be believed, "" when it is: nobody but those who may write the
/// main file may have written it.
std::string vfd_Distrust(const struct stat& mainFile, const struct stat& journal);
