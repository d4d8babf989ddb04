#pragma once

#include <pdmsim/stored/sto_File.h>
#include <pdmsim/stored/sto_Modes.h>
#include <pdmsim/view/view_Output.h>

#include <optional>

/// What a view shall be.
struct view_Request {
  std::string out;                 // "NAME.hdf"
  std::optional<std::size_t> step; // the only one to show; none: all
  bool series = false;             // a file a step, and "NAME.hdf.series", which lists them
  bool force = false;              // replace a view that is there
  view_Numbers numbers = view_Numbers::kMapped;
  const sto_ModalSystem* system = nullptr; // whose modes are shown; null: none
};

/// What was written.
struct view_Summary {
  std::vector<std::string> files; // the one to open first
  std::vector<view_Array> arrays; // of the first file with data
  std::vector<std::string> notes; // what is shown otherwise than it is, or not at all
  unsigned long long bytes = 0;   // of all files
};

/// Writes the view of a simulation file's mesh: a VTKHDF file that shows the file's own numbers. Its files
/// appear under their names when all are whole; where that fails the older ones stay. Unless all is copied,
/// refuses with cli_Failure while a journal lies beside the simulation file, which other programs do not see.
view_Summary view_Write(const sto_File& file, const view_Request& request, cli_Progress& progress);

/// Writes all of a mesh into one file.
/// \param step    the only one to show; none: all.
/// \param system  whose modes are shown; null: none.
/// \return what is shown otherwise than it is, or not at all.
std::vector<std::string> view_WriteMesh(const sto_Mesh& mesh, std::optional<std::size_t> step,
                                        const sto_ModalSystem* system, view_Output& output);

/// The modal system of a name, or else of a number among all systems; "" is the only one with shapes, or
/// none. Throws cli_Failure.
const sto_ModalSystem* view_FindSystem(const std::string& file, const std::vector<sto_ModalSystem>& systems,
                                       const std::string& name);

/// True for a file that view_Write has made.
bool view_IsView(const std::string& path);
/// True for a file that viewers read, a view or not.
bool view_IsForViewers(const std::string& path);
