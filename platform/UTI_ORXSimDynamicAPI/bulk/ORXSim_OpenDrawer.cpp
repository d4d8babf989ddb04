#include <UTI_ORXSimDynamicAPI/ORXSim_OpenDrawer.h>

#include <UTI_ORXSimDynamicAPI/ORXSim_Distribution.h>
#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

namespace {
constexpr auto kKind = ORXSimStoreCall::kDistributions;
}

struct ORXSimOpenDrawer::State {
  ORXSimDistributionID distribution;
  int number;
  ORXSimDrawerFile file;
  int blockRows;

  ~State() {
    const hdf_Silence silence; // HDF5 is called, and other threads may be in it
    file = ORXSimDrawerFile();
  }

  // Sees to it that the drawer is open.
  bool Wake(ORXSimStoreCall& call) {
    if (!call.Operation().Usable())
      return false;
    if (!file.HasStayed()) {
      ORXSimDrawerFile found = ORXSimDrawerFile::OpenOf(call, distribution.Minor(), number);
      if (!found.IsOpen() ||
          (!found.IsLike(file) &&
           !call.Operation().Refuse("the drawer has another type or shape than the one that was opened")))
        return false;
      file = std::move(found);
      blockRows = file.BlockRows();
    }
    file.Name(call.Operation());
    return true;
  }

  // Runs the work with the open drawer.
  template <class Work>
  static bool Run(const char* what, State* state, Work work) {
    const ORXSimContextID context = state != nullptr ? state->distribution.Context() : ORXSimContextID();
    return ORXSimStoreCall::Run(what, context, kKind, [&](ORXSimStoreCall& call) {
      if (state == nullptr)
        return call.Operation().Refuse("there is no drawer");
      return state->Wake(call) && work(call, state->file);
    });
  }
};

ORXSimOpenDrawer::ORXSimOpenDrawer() noexcept = default;
ORXSimOpenDrawer::ORXSimOpenDrawer(ORXSimOpenDrawer&& other) noexcept = default;
ORXSimOpenDrawer& ORXSimOpenDrawer::operator=(ORXSimOpenDrawer&& other) noexcept = default;
ORXSimOpenDrawer::~ORXSimOpenDrawer() = default;

ORXSimOpenDrawer ORXSimDistributionRef::OpenDrawer(int number) const {
  return ORXSimStoreCall::Run("open drawer", m_id.Context(), kKind, [&](ORXSimStoreCall& call) {
    ORXSimOpenDrawer opened;
    ORXSimDrawerFile file = ORXSimDrawerFile::OpenOf(call, m_id.Minor(), number);
    if (file.IsOpen()) {
      const int blockRows = file.BlockRows();
      opened.m_state.reset(new ORXSimOpenDrawer::State{m_id, number, std::move(file), blockRows});
    }
    return opened;
  });
}

ORXSimItemType ORXSimOpenDrawer::Type() const {
  return m_state == nullptr ? ORXSimItemType::kDouble : m_state->file.Type();
}

int ORXSimOpenDrawer::Components() const {
  return m_state == nullptr ? 0 : m_state->file.Components();
}

int ORXSimOpenDrawer::Items() const {
  return m_state == nullptr ? 0 : m_state->file.Items();
}

int ORXSimOpenDrawer::BlockRows() const {
  return m_state == nullptr ? 1 : m_state->blockRows;
}

bool ORXSimOpenDrawer::Read(int first, int count, void* buffer, std::int64_t bytes) const {
  return State::Run("read drawer", m_state.get(), [&](ORXSimStoreCall& call, ORXSimDrawerFile& drawer) {
    return drawer.Move(call.Operation(), first, count, bytes, buffer, nullptr);
  });
}

bool ORXSimOpenDrawer::Write(int first, int count, const void* buffer, std::int64_t bytes) const {
  return State::Run("write drawer", m_state.get(), [&](ORXSimStoreCall& call, ORXSimDrawerFile& drawer) {
    return call.Writable() && drawer.Move(call.Operation(), first, count, bytes, nullptr, buffer) &&
           call.Context()->EndWrite(call.Operation());
  });
}
