#include "heat_File.h"

namespace {
// Ranks of a job that was killed live on for a second or two, and keep the file.
constexpr std::chrono::seconds kOrphans(5);
} // namespace

heat_File::heat_File(const heat_Team& team, const std::string& name) {
  team.OnRoot([&] {
    pdm::set_waiting_time(kOrphans);
    m_sim = pdm::open(name, pdm::write);
    m_mesh = m_sim.model().mesh();
  });
  m_ranks = ORXSimRanks::Join(team.Comm(), team.IsRoot() ? m_sim.context() : ORXSimContextID());
  team.Require(!!m_ranks);
}

ORXSimRankTransfer heat_File::Transfer(const heat_Drawer& drawer, const std::vector<int>& rows,
                                       ORXSimItemType type) const {
  ORXSimRankTransfer transfer(m_ranks, ORXSimDistributionRef(drawer.field));
  transfer.SetDim(0, drawer.members);
  transfer.SetItemType(type);
  transfer.SetRows(rows);
  return transfer;
}

void heat_File::Read(const heat_Drawer& drawer, const std::vector<int>& rows, std::span<int> values) const {
  ORXSimRankTransfer transfer = Transfer(drawer, rows, ORXSimItemType::kInt32);
  transfer.SetRead();
  transfer.SetBuffer(drawer.number, values.data(), static_cast<std::int64_t>(values.size_bytes()));
  heat_Team::Require(transfer.ExecRead());
}

void heat_File::Read(const heat_Drawer& drawer, const std::vector<int>& rows,
                     std::span<double> values) const {
  ORXSimRankTransfer transfer = Transfer(drawer, rows, ORXSimItemType::kDouble);
  transfer.SetRead();
  transfer.SetBuffer(drawer.number, values.data(), static_cast<std::int64_t>(values.size_bytes()));
  heat_Team::Require(transfer.ExecRead());
}

void heat_File::Write(const heat_Drawer& drawer, const std::vector<int>& rows,
                      std::span<const double> values) const {
  ORXSimRankTransfer transfer = Transfer(drawer, rows, ORXSimItemType::kDouble);
  transfer.SetWrite();
  transfer.SetBuffer(drawer.number, values.data(), static_cast<std::int64_t>(values.size_bytes()));
  heat_Team::Require(transfer.ExecWrite());
}
