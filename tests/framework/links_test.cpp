// Paths, link texts and walks from a root to an object.

#include <framework/framework_Fixture.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {
int s_news = 0; // blocks that this process has taken from the global heap of C++
}
[[gnu::noinline]] void* operator new(std::size_t n) {
  ++s_news;
  if (void* const block = std::malloc(n + (n == 0)))
    return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  ++s_news;
  return std::malloc(n + (n == 0));
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

using Paths = framework_Fixture;
using Links = framework_Fixture;

/// Answers every walk with the handle and status it was given, and keeps what it was asked.
class StubRoot : public gbb_RootImpl {
 public:
  gbb_Handle Traverse(gbb_TraverseContext& context) override {
    ++walks;
    flags = context.Flags();
    steps.clear();
    while (context.Advance())
      steps.push_back(std::to_string(context.Phase()) + ":" + context.Component());
    EXPECT_EQ(context.Step(), -1);
    EXPECT_EQ(context.Phase(), 0);
    context.SetStatus(status);
    return answer;
  }
  int walks = 0;
  unsigned flags = 0;
  std::vector<std::string> steps;
  gbb_LinkStatus status = gbb_kResolved;
  gbb_Handle answer;
};

std::vector<std::string> stepsOf(const char* target) {
  StubRoot root;
  const gbb_PathImpl top(gbb_Root(&root), 0);
  gbb_SimpleLink(gbb_Path(&top), target).Get(0);
  return root.steps;
}

} // namespace

TEST_F(Paths, LeadToTheNearestRoot) {
  StubRoot root, nearer;
  const gbb_PathImpl top(gbb_Root(&root), 4), one(gbb_Path(&top), 5), two(gbb_Path(&one), 6),
      three(gbb_Path(&two), 7);
  const gbb_Path deep(&three);
  EXPECT_EQ(deep.Index(), 7);
  EXPECT_EQ(deep.Parent().Index(), 6);
  EXPECT_TRUE(deep.Root() == gbb_Root(&root));
  EXPECT_TRUE(deep.Top() == gbb_Path(&top));
  const gbb_PathImpl loose, below(gbb_Path(&loose), 1), own(gbb_Root(&nearer), 2),
      underOwn(gbb_Path(&own), 3);
  EXPECT_TRUE(!gbb_Path(&below).Root() && gbb_Path(&loose).Index() == -1);
  EXPECT_TRUE(gbb_Path(&underOwn).Root() == gbb_Root(&nearer));
}

TEST_F(Links, TextsBecomeSteps) {
  using Steps = std::vector<std::string>;
  const std::pair<const char*, Steps> texts[] = {
      {"", {"0:"}},
      {"#/", {"0:"}},
      {"b#", {"0:b"}},
      {"#/a/./b/../c", {"0:", "1:a", "1:c"}},
      {"where#//a///b//", {"0:where", "1:a", "1:b"}},
      {"#../../a/..", {"0:"}},
      {"#a/b/../../../c", {"0:", "1:c"}},
      {"w#x#y/z", {"0:w", "1:x#y", "1:z"}},
      {"#.../..a/a..", {"0:", "1:...", "1:..a", "1:a.."}},
  };
  for (const auto& [text, steps] : texts)
    EXPECT_EQ(stepsOf(text), steps) << text;
}

TEST_F(Links, KeepTheirLastSuccessForBitTwo) {
  StubRoot root;
  const gbb_PathImpl top(gbb_Root(&root), 0);
  int first = 0, second = 0;
  root.answer = gbb_Handle(&first, gbb_SchemaSnapshot::StaticClass());
  gbb_SimpleLink link(gbb_Path(&top), "#/x");
  const unsigned cache = 4;

  EXPECT_EQ(link.Get(cache).Object(), &first) << "nothing cached yet";
  EXPECT_EQ(root.flags, cache);
  root.answer = gbb_Handle(&second, gbb_SchemaSnapshot::StaticClass());
  EXPECT_EQ(link.Get(cache | 3).Object(), &first);
  EXPECT_EQ(root.walks, 1);
  EXPECT_EQ(link.Get(3).Object(), &second) << "other bits resolve anew";
  EXPECT_EQ(root.walks, 2);

  root.status = gbb_kBroken;
  link.Get(0);
  // Status and handle stand where programs that were built against the documented order look for them.
  const struct {
    void* table;
    int status;
    gbb_Handle handle;
  }& seen = reinterpret_cast<decltype(seen)>(static_cast<gbb_LinkImpl&>(link));
  EXPECT_TRUE(link.Status() == 3 && seen.status == 3 && seen.handle == root.answer);
  link.Get(cache);
  EXPECT_EQ(root.walks, 4) << "a failure is not kept";
}

// Everything of ours comes from the core's heap: links, walks, path records, objects, what a rollback
// removed.
TEST_F(Links, AndObjectsTakeNothingFromTheGlobalHeap) {
  struct Quiet : gbb_RootImpl {
    gbb_Handle Traverse(gbb_TraverseContext& walk) override {
      while (walk.Advance())
        steps += std::strlen(walk.Component()) > 0;
      return {};
    }
    int steps = 0;
  } root;
  ORXSimContextRef({}).Epoch(); // the platform makes something once in a process
  const int before = s_news;
  {
    gbb_PathImpl* const top = new gbb_PathImpl(gbb_Root(&root), 0);
    gbb_LinkHolder link(
        new gbb_SimpleLink(gbb_Path(top), "a long alias of a simulation#/first/of many/../components"));
    link.Link()->Get(0);
    delete new gbb_TraverseContext("#/a/b", gbb_Path(top), 0);
    gbb_Removed removed;
    const msfD_MeshHolder mesh = msfD_Mesh::New({}, {}, 0);
    mesh.Get().systems().add(fesD_FESystem::New("s", {}, {}, 0));
    mesh.Get().systems().get(0).SystemName("another name that is not short");
    msfD_MeshHolder gone = msfD_Mesh::New({}, {}, 0);
    gone.RemoveTo(removed);
    const msfD_SimHolder sim = msfD_Sim::New(0);
    delete top;
  }
  EXPECT_EQ(s_news - before, 0);
  EXPECT_EQ(root.steps, 3);
}

