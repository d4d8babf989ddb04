#include <pdmsim/import/imp_Fields.h>

// The second half of imp_Fields: times, result variables, distribution factors.

namespace {

exo_SetKind SetsOf(exo_Place place) {
  return place == exo_Place::kNodeSets      ? exo_SetKind::kNodes
         : place == exo_Place::kElementSets ? exo_SetKind::kElements
                                            : exo_SetKind::kSides;
}

} // namespace

void imp_Fields::WriteResults() {
  WriteTimes();
  WriteGlobals();
  WriteVariables(exo_Place::kNodes, m_node);
  WriteVariables(exo_Place::kNodeSets, m_node);
  WriteVariables(exo_Place::kBlocks, m_element);
  WriteVariables(exo_Place::kElementSets, m_element);
  WriteVariables(exo_Place::kSideSets, m_surface);
  WriteFactors(exo_SetKind::kNodes, m_node);
  WriteFactors(exo_SetKind::kElements, m_element);
  WriteFactors(exo_SetKind::kSides, m_surface);
}

void imp_Fields::WriteTimes() {
  const std::vector<double>& times = m_exo.Times();
  if (times.empty())
    return;
  m_frame["time"] =
      m_store.Distribution("time", {imp_Drawer(m_store.Full(m_collections.frames), ORXSimItemType::kDouble)});
  m_store.Write(m_frame["time"], 0, 0, times, times.size());
}

void imp_Fields::WriteGlobals() {
  const auto& keys = m_keys.variables[static_cast<std::size_t>(exo_Place::kGlobal)];
  const std::size_t steps = m_exo.Times().size(), width = keys.size();
  if (steps == 0)
    return;
  std::vector<ORXSimDistributionID> ids;
  for (const std::string& key : keys)
    ids.push_back(m_frame[key] = m_store.Distribution(
                      key, {imp_Drawer(m_store.Full(m_collections.frames), ORXSimItemType::kDouble)}));
  // The mesh has all variables of a step together; here each has its steps together.
  const std::size_t atATime = width ? imp_RowsAtATime<double>(width) : steps;
  std::vector<double> row(width), block;
  for (std::size_t first = 0; first < steps && width; first += atATime) {
    const std::size_t count = std::min(atATime, steps - first);
    block.resize(count * width);
    for (std::size_t i = 0; i < count; ++i) {
      m_exo.Values(exo_Place::kGlobal, 0, 0, first + i).Read(0, width, row.data());
      for (std::size_t variable = 0; variable < width; ++variable)
        block[variable * count + i] = row[variable];
    }
    for (std::size_t variable = 0; variable < width; ++variable) {
      const auto begin = block.begin() + static_cast<std::ptrdiff_t>(variable * count);
      m_store.Write(ids[variable], 0, first,
                    std::vector<double>(begin, begin + static_cast<std::ptrdiff_t>(count)), count);
    }
    m_progress.Advance(8.0 * static_cast<double>(block.size()));
  }
}

std::vector<imp_Column> imp_Fields::Columns(exo_Place place, std::size_t variable) {
  const exo_Variables& variables = m_exo.Variables(place);
  if (place == exo_Place::kNodes)
    return {{m_store.Full(m_collections.nodes), "", {{0, m_exo.Nodes(), {}}}}};
  std::vector<imp_Column> columns;
  std::vector<bool> blocks;
  imp_Column all; // of the blocks that have the variable
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity) {
    const bool present = variables.present[entity][variable];
    blocks.push_back(present);
    if (present && place == exo_Place::kBlocks)
      all.pieces.push_back({entity, variables.entitySizes[entity], {}});
    else if (present)
      for (const imp_Column& column : m_sets.Sets(SetsOf(place))[entity].columns)
        columns.push_back(column);
  }
  if (!all.pieces.empty()) {
    all.members = m_sets.Elements(blocks);
    columns.push_back(std::move(all));
  }
  return columns;
}

void imp_Fields::WriteVariables(exo_Place place, imp_FieldMap& fields) {
  const std::size_t steps = m_exo.Times().size();
  const auto& keys = m_keys.variables[static_cast<std::size_t>(place)];
  for (std::size_t variable = 0; variable < keys.size(); ++variable) {
    const std::vector<imp_Column> columns = steps ? Columns(place, variable) : std::vector<imp_Column>();
    bool isFloat = true;
    for (const imp_Column& column : columns)
      for (const imp_Piece& piece : column.pieces)
        isFloat =
            isFloat && (piece.size == 0 || m_exo.Values(place, variable, piece.entity, 0).Array().IsFloat());
    std::vector<ORXSimDrawerDescription> drawers;
    for (std::size_t step = 0; step < steps; ++step)
      for (const imp_Column& column : columns)
        drawers.push_back(imp_Drawer(
            column.members, isFloat ? ORXSimItemType::kFloat : ORXSimItemType::kDouble, 1, column.key));
    const ORXSimDistributionID id = fields[keys[variable]] = m_store.Distribution(keys[variable], drawers);
    int drawer = 0;
    for (std::size_t step = 0; step < steps; ++step)
      for (const imp_Column& column : columns) {
        const imp_Target target = Target(id, drawer++);
        std::size_t to = 0;
        for (const imp_Piece& piece : column.pieces) {
          if (piece.size == 0)
            continue;
          const exo_Series values = m_exo.Values(place, variable, piece.entity, step);
          const auto read = [&](std::size_t first, std::size_t count, auto* out) {
            values.Read(first, count, out);
          };
          if (isFloat)
            imp_CopyPiece<float>(target, to, piece, 1, read);
          else
            imp_CopyPiece<double>(target, to, piece, 1, read);
          to += piece.size;
        }
      }
  }
}

void imp_Fields::WriteFactors(exo_SetKind kind, imp_FieldMap& fields) {
  struct Source {
    const exo_Set* set;
    const imp_Column* column;
    std::size_t width;
  };
  std::vector<Source> sources;
  std::vector<ORXSimDrawerDescription> drawers;
  for (const exo_Set& set : m_exo.Sets(kind)) {
    const imp_SetOut& out = m_sets.Sets(kind)[static_cast<std::size_t>(set.number - 1)];
    if (set.factors == 0 || set.size == 0)
      continue;
    const std::size_t width = set.factors / set.size;
    if (set.factors % set.size != 0 || (kind != exo_SetKind::kSides && width != 1)) {
      m_notes.push_back("the " + std::to_string(set.factors) + " distribution factors of " + out.key +
                        " with " + std::to_string(set.size) + " entries");
      continue;
    }
    for (const imp_Column& column : out.columns) {
      sources.push_back({&set, &column, width});
      drawers.push_back(imp_Drawer(column.members, ORXSimItemType::kDouble, width, out.key));
    }
  }
  if (drawers.empty())
    return;
  const ORXSimDistributionID id = fields["distributionFactor"] =
      m_store.Distribution("distributionFactor", drawers);
  for (std::size_t i = 0; i < sources.size(); ++i) {
    const auto& [set, column, width] = sources[i];
    const exo_Series factors = m_exo.Factors(*set);
    imp_CopyPiece<double>(Target(id, static_cast<int>(i)), 0, column->pieces[0], width,
                          [&, components = width](std::size_t first, std::size_t count, double* out) {
                            factors.Read(first * components, count * components, out);
                          });
  }
}
