// Damage on disk to a member stream and to the checksum behind it.

#include "framework_Fixture.h"

#include <cstring>

namespace {
constexpr char kMark[] = "\xf7X3\xe1";
constexpr std::size_t kTrailer = 12;
constexpr auto kByte = hdf_Datatype(hdf_Datatype::kUChar);
} // namespace

class Trailer : public framework_Fixture {
 protected:
  Trailer() {
    Model a(Path());
    kda_MapString<ORXSimCSetID> sets;
    sets.insert("a set", ORXSimCollectionRef(a.nodes).FullCSet());
    a.mesh.NodeSets(sets);
    a.root.closeSim(a.sim);
    m_good = Stored();
    int stated = 0;
    std::memcpy(&stated, m_good.data(), sizeof stated);
    m_end = static_cast<std::size_t>(stated);
  }
  // What stands in the dataset of the mesh, written over before by `bytes`.
  std::string Stored(const std::string& bytes = "") const {
    const ORXSimContextID context = ORXSimManager::OpenContext(Path().c_str(), 0, 102, false, 1);
    hdf_Group group = ORXSimContextRef(context).File().RootGroup();
    for (const char* const name : {"sim", "discreteModel", "mesh"})
      group = group.GroupOpen(name);
    const hdf_Dataset dataset = group.DatasetOpen("#simpleTypeMembers");
    EXPECT_TRUE(dataset.Write(kByte, bytes.data(), bytes.size()));
    std::string stored(dataset.GetSpace().Elements(), '\0');
    EXPECT_TRUE(dataset.Read(kByte, stored.data(), stored.size()));
    ORXSimManager::CloseContext(context);
    return stored;
  }

  std::string m_good;
  std::size_t m_end = 0; // of the stream, where its trailer begins
};

TEST_F(Trailer, ADamagedStreamIsNeitherLoadedNorOverwritten) {
  for (const std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{4}, m_end / 2,
                               m_end - 1, m_end + 4, m_end + 11}) {
    std::string bad = m_good;
    bad[at] = static_cast<char>(bad[at] ^ 0x10);
    EXPECT_EQ(Stored(bad), bad);
    {
      msfD_Root root(0);
      const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
      const msfD_Mesh mesh = MeshOf(sim);
      EXPECT_TRUE(mesh.nodes().IsNull() && mesh.nodeSets().count() == 0) << at;
      const std::string cause = Path() +
                                ": /sim/discreteModel/mesh/#simpleTypeMembers: read dataset: the member "
                                "stream is damaged: it does not match its checksum\n";
      const std::string loading = "**ERROR msfD_MeshImpl::LoadMembers: error 4 loading class data\n";
      EXPECT_EQ(Lines(), "**ERROR " + cause + loading);
      mesh.Faces(ORXSimCollectionID());
      EXPECT_EQ(Lines(), "**ERROR msfD_Mesh::Faces: " + cause);
      mesh.Faces(ORXSimCollectionID());
      EXPECT_EQ(Lines(), loading + "**ERROR msfD_Mesh::Faces: " + cause) << "read anew, and told once";
      root.closeSim(sim);
    }
    EXPECT_EQ(Stored(), bad) << at;
  }
}

// Without the mark in its place there is no checksum: the file of an older version, or another writer's.
TEST_F(Trailer, AStreamWithoutATrailerIsReadUnchecked) {
  const std::string foreign(kTrailer, '\xee');
  for (const std::string& behind : {std::string(kTrailer, '\0'), foreign, kMark + foreign.substr(4)}) {
    const bool marked = behind.starts_with(kMark);
    std::string changed = m_good;
    changed.replace(m_end, kTrailer, behind);
    changed[m_good.find("a set")] = 'A';
    Stored(changed);
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
    EXPECT_EQ(MeshOf(sim).nodeSets().count(), marked ? 0 : 1);
    EXPECT_EQ(Lines().empty(), !marked);
    if (!marked) { // with the next write it has one
      MeshOf(sim).Faces(MeshOf(sim).nodes());
      root.closeSim(sim);
      EXPECT_EQ(Stored().substr(m_end, 4), kMark);
    }
  }
}
