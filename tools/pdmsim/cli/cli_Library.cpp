#include <pdmsim/cli/cli_Library.h>

#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/cli/cli_Input.h>

#include <PDM_Core.h>
#include <UTI_ORXSimDynamicAPI/ORXSim_Inspect.h>

#include <filesystem>

cli_Library::cli_Library() : m_lastError(ORXSimManager::LastError()) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  err_InstallSink(&cli_Library::Keep, this);
}

cli_Library::~cli_Library() {
  err_RemoveSink();
  int modules = 0;
  DDB_PDM_Core_finalize(modules);
}

void cli_Library::Keep(const char* text, void* self) {
  constexpr std::size_t kMost = 4096;
  std::string& lines = static_cast<cli_Library*>(self)->m_lines;
  if (text && lines.size() < kMost)
    lines += text;
}

void cli_Library::Check(const std::string& file, const std::string& expected) const {
  if (ORXSimManager::LastError() != m_lastError)
    throw cli_Failure(cli_Exit::kUnusable, cli_LastError());
  if (m_lines.empty())
    return;
  const std::string line = m_lines.substr(0, m_lines.find('\n'));
  throw cli_Failure(cli_Exit::kUnusable, file + ": expected " + expected + ", found: " + line);
}

ORXSimContextID cli_CreateFile(const std::string& path, bool force) {
  constexpr int kOnlyNew = 1, kNotUnasked = 2, kPowerSafe = 2;
  std::error_code ignored;
  const bool exists = std::filesystem::is_regular_file(path, ignored);
  if (exists && !force)
    throw cli_Failure(cli_Exit::kUnusable, path + ": expected no such file, found one (--force replaces it)");
  ORXSimContextID context;
  if (!exists || ORXSimInspect::IsFree(path.c_str()))
    context = ORXSimManager::CreateContext(path.c_str(), kNotUnasked + (force ? 0 : kOnlyNew), 102, false,
                                           kPowerSafe);
  if (context.IsNull())
    throw cli_Failure(cli_Exit::kUnusable, cli_LastError());
  return context;
}
