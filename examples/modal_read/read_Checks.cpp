#include "read_Checks.h"

#include <ostream>

bool read_Checks::Expect(bool holds, const std::string& promise, const std::string& detail) {
  ++m_made;
  m_failures += !holds;
  m_out << (holds ? "  ok      " : "  FAILED  ") << promise << " (" << detail << ")\n";
  return holds;
}
