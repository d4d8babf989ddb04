#include <campaign/camp_Workload.h>

#include <campaign/camp_Io.h>

#include <cstring>
#include <numeric>

namespace {

constexpr int kSystems = 7, kCollections = 6, kSets = 5, kDistributions = 9, kLarge = 3,
              kDrawers = 3;                    // at most
constexpr std::size_t kLargeBytes = 320 << 10; // written past the overlay of the file driver

constexpr struct {
  int system, bytes;
} kStreams[] = {{0, 100000}, {1, 100000}, {0, 160000}, {1, 160000}, {1, 150000}, {1, 200000}};
constexpr int kFirstMove = 3, kLastMove = kFirstMove + static_cast<int>(std::size(kStreams)) - 1;
constexpr int kMovesEnd = kLastMove + 4;

template <class Container>
int sizeOf(const Container& container) {
  return static_cast<int>(container.size());
}

template <class Container>
auto& at(Container& container, int i) {
  return container[static_cast<std::size_t>(i)];
}

template <class Handle>
camp_Object fresh() {
  return camp_ObjectOf<typename Handle::Traits>(typename Handle::Traits::Members());
}

template <class Handle>
camp_Object& addTo(camp_Object& parent) {
  return parent.children.emplace_back(fresh<Handle>());
}

bool write(const ORXSimDistributionRef& live, int place, int first, int rows, const std::string& bytes) {
  return live.WriteItems(place, first, rows, bytes.data(), std::ssize(bytes));
}

} // namespace

bool camp_Workload::Step(int n, camp_Session* session) {
  m_random = camp_Random(m_seed, static_cast<std::uint64_t>(n));
  m_session = session;
  if (session != nullptr && state.exists && !session->IsOpen() && !session->Open())
    return false;
  camp_Session::Watch();
  const int kind = m_random.Below(100);
  const bool good = !state.exists                ? Create()
                    : state.sim.children.empty() ? Build()
                    : moves && n < kMovesEnd     ? Move(n)
                    : kind < 72                  ? Write()
                    : kind < 84                  ? Scope()
                    : kind < 94 || stays         ? RolledBack()
                                                 : Reopen();
  return good;
}

// The streams of two systems grow past their datasets in turn, until the last one in the file, rewritten in
// place before, fits into the gap that the others have left; then comes what is written past the overlay.
bool camp_Workload::Move(int n) {
  if (n > kLastMove)
    return NewDistribution(true);
  const auto [system, bytes] = kStreams[n - kFirstMove];
  const kda_string name(m_random.Text(static_cast<std::size_t>(bytes)).c_str());
  at(MeshObject().children, system).members["systemName"] = camp_TextOf(name);
  if (!Live())
    return true;
  const auto imageBytes = [&] { return ORXSimContextRef(Context()).LastCommit().imageBytes; };
  const std::int64_t before = imageBytes();
  Mesh().systems().get(system).SystemName(name);
  return n < kLastMove || imageBytes() < before;
}

bool camp_Workload::Create() {
  state = {};
  state.exists = true;
  state.sim = fresh<msfD_Sim>();
  return !Live() || m_session->Create();
}

bool camp_Workload::Build() {
  ORXSimUpdate update(Context());
  bool good = NewCollection() && NewCollection() && NewSet(0) && NewSet(1);
  addTo<msfD_Mesh>(addTo<msfD_DiscreteModel>(state.sim));
  if (Live())
    good = !!m_session->Sim()
                 .DiscreteModel(msfD_DiscreteModel::New({}, {}, 0))
                 .Mesh(msfD_Mesh::New({}, {}, 0)) &&
           good;
  for (int kind = 0; kind < 4; ++kind)
    good = NewSystem(kind) && good;
  good = NewDistribution(false) && NewDistribution(false) && good;
  return good && Commit(update);
}

bool camp_Workload::Reopen() {
  const int option = m_random.Between(1, 2);
  if (!Live())
    return true;
  m_session->Close();
  m_session->Option(option);
  return m_session->Open();
}

bool camp_Workload::Several() {
  bool good = true;
  for (int i = m_random.Between(2, 5); i > 0; --i)
    if (m_random.OneIn(3)) {
      ORXSimUpdate inner(Context());
      good = Write() && Commit(inner) && good;
    } else {
      good = Write() && good;
    }
  return good;
}

bool camp_Workload::Scope() {
  ORXSimUpdate update(Context());
  return Several() && Commit(update);
}

