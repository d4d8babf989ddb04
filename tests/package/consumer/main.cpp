// Writes objects of the host's own classes into the file named on the command line and reads them back.
#include <PDM_Core/PDM_Core.h>
#include <host/hostD_ControlSystem.h>

#include <cstdio>
#include <limits>
#include <string>

namespace {

constexpr int kMany = 40; // more than a list or a node block holds at first

ORXSimContextID s_context; // of the open file

// The i-th value of a type; hardly two are alike; the empty and the extreme are among them.
template <class T>
T sample(int i) {
  if constexpr (std::is_arithmetic_v<T>)
    return i == 3   ? std::numeric_limits<T>::lowest()
           : i == 4 ? std::numeric_limits<T>::infinity() // 0 of an integer
                    : static_cast<T>(i * 1.25 + 1);
  else if constexpr (std::is_same_v<T, kda_string>)
    return i == 0 ? kda_string() : kda_string(("text " + std::to_string(i)).c_str());
  else if constexpr (std::is_same_v<T, ORXSimCSetID>)
    return ORXSimCSetID(ORXSimCollectionID(s_context, 1 + i % 3), i);
  else
    return T(s_context, i + 1);
}

template <class T>
void fill(T& value) {
  value = sample<T>(3);
}
template <class T>
void fill(kda_List<T>& list) {
  for (int i = 0; i < kMany; ++i)
    list.append(sample<T>(i), 1);
}
template <class T>
void fill(kda_MapInt<T>& map) {
  for (int i = 0; i < kMany; ++i)
    map.insert(i * i - 100, sample<T>(i));
}
template <class T>
void fill(kda_MapString<T>& map) {
  for (int i = 0; i < kMany; ++i)
    map.insert(sample<kda_string>(i), sample<T>(i));
}

template <class T>
bool same(const T& a, const T& b) {
  if constexpr (!requires { a.count(); }) {
    return a == b;
  } else {
    bool good = a.count() == kMany && b.count() == kMany;
    if constexpr (requires { a.capacity(); })
      for (int i = 0; good && i < kMany; ++i)
        good = a[i] == b[i];
    else
      a.ForEach([&](const auto& key, const auto& value) { good &= b.isMember(key) && b.get(key) == value; });
    return good;
  }
}
template <class T>
bool holds(const T& value) {
  T wanted{};
  fill(wanted);
  return same(wanted, value);
}

void registerClasses(const msfD_Sim& sim) {
  s_context = sim.distributionService().Context();
  sim.schemaSnapshot().Register(hostD_ControlSystemInterface::StaticClass());
  sim.schemaSnapshot().Register(hostD_EverythingInterface::StaticClass());
}

void build(msfD_Root& root, const char* file) {
  const msfD_Sim sim = root.createSim(file, "", -1);
  registerClasses(sim);
  const msfD_DiscreteModel model = sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  const msfD_Mesh mesh = model.Mesh(msfD_Mesh::New({}, {}, 0));
  const hostD_ControlSystem system{
      mesh.systems().add(hostD_ControlSystem::New("controlled", {}, {}, 2.5, 0))};
  hostD_EverythingAccess access(system.Everything(hostD_Everything::New(0)));
  gbb_ForEach<gbb_MemberTable<hostD_EverythingTraits>::Members>(
      [&](auto member) { fill(access.members()->*member.kField); });
  access.commit();
  root.closeSim(sim);
}

bool check(bool condition, const char* what) {
  if (!condition)
    std::fprintf(stderr, "consumer: %s\n", what);
  return condition;
}

bool read(msfD_Root& root, const char* file) {
  const msfD_Sim sim = root.openSimReadOnly(file, "", -1);
  if (!check(!!sim, ORXSimManager::LastError()))
    return false;
  registerClasses(sim);
  const auto base = sim.discreteModel().mesh().systems().get(0);
  const hostD_ControlSystem system{base};
  int members = 0;
  bool good = check(!!system && system.gain() == 2.5, "the derived system's own member");
  good &= check(base.systemName() == "controlled", "a member of its base part");
  gbb_ForEachMember(system.everything(), [&](auto member, const auto& value) {
    ++members;
    good &= check(holds(value), member.name());
  });
  return good & check(members == 44, "the number of members");
}

} // namespace

int main(int, char** arguments) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules);
  bool good = false;
  {
    msfD_Root root(0);
    build(root, arguments[1]);
    good = read(root, arguments[1]);
  }
  DDB_PDM_Core_finalize(modules);
  return good && modules == 0 ? 0 : 1;
}
