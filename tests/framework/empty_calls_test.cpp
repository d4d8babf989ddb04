// Every documented operation, called on nothing: its line, nothing else, and the null value.

#include <framework/framework_Fixture.h>

#include <functional>

namespace {

using EmptyCalls = framework_Fixture;

struct Case {
  const char* line;           // without the line's end
  std::function<bool()> call; // answers the null value?
};

template <class T>
bool isNull(const T& value) {
  if constexpr (requires { value.IsNull(); })
    return value.IsNull();
  else if constexpr (requires { value.count(); })
    return value.count() == 0;
  else
    return !value;
}

bool isNull(const kda_string& text) {
  return text.byteCount() == 0;
}

/// Does a walk end there, broken?
template <class Holder>
bool endsWalk(const Holder& where) {
  gbb_TraverseContext walk("#", gbb_Path(), 0);
  return !where.Traverse(walk) && walk.Status() == gbb_kBroken;
}

} // namespace

// An operation on an empty handle or holder; `null` says whether it answers the null value.
#define CALL_ON(kind, Class, name, null)                                                                     \
  {                                                                                                          \
    "**ERROR " #Class "::" #name ": called on an empty " kind, [] { return null; }                           \
  }
#define CALL(Class, name, null) CALL_ON("handle", Class, name, null)
// The getter and the setter of a simple member; of each kind one, they come from one template.
#define MEMBER(Class, getter, Setter)                                                                        \
  CALL(Class, getter, isNull(Class().getter())),                                                             \
      CALL(Class, Setter, (Class().Setter(Class::Traits::Members().getter), true))

TEST_F(EmptyCalls, PrintTheirLineAndAnswerNull) {
  const Case cases[] = {
      CALL(msfD_Sim, Path, !msfD_Sim().Path()),
      CALL(msfD_Sim, distributionService, isNull(msfD_Sim().distributionService().Context())),
      CALL(msfD_Sim, schemaSnapshot, !msfD_Sim().schemaSnapshot()),
      CALL(msfD_Sim, discreteModel, !msfD_Sim().discreteModel()),
      CALL(msfD_Sim, DiscreteModel, (!msfD_Sim().DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)))),
      CALL_ON("holder", msfD_SimHolder, Bind, (msfD_SimHolder().Bind(ORXSimContextID(), gbb_Group()), true)),
      CALL_ON("holder", msfD_SimHolder, SetPath, (msfD_SimHolder().SetPath(gbb_Root(), 0), true)),
      CALL_ON("base holder", msfD_SimHolder, Traverse, endsWalk(msfD_SimHolder())),

      CALL(msfD_DiscreteModel, mesh, !msfD_DiscreteModel().mesh()),
      CALL(msfD_DiscreteModel, Mesh, (!msfD_DiscreteModel().Mesh(msfD_Mesh::New({}, {}, 0)))),

      CALL(msfD_Mesh, Path, !msfD_Mesh().Path()),
      {"**ERROR msfD_MeshAccess::members: called on an empty object",
       [] {
         msfD_MeshAccess access{msfD_Mesh()};
         const bool null = access.members() == nullptr;
         access.commit();
         return null;
       }},
      CALL_ON("holder", msfD_MeshHolder, Bind, (msfD_MeshHolder().Bind(gbb_Group()), true)),
      CALL_ON("holder", msfD_MeshHolder, SetPath, (msfD_MeshHolder().SetPath(gbb_Path(), 0), true)),
      CALL_ON("base holder", msfD_MeshHolder, Traverse, endsWalk(msfD_MeshHolder())),
      MEMBER(msfD_Mesh, nodes, Nodes),
      MEMBER(msfD_Mesh, lagrangeNodes, LagrangeNodes),
      MEMBER(msfD_Mesh, meshFields, MeshFields),
      CALL(msfD_Mesh, systems, !msfD_Mesh().systems()),
      MEMBER(fesD_FESystem, systemName, SystemName),
      MEMBER(fesD_FESystem, distributions, Distributions),

      CALL(gbb_Array, count, Systems().count() == 0),
      CALL(gbb_Array, get, !Systems().get(0)),
      CALL(gbb_Array, add, (!Systems().add(fesD_FESystem::New("", {}, {}, 0)))),
      CALL_ON("holder", gbb_Holder, SetPath, (SystemsHolder().SetPath(gbb_Path(), 0), true)),
      CALL_ON("holder", gbb_Holder, Bind, (SystemsHolder().Bind(gbb_Group()), true)),

      {"**ERROR: gbb_SchemaSnapshot::GetClass: called on an empty handle",
       [] { return !gbb_SchemaSnapshot().GetClass(gbb_ClassID("com.vertana.Mesh")); }},
      {"**ERROR: gbb_Class::Open: called on an uninitialized class handle",
       [] { return gbb_Class().Open(gbb_Path(), 0, gbb_Group(), 0) == nullptr; }},
      {"**ERROR: gbb_Class::Open: called on an abstract class",
       [] { return msfD_SimInterface::StaticClass().Open(gbb_Path(), 0, gbb_Group(), 0) == nullptr; }},
      {"** ERROR gbb_RootImpl::Traverse: called on an empty handle",
       [] {
         gbb_TraverseContext walk("#", gbb_Path(), 0);
         return !gbb_Root().Traverse(walk);
       }},
      {"**ERROR gbb_LinkImpl::Get: root is empty", [] { return !gbb_SimpleLink(gbb_Path(), "#").Get(0); }},
  };
  for (const Case& each : cases) {
    EXPECT_TRUE(each.call()) << each.line;
    EXPECT_EQ(Lines(), std::string(each.line) + "\n");
  }
}

TEST_F(EmptyCalls, SayNothingWhereNothingIsWrong) {
  msfD_MeshHolder holder;
  holder.Close();
  EXPECT_TRUE(!holder.Get() && !gbb_Handle(msfD_Mesh()) && !msfD_Mesh(gbb_Handle()) && holder.Flags() == 0);
  EXPECT_TRUE(!gbb_TypedLink<msfD_Mesh>().get(0));
  EXPECT_TRUE(!gbb_Path().Parent() && !gbb_Path().Root() && gbb_Path().Index() == -1);
  msfD_Root root(1);

  // A Sim that was never given to a root is not closed by one, and is not traced.
  const msfD_SimHolder loose = msfD_Sim::New(0);
  EXPECT_EQ(loose.Get().Path().Index(), -1);
  EXPECT_TRUE(!loose.Get().Path().Root() && loose.Get().distributionService().Context().IsNull());
  root.closeSim(loose.Get());
  EXPECT_TRUE(!loose.Get().discreteModel());
}
