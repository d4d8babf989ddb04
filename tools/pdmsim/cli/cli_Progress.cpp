#include <pdmsim/cli/cli_Progress.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {
volatile std::sig_atomic_t g_signal = 0;
void Remember(int signal) {
  g_signal = signal;
}
} // namespace

cli_Progress::cli_Progress(std::string text, bool shown)
    : m_text(std::move(text)), m_shown(shown && isatty(2)) {}

cli_Progress::~cli_Progress() {
  if (m_drawn)
    std::fputs("\r\033[K", stderr);
}

double cli_Progress::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - m_begin).count();
}

void cli_Progress::Advance(double bytes) {
  cli_CheckSignals();
  m_done += bytes;
  const auto now = Clock::now();
  if (!m_shown || now < m_next)
    return;
  m_next = now + std::chrono::milliseconds(100);
  m_drawn = true;
  const int percent = m_total > 0 ? static_cast<int>(100 * std::min(1.0, m_done / m_total)) : 0;
  std::fprintf(stderr, "\r%s: %3d %%", m_text.c_str(), percent);
  if (m_inBytes)
    std::fprintf(stderr, ", %.0f MB", m_done / 1e6);
  std::fputs("\033[K", stderr);
  std::fflush(stderr);
}

void cli_CatchSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
      continue; // as under nohup
    action = {};
    action.sa_handler = Remember;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

void cli_CheckSignals() {
  if (g_signal)
    throw cli_Interrupted{g_signal};
}
