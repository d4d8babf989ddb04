#pragma once

#include <pdmsim/cli/cli_NewFiles.h>
#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/mesh/mesh_Source.h>

#include <string>
#include <vector>

/// The files that an export makes.
using exp_Files = cli_NewFiles;

/// What the user asks of an export.
struct exp_Wanted {
  std::string out;           // the file to write
  std::string field;         // of formats for one field: its name, or PLACE/NAME
  std::size_t firstStep = 0; // the number of the mesh's step 0 in the file, where only one is exported
  bool ascii = false;        // text, where the format leaves the choice
  bool packed = false;       // numbers that take less room, where it does
};

/// One export at work.
struct exp_Task {
  const mesh_Source& mesh;
  const exp_Wanted& wanted;
  cli_Progress& progress;
};

/// What a component of a field is called by itself: NAME_x, _y and _z of up to three, NAME_1, NAME_2... of
/// more, and NAME of one.
std::string exp_ComponentName(const std::string& name, std::size_t component, std::size_t components);

/// One format that simulation files are exported to. A new one is a folder below export/ and a line in
/// exp_Formats.cpp.
struct exp_Format {
  const char* name;    // for --format
  const char* title;   // for people
  const char* endings; // of files, as ".exo .e"
  bool oneField;       // it takes a field, and not the file
  /// What of the mesh the format does not hold, one line each. Throws mesh_Error.
  std::vector<std::string> (*losses)(const exp_Task& task);
  /// Writes all that it holds. Throws mesh_Error or cli_Failure.
  void (*write)(const exp_Task& task, exp_Files& files);
};
