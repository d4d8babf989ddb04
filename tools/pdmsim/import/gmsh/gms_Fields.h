#pragma once

#include <pdmsim/import/gmsh/gms_Builder.h>

/// The results of a file: where their numbers are, which are read when they are asked for.
class gms_Fields {
 public:
  enum class On { kNodes, kElements };

  gms_Fields(std::shared_ptr<mesh_Input> input, bool binary) : m_input(std::move(input)), m_binary(binary) {}
  /// From behind the section's first line to before its last.
  void Read(On place);
  /// Element by node: steps over it and remembers its name.
  void SkipByElementNode();
  /// Makes fields and steps of all that was read. The mesh is complete.
  void Finish(gms_Builder& mesh);

 private:
  struct Section {
    On on = On::kNodes;
    std::string name;
    double time = 0;
    long long step = 0;
    std::size_t components = 1, rows = 0;
    mesh_Input::Place place;
  };
  struct Source { // what a field needs to read
    std::shared_ptr<mesh_Input> input;
    bool binary;
    std::vector<std::vector<Section>> steps;
    std::shared_ptr<const gms_Tags> tags;
    std::size_t components, rows;
    std::vector<double> Read(std::size_t step) const;
  };

  Section ReadHead();
  std::shared_ptr<const gms_Tags> ElementTags(const gms_Builder& mesh) const;

  std::shared_ptr<mesh_Input> m_input;
  bool m_binary;
  std::vector<Section> m_sections;
  std::map<std::string, std::size_t> m_byElementNode; // name: steps
  bool m_interpolated = false;
};
