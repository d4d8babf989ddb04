#pragma once

#include <PDM_Core.h>

#include <filesystem>
#include <string>

// Calls that a build of the library may lack: without them the campaigns run, and show what is lost.

template <class Update = ORXSimUpdate>
inline constexpr bool camp_kRollsBack = requires(Update update) {
  update.Rollback();
};

/// Leaves a scope without its writes. \return false when the library cannot.
template <class Update>
bool camp_Rollback(Update& update) {
  if constexpr (camp_kRollsBack<Update>)
    return update.Rollback();
  return false;
}

/// True when a failed write bars the context from committing.
template <class Ref = ORXSimContextRef>
bool camp_Barred(ORXSimContextID context) {
  if constexpr (requires(Ref ref) { ref.Barred(); })
    return Ref(context).Barred();
  return false;
}

/// How long opening waits for another process.
template <class Manager = ORXSimManager>
void camp_SetWaitingTime(int milliseconds) {
  if constexpr (requires { Manager::SetWaitingTime(milliseconds); })
    Manager::SetWaitingTime(milliseconds);
}

/// Moves a live context on to the newest commit point.
template <class Manager = ORXSimManager>
bool camp_Refresh(ORXSimContextID context) {
  if constexpr (requires { Manager::Refresh(context); })
    return Manager::Refresh(context);
  return false;
}

/// Bytes of the last committed image.
template <class Ref = ORXSimContextRef>
std::int64_t camp_ImageBytes(const std::string& file, ORXSimContextID context) {
  if constexpr (requires(Ref ref) { ref.LastCommit(); })
    return Ref(context).LastCommit().imageBytes;
  return static_cast<std::int64_t>(std::filesystem::file_size(file));
}
