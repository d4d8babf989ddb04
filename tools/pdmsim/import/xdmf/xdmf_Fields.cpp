#include <pdmsim/import/xdmf/xdmf_Reader.h>

#include <algorithm>

void xdmf_Reader::ReadAttribute(const byt_XmlNode& reference, double time) {
  const byt_XmlNode& node = m_document->Resolved(reference);
  const std::string& center = node["Center"];
  const std::string& name = node["Name"];
  const bool onNodes = center.empty() || center == "Node", onCells = center == "Cell";
  const byt_XmlNode* const data = node.Child("DataItem");
  if ((!onNodes && !onCells) || !node["ItemType"].empty() || data == nullptr)
    return Note("the attribute " + name + " on " +
                (node["ItemType"].empty() ? byt_Quoted(center) : byt_Quoted(node["ItemType"])));
  const xdmf_Item item = m_document->Item(*data);
  const std::size_t rows = onNodes ? m_nodes : m_cells;
  if (rows == 0 || item.Count() == 0 || item.Count() % rows != 0)
    m_document->Fail("expected values of the attribute " + name + " for " + std::to_string(rows) +
                     " rows, found " + std::to_string(item.Count()));
  const bool isId = node["AttributeType"] == "GlobalId" || name == "label";
  if (isId && item.Count() == rows && !item.IsReal()) {
    const std::vector<long long> ids = item.Read<long long>(m_document->File());
    if (mesh_TakeLabels(m_raw, onCells, onNodes ? ids : mesh_InOrder(ids, m_order, 1)))
      return;
  }
  auto& fields = onNodes ? m_nodeFields : m_cellFields;
  auto field =
      std::find_if(fields.begin(), fields.end(), [&](const Steps& one) { return one.field.name == name; });
  if (field == fields.end()) {
    field = fields.emplace(fields.end());
    field->field.name = name;
    field->field.components = item.Count() / rows;
    field->field.isFloat = item.IsFloat();
  }
  if (field->field.components != item.Count() / rows)
    m_document->Fail("expected " + std::to_string(field->field.components) + " components of the attribute " +
                     name + " at all times, found " + std::to_string(item.Count() / rows));
  field->field.isFloat = field->field.isFloat && item.IsFloat();
  if (!field->items.emplace(time, item).second)
    m_document->Fail("expected the attribute " + name + " once at each time, found it twice" + Text(time));
}

void xdmf_Reader::ReadSet(const byt_XmlNode& reference) {
  const byt_XmlNode& node = m_document->Resolved(reference);
  const std::string& kind = node["SetType"];
  const std::string& name = node["Name"];
  const byt_XmlNode* const data = node.Child("DataItem");
  if ((kind != "Node" && kind != "Cell" && !kind.empty()) || data == nullptr)
    return Note("the set " + name + " of the type " + byt_Quoted(kind));
  const bool known = std::any_of(m_raw.groups.begin(), m_raw.groups.end(), [&](const mesh_RawGroup& one) {
    return one.name == name && (one.dimension < 0) == (kind != "Cell");
  });
  if (known) // of the step before
    return;
  std::vector<int> members = m_document->Item(*data).Read<int>(m_document->File());
  if (kind == "Cell")
    return mesh_AddCellSet(m_raw, name, members, m_order);
  for (const int member : members)
    if (member < 0 || static_cast<std::size_t>(member) >= m_nodes)
      m_document->Fail("expected nodes in the set " + name + ", found " + std::to_string(member));
  m_raw.groups.push_back({-1, name, 0, std::move(members)});
}

void xdmf_Reader::FinishFields(std::vector<Steps>& from, std::vector<mesh_RawField>& to,
                               const std::vector<int>& order) {
  const bool onNodes = &from == &m_nodeFields;
  for (Steps& steps : from) {
    const std::size_t components = steps.field.components, rows = onNodes ? m_nodes : m_cells;
    const auto read = [=, document = m_document, items = steps.items,
                       times = m_raw.times]<class T>(std::size_t step, T none) {
      auto found = step < times.size() ? items.find(times[step]) : items.end();
      if (found == items.end()) // the same at all times, or not there
        found = items.find(kNoTime);
      std::vector<T> values(found == items.end() ? rows * components : 0, none);
      if (found != items.end())
        values = found->second.Read<T>(document->File());
      return mesh_InOrder(std::move(values), order, components);
    };
    steps.field.read = [=](std::size_t step) { return read(step, std::numeric_limits<double>::quiet_NaN()); };
    const auto& items = steps.items;
    if (std::any_of(items.begin(), items.end(), [](const auto& one) { return one.second.IsLong(); }) &&
        std::none_of(items.begin(), items.end(), [](const auto& one) { return one.second.IsReal(); }))
      mesh_KeepIntegers(m_raw, steps.field, std::max<std::size_t>(1, m_raw.times.size()),
                        [=](std::size_t step) { return read(step, 0LL); });
    to.push_back(std::move(steps.field));
  }
}
