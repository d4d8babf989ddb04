// The descriptions of classes that a file carries: written once, with the first object, and taken back with
// it.

#include <framework/framework_Fixture.h>

namespace {

const std::string kSystem = "com.vertana.FESystem";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

class Described : public framework_Fixture {
 protected:
  Model m{Path()};

  /// What the file says of a class, "" for nothing.
  static std::string Text(const msfD_Sim& sim, const std::string& name = kSystem) {
    const hdf_Group classes = GroupAt(sim, {"classes"}).Object();
    if (!classes.GetObjinfoExists(name.c_str()))
      return "";
    const hdf_Dataset dataset = classes.DatasetOpen(name.c_str());
    std::string text(dataset.GetSpace().Elements(), '\0');
    EXPECT_TRUE(dataset.Read(hdf_Datatype::NATIVE_UCHAR, text.data(), text.size()));
    return text;
  }
  static void Put(const msfD_Sim& sim, const std::string& text) {
    const std::uint64_t length = text.size();
    EXPECT_TRUE(GroupAt(sim, {"classes"})
                    .Object()
                    .DatasetCreate(kSystem.c_str(), hdf_Datatype::NATIVE_UCHAR,
                                   hdf_Dataspace::CreateSimple(1, &length))
                    .Write(hdf_Datatype::NATIVE_UCHAR, text.data(), length));
  }
  /// Puts a text into the file and writes an object in a new session. \return what stands there then.
  std::string After(const std::string& text) {
    Put(m.sim, text);
    m.Reopen();
    EXPECT_TRUE(!!m.mesh.systems().add(System("one more")));
    return Text(m.sim);
  }
};

} // namespace

TEST_F(Described, OnceWithTheFirstObjectOfTheClass) {
  EXPECT_NE(Text(m.sim, "com.vertana.Sim"), "");
  EXPECT_EQ(Text(m.sim, "com.vertana.Mesh"), msfD_MeshTraits::kDescription);
  EXPECT_EQ(GroupAt(m.sim, {"classes"}).Object().NumLinks(), 3);
  EXPECT_EQ(Text(m.sim), "");
  m.mesh.systems().add(System("first"));
  EXPECT_EQ(Text(m.sim), fesD_FESystemTraits::kDescription);

  const std::string older = replaced(Text(m.sim), "The system's name", "a name");
  Put(m.sim, older);
  m.mesh.systems().add(fesD_GenericSystem::New("second", {}, {}, {}, {}, 0));
  EXPECT_EQ(Text(m.sim), older) << "the file is not asked again";
  EXPECT_EQ(Text(m.sim, "com.vertana.GenericSystem"), fesD_GenericSystemTraits::kDescription);
}

TEST_F(Described, TakenBackWithTheObject) {
  for (const bool again : {false, true}) {
    ORXSimUpdate update(m.sim.distributionService().Context());
    m.mesh.systems().add(System("never"));
    EXPECT_NE(Text(m.sim), "") << again;
    EXPECT_TRUE(update.Rollback());
    EXPECT_EQ(Text(m.sim), "");
  }
  m.mesh.systems().add(System("first"));
  EXPECT_EQ(Text(m.sim), fesD_FESystemTraits::kDescription);
}

TEST_F(Described, ByWhoKnowsMore) {
  m.mesh.systems().add(System("first"));
  const std::string own = Text(m.sim);
  const std::string last = own.substr(own.rfind(",\n{\"name\""), own.find("\n]") - own.rfind(",\n{\"name\""));
  for (const std::string& older :
       {replaced(own, "The system's name", "a name"), replaced(own, last, ""), own.substr(0, own.size() / 2)})
    EXPECT_EQ(After(older), own) << older;
  for (const std::string& other : {replaced(own, last, last + replaced(last, "\"index\":4", "\"index\":9")),
                                   replaced(own, "\"tag\":7", "\"tag\":3"),
                                   replaced(own, kSystem, "com.vertana.Other"), std::string("{}")})
    EXPECT_EQ(After(other), other);
}

TEST_F(Described, NothingWhereSomethingElseHasTheName) {
  EXPECT_TRUE(!!GroupAt(m.sim, {"classes"}).Object().GroupCreate(kSystem.c_str(), 0));
  EXPECT_TRUE(!!m.mesh.systems().add(System("beside a group")));
  const std::uint64_t one = 1;
  EXPECT_TRUE(RootOf(m.sim)
                  .Object()
                  .DatasetCreate("classes", hdf_Datatype::NATIVE_DOUBLE, hdf_Dataspace::CreateSimple(1, &one))
                  .Write(hdf_Datatype::NATIVE_DOUBLE, "12345678", 1));
  EXPECT_TRUE(!!m.mesh.systems().add(fesD_GenericSystem::New("beside a number", {}, {}, {}, {}, 0)));
  EXPECT_EQ(MeshOf(m.sim).systems().count(), 2);
}
