#pragma once

#include <UTI_CoreUtils/mem_Allocation.h>
#include <gbb/gbb_Freshness.h>
#include <gbb/gbb_Handle.h>
#include <gbb/gbb_Path.h>
#include <gbb/gbb_TraverseContext.h>
#include <kda/kda_Export.h>
#include <kda/kda_string.h>

/// Flag of a request: take the handle of the last successful resolution as it is, unless a file was rolled
/// back or refreshed since.
inline constexpr unsigned gbb_kUseCache = 1u << 2;

/// A reference to an object by text. Remembers the handle of its last resolution and how that ended.
/// Threads: one at a time for all Sims that the link may lead to.
class PDM_CORE_API gbb_LinkImpl : public mem_AllocationOperatorsTiny {
 public:
  virtual ~gbb_LinkImpl();
  /// Where the link lives.
  virtual gbb_Path Path() const = 0;
  /// The target text; valid while the link lives.
  virtual const char* Target() const = 0;

  /// Resolves the target. With gbb_kUseCache in `flags`, a link whose last resolution succeeded answers its
  /// cached handle. A link without a root prints a line and answers an empty handle.
  gbb_Handle Get(unsigned flags);
  /// A gbb_LinkStatus of the last resolution; not resolved yet counts as broken.
  int Status() const { return m_status; }
  void SetStatus(gbb_LinkStatus status) { m_status = status; }

 private:
  int m_status = gbb_kBroken;
  gbb_Handle m_cached;
  gbb_Freshness m_freshness;
};

/// A link that stores its place and its target.
class PDM_CORE_API gbb_SimpleLink : public gbb_LinkImpl {
 public:
  /// \param path  where the link lives; borrowed, so the link must not outlive that object.
  gbb_SimpleLink(gbb_Path path, const char* target);
  ~gbb_SimpleLink() override;
  gbb_Path Path() const override;
  const char* Target() const override;

 private:
  gbb_Path m_path;
  kda_string m_target;
};

/// Owns one link.
class PDM_CORE_API gbb_LinkHolder {
 public:
  gbb_LinkHolder() = default;
  /// Takes the link over; null is allowed.
  explicit gbb_LinkHolder(gbb_LinkImpl* link) : m_link(link) {}
  gbb_LinkHolder(gbb_LinkHolder&& other) noexcept : m_link(other.m_link) { other.m_link = nullptr; }
  gbb_LinkHolder& operator=(gbb_LinkHolder&& other) noexcept;
  ~gbb_LinkHolder() { Delete(); }

  /// Deletes the link; the holder is empty afterwards.
  void Delete();
  gbb_LinkImpl* Link() const { return m_link; }

 private:
  gbb_LinkImpl* m_link = nullptr;
};

/// A link seen as a reference to an object of class T, a generated handle.
template <class T>
class PDM_CORE_API gbb_TypedLink {
 public:
  gbb_TypedLink() = default;
  /// Views a link, which stays the holder's.
  explicit gbb_TypedLink(const gbb_LinkHolder& holder) : m_link(holder.Link()) {}

  /// Resolves the link. Empty when there is no link, when the resolution failed, and, with status
  /// gbb_kWrongClass, when the object is not a T.
  T get(unsigned flags) const {
    if (m_link == nullptr)
      return T();
    const gbb_Handle handle = m_link->Get(flags);
    const T object{handle};
    if (!object && !!handle)
      m_link->SetStatus(gbb_kWrongClass);
    return object;
  }

  /// A gbb_LinkStatus; gbb_kBroken without a link.
  int status() const { return m_link == nullptr ? gbb_kBroken : m_link->Status(); }

 private:
  gbb_LinkImpl* m_link = nullptr;
};
