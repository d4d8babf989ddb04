#pragma once

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>

#include <optional>
#include <vector>

/// Moves whole drawers of a distribution.
///
///     ORXSimTransfer transfer(distribution);
///     transfer.SetRead();
///     transfer.SetDim(0, description.CSet());
///     transfer.SetBuffer(0, values, bytes);
///     if (transfer.CheckView() && transfer.ExecRead()) ...
/// Threads: one at a time for everything of one context; contexts of other threads are not in the way.
class ORXSIM_API ORXSimTransfer {
 public:
  explicit ORXSimTransfer(const ORXSimDistributionRef& distribution) : m_distribution(distribution) {}

  void SetRead() { m_mode = kRead; }
  void SetWrite() { m_mode = kWrite; }
  /// \param padding rows padded to some boundary; this store has none, so true fails in CheckView().
  void SetBufferPadding(bool padding) { m_padding = padding; }
  /// \param dimension 0, the rows.
  /// \param members the set that the caller's rows belong to.
  void SetDim(int dimension, ORXSimCSetID members);
  /// The type of the caller's numbers; drawers of another one do not fit. Without it they are what the
  /// drawer's are.
  void SetItemType(ORXSimItemType type) { m_type = type; }
  /// Registers the memory of one drawer: whole rows in the drawer's type, the caller's until
  /// RelinquishBuffers() or the end of the transfer. A second buffer for a drawer replaces the first.
  void SetBuffer(int drawer, void* buffer, std::int64_t bytes) { Register({drawer, buffer, buffer, bytes}); }
  /// As above, for writing only.
  void SetBuffer(int drawer, const void* buffer, std::int64_t bytes) {
    Register({drawer, nullptr, buffer, bytes});
  }

  /// True when the transfer can take place: a direction is set, no padding, and the drawers that have
  /// buffers so far (drawer 0 when none has) belong to the set of SetDim() and hold numbers of the type.
  bool CheckView() const;
  /// Reads every drawer that has a buffer.
  /// \return false, with the cause in LastError(), when the view does not fit, a buffer has not exactly the
  ///     drawer's size, or reading failed.
  bool ExecRead() const;
  /// Writes every drawer that has a buffer; one commit point. When one of them fails, none is written, unless
  /// an update scope is open, which then decides.
  bool ExecWrite() const;
  /// Forgets the buffers, which stay as they are.
  void RelinquishBuffers() { m_buffers.clear(); }

 private:
  enum Mode : unsigned char { kNone, kRead, kWrite };
  struct Buffer {
    int drawer;
    void* target; // null for one that is only written from
    const void* source;
    std::int64_t bytes;
  };
  void Register(const Buffer& buffer);
  bool FitsView(int drawer) const;
  bool Ready(Mode mode) const;

  ORXSimDistributionRef m_distribution;
  ORXSimCSetID m_members;
  std::optional<ORXSimItemType> m_type;
  std::vector<Buffer> m_buffers; // at most one a drawer
  Mode m_mode = kNone;
  bool m_padding = false;
  bool m_badDimension = false;
};
