#pragma once

#include <functional>
#include <string>
#include <vector>

/// How another program ended.
struct cli_Ended {
  int code = 0;     // its exit code; 128 and more for a signal; -1 when it could not be started
  std::string said; // the last line of its error stream
};

/// Runs another program to its end, without input and output; its error stream is read. Throws
/// cli_Interrupted, with the program ended, when this process was asked to stop.
/// \param arguments  the first one is looked up in PATH.
cli_Ended cli_Run(const std::vector<std::string>& arguments);

/// Runs a library's work in a process of its own, so that one that aborts, or takes the signals of its
/// process for itself, ends nobody else. That process dies with this one, and with the exception that `tick`
/// throws.
/// \param work  its answer, 0 to 127, is the exit code; what it writes is seen here only in memory that both
/// share. Nothing that it prints is shown.
/// \param tick  called here ten times a second.
/// \return as cli_Ended::code.
int cli_RunApart(const std::function<int()>& work, const std::function<void()>& tick);

/// A folder for files that nobody keeps; gone with everything in it at the end.
class cli_Scratch {
 public:
  /// Throws cli_Failure.
  cli_Scratch();
  cli_Scratch(const cli_Scratch&) = delete;
  cli_Scratch& operator=(const cli_Scratch&) = delete;
  ~cli_Scratch();
  std::string At(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};
