#include <pdmsim/stored/sto_Rest.h>

#include <algorithm>

namespace {

class Rest {
 public:
  explicit Rest(const sto_File& file) : m_model(file.Sim().discreteModel()), m_mesh(file.Mesh()) {}

  std::vector<std::string> All() {
    Systems();
    Keys("the mesh field ", m_mesh.meshFields(), {"nodeSetLabel", "elementSetLabel", "surfaceLabel"});
    Keys("the region field ", m_mesh.regionFields(), {"label"});
    Keys("the field of local nodes ", m_mesh.localNodeFields(), {});
    Keys("the set of instances ", m_mesh.instanceSets(), {});
    Keys("the set of local nodes ", m_model.localNodeSets(), {});
    Keys("the set of section points ", m_model.sectionPointSets(), {});
    RegionSets();
    Collection("faces", m_mesh.faces());
    Collection("instances", m_mesh.instances());
    Collection("local faces", m_model.localFaces());
    Collection("integration points", m_model.integrationPoints());
    Collection("section points", m_model.sectionPoints());
    Collection("components", m_model.components());
    if (!m_mesh.lagrangeNodes().IsNull())
      m_lines.emplace_back("which nodes are of multipliers");
    return std::move(m_lines);
  }

 private:
  void Systems() {
    const auto systems = m_mesh.systems();
    constexpr int kMostNamed = 10;
    for (int i = 0; i < std::min(systems.count(), kMostNamed); ++i)
      m_lines.push_back("the system " + std::string(systems.get(i).systemName().cStr()));
    if (systems.count() > kMostNamed)
      m_lines.push_back(std::to_string(systems.count() - kMostNamed) + " more systems");
  }

  template <class T>
  void Keys(const std::string& what, const kda_MapString<T>& map, std::initializer_list<const char*> known) {
    map.ForEach([&](const kda_string& key, const T&) {
      const std::string name = key.cStr();
      if (std::find(known.begin(), known.end(), name) == known.end())
        m_lines.push_back(what + name);
    });
  }

  void RegionSets() {
    m_mesh.regionSets().ForEach([&](const kda_string& key, ORXSimCSetID set) {
      if (set.IsNull() || ORXSimCSet(set).Size() != 1)
        m_lines.push_back("the set of regions " + std::string(key.cStr()));
    });
  }

  void Collection(const char* name, ORXSimCollectionID id) {
    if (id.IsNull())
      return;
    if (const int items = ORXSimCollectionRef(id).NumItems(); items > 0)
      m_lines.push_back(std::to_string(items) + " " + name);
  }

  msfD_DiscreteModel m_model;
  msfD_Mesh m_mesh;
  std::vector<std::string> m_lines;
};

} // namespace

std::vector<std::string> sto_Rest(const sto_File& file) {
  std::vector<std::string> lines = Rest(file).All();
  file.Check();
  return lines;
}
