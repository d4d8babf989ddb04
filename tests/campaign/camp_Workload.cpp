#include <campaign/camp_Workload.h>

#include <campaign/camp_Api.h>

#include <cstring>
#include <numeric>

namespace {

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

template <class Handle>
camp_Object fresh() {
  return camp_ObjectOf<typename Handle::Traits>(typename Handle::Traits::Members());
}

template <class Handle>
camp_Object& addTo(camp_Object& parent) {
  return parent.children.emplace_back(fresh<Handle>());
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
                    : kind < 94                  ? RolledBack()
                                                 : Reopen();
  return good && (!Live() || (camp_Session::Clean() && !camp_Barred(m_session->Context())));
}

// The streams of two systems grow past their datasets in turn, until the last one in the file, rewritten in
// place before, fits into the gap that the others have left; then comes what is written past the overlay.
bool camp_Workload::Move(int n) {
  if (n > kLastMove)
    return NewDistribution(true);
  const bool watched = Live() && n == kLastMove;
  const std::int64_t before = watched ? camp_ImageBytes(m_session->File(), Context()) : 0;
  const bool good = SetName(kStreams[n - kFirstMove].system, kStreams[n - kFirstMove].bytes);
  return good && (!watched || camp_ImageBytes(m_session->File(), Context()) < before);
}

bool camp_Workload::SetName(int system, int bytes) {
  const kda_string name(m_random.Text(static_cast<std::size_t>(bytes)).c_str());
  MeshObject().children[static_cast<std::size_t>(system)].members["systemName"] = camp_TextOf(name);
  if (Live())
    Mesh().systems().get(system).SystemName(name);
  return true;
}

bool camp_Workload::Create() {
  state = {};
  state.exists = true;
  state.sim = fresh<msfD_Sim>();
  return !Live() || m_session->Create();
}

bool camp_Workload::Build() {
  ORXSimUpdate update(Live() ? Context() : ORXSimContextID());
  bool good = NewCollection() && NewCollection() && NewSet(0) && NewSet(1);
  addTo<msfD_Mesh>(addTo<msfD_DiscreteModel>(state.sim));
  if (Live())
    m_session->Sim().DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New({}, {}, 0));
  for (int kind = 0; kind < 4; ++kind)
    good = NewSystem(kind) && good;
  good = NewDistribution(false) && NewDistribution(false) && good;
  return good && (!Live() || update.Commit());
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
      ORXSimUpdate inner(Live() ? Context() : ORXSimContextID());
      good = Write() && (!Live() || inner.Commit()) && good;
    } else {
      good = Write() && good;
    }
  return good;
}

bool camp_Workload::Scope() {
  ORXSimUpdate update(Live() ? Context() : ORXSimContextID());
  return Several() && (!Live() || update.Commit());
}

