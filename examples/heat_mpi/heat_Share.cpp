#include "heat_Share.h"

#include "heat_Bar.h"

#include <algorithm>

namespace {
// The parts of the elements; none, and why, where they cannot go by them.
std::vector<int> partsOf(const pdm::Mesh& mesh, int ranks, std::string& why) {
  const pdm::Fields fields = mesh.element_fields();
  why = "there is no field 'partition', which pdmsim partition makes";
  if (!fields.contains("partition"))
    return {};
  const pdm::Field field = fields["partition"];
  why = "the field 'partition' is not one int32 for each element, from 0";
  if (field.size() != 1 || field.components() != 1 || field.type() != pdm::Type::int32 ||
      field.rows() != mesh.element_count() || !field[0].set().is_full())
    return {};
  std::vector<int> parts = field.read<int>();
  if (parts.empty() || *std::min_element(parts.begin(), parts.end()) < 0)
    return {};
  const int count = *std::max_element(parts.begin(), parts.end()) + 1;
  why = std::to_string(count) + " parts of the field 'partition'";
  if (count % ranks == 0)
    return parts;
  why += " do not go evenly to them";
  return {};
}

// The rank of each element.
std::vector<int> deal(const pdm::Mesh& mesh, int ranks, std::string& told) {
  std::string why;
  std::vector<int> dealt = partsOf(mesh, ranks, why);
  if (!dealt.empty()) {
    told = "by the " + why;
    for (int& part : dealt)
      part %= ranks;
    return dealt;
  }
  told = "in slices: " + why;
  dealt.resize(static_cast<std::size_t>(mesh.element_count()));
  for (std::size_t element = 0; element < dealt.size(); ++element)
    dealt[element] = static_cast<int>(element * static_cast<std::size_t>(ranks) / dealt.size());
  return dealt;
}

struct Block {
  heat_Drawer connectivity;
  heat_Elements elements;
  heat_Team::Lists rows; // of each rank; rank 0's
};

// Rank 0 looks at the objects, and says who gets which rows.
std::vector<Block> dealtBlocks(const pdm::Mesh& mesh, int ranks, std::string& told) {
  heat_RequireSpace(mesh);
  const std::vector<int> dealt = deal(mesh, ranks, told);
  std::vector<Block> blocks;
  for (const pdm::Block& from : mesh.blocks()) {
    heat_RequireType(from.type(), from.nodes_per_element());
    Block& block = blocks.emplace_back();
    block.connectivity = {mesh.element_fields()["connectivity"].handle(), from.elements().handle(),
                          from.number()};
    block.elements.block = from.number();
    block.elements.type = from.type();
    block.elements.width = from.nodes_per_element();
    block.rows.resize(static_cast<std::size_t>(ranks));
    int row = 0;
    for (const int element : from.elements().items())
      block.rows[static_cast<std::size_t>(dealt[static_cast<std::size_t>(element)])].push_back(row++);
  }
  return blocks;
}

void readBlock(const heat_Team& team, const heat_File& file, Block& block) {
  heat_Elements& mine = block.elements;
  block.connectivity.number = mine.block = team.Told(mine.block);
  mine.type = team.Told(mine.type);
  mine.width = team.Told(mine.width);
  block.rows.resize(static_cast<std::size_t>(team.Size()));
  mine.rows = team.Exchange(block.rows).front(); // what rank 0 sent
  mine.nodes.resize(mine.rows.size() * static_cast<std::size_t>(mine.width));
  file.Read(block.connectivity, mine.rows, std::span<int>(mine.nodes));
}

// From nodes of the mesh to places in the list of ours.
void renumber(heat_Share& share) {
  for (const heat_Elements& block : share.blocks)
    share.nodes.insert(share.nodes.end(), block.nodes.begin(), block.nodes.end());
  std::sort(share.nodes.begin(), share.nodes.end());
  share.nodes.erase(std::unique(share.nodes.begin(), share.nodes.end()), share.nodes.end());
  for (heat_Elements& block : share.blocks)
    for (int& node : block.nodes)
      node = static_cast<int>(std::lower_bound(share.nodes.begin(), share.nodes.end(), node) -
                              share.nodes.begin());
}
} // namespace

int heat_Share::Elements() const {
  std::size_t elements = 0;
  for (const heat_Elements& block : blocks)
    elements += block.rows.size();
  return static_cast<int>(elements);
}

heat_Share heat_ReadShare(const heat_Team& team, const heat_File& file) {
  heat_Share share;
  std::vector<Block> blocks;
  heat_Drawer coordinates;
  team.OnRoot([&] {
    blocks = dealtBlocks(file.Mesh(), team.Size(), share.told);
    const pdm::Field field = file.Mesh().node_fields()["coordinates"];
    coordinates = {field.handle(), field[0].set().handle(), 0};
    share.allNodes = file.Mesh().node_count();
  });
  share.allNodes = team.Told(share.allNodes);
  blocks.resize(static_cast<std::size_t>(team.Told(static_cast<int>(blocks.size()))));
  for (Block& block : blocks) {
    readBlock(team, file, block);
    share.blocks.push_back(std::move(block.elements));
  }
  renumber(share);
  share.points.resize(3, static_cast<Eigen::Index>(share.nodes.size()));
  file.Read(coordinates, share.nodes,
            std::span(share.points.data(), static_cast<std::size_t>(share.points.size()))); // [nodes][3]
  return share;
}
