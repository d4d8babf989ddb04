#include <UTI_ORXSimDynamicAPI/ORXSim_Helpers.h>

#include <UTI_ORXSimDynamicAPI/bulk/ORXSim_DrawerFile.h>

#include <cstring>

namespace {
constexpr auto kKind = ORXSimStoreCall::kDistributions;
constexpr std::int64_t kWorthLending = std::int64_t{64} << 10; // bytes; less is sent faster than agreed on
constexpr int kMostTries = 16; // spaces that are looked at before a drawer is not lent

ORXSimDrawerPlace describe(ORXSimDrawerFile& drawer) {
  ORXSimDrawerPlace place;
  place.rowBytes = drawer.BytesOf(1);
  place.rows = drawer.Items();
  place.components = drawer.Components();
  place.blockRows = drawer.BlockRows();
  place.type = drawer.Type();
  return place;
}

// That a drawer does not lie as memory has it is no failure here.
bool findOffset(ORXSimStoreCall& call, const ORXSimDrawerFile& drawer, ORXSimDrawerPlace& place) {
  std::uint64_t offset = 0;
  if (!drawer.Lies(offset))
    return false;
  place.offset = static_cast<std::int64_t>(offset);
  return call.Context()->hold != nullptr;
}

bool isPatched(ORXSimStoreCall& call, const ORXSimDrawerPlace& place) {
  bool found = false;
  const H5J_take_patch_t one = [](std::uint64_t, const unsigned char*, void* into) -> herr_t {
    *static_cast<bool*>(into) = true;
    return -1; // one is enough
  };
  const herr_t told = H5Jpatches(call.Context()->hold.get(), static_cast<std::uint64_t>(place.offset),
                                 static_cast<std::uint64_t>(place.Bytes()), one, &found);
  return told < 0 || found; // what failed is told when they are asked for
}
} // namespace

bool ORXSimDrawerPlace::Look(ORXSimDistributionID distribution, int number, ORXSimDrawerPlace& place,
                             std::vector<std::uint64_t>& sums) {
  return ORXSimStoreCall::Run("read drawer", distribution.Context(), kKind, [&](ORXSimStoreCall& call) {
    sums.clear();
    ORXSimDrawerFile drawer = ORXSimDrawerFile::OpenOf(call, distribution.Minor(), number);
    const ORXSimBlockSums* const known = drawer.IsOpen() ? drawer.Rows().Sums(call.Operation()) : nullptr;
    if (known == nullptr)
      return false;
    place = describe(drawer);
    place.kept = known->IsKept();
    place.direct = findOffset(call, drawer, place);
    if (place.direct)
      place.patched = isPatched(call, place);
    if (place.kept)
      sums = known->All();
    return true;
  });
}

bool ORXSimDrawerPlace::ForEachPatch(ORXSimContextID context, std::int64_t first, std::int64_t end,
                                     const std::function<bool(std::int64_t, const unsigned char*)>& take) {
  return ORXSimStoreCall::Run("read drawer", context, kKind, [&](ORXSimStoreCall& call) {
    if (!call.Operation().Usable())
      return false;
    struct Taker {
      const std::function<bool(std::int64_t, const unsigned char*)>& take;
      bool ended = false;
    } taker{take};
    // No exception may pass through C.
    const H5J_take_patch_t one = [](std::uint64_t at, const unsigned char* bytes, void* into) -> herr_t {
      auto& to = *static_cast<Taker*>(into);
      to.ended = !hdf_Try(false, [&] { return to.take(static_cast<std::int64_t>(at), bytes); });
      return to.ended ? -1 : 0;
    };
    const bool told = H5Jpatches(call.Context()->hold.get(), static_cast<std::uint64_t>(first),
                                 static_cast<std::uint64_t>(end - first), one, &taker) >= 0;
    return told || (!taker.ended && call.Operation().Refuse(H5Jlast_error()));
  });
}

std::uint64_t ORXSimDrawerPlace::SumOf(const void* bytes, std::size_t count) {
  return ORXSimBlockSums::SumOf(bytes, count);
}

