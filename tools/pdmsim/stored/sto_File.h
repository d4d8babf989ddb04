#pragma once

#include <pdmsim/cli/cli_Input.h>
#include <pdmsim/cli/cli_Library.h>

#include <PDM_Core.h>

#include <memory>
#include <string>

/// How a command opens the simulation file that it reads.
struct sto_Opening {
  std::string file;
  int wait = 0;                       // seconds to wait for a writer to close it
  bool live = false;                  // beside a writer, at the newest commit point
  cli_Offer offer = cli_Offer::kWait; // which of them the command has
  bool write = false;                 // for writing too; a commit point is on the disk when it is made
};

/// A simulation file, open for reading unless the opening says otherwise, with the library that reads it.
class sto_File {
 public:
  /// Throws cli_Failure for what is no simulation file, in one line that says what it is.
  /// \param library  shared by files that are open at the same time.
  explicit sto_File(const sto_Opening& opening,
                    std::shared_ptr<const cli_Library> library = std::make_shared<const cli_Library>());
  sto_File(const sto_File&) = delete;
  sto_File& operator=(const sto_File&) = delete;

  const std::string& Path() const { return m_opening.file; }
  msfD_Sim Sim() const { return m_sim; }
  ORXSimContextID Context() const { return m_sim.distributionService().Context(); }
  /// The Sim's mesh. Throws cli_Failure where there is none.
  msfD_Mesh Mesh() const;
  /// Throws cli_Failure when anything has failed to be read since the file was opened.
  void Check() const;
  /// Moves a live file on to the newest commit point.
  /// \return false when it is gone.
  bool Refresh() { return m_root.refreshSim(m_sim); }

 private:
  void CheckContent() const;

  sto_Opening m_opening;
  std::shared_ptr<const cli_Library> m_library;
  msfD_Root m_root{0};
  msfD_Sim m_sim;
};
