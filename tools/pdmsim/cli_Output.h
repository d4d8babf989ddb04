#pragma once

#include <string>

/// A file in the making: written beside its final place under the name FILE.import-PID, and moved there
/// whole.
class cli_Output {
 public:
  /// \param force true allows to replace a regular file. Throws cli_Failure when the place is taken or cannot
  /// be written to.
  cli_Output(const std::string& path, bool force);
  cli_Output(const cli_Output&) = delete;
  cli_Output& operator=(const cli_Output&) = delete;
  /// Removes the unfinished file.
  ~cli_Output();

  /// Where to write.
  const std::string& Unfinished() const { return m_unfinished; }
  /// Brings the closed file to the disk and moves it to its place. \return its size in bytes.
  unsigned long long Finish();

 private:
  void CheckPlace() const;

  std::string m_path, m_unfinished;
  bool m_force, m_finished = false;
};
