#include <mpi/ORXSim_RankUpdate.h>

#include <mpi/ranks/rnk_State.h>

ORXSimRankUpdate::ORXSimRankUpdate(const ORXSimRanks& ranks) : m_ranks(&ranks) {
  const rnk_State* const state = rnk_Access::Of(ranks);
  if (state != nullptr && state->agree.IsRoot())
    m_update = std::make_unique<ORXSimUpdate>(state->context);
}

ORXSimRankUpdate::~ORXSimRankUpdate() = default;

bool ORXSimRankUpdate::Commit(bool mine) {
  const rnk_State* const state = rnk_Access::Asked(*m_ranks);
  if (state == nullptr)
    return false;
  const rnk_Agreement& agree = state->agree;
  if (!agree.All(mine, state->Told("end update", "it does not agree to the commit"))) {
    const std::string cause = rnk_Agreement::LastError();
    Rollback();
    rnk_Agreement::SetLastError(cause);
    return false;
  }
  const bool done = m_update != nullptr && m_update->Commit();
  const std::string none = state->Told("end update", "the scope has ended");
  if (!agree.Root(done, m_update == nullptr ? none : ORXSimManager::LastError()))
    return false;
  m_update.reset();
  return true;
}

bool ORXSimRankUpdate::Rollback() {
  const rnk_State* const state = rnk_Access::Asked(*m_ranks);
  if (state == nullptr)
    return false;
  const bool ended = m_update == nullptr, done = !ended && m_update->Rollback();
  m_update.reset();
  const std::string none = state->Told("roll back update", "the scope has ended");
  return state->agree.Root(done, ended ? none : ORXSimManager::LastError());
}