TEST_F(Links, ReachTheObjectsOfASim) {
  Model a(Path("a.pdm"));
  const msfD_Sim b = a.root.createSim(Path("b.pdm").c_str(), "b", -1);
  b.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
  const fesD_FESystem system = a.mesh.systems().add(System("s"));
  a.mesh.systems().add(System("t"));
  const struct {
    gbb_Path from;
    const char* target;
    gbb_Handle object;
  } cases[] = {
      {a.mesh.Path(), "#", a.sim},
      {system.Path(), "#/discreteModel", a.model},
      {a.sim.Path(), "discreteModel", a.model},
      {a.sim.Path(), "#//discreteModel/./mesh///", a.mesh},
      {a.sim.Path(), "#/discreteModel/mesh/../mesh/systems/0", system},
      {b.Path(), "a#/discreteModel/mesh/systems/0/", system},
      {a.mesh.Path(), "b#discreteModel", b.discreteModel()},
      {a.mesh.Path(), "#/schemaSnapshot", a.sim.schemaSnapshot()},
      {b.Path(), "#/distributionService", b.distributionService()},
      // Broken walks.
      {a.mesh.Path(), "c#", {}},
      {a.mesh.Path(), "#/discreteModel/meshes", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems/2", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems/-1", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems/0x", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems/99999999999", {}},
      {a.mesh.Path(), "#/discreteModel/mesh/systems/0/deeper", {}},
      {a.mesh.Path(), "#/schemaSnapshot/deeper", {}},
      {a.mesh.Path(), "#/discreteModel/schemaSnapshot", {}},
      {b.Path(), "#/discreteModel/mesh", {}}, // no mesh there
  };
  for (const auto& each : cases) {
    gbb_SimpleLink link(each.from, each.target);
    const gbb_Handle found = link.Get(0);
    EXPECT_TRUE(found == each.object) << each.target;
    EXPECT_TRUE(found.Class() == each.object.Class()) << each.target;
    EXPECT_EQ(link.Status(), !each.object ? 3 : 0) << each.target;
  }
}

TEST_F(Links, OfATypeGiveObjectsOfThatTypeOnly) {
  Model a(Path());
  gbb_LinkHolder holder(new gbb_SimpleLink(a.sim.Path(), "#/discreteModel"));
  const gbb_TypedLink<msfD_DiscreteModel> right(holder);
  EXPECT_TRUE(right.get(0) == a.model);
  EXPECT_EQ(right.status(), 0);
  const gbb_TypedLink<msfD_Mesh> wrong(holder);
  EXPECT_TRUE(!wrong.get(0));
  EXPECT_EQ(wrong.status(), 2);
  EXPECT_TRUE(!wrong.get(4)) << "not cached: resolved, and refused, again";

  gbb_LinkHolder toSim(new gbb_SimpleLink(a.mesh.Path(), "#"));
  EXPECT_TRUE(gbb_TypedLink<msfD_Sim>(toSim).get(0) == a.sim);
  gbb_LinkImpl* const moved = toSim.Link();
  holder = std::move(toSim);
  EXPECT_TRUE(holder.Link() == moved && toSim.Link() == nullptr);
  gbb_LinkHolder& itself = holder;
  holder = std::move(itself);
  EXPECT_EQ(holder.Link(), moved);
  toSim = std::move(holder);
  toSim.Delete();
  EXPECT_EQ(toSim.Link(), nullptr);
  EXPECT_TRUE(!gbb_TypedLink<msfD_Sim>(toSim).get(0));
}

TEST_F(Links, ShowEveryObjectToTheVisitorWhichMayStop) {
  Model a(Path());
  const fesD_FESystem system = a.mesh.systems().add(System("s"));
  struct Visitor : gbb_TraverseVisitor {
    bool Visit(const gbb_Handle& object) override {
      seen.push_back(object);
      return seen.size() < stopAt;
    }
    std::size_t stopAt = 99;
    std::vector<gbb_Handle> seen;
  };
  const std::vector<gbb_Handle> way = {a.sim, a.model, a.mesh, system};
  for (const std::size_t stopAt : {99u, 3u, 1u}) {
    Visitor visitor;
    visitor.stopAt = stopAt;
    gbb_TraverseContext walk("#/discreteModel/mesh/systems/0", a.mesh.Path(), 0, &visitor);
    const gbb_Handle end = a.sim.Path().Root().Traverse(walk);
    ASSERT_EQ(visitor.seen.size(), std::min<std::size_t>(stopAt, 4));
    EXPECT_TRUE(end == way[visitor.seen.size() - 1]);
    EXPECT_TRUE(std::equal(visitor.seen.begin(), visitor.seen.end(), way.begin()));
    EXPECT_EQ(walk.Status(), 0);
  }
}
