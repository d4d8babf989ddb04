#pragma once

#include <gbb/gbb_Group.h>
#include <gbb/gbb_Handle.h>
#include <gbb/gbb_Path.h>
#include <gbb/gbb_TraverseContext.h>
#include <gbb/pattern/gbb_ObjectForward.h>
#include <gbb/pattern/gbb_Removed.h>

#include <utility>

class gbb_ObjectInterface;

/// Flags of a holder.
enum gbb_HolderFlags : unsigned {
  gbb_kHolds = 1u << 0,    ///< there is an object
  gbb_kDirect = 1u << 1,   ///< operations are called on the held implementation itself, not on its interface
  gbb_kBasePart = 1u << 2, ///< the object is the base part of another one
};

/// What all holders share: the ownership of one implementation object, moved, never copied.
///
/// The object dies with its holder, or with Close(). Operations on an empty holder print their line and do
/// nothing.
///
/// Threads: one at a time for all objects of a root.
template <class Traits>
class PDM_CORE_API gbb_HolderBase {
 public:
  constexpr gbb_HolderBase() = default;
  gbb_HolderBase(gbb_HolderBase&& other) noexcept
      : m_impl(std::exchange(other.m_impl, nullptr)), m_flags(std::exchange(other.m_flags, 0u)) {}
  gbb_HolderBase& operator=(gbb_HolderBase&& other) noexcept {
    if (this != &other) {
      Close();
      m_impl = std::exchange(other.m_impl, nullptr);
      m_flags = std::exchange(other.m_flags, 0u);
    }
    return *this;
  }
  ~gbb_HolderBase() { Close(); }

  bool operator!() const { return m_impl == nullptr; }
  unsigned Flags() const { return m_flags; }
  /// The handle of the held object, empty for an empty holder.
  typename Traits::Handle Get() const;
  /// The implementation that a handle of class `wanted` refers to, null when the object is no such thing.
  void* Handle(gbb_Class wanted) const;
  /// Goes on with a walk at this object; the result is it or what the walk reaches below it.
  gbb_Handle Traverse(gbb_TraverseContext& context) const;
  /// Destroys the object; the holder is empty afterwards.
  void Close();
  /// Hands over an object that is not in the file any more; the holder is empty afterwards.
  void RemoveTo(gbb_Removed& removed);

 protected:
  gbb_HolderBase(typename Traits::Impl* impl, unsigned flags) : m_impl(impl), m_flags(flags) {}
  /// What the operations are called on.
  gbb_ObjectInterface* Target() const;

  typename Traits::Impl* m_impl = nullptr;
  unsigned m_flags = 0;
};

/// The holder of a class whose objects live in groups of their own.
template <class Traits>
class PDM_CORE_API gbb_ObjectHolder : public gbb_HolderBase<Traits> {
 public:
  constexpr gbb_ObjectHolder() = default;

  /// Places the object: at `index` under the object at `parent`.
  void SetPath(const gbb_Path& parent, int index) const;
  /// Writes the object and its children into a group of the file; it is connected afterwards. A connected
  /// object prints a line and stays as it is. Prints one line when a write fails, and takes back what was
  /// written.
  void Bind(const gbb_Group& group) const;
  /// Marks the object as the base part of another one.
  void MarkBasePart() { this->m_flags |= gbb_kBasePart; }

  /// Takes an implementation over.
  /// \param flags  gbb_HolderFlags.
  static gbb_ObjectHolder Adopt(typename Traits::Impl* impl, unsigned flags) {
    return gbb_ObjectHolder(impl, flags);
  }

 protected:
  /// Hands the object over as the Base that it is; empty when it has no such part.
  template <class Base>
  gbb_ObjectHolder<Base> ReleaseAs() {
    void* const impl = this->Handle(Base::Interface::StaticClass());
    if (impl == nullptr)
      return {};
    this->m_impl = nullptr;
    this->m_flags = 0;
    return gbb_ObjectHolder<Base>::Adopt(static_cast<typename Base::Impl*>(impl), gbb_kHolds);
  }
  /// The holder of the object's base part; `Operation` is the name in the line for an empty holder.
  template <class Base, auto Operation>
  const typename Base::Holder& BaseSubobject() const;
  /// Opens a stored object of the class or one that descends from it. A class that the file's snapshot does
  /// not know, or that is unrelated, prints its line and answers an empty holder.
  static gbb_ObjectHolder OpenStored(const gbb_Path& parent, int index, const gbb_Group& group, int trace);
  /// As OpenStored, with `outer` as the object's interface. What is stored must be of this very class, or of
  /// one that the interface says it is: an object of any other class that descends from this one has its own
  /// stream there, which is not to be read, or written over, as one of this class.
  static gbb_ObjectHolder OpenStored(typename Traits::Interface* outer, const gbb_Path& parent, int index,
                                     const gbb_Group& group, int trace);
  gbb_ObjectHolder(typename Traits::Impl* impl, unsigned flags) : gbb_HolderBase<Traits>(impl, flags) {}
};