bool camp_Workload::RolledBack() {
  const camp_State before = state;
  bool good = true;
  {
    ORXSimUpdate update(Context());
    good = Several();
    if (m_random.OneIn(2) && Live())
      good = update.Rollback() && good;
  }
  state = before;
  return good;
}

bool camp_Workload::Write() {
  const int kind = m_random.Below(100);
  return kind < 48   ? SetMember()
         : kind < 58 ? Overwrite(false)
         : kind < 68 ? Overwrite(true)
         : kind < 78 ? NewDistribution(m_random.OneIn(3))
         : kind < 84 ? NewDrawer(m_random.Below(sizeOf(state.distributions)), false)
         : kind < 87 ? NewCollection()
         : kind < 90 ? NewSet(m_random.Below(sizeOf(state.collections)))
         : kind < 95 ? NewSystem(m_random.Below(4))
                     : NewChild();
}

// Calls visit(handle, object) for every object, the handles empty without a session.
template <class Visit>
void camp_Workload::VisitObjects(Visit visit) {
  visit(Live() ? m_session->Sim().discreteModel() : msfD_DiscreteModel(), state.sim.children[0]);
  visit(Mesh(), MeshObject());
  for (int i = 0; i < sizeOf(MeshObject().children); ++i) {
    camp_Object& system = at(MeshObject().children, i);
    const gbb_Handle handle = Live() ? gbb_Handle(Mesh().systems().get(i)) : gbb_Handle();
    const fesD_ModalSystem modal(handle);
    const fesD_SubstructureSystem substructure(handle);
    visit(fesD_FESystem(handle), system);
    for (camp_Object& derived : system.children) {
      if (derived.name == "fesD_GenericSystem")
        visit(fesD_GenericSystem(handle), derived);
      else if (derived.name == "fesD_SubstructureSystem")
        visit(substructure, derived);
      else
        visit(modal, derived);
      for (int k = 0; k < sizeOf(derived.children); ++k)
        if (at(derived.children, k).name == "fesD_SubDamp")
          visit(Live() ? substructure.damping() : fesD_SubDamp(), at(derived.children, k));
        else
          visit(Live() ? modal.events().get(k) : fesD_ModalEvent(), at(derived.children, k));
    }
  }
}

template <class Handle>
bool camp_Workload::SetMemberOf(const Handle& handle, camp_Object& object) {
  using Table = typename gbb_MemberTable<typename Handle::Traits>::Members;
  bool good = true;
  int left = m_random.Below(static_cast<int>(std::tuple_size_v<Table>));
  gbb_ForEach<Table>([&](auto member) {
    if (left-- != 0)
      return;
    std::remove_cvref_t<decltype(std::declval<typename Handle::Traits::Members&>().*member.kField)> value{};
    Randomise(value);
    object.members[member.name()] = camp_TextOf(value);
    if (!Live())
      return;
    gbb_ObjectAccess<typename Handle::Traits> access(handle);
    good = access.members() != nullptr;
    if (!good)
      return;
    const ORXSimContextRef context(Context());
    const auto before = context.LastCommit().sequence;
    access.members()->*member.kField = value;
    access.commit();
    // A setter answers nothing, so what is read back tells, and whether it was committed.
    const bool armed = camp_Allocations::Arm(false);
    const auto* const members = handle.ReadMembers();
    good = members != nullptr && camp_TextOf(members->*member.kField) == object.members[member.name()] &&
           (!context.Barred() || context.LastCommit().sequence != before);
    camp_Allocations::Arm(armed);
  });
  return good;
}

bool camp_Workload::SetMember() {
  int objects = 0;
  VisitObjects([&](const auto&, camp_Object&) { ++objects; });
  int left = m_random.Below(objects);
  bool good = true;
  VisitObjects([&](const auto& handle, camp_Object& object) {
    if (left-- == 0)
      good = SetMemberOf(handle, object);
  });
  return good;
}

