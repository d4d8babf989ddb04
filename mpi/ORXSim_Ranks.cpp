#include <mpi/ORXSim_Ranks.h>

#include <mpi/ranks/rnk_State.h>

#include <utility>

namespace {
bool openHere(rnk_State& state) {
  const int mode = state.facts.readOnly ? MPI_MODE_RDONLY : MPI_MODE_RDWR;
  // Each rank by itself: nothing of what it does there waits for others.
  return MPI_File_open(MPI_COMM_SELF, state.facts.name.c_str(), mode, MPI_INFO_NULL, &state.file) ==
         MPI_SUCCESS;
}

void leaveFile(rnk_State& state) {
  if (state.file != MPI_FILE_NULL)
    MPI_File_close(&state.file);
  state.file = MPI_FILE_NULL;
  state.helper.Close();
}

// Every rank reaches the file, or none does.
bool reach(rnk_State& state) {
  const rnk_Agreement& agree = state.agree;
  std::string cause, told;
  if (agree.IsRoot())
    rnk_Try(cause, [&] { return told = ORXSimHelper::Tell(state.context), true; });
  if (!agree.Root(!told.empty(), ORXSimManager::LastError()))
    return false;
  agree.Share(told);
  state.facts = ORXSimHelper::FactsOf(told);
  const bool mine = rnk_Try(cause, [&] {
    if (!agree.IsRoot() && !state.helper.Open(told, agree.Rank(), cause))
      return false;
    cause = "MPI does not open the file";
    return openHere(state);
  });
  const std::string why = "rank " + std::to_string(agree.Rank()) + ": " + cause;
  if (!agree.Everybody(mine, why, state.funnelCause))
    leaveFile(state);
  else
    state.funnelCause.clear();
  return true;
}
} // namespace

ORXSimRanks::ORXSimRanks() noexcept = default;
ORXSimRanks::ORXSimRanks(ORXSimRanks&& other) noexcept = default;
ORXSimRanks& ORXSimRanks::operator=(ORXSimRanks&& other) noexcept {
  std::swap(m_state, other.m_state);
  return *this;
}

ORXSimRanks::~ORXSimRanks() {
  Close();
}

ORXSimRanks ORXSimRanks::Start(MPI_Comm comm, const std::function<ORXSimContextID()>& open, bool owns) {
  ORXSimRanks ranks;
  ranks.m_state = std::make_unique<State>();
  State& state = *ranks.m_state;
  MPI_Comm own = MPI_COMM_NULL;
  MPI_Comm_dup(comm, &own);
  state.agree = rnk_Agreement(own);
  if (state.agree.IsRoot())
    state.context = open();
  state.owns = owns && !state.context.IsNull();
  const std::string why = owns ? ORXSimManager::LastError() : "there is no context to join";
  if (!state.agree.Root(!state.context.IsNull(), why) || !reach(state)) {
    const std::string cause = rnk_Agreement::LastError();
    ranks.Close();
    rnk_Agreement::SetLastError(cause);
    return {};
  }
  return ranks;
}

ORXSimRanks ORXSimRanks::Create(MPI_Comm comm, const cow_String& fileName, int createFlags, int version,
                                bool reserved, int contextOption) {
  return Start(
      comm,
      [&] { return ORXSimManager::CreateContext(fileName, createFlags, version, reserved, contextOption); },
      true);
}

ORXSimRanks ORXSimRanks::Open(MPI_Comm comm, const cow_String& fileName, int openFlags, int version,
                              bool reserved, int contextOption) {
  return Start(
      comm, [&] { return ORXSimManager::OpenContext(fileName, openFlags, version, reserved, contextOption); },
      true);
}

ORXSimRanks ORXSimRanks::Join(MPI_Comm comm, ORXSimContextID context) {
  return Start(
      comm, [&] { return context; }, false);
}

bool ORXSimRanks::Close() {
  if (m_state == nullptr)
    return true;
  const auto state = std::move(m_state);
  int ended = 0;
  MPI_Finalized(&ended);
  if (ended != 0) // nobody can be asked any more, and nobody writes
    return !state->owns || ORXSimManager::CloseContext(state->context);
  leaveFile(*state);
  // The file is let go of when nobody writes into it any more.
  state->agree.All(true, {});
  const bool closed = !state->owns || ORXSimManager::CloseContext(state->context);
  const bool done = state->agree.Root(closed, ORXSimManager::LastError());
  MPI_Comm comm = state->agree.Comm();
  MPI_Comm_free(&comm);
  return done;
}

MPI_Comm ORXSimRanks::Comm() const {
  return m_state == nullptr ? MPI_COMM_NULL : m_state->agree.Comm();
}

int ORXSimRanks::Rank() const {
  return m_state == nullptr ? 0 : m_state->agree.Rank();
}

int ORXSimRanks::Size() const {
  return m_state == nullptr ? 0 : m_state->agree.Size();
}

ORXSimContextID ORXSimRanks::Context() const {
  return m_state == nullptr ? ORXSimContextID() : m_state->context;
}

bool ORXSimRanks::Funnelled() const {
  return m_state != nullptr && m_state->Funnelled();
}

const char* ORXSimRanks::FunnelCause() const {
  return m_state == nullptr ? "" : m_state->funnelCause.c_str();
}

// The writer may have made another file of that name meanwhile.
bool ORXSimRanks::Refresh() {
  if (rnk_Access::Asked(*this) == nullptr)
    return false;
  leaveFile(*m_state);
  const rnk_Agreement& agree = m_state->agree;
  agree.All(true, {});
  const bool moved = agree.IsRoot() && ORXSimManager::Refresh(m_state->context);
  if (agree.Root(moved, ORXSimManager::LastError()))
    return reach(*m_state);
  const std::string cause = rnk_Agreement::LastError();
  if (!reach(*m_state)) // what was refused has changed nothing
    m_state->funnelCause = cause;
  rnk_Agreement::SetLastError(cause);
  return false;
}

const char* ORXSimRanks::LastError() {
  return rnk_Agreement::LastError().c_str();
}
