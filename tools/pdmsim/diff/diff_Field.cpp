#include <pdmsim/diff/diff_Field.h>

#include <pdmsim/stored/sto_Steps.h>

#include <algorithm>

namespace {

const char* typeName(ORXSimItemType type) {
  return show_TypeName(type);
}

bool isFloating(ORXSimItemType type) {
  return type == ORXSimItemType::kFloat || type == ORXSimItemType::kDouble;
}

/// A component by the name that the drawer's long name lists for it, or its number.
std::string componentName(const ORXSimPersistentDrawerDesc& drawer, std::size_t component) {
  const std::string names(drawer.LongName().CStr());
  std::vector<std::string> list;
  for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 2) {
    end = names.find(", ", at);
    list.push_back(names.substr(at, end == std::string::npos ? end : end - at));
  }
  return list.size() == diff_Size(drawer.Components()) && list.size() > 1 ? list[component]
                                                                          : std::to_string(component);
}

} // namespace

diff_Field::diff_Field(diff_Files& files, std::string path, std::string name, ORXSimDistributionID a,
                       ORXSimDistributionID b, const diff_Steps& steps, const diff_Grouping& grouping)
    : m_files(files), m_path(std::move(path)), m_name(std::move(name)), m_id{a, b}, m_steps(steps),
      m_grouping(grouping), m_tolerance{files.Wishes().tolerances.Of(m_path, m_name, false),
                                        files.Wishes().tolerances.Of(m_path, m_name, true)} {
  m_tolerance[0].abs = std::max(m_tolerance[0].abs, steps.abs);
}

/// Says once for the field that both have a part otherwise.
void diff_Field::Part(const char* part, const std::string& a, const std::string& b, int drawer) {
  if (a == b || !m_told.insert(part).second)
    return;
  show_Json facts{{"a", a}, {"b", b}};
  std::string where;
  if (drawer >= 0) {
    facts["drawer"] = drawer;
    where = m_shape[0].drawers.size() > 1 ? " in drawer " + std::to_string(drawer) : "";
  }
  m_files.Report().Differ(m_path, part, facts,
                          {std::string(part) + where + " is '" + a + "' against '" + b + "'"});
}

/// Where the drawers of a step are. A field has so many for each step, or is constant.
diff_Field::Shape diff_Field::ShapeOf(int side, std::size_t steps) const {
  Shape shape{m_files.Drawers(m_id[side]), 0, true};
  const auto count = static_cast<int>(shape.drawers.size()), all = static_cast<int>(steps);
  const int columns = m_steps.constant ? 0 : sto_DrawersOfStep(count, all, all, [&](int i) {
    return shape.drawers[diff_Size(i)];
  });
  shape.constant = columns == 0;
  shape.columns = diff_Size(shape.constant ? count : columns);
  return shape;
}

void diff_Field::Compare() {
  ++m_files.Report().counts.fields;
  Part("name", ORXSimDistributionRef(m_id[0]).Name().CStr(), ORXSimDistributionRef(m_id[1]).Name().CStr(),
       -1);
  if (m_steps.frames != nullptr) {
    CompareSteps();
  } else {
    for (const int side : {0, 1}) {
      m_shape[side].drawers = m_files.Drawers(m_id[side]);
      m_shape[side].columns = 1;
    }
    const std::size_t a = m_shape[0].drawers.size(), b = m_shape[1].drawers.size();
    Part("drawers", std::to_string(a), std::to_string(b), -1);
    for (std::size_t i = 0; i < std::min(a, b); ++i)
      CompareStep(-1, i, 1, i, 1);
  }
  Finish();
}

void diff_Field::CompareSteps() {
  for (const int side : {0, 1})
    m_shape[side] = ShapeOf(side, diff_Size(m_steps.frames->Count(side)));
  Shape &a = m_shape[0], &b = m_shape[1];
  for (const int side : {0, 1}) // of one step and of none: the same
    if (m_shape[side].columns == m_shape[side].drawers.size())
      m_shape[side].constant = m_shape[side].constant || m_shape[1 - side].constant;
  if (a.drawers.empty() != b.drawers.empty()) {
    Part("drawers", std::to_string(a.drawers.size()), std::to_string(b.drawers.size()), -1);
    return;
  }
  if (a.constant != b.constant) {
    const auto text = [](const Shape& shape) {
      return (shape.constant ? "the same at all steps, in " : "a value at each step, in ") +
             std::to_string(shape.drawers.size()) + " drawers";
    };
    return Part("steps", text(a), text(b), -1);
  }
  if (a.constant)
    return CompareStep(-1, 0, a.columns, 0, b.columns);
  for (int step = 0; step < m_steps.frames->Count(0); ++step)
    if (const int other = m_steps.frames->Other(0, step); other >= 0)
      CompareStep(step, diff_Size(step) * a.columns, a.columns, diff_Size(other) * b.columns, b.columns);
}

std::vector<diff_Column> diff_Field::Columns(int side, std::size_t first, std::size_t count) const {
  std::vector<diff_Column> columns;
  for (std::size_t i = first; i < first + count; ++i) {
    diff_Column column{static_cast<int>(i), m_shape[side].drawers[i].CSet(), "", {}};
    m_grouping(side, m_shape[side].drawers[i], columns, column);
    columns.push_back(std::move(column));
  }
  return columns;
}

