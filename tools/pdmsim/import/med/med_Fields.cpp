#include <pdmsim/import/med/med_Reader.h>

#include <pdmsim/mesh/mesh_VtkCells.h>

#include <algorithm>
#include <limits>
#include <set>
#include <type_traits>

// The fields of a MED file: CHA/FIELD/STEP/PLACE/PROFILE/CO, where PLACE is NOE or MAI.TYPE.

namespace {

constexpr std::size_t kMostComponents = 1000, kUnit = 16;
constexpr double kNoTime = -std::numeric_limits<double>::infinity();

/// The units of all components, once when they are the same.
std::string unitOf(const std::string& units) {
  std::vector<std::string> found;
  for (std::size_t at = 0; at < units.size(); at += kUnit) {
    std::string unit = units.substr(at, kUnit);
    unit.erase(unit.find_last_not_of(' ') + 1);
    found.push_back(unit);
  }
  if (found.empty() || std::all_of(found.begin(), found.end(), [&](const auto& u) { return u == found[0]; }))
    return found.empty() ? "" : found[0];
  std::string all;
  for (const std::string& unit : found)
    all += (all.empty() ? "" : ", ") + unit;
  return all;
}

/// Puts the numbers of a part, component after component, into rows.
template <class T>
void addPart(const med_File& file, const med_Part& part, std::size_t components, std::vector<T>& values) {
  std::size_t count = part.rows;
  std::vector<long long> rows;
  if (!part.profile.empty()) {
    rows = file.Longs(part.profile, file.Count(part.profile));
    count = rows.size();
  }
  std::vector<T> columns;
  if constexpr (std::is_integral_v<T>)
    columns = file.Longs(part.data, count * components);
  else
    columns = file.Doubles(part.data, count * components);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t row = rows.empty() ? i : static_cast<std::size_t>(rows[i] - 1);
    if (row >= part.rows)
      file.Fail("expected rows of 1 to " + std::to_string(part.rows) + " in " + part.profile + ", found " +
                std::to_string(rows[i]));
    for (std::size_t k = 0; k < components; ++k)
      values[(part.first + row) * components + k] = columns[k * count + i];
  }
}

} // namespace

void med_Reader::ReadField(const std::string& name) {
  const std::string field = "CHA/" + name;
  const std::string mesh = m_file->Text(field, "MAI");
  if (!mesh.empty() && mesh != m_name)
    return Note("the field " + name + ", which is of the mesh " + mesh);
  const long long components = m_file->Integer(field, "NCO");
  if (components < 1 || components > static_cast<long long>(kMostComponents))
    m_file->Fail("expected 1 to 1000 components of the field " + name + ", found " +
                 std::to_string(components));
  FieldSteps nodes;
  nodes.field.name = name;
  nodes.field.unit = unitOf(m_file->Text(field, "UNI"));
  nodes.field.components = static_cast<std::size_t>(components);
  FieldSteps cells = nodes;
  for (const std::string& step : m_file->Links(field))
    ReadStep(field, field + "/" + step, nodes, cells);
  if (!nodes.parts.empty())
    m_nodeFields.push_back(std::move(nodes));
  if (!cells.parts.empty())
    m_cellFields.push_back(std::move(cells));
}

// Where several steps have one time, as those of modes have, their numbers stand for it.
void med_Reader::FindTimes() {
  for (const std::string& name : m_file->LinksIfAny("CHA")) {
    std::set<double> times, numbers;
    for (const std::string& step : m_file->Links("CHA/" + name)) {
      const std::string place = "CHA/" + name + "/" + step;
      const double number = static_cast<double>(m_file->Integer(place, "NDT", -1));
      if (number < 0)
        continue;
      if (!numbers.insert(number).second)
        m_file->Fail("expected one iteration of each step of the field " + name + ", found several");
      m_byNumber = !times.insert(m_file->Real(place, "PDT", number)).second || m_byNumber;
    }
  }
  if (m_byNumber)
    Note("times of steps: several have the same, and their numbers stand for them");
}

