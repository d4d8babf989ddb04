#pragma once

#include <PDM_Core.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>

#include <functional>
#include <string>
#include <vector>

/// What was found about a file.
struct check_Report {
  std::string file;
  bool readable = true;
  std::vector<ORXSimFinding> findings;
  std::uint64_t objects = 0, bytes = 0, used = 0;

  /// Findings that are no notes.
  std::size_t Errors() const;
  void Add(const std::string& path, const char* kind, const std::string& text, bool note = false) {
    findings.push_back({path, kind, text, note});
  }
};

/// Looks at everything that a simulation file holds. Writes nothing.
/// \param tick is told bytes that were read and is called for every object; what it throws ends the work.
/// \param live  beside a writer, at its last commit point.
check_Report check_File(const std::string& file, bool live, const std::function<void(double)>& tick);
/// The same for a file that is open.
check_Report check_Open(const std::string& file, ORXSimContextID context,
                        const std::function<void(double)>& tick);
/// The same in a child process with limits; one that dies is a finding.
/// \param tick called some ten times a second.
check_Report check_FileUntrusted(const std::string& file, bool live, const std::function<void()>& tick);

/// Adds what lies beside the file: journals and unfinished files.
void check_Beside(check_Report& report);