struct ORXSimDrawerLoan::State {
  ORXSimContextID context;
  ORXSimDrawerFile drawer, twin; // a twin that is not open: the drawer's own space is lent
  bool lent = false, toOthers = true;

  ~State() {
    const hdf_Silence silence; // HDF5 is called, and other threads may be in it
    twin = ORXSimDrawerFile();
    drawer = ORXSimDrawerFile();
  }

  // Lends the space of one of the two. Positive when it is lent, 0 when somebody may still read there.
  htri_t Lend(ORXSimStoreCall& call, const ORXSimDrawerFile& target, ORXSimDrawerPlace& place) {
    std::uint64_t first = 0, end = 0;
    if (!findOffset(call, target, place))
      return 0;
    const htri_t done = H5Jlend(call.Context()->hold.get(), static_cast<std::uint64_t>(place.offset),
                                static_cast<std::uint64_t>(place.Bytes()), &first, &end);
    if (done < 0)
      call.Operation().Refuse(H5Jlast_error());
    place.lentFirst = static_cast<std::int64_t>(first);
    place.lentEnd = static_cast<std::int64_t>(end);
    place.direct = lent = done > 0;
    // What nobody else writes needs no loan, only the space.
    if (lent && !toOthers && H5Jtake_back(call.Context()->hold.get(), true) < 0)
      return call.Operation().Refuse(H5Jlast_error()), -1;
    return done;
  }

  // Space that is not to be lent is held until one is found that is: HDF5 would give it out again.
  bool FindSpace(ORXSimStoreCall& call, ORXSimDrawerPlace& place) {
    hdf_Operation& operation = call.Operation();
    if (!drawer.Rows().IsWritten(operation))
      if (const htri_t done = Lend(call, drawer, place); done != 0)
        return done > 0;
    if (!drawer.HasOneName())
      return true;
    std::vector<ORXSimDrawerFile> held;
    for (int tried = 0; tried < kMostTries; ++tried) {
      ORXSimDrawerFile next = drawer.MakeTwin(operation);
      if (!next.IsOpen())
        return false;
      const htri_t done = Lend(call, next, place);
      if (done > 0)
        twin = std::move(next);
      if (done != 0)
        return done > 0;
      held.push_back(std::move(next));
    }
    return true;
  }

  bool End(ORXSimStoreCall& call, const std::vector<std::uint64_t>& sums) {
    hdf_Operation& operation = call.Operation();
    if (!call.Writable())
      return false;
    ORXSimDrawerFile& target = twin.IsOpen() ? twin : drawer;
    if (!target.HasStayed())
      return operation.Refuse("the drawer was taken back while it was lent");
    if (sums.size() != static_cast<std::size_t>(describe(target).Blocks()))
      return operation.Refuse("there is not one checksum for each block");
    return target.Rows().KeepSums(operation, sums.data()) &&
           (!twin.IsOpen() || drawer.GiveWay(operation, twin)) && call.Context()->EndWrite(operation);
  }
};

ORXSimDrawerLoan::ORXSimDrawerLoan() noexcept = default;
ORXSimDrawerLoan::ORXSimDrawerLoan(ORXSimDrawerLoan&& other) noexcept = default;
ORXSimDrawerLoan& ORXSimDrawerLoan::operator=(ORXSimDrawerLoan&& other) noexcept = default;
ORXSimDrawerLoan::~ORXSimDrawerLoan() {
  GiveUp("a loan was left without its end");
}

bool ORXSimDrawerLoan::Begin(ORXSimDistributionID distribution, int number, ORXSimDrawerPlace& place,
                             bool toOthers) {
  GiveUp("a loan was left without its end");
  return ORXSimStoreCall::Run("lend drawer", distribution.Context(), kKind, [&](ORXSimStoreCall& call) {
    if (!call.Writable())
      return false;
    if (call.Context()->scopes == 0)
      return call.Operation().Refuse("a loan needs an update scope");
    auto state = std::make_unique<State>();
    state->context = distribution.Context();
    state->toOthers = toOthers;
    state->drawer = ORXSimDrawerFile::OpenOf(call, distribution.Minor(), number);
    if (!state->drawer.IsOpen())
      return false;
    place = describe(state->drawer);
    const ORXSimBlockSums* const sums = state->drawer.Rows().Sums(call.Operation());
    if (sums == nullptr)
      return false;
    place.kept = sums->IsKept();
    const bool worth = place.Bytes() >= kWorthLending && findOffset(call, state->drawer, place);
    if (worth && !state->FindSpace(call, place))
      return false;
    if (state->lent)
      m_state = std::move(state);
    return true;
  });
}

