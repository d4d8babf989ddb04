#include <pdmsim/import/gmsh/gms_Format.h>

#include <pdmsim/import/gmsh/gms_Fields.h>

#include <memory>

namespace {

/// Reads a file section by section.
class Reader {
 public:
  explicit Reader(const std::string& path) : m_input(std::make_shared<mesh_Input>(path)), m_mesh(*m_input) {}

  mesh_Raw Read() {
    std::string line;
    for (m_place = m_input->Here(); m_input->NextLine(line); m_place = m_input->Here()) {
      if (line.empty())
        continue;
      if (line[0] != '$' || line.size() > 40)
        Unexpected("a section's name", "'" + line.substr(0, 40) + "'");
      ReadSection(line.substr(1));
    }
    m_mesh.RequireNodes();
    if (m_fields)
      m_fields->Finish(m_mesh);
    if (m_mesh.partitions > 1)
      m_mesh.Note("partitions (" + std::to_string(m_mesh.partitions) + ")");
    if (!m_mesh.aliases.empty())
      m_mesh.Note("second labels of elements that the mesh has once for each of their groups (" +
                  std::to_string(m_mesh.aliases.size()) + ")");
    return std::move(m_mesh.raw);
  }

 private:
  void ReadSection(const std::string& name) {
    mesh_Input& in = *m_input;
    if (name == "MeshFormat")
      ReadFormat();
    else if (name == "Comments")
      return SkipSection(name);
    else if (m_version == 0)
      Unexpected("$MeshFormat of version 2.2 or 4.1", "$" + name);
    else if (name == "PhysicalNames")
      ReadNames();
    else if ((name == "Entities" || name == "PartitionedEntities") && m_version == 4)
      m_reader4->ReadEntities(name != "Entities");
    else if (name == "Nodes")
      ReadNodes();
    else if (name == "Elements")
      m_version == 2 ? gms_ReadElements2(m_mesh, m_binary) : m_reader4->ReadElements();
    else if (name == "NodeData")
      m_fields->Read(gms_Fields::On::kNodes);
    else if (name == "ElementData")
      m_fields->Read(gms_Fields::On::kElements);
    else if (name == "ElementNodeData")
      m_fields->SkipByElementNode();
    else {
      m_mesh.Note("section $" + name);
      return SkipSection(name);
    }
    std::string end;
    const auto place = in.Here();
    if (in.NextWord(end); end != "$End" + name) {
      in.Go(place);
      in.Fail("$End" + name);
    }
    in.NextLine(end);
  }

  /// Refuses what the line that was read last begins.
  [[noreturn]] void Unexpected(const std::string& expected, const std::string& found) {
    m_input->Go(m_place);
    m_input->Fail(expected, found);
  }

  void SkipSection(const std::string& name) {
    m_input->SkipTo("$End" + name);
    std::string rest;
    m_input->NextLine(rest);
  }

  void ReadFormat() {
    mesh_Input& in = *m_input;
    if (m_version != 0)
      Unexpected("one section $MeshFormat", "another");
    std::string version;
    in.NextWord(version);
    if (version == "2" || version == "2.0" || version == "2.1" || version == "2.2")
      m_version = 2;
    else if (version == "4.1")
      m_version = 4;
    else
      in.Fail("version 2.2 or 4.1", "'" + version.substr(0, 40) + "'");
    m_binary = in.Int("0 for text or 1 for binary", 0, 1) == 1;
    const int wide = in.Int("a number of bytes", 1, 16);
    if (m_version == 2 ? wide != 8 : wide != 4 && wide != 8)
      in.Fail(m_version == 2 ? "reals of 8 bytes" : "sizes of 4 or 8 bytes", wide);
    std::string rest;
    if (m_binary) {
      in.NextLine(rest);
      const int one = in.Number<int>("the byte order");
      if (one != 1 && one != 0x01000000)
        in.Fail("1 in this byte order or the other", one);
      in.ReadBytes(one != 1);
    }
    m_reader4.emplace(m_mesh, m_binary, wide);
    m_fields.emplace(m_input, m_binary);
  }

  void ReadNames() {
    mesh_Input& in = *m_input;
    const int count = in.Int("a number of names", 0, INT32_MAX);
    in.Require(static_cast<std::size_t>(count), 6, "names");
    std::string line;
    for (int i = 0; i < count; ++i) {
      const int dimension = in.Int("a dimension", 0, 3);
      const long long tag = in.Int("a physical group");
      in.NextLine(line);
      const std::size_t first = line.find('"'), last = line.rfind('"');
      if (first == last)
        in.Fail("a name in quotes", "'" + line.substr(0, 40) + "'");
      std::string& name = m_mesh.raw.groups[static_cast<std::size_t>(m_mesh.Group(dimension, tag))].name;
      if (!name.empty())
        m_mesh.Note("the name " + name + " of physical group " + std::to_string(tag) + ", which has two");
      name = line.substr(first + 1, last - first - 1);
    }
  }

  void ReadNodes() {
    if (m_mesh.tags)
      Unexpected("one section $Nodes", "another");
    m_version == 2 ? gms_ReadNodes2(m_mesh, m_binary) : m_reader4->ReadNodes();
  }

  std::shared_ptr<mesh_Input> m_input;
  gms_Builder m_mesh;
  std::optional<gms_Reader4> m_reader4;
  std::optional<gms_Fields> m_fields;
  mesh_Input::Place m_place; // of the section's first line
  int m_version = 0;
  bool m_binary = false;
};

} // namespace

bool gms_IsOne(const mesh_Head& head) {
  return head.bytes.starts_with("$MeshFormat") || head.bytes.starts_with("$NOD") ||
         (head.bytes.starts_with("$Comments") && head.bytes.find("$MeshFormat") != std::string::npos);
}

std::unique_ptr<mesh_Source> gms_Open(const std::string& path, const mesh_Reading&) {
  return mesh_Assemble(Reader(path).Read());
}
