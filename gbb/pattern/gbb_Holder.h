#pragma once

#include <UTI_CoreUtils/err_Stream.h>
#include <gbb/gbb_Call.h>
#include <gbb/pattern/gbb_ObjectHolder.h>

/// Owns an array (or anything with a handle and an implementation of that form): a pointer and flags, as
/// the holders of the classes; moved, never copied.
///
/// Threads: one at a time for all objects of a root.
template <class Handle, class Impl>
class gbb_Holder {
 public:
  constexpr gbb_Holder() = default;
  gbb_Holder(gbb_Holder&& other) noexcept
      : m_impl(std::exchange(other.m_impl, nullptr)), m_flags(std::exchange(other.m_flags, 0u)) {}
  gbb_Holder& operator=(gbb_Holder&& other) noexcept {
    if (this != &other) {
      Close();
      m_impl = std::exchange(other.m_impl, nullptr);
      m_flags = std::exchange(other.m_flags, 0u);
    }
    return *this;
  }
  ~gbb_Holder() { Close(); }

  /// A new one, in memory only.
  static gbb_Holder New(int trace) { return gbb_Holder(new Impl(trace)); }
  /// One of the file.
  static gbb_Holder Open(const gbb_Path& parent, int index, const gbb_Group& group, int trace) {
    return gbb_Holder(new Impl(parent, index, group, trace));
  }

  bool operator!() const { return m_impl == nullptr; }
  unsigned Flags() const { return m_flags; }
  Handle Get() const { return Handle(m_impl); }

  void SetPath(const gbb_Path& parent, int index) const {
    if (m_impl != nullptr)
      m_impl->SetPath(parent, index);
    else
      err_Write("**ERROR gbb_Holder::SetPath: called on an empty holder\n");
  }
  /// Writes it into a group of the file. Prints one line when a write fails.
  void Bind(const gbb_Group& group) const {
    const gbb_Call call("**ERROR gbb_Holder::Bind: ");
    if (m_impl != nullptr)
      m_impl->Bind(group);
    else
      err_Write("**ERROR gbb_Holder::Bind: called on an empty holder\n");
  }
  gbb_Handle Traverse(gbb_TraverseContext& context) const {
    if (m_impl != nullptr)
      return m_impl->Traverse(context);
    err_Write("**ERROR gbb_Holder::Traverse: called on an empty base holder\n");
    context.SetStatus(gbb_kBroken);
    return {};
  }
  void Close() {
    delete std::exchange(m_impl, nullptr);
    m_flags = 0;
  }

 private:
  explicit gbb_Holder(Impl* impl) : m_impl(impl), m_flags(gbb_kHolds) {}

  Impl* m_impl = nullptr;
  unsigned m_flags = 0;
};
