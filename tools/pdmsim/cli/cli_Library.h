#pragma once

#include <PDM_Core.h>

#include <string>

/// The library, up for the lifetime of this object; what it writes to its error stream is kept.
class cli_Library {
 public:
  cli_Library();
  cli_Library(const cli_Library&) = delete;
  cli_Library& operator=(const cli_Library&) = delete;
  ~cli_Library();

  /// Throws cli_Failure when the library has reported or the file API recorded a failure since this object
  /// was made.
  /// \param file the simulation file in hand.
  /// \param expected what was being done, as "a whole simulation file".
  void Check(const std::string& file, const std::string& expected) const;

 private:
  static void Keep(const char* text, void* self);

  std::string m_lines;     // the first few kB
  std::string m_lastError; // of before
};

/// Begins a new file. It appears under its name with its first commit, whole, and is on the disk by then;
/// until that comes, and when it never comes, everything stays as it is. The file of that name which it
/// replaces is locked meanwhile.
/// \param force true: an HDF5 file of that name may be replaced, unless somebody has it open.
/// Throws cli_Failure.
ORXSimContextID cli_CreateFile(const std::string& path, bool force);

/// An open file; closed at the end, whatever happens.
class cli_Context {
 public:
  explicit cli_Context(ORXSimContextID id) : m_id(id) {}
  cli_Context(const cli_Context&) = delete;
  cli_Context& operator=(const cli_Context&) = delete;
  ~cli_Context() { Close(); }
  ORXSimContextID ID() const { return m_id; }
  bool Close() { return ORXSimManager::CloseContext(m_id); }

 private:
  ORXSimContextID m_id;
};
