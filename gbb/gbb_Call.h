#pragma once

#include <UTI_ORXSimDynamicAPI/hdf_Objects.h>
#include <kda/kda_Export.h>

/// One public call, from its first line to its last, that must not fail silently: a write to the file above
/// all.
///
///     const gbb_Call call(gbb_TextOf<"**ERROR ", Traits::kName, "::", Name, ": ">());
///
/// Calls call each other. When something fails in them, the outermost prints one line as it ends: its head
/// and the first cause. ORXSimManager::LastError() is that cause then, whatever failed later, such as the
/// taking back of what was written. One that does not fail costs a few instructions.
///
/// Threads: any number; calls of different threads know nothing of each other.
class PDM_CORE_API gbb_Call {
 public:
  /// \param head  what the line begins with, "**ERROR <Class>::<call>: "; it must outlive the call.
  explicit gbb_Call(const char* head) : m_head(t_outermost == nullptr ? head : nullptr) {
    if (m_head != nullptr)
      t_outermost = this;
  }
  gbb_Call(const gbb_Call&) = delete;
  gbb_Call& operator=(const gbb_Call&) = delete;
  ~gbb_Call() {
    if (m_head != nullptr)
      t_outermost = nullptr;
    if (m_failed) [[unlikely]]
      Tell();
  }

  /// Something has failed, and ORXSimManager::LastError() says why: to be called before anything else can
  /// fail. Outside of a call nothing happens.
  /// \return false
  static bool Fail();
  /// As Fail(), unless `good`.
  /// \return good
  static bool Check(bool good) { return good || Fail(); }
  /// True when something has failed in the outermost call under way.
  static bool Failed() { return t_outermost != nullptr && t_outermost->m_failed; }

 private:
  void Tell() const;

  [[gnu::tls_model("initial-exec")]] static constinit thread_local gbb_Call* t_outermost;
  const char* m_head; // null for a call within another one
  bool m_failed = false;
  hdf_File m_cause; // an empty file, which reports the first cause whenever it is used
};
