#include <pdmsim/import/imp_Fields.h>

// The second half of imp_Fields: times, result variables, distribution factors.

namespace {

mesh_SetKind SetsOf(mesh_Place place) {
  return place == mesh_Place::kNodeSets      ? mesh_SetKind::kNodes
         : place == mesh_Place::kElementSets ? mesh_SetKind::kElements
                                             : mesh_SetKind::kSides;
}

} // namespace

void imp_Fields::WriteResults() {
  WriteTimes();
  WriteGlobals();
  WriteVariables(mesh_Place::kNodes, m_node);
  WriteVariables(mesh_Place::kNodeSets, m_node);
  WriteVariables(mesh_Place::kBlocks, m_element);
  WriteVariables(mesh_Place::kElementSets, m_element);
  WriteVariables(mesh_Place::kSideSets, m_surface);
  WriteFactors(mesh_SetKind::kNodes, m_node);
  WriteFactors(mesh_SetKind::kElements, m_element);
  WriteFactors(mesh_SetKind::kSides, m_surface);
}

void imp_Fields::WriteTimes() {
  const std::vector<double>& times = m_source.Times();
  if (times.empty())
    return;
  m_frame["time"] =
      m_store.Distribution("time", {imp_Drawer(m_store.Full(m_collections.frames), ORXSimItemType::kDouble)});
  m_store.Write(m_frame["time"], 0, 0, times, times.size());
}

void imp_Fields::WriteGlobals() {
  const auto& keys = m_keys.variables[static_cast<std::size_t>(mesh_Place::kGlobal)];
  const std::size_t steps = m_source.Times().size(), width = keys.size();
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
      m_source.Values(mesh_Place::kGlobal, 0, 0, first + i)->Read(0, width, row.data());
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

std::vector<imp_Column> imp_Fields::Columns(mesh_Place place, std::size_t variable) {
  const mesh_Variables& variables = m_source.Variables(place);
  if (place == mesh_Place::kNodes)
    return {{m_store.Full(m_collections.nodes), "", {{0, m_source.Nodes(), {}}}}};
  std::vector<imp_Column> columns;
  std::vector<bool> blocks;
  imp_Column all; // of the blocks that have the variable
  for (std::size_t entity = 0; entity < variables.present.size(); ++entity) {
    const bool present = variables.present[entity][variable];
    blocks.push_back(present);
    if (present && place == mesh_Place::kBlocks)
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

/// The narrowest type that the numbers of the first step have on all entities.
ORXSimItemType imp_Fields::ResultType(mesh_Place place, std::size_t variable,
                                      const std::vector<imp_Column>& columns) const {
  bool isFloat = true, isLong = false;
  for (const imp_Column& column : columns)
    for (const imp_Piece& piece : column.pieces)
      if (piece.size > 0) {
        const auto type = m_source.Values(place, variable, piece.entity, 0)->NumberType();
        isFloat = isFloat && type == mesh_Numbers::Type::kFloat;
        isLong = type == mesh_Numbers::Type::kLong; // then of all entities
      }
  return isLong ? ORXSimItemType::kInt64 : isFloat ? ORXSimItemType::kFloat : ORXSimItemType::kDouble;
}

void imp_Fields::WriteVariables(mesh_Place place, imp_FieldMap& fields) {
  const auto& keys = m_keys.variables[static_cast<std::size_t>(place)];
  for (std::size_t variable = 0; variable < keys.size(); ++variable) {
    const std::size_t width = m_source.Variables(place).Components(variable);
    const std::size_t steps = m_source.Variables(place).Constant(variable) ? 1 : m_source.Times().size();
    const std::vector<imp_Column> columns = steps ? Columns(place, variable) : std::vector<imp_Column>();
    const ORXSimItemType type = ResultType(place, variable, columns);
    std::vector<ORXSimDrawerDescription> drawers;
    for (std::size_t step = 0; step < steps; ++step)
      for (const imp_Column& column : columns)
        drawers.push_back(imp_Drawer(column.members, type, width, column.key));
    const ORXSimDistributionID id = fields[keys[variable]] =
        m_store.Distribution(keys[variable], drawers, m_source.Variables(place).Unit(variable));
    int drawer = 0;
    for (std::size_t step = 0; step < steps; ++step)
      for (const imp_Column& column : columns) {
        const imp_Target target = Target(id, drawer++);
        std::size_t to = 0;
        for (const imp_Piece& piece : column.pieces) {
          if (piece.size == 0)
            continue;
          const mesh_NumbersPtr values = m_source.Values(place, variable, piece.entity, step);
          const auto read = [&](std::size_t first, std::size_t count, auto* out) {
            values->Read(first, count, out);
          };
          if (type == ORXSimItemType::kFloat)
            imp_CopyPiece<float>(target, to, piece, width, read);
          else if (type == ORXSimItemType::kInt64)
            imp_CopyPiece<long long>(target, to, piece, width, read);
          else
            imp_CopyPiece<double>(target, to, piece, width, read);
          to += piece.size;
        }
      }
  }
}

void imp_Fields::WriteFactors(mesh_SetKind kind, imp_FieldMap& fields) {
  struct Source {
    const mesh_Set* set;
    const imp_Column* column;
    std::size_t width;
  };
  std::vector<Source> sources;
  std::vector<ORXSimDrawerDescription> drawers;
  for (const mesh_Set& set : m_source.Sets(kind)) {
    const imp_SetOut& out = m_sets.Sets(kind)[static_cast<std::size_t>(set.number - 1)];
    if (set.factors == 0 || set.size == 0)
      continue;
    const std::size_t width = set.factors / set.size;
    if (set.factors % set.size != 0 || (kind != mesh_SetKind::kSides && width != 1)) {
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
    const mesh_NumbersPtr factors = m_source.Factors(*set);
    imp_CopyPiece<double>(Target(id, static_cast<int>(i)), 0, column->pieces[0], width,
                          [&, components = width](std::size_t first, std::size_t count, double* out) {
                            factors->Read(first * components, count * components, out);
                          });
  }
}
