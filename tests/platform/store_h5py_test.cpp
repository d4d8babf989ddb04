#include "platform_Fixture.h"

#include <numeric>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;

class StoreH5py : public platform_Fixture {};

TEST_F(StoreH5py, OurFilesReadBackInH5py) {
  const ORXSimContextID context = Create(Path("a.pdm"));
  const ORXSimCollectionRef nodes(ORXSimCollectionRef::Create(context, "n\xc5\x93uds", 1000));
  const int members[] = {5, 999, 0};
  ORXSimDrawerDescription drawers[3];
  drawers[0].members = nodes.FullCSet();
  drawers[0].components = 3;
  drawers[1].members = nodes.CreateOrderedCSet(members, 3);
  drawers[1].type = ORXSimItemType::kInt64;
  drawers[1].unit = "kg";
  drawers[1].longName = "mass";
  drawers[2].members = nodes.FullCSet();
  drawers[2].type = ORXSimItemType::kInt32;
  drawers[2].chunkItems = 100;
  drawers[2].deflate = 5;
  const ORXSimDistributionRef field(ORXSimDistributionRef::Create(context, "displacement", "mm", drawers, 2));
  const ORXSimDistributionRef packed(ORXSimDistributionRef::Create(context, "", "", drawers + 2, 1));
  std::vector<double> rows(3000);
  std::iota(rows.begin(), rows.end(), 0.0);
  const std::int64_t masses[] = {std::int64_t{1} << 40, -1, 7};
  std::vector<int> digits(1000);
  for (std::size_t i = 0; i < digits.size(); ++i)
    digits[i] = static_cast<int>(i % 10);
  EXPECT_TRUE(field.WriteItems(0, 0, 1000, rows.data(), 24000));
  EXPECT_TRUE(field.WriteItems(1, 0, 3, masses, sizeof masses));
  EXPECT_TRUE(packed.WriteItems(0, 0, 1000, digits.data(), 4000));
  EXPECT_TRUE(ORXSimManager::CloseContext(context));
  EXPECT_EQ(Peer("check-store " + Path("a.pdm")), 0);
}

TEST_F(StoreH5py, FilesOfH5pyReadBackInOurs) {
  ASSERT_EQ(Peer("make-store " + Path("b.h5")), 0);
  const ORXSimContextID context = Open(Path("b.h5"));
  const ORXSimCollectionID edges = ORXSimStore(context).FindCollection("ar\xc3\xaates");
  EXPECT_EQ(ORXSimCollectionRef(edges).NumItems(), 6);
  int members[2] = {};
  EXPECT_TRUE(ORXSimCSet(ORXSimCSetID(edges, 1)).OrderedMembers(members, 2)) << LastError();
  EXPECT_THAT(members, ElementsAre(5, 0));
  EXPECT_FALSE(ORXSimCSet(ORXSimCSetID(edges, 1)).OrderedMembers(members, 1)) << "two members";
  int all[6];
  EXPECT_TRUE(ORXSimCSet(ORXSimCollectionRef(edges).FullCSet()).OrderedMembers(all, 6));
  EXPECT_THAT(all, ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_FALSE(ORXSimCSet(ORXSimCSetID(edges, 2)).OrderedMembers(members, 1));
  EXPECT_THAT(LastError(), HasSubstr("not an item"));
  const ORXSimDistributionRef field(ORXSimStore(context).FindDistribution("flux"));
  EXPECT_TRUE(field.Unit().Empty());
  EXPECT_EQ(field.Drawer(0).Type(), ORXSimItemType::kFloat);
  float rows[4] = {};
  EXPECT_TRUE(field.ReadItems(0, 4, 2, rows, sizeof rows)) << LastError();
  EXPECT_THAT(rows, ElementsAre(8, 9, 10, 11));
  EXPECT_EQ(field.DataSizeItems(1), 0) << "16-bit numbers are none of ours";
  EXPECT_THAT(LastError(), HasSubstr("not supported"));
  // What is added to such a file gets the next free numbers.
  const int one = 1;
  EXPECT_EQ(ORXSimCollectionRef(edges).CreateOrderedCSet(&one, 1).Minor(), 3);
  EXPECT_EQ(ORXSimCollectionRef::Create(context, "more", 1).Minor(), 2);
  EXPECT_TRUE(ORXSimManager::CloseContext(context)) << LastError();
}