void med_Reader::ReadStep(const std::string& field, const std::string& step, FieldSteps& nodes,
                          FieldSteps& cells) {
  const double number = static_cast<double>(m_file->Integer(step, "NDT", -1));
  const double time = number < 0 ? kNoTime : m_byNumber ? number : m_file->Real(step, "PDT", number);
  for (const std::string& link : m_file->Links(step)) {
    const std::string place = step + "/" + link;
    const auto type = link.starts_with("MAI.") ? m_cells.find(link.substr(4)) : m_cells.end();
    if (link == "NOE")
      ReadPart(place, time, 0, m_nodes, nodes);
    else if (type != m_cells.end())
      ReadPart(place, time, type->second.first, type->second.second, cells);
    else if (const std::string what = "the field " + field.substr(4) + " on " + link;
             std::find(m_raw.notes.begin(), m_raw.notes.end(), what) == m_raw.notes.end())
      Note(what);
  }
}

// A field without time is one whose step has no number: it is the same at all times.
void med_Reader::ReadPart(const std::string& place, double time, std::size_t first, std::size_t rows,
                          FieldSteps& to) {
  for (const std::string& link : m_file->Links(place)) {
    const std::string values = place + "/" + link;
    if (!m_file->IsDataset(values + "/CO"))
      continue;
    if (const long long points = m_file->Integer(values, "NGA", 1); points > 1) {
      const std::string what = "the field " + to.field.name + " at " + std::to_string(points) +
                               " points within each cell (" + place.substr(place.rfind('/') + 1) + ")";
      if (std::find(m_raw.notes.begin(), m_raw.notes.end(), what) == m_raw.notes.end())
        Note(what);
      continue;
    }
    med_Part part{values + "/CO", "", first, rows};
    if (link != "MED_NO_PROFILE_INTERNAL") {
      part.profile = "PROFILS/" + link + "/PFL";
      if (!m_file->IsDataset(part.profile))
        m_file->Fail("expected the profile " + link + " in PROFILS, found none");
    }
    to.field.isFloat = m_file->IsFloat(part.data);
    to.areLong = (to.areLong || to.parts.empty()) && m_file->IsLong(part.data);
    to.parts[time].push_back(std::move(part));
  }
}

void med_Reader::FinishFields() {
  std::set<double> times;
  for (const auto* fields : {&m_nodeFields, &m_cellFields})
    for (const FieldSteps& field : *fields)
      for (const auto& [time, parts] : field.parts)
        if (time != kNoTime)
          times.insert(time);
  m_raw.times.assign(times.begin(), times.end());
  const auto finish = [&](std::vector<FieldSteps>& from, std::size_t rows, std::vector<mesh_RawField>& to) {
    for (FieldSteps& field : from) {
      const std::size_t components = field.field.components;
      if (rows > SIZE_MAX / 16 / components)
        m_file->Fail("expected a field that memory can hold, found " + field.field.name);
      const auto read = [file = m_file, parts = field.parts, times = m_raw.times, rows,
                         components]<class T>(std::size_t step, T none) {
        std::vector<T> values(rows * components, none);
        auto found = step < times.size() ? parts.find(times[step]) : parts.end();
        if (found == parts.end()) // the same at all times, or not there
          found = parts.find(kNoTime);
        if (found != parts.end())
          for (const med_Part& part : found->second)
            addPart(*file, part, components, values);
        return values;
      };
      field.field.read = [=](std::size_t step) {
        return read(step, std::numeric_limits<double>::quiet_NaN());
      };
      if (field.areLong)
        mesh_KeepIntegers(m_raw, field.field, std::max<std::size_t>(1, m_raw.times.size()),
                          [=](std::size_t step) { return read(step, 0LL); });
      to.push_back(std::move(field.field));
    }
  };
  finish(m_nodeFields, m_nodes, m_raw.nodeFields);
  finish(m_cellFields, m_allCells, m_raw.cellFields);
}
