#include <UTI_ORXSimDynamicAPI/ORXSim_Transfer.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Manager.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <algorithm>

namespace {
constexpr auto kKind = ORXSimStoreCall::kDistributions;
}

void ORXSimTransfer::SetDim(int dimension, ORXSimCSetID members) {
  m_badDimension = dimension != 0;
  m_members = members;
}

void ORXSimTransfer::Register(const Buffer& buffer) {
  std::erase_if(m_buffers, [&](const Buffer& known) { return known.drawer == buffer.drawer; });
  m_buffers.push_back(buffer);
}

bool ORXSimTransfer::FitsView(int drawer) const {
  ORXSimStoreCall call("check view", m_distribution.ID().Context(), kKind);
  const hdf_GroupHandle distribution = call.Open(m_distribution.ID().Minor());
  if (!distribution.IsOpen())
    return false;
  const ORXSimDrawerFile opened = ORXSimDrawerFile::Open(call, distribution.Get(), drawer);
  if (!opened.IsOpen())
    return false;
  if (m_type.has_value() && *m_type != opened.Type())
    return call.Operation().Refuse("the drawer holds numbers of another type");
  const ORXSimCSetID members = opened.Members(call.Operation(), m_distribution.ID().Context());
  return !members.IsNull() &&
         (members == m_members || call.Operation().Refuse("the drawer belongs to another member set"));
}

bool ORXSimTransfer::CheckView() const {
  return ORXSimStoreCall::Run("check view", m_distribution.ID().Context(), kKind, [&](auto& call) {
    hdf_Operation& operation = call.Operation();
    if (!operation.Usable())
      return false;
    if (m_mode == kNone)
      return operation.Refuse("neither SetRead() nor SetWrite() was called");
    if (m_padding)
      return operation.Refuse("rows are not padded");
    if (m_badDimension || m_members.IsNull())
      return operation.Refuse("dimension 0 needs a member set, and there is no other");
    if (m_buffers.empty())
      return FitsView(0);
    return std::all_of(m_buffers.begin(), m_buffers.end(),
                       [&](const Buffer& buffer) { return FitsView(buffer.drawer); });
  });
}

bool ORXSimTransfer::Ready(Mode mode) const {
  ORXSimStoreCall call(mode == kRead ? "read drawers" : "write drawers", m_distribution.ID().Context(),
                       kKind);
  if (!call.Operation().Usable())
    return false;
  if (m_mode != mode)
    return call.Operation().Refuse("the transfer was set up for the other direction");
  if (m_buffers.empty())
    return call.Operation().Refuse("there is no buffer");
  return CheckView();
}

bool ORXSimTransfer::ExecRead() const {
  return hdf_Try(false, [&] {
    if (!Ready(kRead))
      return false;
    return std::all_of(m_buffers.begin(), m_buffers.end(), [&](const Buffer& buffer) {
      return m_distribution.ReadItems(buffer.drawer, 0, m_distribution.DataSizeItems(buffer.drawer),
                                      buffer.target, buffer.bytes);
    });
  });
}

bool ORXSimTransfer::ExecWrite() const {
  return ORXSimStoreCall::Run("write drawers", m_distribution.ID().Context(), kKind, [&](auto& call) {
    if (!call.Writable() || !Ready(kWrite))
      return false;
    ORXSimUpdate update(m_distribution.ID().Context()); // the drawers together are one commit point
    const bool written = std::all_of(m_buffers.begin(), m_buffers.end(), [&](const Buffer& buffer) {
      return m_distribution.WriteItems(buffer.drawer, 0, m_distribution.DataSizeItems(buffer.drawer),
                                       buffer.source, buffer.bytes);
    });
    return written && update.Commit();
  });
}