bool camp_Workload::NewSystem(int kind) {
  constexpr camp_Object (*kDerived[])() = {fresh<fesD_GenericSystem>, fresh<fesD_ModalSystem>,
                                           fresh<fesD_SubstructureSystem>};
  if (sizeOf(MeshObject().children) >= kSystems)
    return SetMember();
  camp_Object& system = addTo<fesD_FESystem>(MeshObject());
  if (kind > 0)
    system.children.push_back(kDerived[kind - 1]());
  const kda_string name(m_random.Text(static_cast<std::size_t>(m_random.Below(40))).c_str());
  system.members["systemName"] = camp_TextOf(name);
  if (!Live())
    return true;
  const auto systems = Mesh().systems();
  return !!(kind == 0   ? systems.add(fesD_FESystem::New(name, {}, {}, 0))
            : kind == 1 ? systems.add(fesD_GenericSystem::New(name, {}, {}, {}, {}, 0))
            : kind == 2 ? systems.add(fesD_ModalSystem::New(name, {}, {}, {}, {}, 0))
                        : systems.add(fesD_SubstructureSystem::New(name, {}, {}, {}, {}, {}, 0)));
}

// An event of a modal system, or the damping of a substructure that has none.
bool camp_Workload::NewChild() {
  for (int i = 0; i < sizeOf(MeshObject().children); ++i) {
    camp_Object& system = at(MeshObject().children, i);
    if (system.children.empty())
      continue;
    camp_Object& derived = system.children[0];
    const auto handle = [&] { return gbb_Handle(Mesh().systems().get(i)); };
    if (derived.name == "fesD_ModalSystem" && derived.children.size() < 3) {
      addTo<fesD_ModalEvent>(derived).members["eventTypeID"] = "5";
      return !Live() || !!fesD_ModalSystem(handle()).events().add(fesD_ModalEvent::New("", 5, {}, {}, 0));
    }
    if (derived.name == "fesD_SubstructureSystem" && derived.children.empty()) {
      addTo<fesD_SubDamp>(derived);
      return !Live() || !!fesD_SubstructureSystem(handle()).Damping(fesD_SubDamp::New(0));
    }
  }
  return SetMember();
}

bool camp_Workload::NewCollection() {
  if (sizeOf(state.collections) >= kCollections)
    return SetMember();
  state.collections.push_back({m_random.Text(8), m_random.Between(20, 400), {}});
  const camp_Collection& made = state.collections.back();
  return !Live() || !ORXSimCollectionRef::Create(Context(), made.name.c_str(), made.items).IsNull();
}

bool camp_Workload::NewSet(int collection) {
  camp_Collection& in = at(state.collections, collection);
  if (sizeOf(in.sets) >= kSets)
    return Overwrite(false);
  std::vector<int> members(static_cast<std::size_t>(m_random.Between(1, in.items)));
  std::iota(members.rbegin(), members.rend(), 0);
  in.sets.push_back(members);
  const ORXSimCollectionRef live(ORXSimCollectionID(Context(), collection + 1));
  return !Live() || !live.CreateOrderedCSet(members.data(), sizeOf(members)).IsNull();
}

int camp_Workload::RowsOf(const camp_Drawer& drawer) const {
  const camp_Collection& collection = at(state.collections, drawer.collection - 1);
  return drawer.set == 0 ? collection.items : sizeOf(at(collection.sets, drawer.set - 1));
}

ORXSimDrawerDescription camp_Workload::RandomDrawer(bool large) {
  camp_Drawer over;
  over.collection = 1 + m_random.Below(sizeOf(state.collections));
  over.set = m_random.Below(1 + sizeOf(at(state.collections, over.collection - 1).sets));
  ORXSimDrawerDescription drawer;
  drawer.members = ORXSimCSetID(ORXSimCollectionID(Context(), over.collection), over.set);
  drawer.type = static_cast<ORXSimItemType>(m_random.Below(4));
  const int row = RowsOf(over) * ORXSimItemSize(drawer.type);
  drawer.components = large ? static_cast<int>(kLargeBytes) / row + 1 : m_random.Between(1, 4);
  const int kind = m_random.Below(4);
  drawer.chunkItems = kind == 1 ? 16 : 0;
  drawer.deflate = kind == 2 ? 1 : 0;
  return drawer;
}

// Finite numbers of any type: the exponent bits of no float or double here are all ones.
std::string camp_Workload::RandomRows(const camp_Drawer& drawer, int rows) {
  std::string bytes(static_cast<std::size_t>(rows * drawer.components * ORXSimItemSize(drawer.type)), '\0');
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    const std::uint32_t word = static_cast<std::uint32_t>(m_random.Next()) & 0x3fffffff;
    std::memcpy(bytes.data() + i, &word, 4);
  }
  return bytes;
}

