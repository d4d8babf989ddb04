#pragma once

#include <iosfwd>
#include <string>

/// Prints what was checked and remembers whether anything failed.
class read_Checks {
 public:
  explicit read_Checks(std::ostream& out) : m_out(out) {}

  /// One line for one promise of the file.
  /// \param detail what was seen.
  /// \return holds.
  bool Expect(bool holds, const std::string& promise, const std::string& detail);
  int Failures() const { return m_failures; }
  int Made() const { return m_made; }

 private:
  std::ostream& m_out;
  int m_failures = 0, m_made = 0;
};