bool camp_Workload::RolledBack() {
  if (!camp_kRollsBack<>)
    return Scope();
  const camp_State before = state;
  bool good = true;
  {
    ORXSimUpdate update(Live() ? Context() : ORXSimContextID());
    good = Several();
    if (m_random.OneIn(2) && Live())
      good = camp_Rollback(update) && good;
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
         : kind < 84 ? NewDrawer()
         : kind < 87 ? NewCollection()
         : kind < 90 ? NewSet(m_random.Below(sizeOf(state.collections)))
         : kind < 95 ? NewSystem(m_random.Below(4))
                     : NewChild();
}

// Calls visit(handle, object) for every object, the handles empty without a session.
template <class Visit>
void camp_Workload::VisitObjects(Visit visit) {
  const msfD_Mesh mesh = Mesh();
  visit(Live() ? m_session->Sim().discreteModel() : msfD_DiscreteModel(), state.sim.children[0]);
  visit(mesh, MeshObject());
  for (int i = 0; i < sizeOf(MeshObject().children); ++i) {
    camp_Object& system = MeshObject().children[static_cast<std::size_t>(i)];
    const fesD_FESystem handle = Live() ? mesh.systems().get(i) : fesD_FESystem();
    visit(handle, system);
    for (camp_Object& derived : system.children) {
      if (derived.name == "fesD_GenericSystem")
        visit(fesD_GenericSystem(gbb_Handle(handle)), derived);
      else if (derived.name == "fesD_SubstructureSystem")
        visit(fesD_SubstructureSystem(gbb_Handle(handle)), derived);
      else
        visit(fesD_ModalSystem(gbb_Handle(handle)), derived);
      for (int k = 0; k < sizeOf(derived.children); ++k) {
        camp_Object& child = derived.children[static_cast<std::size_t>(k)];
        if (child.name == "fesD_SubDamp")
          visit(Live() ? fesD_SubstructureSystem(gbb_Handle(handle)).damping() : fesD_SubDamp(), child);
        else
          visit(Live() ? fesD_ModalSystem(gbb_Handle(handle)).events().get(k) : fesD_ModalEvent(), child);
      }
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
    if (good) {
      access.members()->*member.kField = value;
      access.commit();
    }
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
  if (sizeOf(MeshObject().children) >= m_size.systems)
    return SetMember();
  camp_Object& system = addTo<fesD_FESystem>(MeshObject());
  if (kind == 1)
    addTo<fesD_GenericSystem>(system);
  else if (kind == 2)
    addTo<fesD_ModalSystem>(system);
  else if (kind == 3)
    addTo<fesD_SubstructureSystem>(system);
  const std::string name = m_random.Text(static_cast<std::size_t>(m_random.Below(40)));
  system.members["systemName"] = camp_TextOf(kda_string(name.c_str()));
  if (!Live())
    return true;
  const auto systems = Mesh().systems();
  const kda_string text(name.c_str());
  return !!(kind == 0   ? systems.add(fesD_FESystem::New(text, {}, {}, 0))
            : kind == 1 ? systems.add(fesD_GenericSystem::New(text, {}, {}, {}, {}, 0))
            : kind == 2 ? systems.add(fesD_ModalSystem::New(text, {}, {}, {}, {}, 0))
                        : systems.add(fesD_SubstructureSystem::New(text, {}, {}, {}, {}, {}, 0)));
}

// An event of a modal system, or the damping of a substructure that has none.
bool camp_Workload::NewChild() {
  for (int i = 0; i < sizeOf(MeshObject().children); ++i) {
    camp_Object& system = MeshObject().children[static_cast<std::size_t>(i)];
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
  if (sizeOf(state.collections) >= m_size.collections)
    return SetMember();
  state.collections.push_back({m_random.Text(8), m_random.Between(20, 400), {}});
  const camp_Collection& made = state.collections.back();
  return !Live() || !ORXSimCollectionRef::Create(Context(), made.name.c_str(), made.items).IsNull();
}

bool camp_Workload::NewSet(int collection) {
  camp_Collection& in = state.collections[static_cast<std::size_t>(collection)];
  if (sizeOf(in.sets) >= m_size.sets)
    return Overwrite(false);
  std::vector<int> members(static_cast<std::size_t>(m_random.Between(1, in.items)));
  std::iota(members.rbegin(), members.rend(), 0);
  in.sets.push_back(members);
  const ORXSimCollectionRef live(ORXSimCollectionID(Context(), collection + 1));
  return !Live() || !live.CreateOrderedCSet(members.data(), sizeOf(members)).IsNull();
}

int camp_Workload::RowsOf(const camp_Drawer& drawer) const {
  const camp_Collection& collection = state.collections[static_cast<std::size_t>(drawer.collection - 1)];
  return drawer.set == 0 ? collection.items
                         : sizeOf(collection.sets[static_cast<std::size_t>(drawer.set - 1)]);
}

camp_Drawer camp_Workload::RandomDrawer(bool large) {
  camp_Drawer drawer;
  drawer.collection = 1 + m_random.Below(sizeOf(state.collections));
  drawer.set =
      m_random.Below(1 + sizeOf(state.collections[static_cast<std::size_t>(drawer.collection - 1)].sets));
  drawer.type = static_cast<ORXSimItemType>(m_random.Below(4));
  const int row = RowsOf(drawer) * ORXSimItemSize(drawer.type);
  drawer.components = large ? static_cast<int>(kLargeBytes) / row + 1 : m_random.Between(1, 4);
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

ORXSimDrawerDescription camp_Workload::Describe(const camp_Drawer& drawer) {
  ORXSimDrawerDescription result;
  result.members = ORXSimCSetID(ORXSimCollectionID(Context(), drawer.collection), drawer.set);
  result.type = drawer.type;
  result.components = drawer.components;
  const int kind = m_random.Below(4);
  result.chunkItems = kind == 1 ? 16 : 0;
  result.deflate = kind == 2 ? 1 : 0;
  return result;
}

bool camp_Workload::NewDistribution(bool large) {
  int largeOnes = 0;
  for (const camp_Distribution& distribution : state.distributions)
    largeOnes += distribution.drawers[0].rows.Bytes().size() >= kLargeBytes ? 1 : 0;
  if (sizeOf(state.distributions) >= m_size.distributions ||
      (large && largeOnes >= m_size.largeDistributions))
    return Overwrite(true);
  camp_Drawer drawer = RandomDrawer(large);
  const ORXSimDrawerDescription description = Describe(drawer);
  drawer.rows = camp_Rows(RandomRows(drawer, RowsOf(drawer)));
  state.distributions.push_back({m_random.Text(6), m_random.Text(2), {drawer}});
  if (!Live())
    return true;
  const camp_Distribution& made = state.distributions.back();
  ORXSimUpdate update(Context());
  const ORXSimDistributionRef live(
      ORXSimDistributionRef::Create(Context(), made.name.c_str(), made.unit.c_str(), &description, 1));
  const std::string& bytes = drawer.rows.Bytes();
  return live.WriteItems(0, 0, RowsOf(drawer), bytes.data(), static_cast<std::int64_t>(bytes.size())) &&
         update.Commit();
}

bool camp_Workload::NewDrawer() {
  const int number = m_random.Below(sizeOf(state.distributions));
  camp_Distribution& in = state.distributions[static_cast<std::size_t>(number)];
  if (sizeOf(in.drawers) >= m_size.drawers)
    return Overwrite(false);
  camp_Drawer drawer = RandomDrawer(false);
  const ORXSimDrawerDescription description = Describe(drawer);
  drawer.rows = camp_Rows(RandomRows(drawer, RowsOf(drawer)));
  in.drawers.push_back(drawer);
  if (!Live())
    return true;
  ORXSimUpdate update(Context());
  const ORXSimDistributionRef live(ORXSimDistributionID(Context(), number + 1));
  const int place = live.AddDrawer(description);
  const std::string& bytes = drawer.rows.Bytes();
  return place == sizeOf(in.drawers) - 1 &&
         live.WriteItems(place, 0, RowsOf(drawer), bytes.data(), static_cast<std::int64_t>(bytes.size())) &&
         update.Commit();
}

// The whole drawer by a transfer, or some of its rows.
bool camp_Workload::Overwrite(bool whole) {
  const int number = m_random.Below(sizeOf(state.distributions));
  camp_Distribution& in = state.distributions[static_cast<std::size_t>(number)];
  const int place = m_random.Below(sizeOf(in.drawers));
  camp_Drawer& drawer = in.drawers[static_cast<std::size_t>(place)];
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
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (!whole)
    return live.WriteItems(place, first, count, bytes.data(), size);
  ORXSimTransfer transfer(live);
  transfer.SetWrite();
  transfer.SetDim(0, ORXSimCSetID(ORXSimCollectionID(Context(), drawer.collection), drawer.set));
  transfer.SetBuffer(place, static_cast<const void*>(bytes.data()), size);
  return transfer.CheckView() && transfer.ExecWrite();
}

void camp_Workload::Randomise(ORXSimCollectionID& value) {
  value = {Context(), 1 + m_random.Below(sizeOf(state.collections))};
}

void camp_Workload::Randomise(ORXSimCSetID& value) {
  ORXSimCollectionID of;
  Randomise(of);
  value = {of, m_random.Below(3)};
}

void camp_Workload::Randomise(ORXSimDistributionID& value) {
  value = {Context(), 1 + m_random.Below(9)};
}

void camp_Workload::Randomise(kda_string& value) {
  const int bytes = m_random.OneIn(4) ? m_random.Between(500, 9000) : m_random.Below(30);
  value = kda_string(m_random.Text(static_cast<std::size_t>(bytes)).c_str());
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