bool camp_Workload::NewDistribution(bool large) {
  const auto isLarge = [](const camp_Distribution& one) {
    return one.drawers[0].rows.Bytes().size() >= kLargeBytes;
  };
  const auto largeOnes = std::count_if(state.distributions.begin(), state.distributions.end(), isLarge);
  if (sizeOf(state.distributions) >= kDistributions || (large && largeOnes >= kLarge))
    return Overwrite(true);
  state.distributions.push_back({m_random.Text(6), m_random.Text(2), {}});
  return NewDrawer(sizeOf(state.distributions) - 1, large);
}

// The first drawer makes the distribution.
bool camp_Workload::NewDrawer(int distribution, bool large) {
  camp_Distribution& in = at(state.distributions, distribution);
  const int place = sizeOf(in.drawers);
  if (place >= kDrawers)
    return Overwrite(false);
  const ORXSimDrawerDescription made = RandomDrawer(large);
  camp_Drawer drawer{made.members.CollectionMinor(), made.members.Minor(), made.type, made.components, {}};
  drawer.rows = camp_Rows(RandomRows(drawer, RowsOf(drawer)));
  in.drawers.push_back(drawer);
  if (!Live())
    return true;
  ORXSimUpdate update(Context());
  const ORXSimDistributionRef live(
      place > 0 ? ORXSimDistributionID(Context(), distribution + 1)
                : ORXSimDistributionRef::Create(Context(), in.name.c_str(), in.unit.c_str(), &made, 1));
  return (place == 0 || live.AddDrawer(made) == place) &&
         write(live, place, 0, RowsOf(drawer), drawer.rows.Bytes()) && update.Commit();
}

// The whole drawer by a transfer, or some of its rows.
bool camp_Workload::Overwrite(bool whole) {
  const int number = m_random.Below(sizeOf(state.distributions));
  camp_Distribution& in = at(state.distributions, number);
  const int place = m_random.Below(sizeOf(in.drawers));
  camp_Drawer& drawer = at(in.drawers, place);
  const int rows = RowsOf(drawer), first = whole ? 0 : m_random.Below(rows);
  const int count = whole ? rows : m_random.Between(1, rows - first);
  const std::string bytes = RandomRows(drawer, count);
  std::string all = drawer.rows.Bytes();
  all.replace(bytes.size() / static_cast<std::size_t>(count) * static_cast<std::size_t>(first), bytes.size(),
              bytes);
  drawer.rows = camp_Rows(std::move(all));
  if (!Live())
    return true;
  const ORXSimDistributionRef live(ORXSimDistributionID(Context(), number + 1));
  if (!whole)
    return write(live, place, first, count, bytes);
  ORXSimTransfer transfer(live);
  transfer.SetWrite();
  transfer.SetDim(0, ORXSimCSetID(ORXSimCollectionID(Context(), drawer.collection), drawer.set));
  transfer.SetBuffer(place, static_cast<const void*>(bytes.data()), std::ssize(bytes));
  return transfer.CheckView() && transfer.ExecWrite();
}

template <class Value>
void camp_Workload::Randomise(Value& value) {
  if constexpr (std::is_same_v<Value, ORXSimCollectionID>) {
    value = {Context(), 1 + m_random.Below(sizeOf(state.collections))};
  } else if constexpr (std::is_same_v<Value, ORXSimCSetID>) {
    value = {{Context(), 1 + m_random.Below(sizeOf(state.collections))}, m_random.Below(3)};
  } else if constexpr (std::is_same_v<Value, ORXSimDistributionID>) {
    value = {Context(), 1 + m_random.Below(9)};
  } else if constexpr (std::is_same_v<Value, kda_string>) {
    const int bytes = m_random.OneIn(4) ? m_random.Between(500, 9000) : m_random.Below(30);
    value = kda_string(m_random.Text(static_cast<std::size_t>(bytes)).c_str());
  } else {
    value = static_cast<Value>(m_random.Below(1 << 30)) / 7;
  }
}

template <class Value>
void camp_Workload::Randomise(kda_MapString<Value>& value) {
  for (int i = m_random.OneIn(3) ? m_random.Between(40, 300) : m_random.Below(5); i > 0; --i) {
    Value item;
    Randomise(item);
    value.insert(kda_string((std::to_string(i) + m_random.Text(20)).c_str()), item);
  }
}

template <class Value>
void camp_Workload::Randomise(kda_MapInt<Value>& value) {
  for (int i = m_random.Below(50); i > 0; --i) {
    Value item;
    Randomise(item);
    value.insert(i * 3, item);
  }
}