bool ORXSimDrawerLoan::Put(std::int64_t offset, const void* bytes, std::int64_t count) {
  const ORXSimContextID context = m_state != nullptr ? m_state->context : ORXSimContextID();
  return ORXSimStoreCall::Run("write drawer", context, kKind, [&](ORXSimStoreCall& call) {
    if (!call.Writable())
      return false;
    return H5Jput(call.Context()->hold.get(), static_cast<std::uint64_t>(offset),
                  static_cast<std::uint64_t>(count), bytes) >= 0 ||
           call.Operation().Refuse(H5Jlast_error());
  });
}

bool ORXSimDrawerLoan::End(const std::vector<std::uint64_t>& sums) {
  const auto state = std::move(m_state);
  const ORXSimContextID context = state != nullptr ? state->context : ORXSimContextID();
  return ORXSimStoreCall::Run("write drawer", context, kKind, [&](ORXSimStoreCall& call) {
    if (!call.Operation().Usable())
      return false;
    H5Jtake_back(call.Context()->hold.get(), true);
    const bool done = state->End(call, sums);
    if (!done)
      call.Context()->Bar(hdf_Operation::LastCause());
    return done;
  });
}

void ORXSimDrawerLoan::GiveUp(const std::string& why) {
  const auto state = std::move(m_state);
  if (state == nullptr)
    return;
  ORXSimStoreCall::Run("write drawer", state->context, kKind, [&](ORXSimStoreCall& call) {
    if (!call.Operation().Usable()) // its file is closed
      return false;
    H5Jtake_back(call.Context()->hold.get(), false);
    call.Context()->Bar(why);
    return call.Operation().Refuse(why);
  });
}

struct ORXSimHelper::State {
  H5J_help_t* help = nullptr;

  ~State() {
    if (help != nullptr)
      H5Jend_help(help);
  }
};

ORXSimHelper::ORXSimHelper() noexcept = default;
ORXSimHelper::ORXSimHelper(ORXSimHelper&& other) noexcept = default;
ORXSimHelper& ORXSimHelper::operator=(ORXSimHelper&& other) noexcept = default;
ORXSimHelper::~ORXSimHelper() = default;

std::string ORXSimHelper::Tell(ORXSimContextID context) {
  return ORXSimStoreCall::Run("tell helpers", context, kKind, [&](ORXSimStoreCall& call) {
    std::string told;
    H5J_share_t share;
    if (!call.Operation().Usable())
      return told;
    if (H5Jshare(call.Context()->hold.get(), &share) < 0)
      return call.Operation().Refuse(H5Jlast_error()), told;
    told.assign(reinterpret_cast<const char*>(&share), sizeof share);
    return told += call.Context()->fileName;
  });
}

ORXSimHelper::Facts ORXSimHelper::FactsOf(const std::string& told) {
  H5J_share_t share{};
  if (told.size() < sizeof share)
    return {};
  std::memcpy(&share, told.data(), sizeof share);
  return {share.name, told.substr(sizeof share), share.reads != 0, share.power != 0};
}

bool ORXSimHelper::Open(const std::string& told, int number, std::string& cause) {
  H5J_share_t share;
  m_state.reset();
  if (told.size() < sizeof share || number < 0) {
    cause = "nothing was told of the file";
    return false;
  }
  std::memcpy(&share, told.data(), sizeof share);
  auto state = std::make_unique<State>();
  state->help = H5Jhelp(&share, static_cast<unsigned>(number));
  if (state->help == nullptr) {
    cause = H5Jlast_error();
    return false;
  }
  m_state = std::move(state);
  return true;
}

void ORXSimHelper::Close() {
  m_state.reset();
}
