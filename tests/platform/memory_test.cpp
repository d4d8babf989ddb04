// Every allocation of the module fails once, in the middle of an update: no exception leaves it, what was
// half done is not committed, and a rollback puts everything right. Leaving an update and closing get none at
// all any more.

#include "platform_Fixture.h"

#include <new>

namespace {
constinit long s_allocationsLeft = -1; // -1: no limit
constinit bool s_forGood = false;      // all allocations fail from there on
} // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (s_allocationsLeft == 0) {
    s_allocationsLeft = s_forGood ? 0 : -1;
    return nullptr;
  }
  if (s_allocationsLeft > 0)
    --s_allocationsLeft;
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  if (void* const memory = operator new(size, std::nothrow))
    return memory;
  throw std::bad_alloc();
}
// Not inlined: the compiler would see memory of new being freed.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

class Memory : public platform_Fixture {
 protected:
  // \return true when every call succeeded.
  static bool Write(ORXSimContextID context) {
    const int numbers[] = {1, 2, 3};
    const hdf_Group root = RootOf(context), group = root.GroupCreate("another group of this file", 0);
    hdf_Dataset dataset = group.DatasetCreate("a dataset of the group", kInt, Line(3));
    const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(context, "nodes of the mesh", 3);
    const ORXSimCSetID set = ORXSimCollectionRef(nodes).CreateOrderedCSet(numbers, 1);
    const ORXSimDrawerDescription drawer{ORXSimCollectionRef(nodes).FullCSet(), ORXSimItemType::kInt32, 1};
    const ORXSimDistributionID field =
        ORXSimDistributionRef::Create(context, "a field of the mesh", "m", &drawer, 1);
    return dataset.Write(kInt, numbers, 3) && dataset.Extend(2000) &&
           group.AttributeCreate("an attribute of the group", kInt, Line(3)).Write(kInt, numbers) &&
           !set.IsNull() && ORXSimDistributionRef(field).WriteItems(0, 0, 3, numbers, sizeof numbers);
  }
};

TEST_F(Memory, AnExhaustedMemoryLeavesTheLastCommitPoint) {
  const ORXSimContextID context = Create(Path("a.pdm"));
  ASSERT_TRUE(!!RootOf(context).GroupCreate("before", 0) && ORXSimContextRef(context).Commit());
  int barred = 0;
  bool finished = false;
  for (long n = 0; !finished && n < 5000; ++n) {
    ORXSimUpdate update(context);
    bool good = false;
    s_allocationsLeft = n;
    EXPECT_NO_THROW(good = Write(context)) << n;
    finished = s_allocationsLeft > 0; // the limit was never reached
    s_allocationsLeft = -1;
    EXPECT_TRUE(good || !finished) << LastError();
    if (ORXSimContextRef(context).Barred()) {
      ++barred;
      EXPECT_FALSE(good || update.Commit()) << n;
    }
    ASSERT_TRUE(update.Rollback()) << n << LastError();
    ASSERT_EQ(RootOf(context).NumLinks(), 1) << n;
    ASSERT_EQ(ORXSimStore(context).NumCollections(), 0) << n;
  }
  EXPECT_TRUE(finished && barred > 0);
  EXPECT_TRUE(Write(context) && ORXSimManager::CloseContext(context)) << LastError();
}

TEST_F(Memory, WithoutAnyMemoryAnUpdateIsLeftAndAFileIsClosed) {
  s_forGood = true;
  bool finished = false;
  for (long n = 0; !finished && n < 5000; ++n) {
    ORXSimContextID context = Create(Path("b.pdm"));
    ASSERT_TRUE(!!RootOf(context).GroupCreate("before", 0) && ORXSimContextRef(context).Commit()) << n;
    {
      ORXSimUpdate update(context);
      ASSERT_TRUE(Write(context)) << LastError();
      s_allocationsLeft = n;
    }
    finished = s_allocationsLeft > 0;
    s_allocationsLeft = -1;
    EXPECT_NE(ORXSimContextRef(context).Barred(), RootOf(context).NumLinks() == 1) << n;
    s_allocationsLeft = n;
    const bool closed = ORXSimManager::CloseContext(context);
    finished = finished && s_allocationsLeft > 0;
    s_allocationsLeft = -1;
    EXPECT_TRUE(closed || !finished) << LastError();
    ASSERT_FALSE((context = Open(Path("b.pdm"))).IsNull()) << n << LastError();
    EXPECT_EQ(RootOf(context).NumLinks(), 1) << n;
    ASSERT_TRUE(ORXSimManager::CloseContext(context) && std::filesystem::remove(Path("b.pdm")));
  }
  EXPECT_TRUE(finished);
  s_forGood = false;
}
