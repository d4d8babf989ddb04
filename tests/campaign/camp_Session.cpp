#include <campaign/camp_Session.h>

#include <campaign/camp_Io.h>

#include <cstring>

namespace {

// A refusal that costs nothing: while it stays the last error, nothing has failed since.
constexpr int kNoVersion = -1;
constexpr char kMark[] = "version -1 of";

constinit char s_line[300] = ""; // no allocation, which may be made to fail

void keepLine(const char* text, void*) {
  const std::size_t used = std::strlen(s_line);
  std::strncat(s_line, text, sizeof s_line - 1 - used);
}

} // namespace

void camp_Session::Watch() {
  s_line[0] = '\0';
  err_InstallSink(keepLine, nullptr);
  const bool armed = camp_Allocations::Arm(false); // a mark that is not set would say that the step failed
  ORXSimManager::OpenContext("mark", 0, kNoVersion, false, 0);
  camp_Allocations::Arm(armed);
}

bool camp_Session::Clean() {
  return s_line[0] == '\0' && std::strstr(ORXSimManager::LastError(), kMark) != nullptr;
}

std::string camp_Session::Failure() {
  std::string text = s_line;
  if (std::strstr(ORXSimManager::LastError(), kMark) == nullptr)
    text += std::string(text.empty() ? "" : " | ") + ORXSimManager::LastError();
  return text;
}
