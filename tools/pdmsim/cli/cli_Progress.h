#pragma once

#include <chrono>
#include <string>

/// The line that tells a person at a terminal how far long work is, and the place where what was interrupted
/// ends.
class cli_Progress {
 public:
  /// \param text what is going on.
  /// \param shown false keeps silent. On anything but a terminal it is silent as well.
  cli_Progress(std::string text, bool shown);
  cli_Progress(const cli_Progress&) = delete;
  cli_Progress& operator=(const cli_Progress&) = delete;
  /// Wipes the line.
  ~cli_Progress();

  /// The whole work, in bytes to be written.
  void Total(double bytes) { m_total = bytes; }
  /// The whole work, where it is not counted in bytes; only its percentage is shown.
  void TotalWork(double work) {
    m_total = work;
    m_inBytes = false;
  }
  /// Counts work done; from the second second on shows it, ten times a second at most. Throws
  /// cli_Interrupted when the process was asked to stop.
  void Advance(double bytes);
  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::string m_text;
  bool m_shown, m_drawn = false, m_inBytes = true;
  double m_total = 0, m_done = 0;
  Clock::time_point m_begin = Clock::now(), m_next = m_begin + std::chrono::seconds(1);
};

/// SIGINT, SIGTERM or SIGHUP came.
struct cli_Interrupted {
  int signal;
};

/// From now on those signals are remembered instead of ending the process.
void cli_CatchSignals();
/// Throws cli_Interrupted when one came.
void cli_CheckSignals();
