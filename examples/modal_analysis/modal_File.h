#pragma once

#include <PDM_Core.h>

#include <stdexcept>
#include <string>
#include <vector>

/// Ends the program with exit code 2: the text becomes one line on standard error.
class modal_Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The library, up for the lifetime of this object; what it writes to its error stream is kept.
class modal_Library {
 public:
  modal_Library();
  modal_Library(const modal_Library&) = delete;
  modal_Library& operator=(const modal_Library&) = delete;
  ~modal_Library();

  /// Throws when the library has reported, or the file API recorded, a failure since this object was made.
  void Check(const std::string& file) const;

 private:
  static void Keep(const char* text, void* self);

  std::string m_lines;
  std::string m_lastError; // of before
};

/// A program's outermost frame: runs `work` and turns what it throws into a line and an exit code.
/// \return what work returns; 2 when it throws.
int modal_Run(const char* program, int (*work)(int argc, char** argv), int argc, char** argv);

/// Opens a simulation file that has a mesh. Throws otherwise.
msfD_Mesh modal_OpenMesh(msfD_Root& root, const std::string& file, bool readOnly,
                         const modal_Library& library);

// Bulk data by whole drawers; each throws with the store's own words when it cannot be done.

/// Reads a drawer of integers, of 32 or 64 bits.
/// \return [rows x components]
/// \param what begins the message when a number does not fit.
std::vector<int> modal_ReadInts(ORXSimDistributionID id, int drawer, const std::string& what);
/// Reads a drawer of floating-point numbers of either width.
/// \return [rows x components]
std::vector<double> modal_ReadReals(ORXSimDistributionID id, int drawer, const std::string& what);
[[noreturn]] void modal_FailInStore();
