// A host's own classes, generated from its own schema, stored among those of the library.

#include <containers/Values.h>
#include <framework/framework_Fixture.h>

#include <hst/hstD_Beam.h>
#include <hst/hstD_Frame.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

using HostClasses = framework_Fixture;

void addTo(const msfD_Sim& sim) {
  for (const gbb_Class each : {hstD_BeamInterface::StaticClass(), hstD_PartInterface::StaticClass(),
                               hstD_EverythingInterface::StaticClass()})
    EXPECT_TRUE(sim.schemaSnapshot().Register(each));
}

kda_List<kda_string> tagsOf(std::initializer_list<const char*> texts) {
  kda_List<kda_string> tags;
  for (const char* const text : texts)
    tags.append(text, 1);
  return tags;
}

constexpr int kMany = 40; // more than a list or a node block holds at first

/// Fills a member of any type with values, hardly two alike, none of them null; the extreme are among them.
struct Filler {
  ORXSimContextID file;

  template <class T>
  void operator()(T& value) const {
    value = makeValue<T>(kMany + 1, file);
  }
  template <class T>
  void operator()(kda_List<T>& list) const {
    for (int i = 0; i < kMany; ++i)
      list.append(makeValue<T>(i + 1, file), 1);
    if constexpr (std::is_arithmetic_v<T>)
      for (const T extreme : {std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max(),
                              std::numeric_limits<T>::infinity()}) // 0 of an integer
        list.append(extreme, 1);
  }
  template <class T>
  void operator()(kda_MapInt<T>& map) const {
    for (int i = 0; i < kMany; ++i)
      map.insert(i * i - 100, makeValue<T>(i + 1, file));
  }
  template <class T>
  void operator()(kda_MapString<T>& map) const {
    for (int i = 0; i < kMany; ++i)
      map.insert(makeValue<kda_string>(i), makeValue<T>(i + 1, file));
  }
};

template <class T>
bool same(const T& a, const T& b) {
  if constexpr (!requires { a.count(); }) {
    return a == b;
  } else {
    bool good = a.count() >= kMany && a.count() == b.count();
    if constexpr (requires { a.capacity(); })
      for (int i = 0; good && i < a.count(); ++i)
        good = a[i] == b[i];
    else
      a.ForEach([&](const auto& key, const auto& value) { good &= b.isMember(key) && b.get(key) == value; });
    return good;
  }
}

} // namespace

TEST_F(HostClasses, AreStoredAndOpenedAsWhatTheyAre) {
  const gbb_Class beamClass = hstD_BeamInterface::StaticClass();
  Model a(Path());
  addTo(a.sim);
  {
    hstD_BeamHolder holder = hstD_Beam::New("beam", {}, {}, 2.5, tagsOf({"x", "", "z"}), 0);
    const hstD_Beam beam = holder.Get();
    EXPECT_STREQ(holder.FESystemSubobject().Get().systemName().cStr(), "beam");
    beam.parts().add(hstD_Part::New(0)).XInt(1);
    const fesD_FESystem system = a.mesh.systems().add(std::move(holder));
    EXPECT_TRUE(!holder && hstD_Beam(system) == beam);
    EXPECT_TRUE(gbb_Handle(system) == gbb_Handle(beam));
    EXPECT_TRUE(gbb_Handle(system).Class() == beamClass) << "most derived";
    a.mesh.systems().add(System("plain"));
    EXPECT_TRUE(!hstD_Beam(a.mesh.systems().get(1))) << "unrelated: empty, without a line";
    // Bound by now.
    system.SystemName("renamed");
    beam.Stiffness(-0.0);
    const hstD_Part part = beam.Spare(hstD_Part::New(0));
    part.XInt(INT_MIN);
    beam.parts().add(hstD_Part::New(0)).XInt(2);
  }
  a.Reopen();
  const msfD_Sim& sim = a.sim;
  EXPECT_TRUE(!a.mesh.systems().get(0));
  EXPECT_EQ(Lines(), "**ERROR fesD_FESystemHolder::Open: class " + std::string(beamClass.ClassID().text, 80) +
                         " is not registered\n")
      << "80 bytes, no terminator";
  addTo(sim);
  const fesD_FESystem system = a.mesh.systems().get(0);
  EXPECT_STREQ(system.systemName().cStr(), "renamed");
  const hstD_Beam beam(system);
  ASSERT_FALSE(!beam);
  EXPECT_TRUE(beam.stiffness() == 0 && std::signbit(beam.stiffness()));
  EXPECT_EQ(beam.tags().count(), 3);
  EXPECT_STREQ(beam.tags()[2].cStr(), "z");
  ASSERT_EQ(beam.parts().count(), 2);
  EXPECT_TRUE(beam.parts().get(0).xInt() == 1 && beam.parts().get(1).xInt() == 2);
  EXPECT_EQ(beam.spare().xInt(), INT_MIN);

  // Links go through the system to its own children.
  gbb_LinkHolder link(new gbb_SimpleLink(sim.Path(), "#/discreteModel/mesh/systems/0/parts/1"));
  EXPECT_TRUE(gbb_TypedLink<hstD_Part>(link).get(0) == beam.parts().get(1));
  gbb_LinkHolder toBeam(new gbb_SimpleLink(beam.parts().get(1).Path(), "#/discreteModel/mesh/systems/0"));
  EXPECT_TRUE(gbb_TypedLink<hstD_Beam>(toBeam).get(0) == beam);
  EXPECT_TRUE(gbb_TypedLink<fesD_FESystem>(toBeam).get(0) == system);

  // An optional child that is not there.
  EXPECT_TRUE(!hstD_Frame::New(0).Get().only());
}

