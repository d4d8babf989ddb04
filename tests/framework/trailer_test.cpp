// Damage on disk to a member stream and to the checksum behind it.

#include "framework_Fixture.h"

#include <cstring>

namespace {
using testing::HasSubstr;

constexpr char kMark[] = "\xf7X3\xe1";
constexpr std::size_t kTrailer = 12;

std::size_t statedAt(const std::string& bytes, std::size_t at) {
  std::int32_t stated = 0;
  std::memcpy(&stated, bytes.data() + at, sizeof stated);
  return static_cast<std::size_t>(stated);
}

void store(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
} // namespace

class Trailer : public framework_Fixture {
 protected:
  // A file whose mesh has a stream too large for its dataset's header, which HDF5 would guard itself.
  Trailer() {
    Model a(Path());
    kda_MapString<ORXSimCSetID> sets;
    sets.insert(m_key.c_str(), ORXSimCollectionRef(a.nodes).FullCSet());
    a.mesh.NodeSets(sets);
    a.root.closeSim(a.sim);
    m_good = Bytes(Path());
    const std::size_t key = m_good.find(m_key);
    m_end = m_good.find(kMark, key);
    for (m_begin = key; m_begin > 0 && m_begin + statedAt(m_good, m_begin) != m_end;)
      --m_begin;
  }
  std::string StoredStream() const { return Bytes(Path()).substr(m_begin, m_end + kTrailer - m_begin); }

  const std::string m_key = std::string(5000, 'k') + "ey";
  std::string m_good;
  std::size_t m_begin = 0, m_end = 0; // the stream in the file
};

TEST_F(Trailer, ADamagedStreamIsNeitherLoadedNorOverwritten) {
  ASSERT_GT(m_begin, 0U);
  for (const std::size_t at :
       {m_begin, m_begin + 1, m_begin + 3, m_begin + 4, m_begin + 2000, m_end - 1, m_end + 4, m_end + 11}) {
    std::string bad = m_good;
    bad[at] = static_cast<char>(bad[at] ^ 0x10);
    store(Path(), bad);
    const std::string stored = StoredStream();
    {
      msfD_Root root(0);
      const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
      const msfD_Mesh mesh = MeshOf(sim);
      EXPECT_TRUE(mesh.nodes().IsNull() && mesh.nodeSets().count() == 0) << at;
      EXPECT_EQ(Lines(),
                "**ERROR " + Path() +
                    ": /sim/discreteModel/mesh/#simpleTypeMembers: read dataset: the member stream is "
                    "damaged: it does not match its checksum\n"
                    "**ERROR msfD_MeshImpl::LoadMembers: error 4 loading class data\n");
      mesh.Faces(ORXSimCollectionID());
      EXPECT_EQ(Lines(), "**ERROR msfD_MeshImpl::SaveMembers: the stored data is damaged\n");
      root.closeSim(sim);
    }
    EXPECT_EQ(StoredStream(), stored) << at;
  }
}

// Without the mark in its place there is no checksum: the file of an older version, or another writer's.
TEST_F(Trailer, AStreamWithoutATrailerIsReadUnchecked) {
  const std::string foreign(kTrailer, '\xee');
  for (const std::string& behind : {std::string(kTrailer, '\0'), foreign, kMark + foreign.substr(4)}) {
    const bool marked = behind.starts_with(kMark);
    std::string file = m_good;
    file.replace(m_end, kTrailer, behind);
    file[m_good.find(m_key)] = 'K';
    store(Path(), file);
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(Path().c_str(), "", -1);
    EXPECT_EQ(MeshOf(sim).nodeSets().count(), marked ? 0 : 1);
    EXPECT_EQ(Lines().empty(), !marked);
    if (!marked) { // with the next write it has one
      MeshOf(sim).Faces(MeshOf(sim).nodes());
      root.closeSim(sim);
      EXPECT_EQ(StoredStream().substr(m_end - m_begin, 4), kMark);
    }
  }
}