void diff_Field::CompareStep(int step, std::size_t firstA, std::size_t countA, std::size_t firstB,
                             std::size_t countB) {
  std::vector<ORXSimCSetID> sets;
  for (std::size_t i = 0; i < countA; ++i)
    sets.push_back(m_shape[0].drawers[firstA + i].CSet());
  for (std::size_t i = 0; i < countB; ++i)
    sets.push_back(m_shape[1].drawers[firstB + i].CSet());
  if (sets != m_planned || sets.empty()) {
    m_plan = diff_PlanRows(m_files, Columns(0, firstA, countA), Columns(1, firstB, countB));
    m_planned = std::move(sets);
    if (m_plan->apart)
      Part("collection", ORXSimCollectionRef(m_shape[0].drawers[firstA].CSet().Collection()).Name().CStr(),
           "another, " +
               std::string(ORXSimCollectionRef(m_shape[1].drawers[firstB].CSet().Collection()).Name().CStr()),
           static_cast<int>(firstA));
    for (const int side : {0, 1})
      if (m_plan->only[side] > 0 && m_told.insert("rows" + std::to_string(side)).second)
        m_files.Report().Differ(m_path, "rows", {{side == 0 ? "onlyInA" : "onlyInB", m_plan->only[side]}},
                                {"values for " + std::to_string(m_plan->only[side]) + " more, as for " +
                                 m_plan->first[side] + ", only in " + m_files.File(side).Path()});
  }
  for (const diff_Run& run : m_plan->runs) {
    const std::size_t a = firstA + run.a, b = firstB + run.b;
    CompareDrawers(m_shape[0].drawers[a], m_shape[1].drawers[b], static_cast<int>(a));
    CompareRun(run, step, static_cast<int>(a), static_cast<int>(b));
  }
}

void diff_Field::CompareDrawers(const ORXSimPersistentDrawerDesc& a, const ORXSimPersistentDrawerDesc& b,
                                int drawer) {
  const auto unit = [&](int side, const ORXSimPersistentDrawerDesc& desc) {
    return std::string(desc.Unit().Empty() ? ORXSimDistributionRef(m_id[side]).Unit().CStr()
                                           : desc.Unit().CStr());
  };
  if (a.Unit() != b.Unit() || !m_told.contains("units seen")) {
    m_told.insert("units seen");
    Part("unit", unit(0, a), unit(1, b), drawer);
  }
  Part("longName", a.LongName().CStr(), b.LongName().CStr(), drawer);
  Part("type", typeName(a.Type()), typeName(b.Type()), drawer);
  Part("components", std::to_string(a.Components()), std::to_string(b.Components()), drawer);
}

void diff_Field::CompareRun(const diff_Run& run, int step, int drawerA, int drawerB) {
  const diff_Reader a(m_id[0], drawerA), b(m_id[1], drawerB);
  if (a.Width() != b.Width())
    return; // was told
  const ORXSimItemType type = a.Type();
  if (type != b.Type())
    return isFloating(type) || isFloating(b.Type()) ? CompareValues<double>(run, step, drawerA, a, b)
                                                    : CompareValues<std::int64_t>(run, step, drawerA, a, b);
  switch (type) {
  case ORXSimItemType::kInt32:
    return CompareValues<std::int32_t>(run, step, drawerA, a, b);
  case ORXSimItemType::kInt64:
    return CompareValues<std::int64_t>(run, step, drawerA, a, b);
  case ORXSimItemType::kFloat:
    return CompareValues<float>(run, step, drawerA, a, b);
  case ORXSimItemType::kDouble:
    return CompareValues<double>(run, step, drawerA, a, b);
  }
}

template <class T>
void diff_Field::CompareValues(const diff_Run& run, int step, int drawer, const diff_Reader& a,
                               const diff_Reader& b) {
  const std::size_t width = a.Width();
  m_integers = m_integers && std::is_integral_v<T>;
  diff_ForEachPiece<T>(
      run, a, b, m_files.Progress(),
      [&](const T* first, const T* second, std::size_t rows, const auto& rowOf) {
        diff_Tally piece;
        diff_Compare(first, second, rows * width, m_tolerance[std::is_integral_v<T>],
                     m_files.Wishes().nanEqual, piece);
        if (diff_Join(m_tally, piece))
          m_worst = {drawer, step, piece.worst.index % width, rowOf(piece.worst.index / width)};
      });
}

void diff_Field::Finish() {
  m_files.Report().counts.values += m_tally.compared;
  if (m_tally.different == 0)
    return;
  const ORXSimPersistentDrawerDesc& drawer = m_shape[0].drawers[diff_Size(m_worst.drawer)];
  const ORXSimCSetID set = drawer.CSet();
  const int item = set.Minor() == 0 ? static_cast<int>(m_worst.row) : m_files.Members(set)[m_worst.row];
  const diff_Matching* const matching =
      m_files.Matching(set.Collection(), m_shape[1].drawers[0].CSet().Collection());
  const std::string label = matching == nullptr ? std::to_string(item) : matching->Name(0, item);
  show_Json where{{"item", item}, {"component", m_worst.component}, {"drawer", m_worst.drawer}};
  if (matching != nullptr && matching->HasLabels())
    where["label"] = std::atoll(label.c_str());
  std::string text = m_files.Word(set.Collection()) + " " + label;
  if (drawer.Components() > 1)
    text += ", component " + componentName(drawer, m_worst.component);
  if (m_worst.step >= 0) {
    const auto step = diff_Size(m_worst.step);
    where["step"] = m_worst.step;
    text += ", step " + std::to_string(step);
    if (step < m_steps.times.size()) {
      where["time"] = diff_JsonNumber(m_steps.times[step]);
      text += " (time " + diff_Number(m_steps.times[step]) + ")";
    }
  } else if (m_shape[0].drawers.size() > 1) {
    text += ", drawer " + std::to_string(m_worst.drawer);
  }
  m_files.Report().DifferInValues(m_path, m_name, m_integers, m_tally, where, text);
}
