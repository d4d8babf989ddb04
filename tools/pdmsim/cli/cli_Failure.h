#pragma once

#include <stdexcept>
#include <string>

/// What the program's exit codes mean to a script.
enum class cli_Exit : int {
  kDone = 0,
  kNotThere = 1, // wrong use, the file has nothing of that name, or a check found something
  kUnusable = 2, // an input cannot be read, or the output cannot be written
};

/// Ends the command: the text becomes one line on the error stream.
class cli_Failure : public std::runtime_error {
 public:
  cli_Failure(cli_Exit code, const std::string& text) : std::runtime_error(text), m_code(code) {}
  cli_Exit Code() const { return m_code; }

 private:
  cli_Exit m_code;
};

/// Ends the command with that code; everything was said already.
struct cli_Quiet {
  explicit cli_Quiet(cli_Exit exit) : code(exit) {}
  cli_Exit code;
};
