#include <pdmsim/import/imp_Sets.h>

#include <pdmsim/mesh/mesh_Error.h>

#include <algorithm>
#include <numeric>

namespace {

constexpr std::size_t kPiece = 1 << 20; // members read at a time

constexpr const char* kWords[] = {"nodeset", "elementset", "sideset"};

/// The numbers first, first + 1, ..., added to a list.
void AppendRange(std::vector<int>& members, std::size_t first, std::size_t count) {
  const std::size_t old = members.size();
  members.resize(old + count);
  std::iota(members.begin() + static_cast<std::ptrdiff_t>(old), members.end(), static_cast<int>(first));
}

} // namespace

std::size_t imp_Column::Rows() const {
  std::size_t rows = 0;
  for (const imp_Piece& piece : pieces)
    rows += piece.size;
  return rows;
}

imp_Sets::imp_Sets(const mesh_Source& mesh, const imp_Store& store, cli_Progress& progress,
                   ORXSimCollectionID nodes, ORXSimCollectionID elements, ORXSimCollectionID regions)
    : m_mesh(mesh), m_store(store), m_progress(progress), m_elements(elements) {
  MakeKeys();
  MakeBlocks(regions);
  for (const mesh_SetKind kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides}) {
    auto& sets = m_sets[static_cast<std::size_t>(kind)];
    for (const mesh_Set& set : mesh.Sets(kind)) {
      imp_SetOut& out = sets[static_cast<std::size_t>(set.number - 1)];
      out = kind == mesh_SetKind::kSides
                ? Sides(set, out.key)
                : WithoutRepetitions(set, out.key, kind == mesh_SetKind::kNodes ? nodes : elements);
    }
  }
}

void imp_Sets::MakeKeys() {
  imp_Names nodeSets(m_renamed), elementSets(m_renamed), surfaces(m_renamed);
  std::vector<imp_Wanted> wanted;
  for (const mesh_Block& block : m_mesh.Blocks())
    wanted.push_back({block.name, block.id, "block"});
  const auto want = [&](mesh_SetKind kind) {
    for (const mesh_Set& set : m_mesh.Sets(kind))
      wanted.push_back({set.name, set.id, kWords[static_cast<std::size_t>(kind)]});
  };
  want(mesh_SetKind::kElements); // blocks and element sets share one map
  const auto keys = imp_TakeAll(elementSets, wanted);
  const std::size_t blocks = m_mesh.Blocks().size();
  for (std::size_t i = 0; i < keys.size(); ++i)
    (i < blocks ? m_blocks : m_sets[static_cast<std::size_t>(mesh_SetKind::kElements)])
        .push_back({keys[i], {}});
  for (const auto& [kind, names] :
       {std::pair{mesh_SetKind::kNodes, &nodeSets}, {mesh_SetKind::kSides, &surfaces}}) {
    wanted.clear();
    want(kind);
    for (auto& key : imp_TakeAll(*names, wanted))
      m_sets[static_cast<std::size_t>(kind)].push_back({std::move(key), {}});
  }
}

void imp_Sets::MakeBlocks(ORXSimCollectionID regions) {
  std::vector<bool> one(m_blocks.size());
  for (std::size_t i = 0; i < m_blocks.size(); ++i) {
    one[i] = true;
    m_blocks[i].columns.push_back(
        {MakeElements(one), m_blocks[i].key, {{i, m_mesh.Blocks()[i].elements, {}}}});
    m_regions.push_back(m_store.Set(regions, {static_cast<int>(i)}));
    one[i] = false;
  }
}

ORXSimCSetID imp_Sets::Elements(const std::vector<bool>& blocks) {
  const auto first = std::find(blocks.begin(), blocks.end(), true);
  if (first != blocks.end() && std::find(first + 1, blocks.end(), true) == blocks.end())
    return m_blocks[static_cast<std::size_t>(first - blocks.begin())].columns[0].members;
  const auto known = m_unions.find(blocks);
  return known != m_unions.end() ? known->second
                                 : m_unions.emplace(blocks, MakeElements(blocks)).first->second;
}

ORXSimCSetID imp_Sets::MakeElements(const std::vector<bool>& blocks) {
  std::vector<int> members;
  for (const mesh_Block& block : m_mesh.Blocks())
    if (blocks[static_cast<std::size_t>(block.number - 1)])
      AppendRange(members, block.firstElement, block.elements);
  m_progress.Advance(4.0 * static_cast<double>(members.size()));
  return m_store.Set(m_elements, members);
}

std::vector<int> imp_Sets::Read(const mesh_Set& set) const {
  std::vector<int> members(set.size);
  for (std::size_t first = 0; first < set.size; first += kPiece) {
    const std::size_t count = std::min(kPiece, set.size - first);
    m_mesh.ReadSet(set, first, count, &members[first]);
    m_progress.Advance(4.0 * static_cast<double>(count));
  }
  return members;
}

imp_SetOut imp_Sets::WithoutRepetitions(const mesh_Set& set, std::string key, ORXSimCollectionID collection) {
  std::vector<int> members = Read(set), rows;
  std::vector<bool> seen(set.kind == mesh_SetKind::kNodes ? m_mesh.Nodes() : m_mesh.Elements());
  std::size_t kept = 0;
  for (std::size_t i = 0; i < members.size(); ++i) {
    const auto member = static_cast<std::size_t>(members[i]);
    if (seen[member]) {
      if (kept == i) // the first repetition: so far every row was kept
        AppendRange(rows, 0, kept);
      continue;
    }
    seen[member] = true;
    if (kept != i)
      rows.push_back(static_cast<int>(i));
    members[kept++] = members[i];
  }
  if (kept != members.size())
    m_notes.push_back(std::to_string(members.size() - kept) + " repeated entries of the set " + key);
  members.resize(kept);
  imp_Column column{m_store.Set(collection, members), key, {}};
  column.pieces.push_back({static_cast<std::size_t>(set.number - 1), kept, std::move(rows)});
  return {std::move(key), {std::move(column)}};
}

imp_SetOut imp_Sets::Sides(const mesh_Set& set, std::string key) {
  constexpr std::size_t kMostSides = 1000;
  imp_SetOut out{std::move(key), {}};
  std::vector<int> members = Read(set), rows(members.size()), again, againRows;
  std::iota(rows.begin(), rows.end(), 0);
  // An element with several sides in the set occurs several times. Each round takes every element that is
  // left once, so that round k holds the (k+1)-th side of the elements that have so many.
  do {
    if (out.columns.size() == kMostSides)
      throw mesh_Error(m_mesh.Path(), "expected side set " + std::to_string(set.id) +
                                          " to hold each side once, found element " +
                                          std::to_string(members.front() + 1) + " more than 1000 times");
    std::vector<bool> seen(m_mesh.Elements());
    again.clear();
    againRows.clear();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
      const auto member = static_cast<std::size_t>(members[i]);
      if (seen[member]) {
        again.push_back(members[i]);
        againRows.push_back(rows[i]);
        continue;
      }
      seen[member] = true;
      members[kept] = members[i];
      rows[kept++] = rows[i];
    }
    members.resize(kept);
    rows.resize(kept);
    imp_Column column{m_store.Set(m_elements, members), out.key, {}};
    if (kept == set.size)
      rows.clear();
    column.pieces.push_back({static_cast<std::size_t>(set.number - 1), kept, rows});
    out.columns.push_back(std::move(column));
    members.swap(again);
    rows.swap(againRows);
    m_progress.Advance(0);
  } while (!members.empty());
  return out;
}