// Into a file that described_test.py reads, where the environment says.
TEST_F(HostClasses, KeepMembersOfEveryType) {
  const char* const named = std::getenv("PDM_HOST_FILE");
  Model a(named != nullptr ? named : Path());
  addTo(a.sim);
  const hstD_Beam beam(a.mesh.systems().add(hstD_Beam::New("beam", {}, {}, 2.5, tagsOf({"x", "", "z"}), 0)));
  for (const int x : {1, 2})
    beam.parts().add(hstD_Part::New(0)).XInt(x);
  {
    hstD_EverythingAccess access(beam.Everything(hstD_Everything::New(0)));
    const Filler fill{ContextOf(a.sim)};
    gbb_ForEach<gbb_MemberTable<hstD_EverythingTraits>::Members>(
        [&](auto member) { fill(access.members()->*member.kField); });
    access.commit();
    const unsigned char two = 2; // whatever a host has put there, a flag is true or false
    std::memcpy(&access.members()->singleBool, &two, sizeof two);
    const bool flag = beam.everything().singleBool();
    EXPECT_EQ(std::memcmp(&flag, "\1", 1), 0);
  }
  a.Reopen();
  addTo(a.sim);
  const hstD_Everything everything = hstD_Beam(a.mesh.systems().get(0)).everything();
  int members = 0;
  gbb_ForEachMember(everything, [&](auto member, const auto& value) {
    std::remove_cvref_t<decltype(value)> wanted{};
    Filler{ContextOf(a.sim)}(wanted);
    EXPECT_TRUE(same(wanted, value)) << member.name();
    ++members;
  });
  EXPECT_EQ(members, 44);
}

TEST_F(HostClasses, MoveWholeOrNotAtAllAndTraceTheBasePartUnderItsOwnName) {
  hstD_BeamHolder holder = hstD_Beam::New("beam", {}, {}, 1, {}, 0);
  EXPECT_EQ(holder.Flags(), 1u);
  fesD_FESystemHolder base = holder;
  EXPECT_TRUE(!holder && !!base && !fesD_FESystemHolder(hstD_BeamHolder()));
  EXPECT_STREQ(base.Get().systemName().cStr(), "beam");
  base.Close(); // destroys the beam, not only its part
  EXPECT_TRUE(!holder.FESystemSubobject());
  EXPECT_EQ(Lines(), "**ERROR hstD_BeamHolder::FESystemSubobject: called on an empty holder\n");

  Model(Path()).mesh.systems().add(hstD_Beam::New("beam", {}, {}, 1, {}, 1));
  EXPECT_EQ(Lines(), "hstD_BeamImpl::Bind\n"
                     "hstD_BeamImpl::CreateMembers: creating hstD_BeamMembers\n"
                     "hstD_BeamImpl::BindMembers: saving hstD_BeamMembers\n"
                     "fesD_FESystemImpl::Bind\n"
                     "fesD_FESystemImpl::CreateMembers: creating fesD_FESystemMembers\n"
                     "fesD_FESystemImpl::BindMembers: saving fesD_FESystemMembers\n"
                     "gbb_ArrayImpl::Bind\n");
}
