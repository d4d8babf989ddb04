#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <ostream>

namespace {

constexpr std::size_t kColumn = 32;

/// Columns that a UTF-8 text takes, near enough.
std::size_t Columns(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

/// What members mean whose names say little to those who meet them first.
struct Meaning {
  const char *member, *text;
};
constexpr Meaning kMeanings[] = {
    {"vectors", "the axes of space"},
    {"localNodes", "the nodes within one element"},
    {"frames", "the steps"},
    {"regions", "the blocks"},
    {"elementSets", "the blocks among them"},
    {"regionSets", "the blocks' names, each with its item of regions"},
    {"surfaces", "sets of element sides"},
    {"dofs", "degrees of freedom, as the system numbers them"},
    {"solverDofOrdering", "the DOFs that the solver uses, in its order"},
};

std::string MeaningOf(const std::string& member) {
  for (const Meaning& meaning : kMeanings)
    if (member == meaning.member)
      return std::string("  (") + meaning.text + ")";
  return "";
}

bool Nothing(const show_Json& value) {
  return value.is_null() || (value.is_array() && value.empty()) ||
         (value.is_object() && value.contains("count") && value["count"] == 0);
}

/// Writes one description; knows how far numbers are told and where lists are cut.
class Writer {
 public:
  Writer(std::ostream& out, const show_Format& format) : m_out(out), m_format(format) {}

  void Write(const std::string& name, const show_Json& value, int depth, const std::string& meaning = "");

 private:
  std::string Plain(const show_Json& value) const;
  std::string OfDrawer(const show_Json& drawer, bool isSides) const;
  std::string OfField(const show_Json& field) const;
  std::string OfSet(const std::string& key, const show_Json& set) const;
  void Line(const std::string& name, const std::string& text, int depth);
  void WriteRange(const show_Json& range, int depth);
  void WriteHead(const show_Json& head, long long size, int depth);
  void WriteField(const std::string& name, const show_Json& field, int depth);
  void WriteObject(const std::string& name, const show_Json& object, int depth);
  void WriteMap(const std::string& name, const show_Json& map, int depth, const std::string& meaning);
  void WriteArray(const std::string& name, const show_Json& array, int depth);
  void WriteList(const std::string& name, const show_Json& list, int depth);
  long long Cut(long long count, int times = 1) const {
    return m_format.most == 0 ? count : std::min(count, static_cast<long long>(m_format.most) * times);
  }
  void More(long long count, int depth) {
    if (count > 0)
      m_out << std::string(static_cast<std::size_t>(2 * depth), ' ') << show_More(count) << '\n';
  }

  std::ostream& m_out;
  const show_Format& m_format;
};

/// The text of a JSON value that is a string, a number or null.
std::string Writer::Plain(const show_Json& value) const {
  if (value.is_string())
    return show_Printable(value.get_ref<const std::string&>());
  if (value.is_null())
    return "-";
  return value.is_number_float() ? show_Number(value.get<double>(), m_format.digits) : value.dump();
}

std::string Writer::OfDrawer(const show_Json& drawer, bool isSides) const {
  std::string text = std::to_string(drawer["rows"].get<long long>()) + " x ";
  if (drawer["components"] != 1)
    text += drawer["components"].dump() + " ";
  text += drawer["type"].get<std::string>();
  if (isSides)
    text += ", the side's number from 0,";
  const std::string collection = drawer.contains("collection") ? Plain(drawer["collection"]) : "?";
  if (drawer.contains("set"))
    text += " over " + collection + " of " + Plain(drawer["set"]);
  else
    text += " over " + (drawer.value("all", false) ? "all " : drawer["rows"].dump() + " of ") + collection;
  if (drawer.contains("unit"))
    text += " [" + Plain(drawer["unit"]) + "]";
  if (drawer.contains("longName"))
    text += "  (" + Plain(drawer["longName"]) + ")";
  return text;
}

std::string Writer::OfField(const show_Json& field) const {
  const std::string unit = field.contains("unit") ? " [" + Plain(field["unit"]) + "]" : "";
  if (field.contains("sides"))
    return show_Counted(field["sides"].get<long long>(), "side") + " of " +
           show_Counted(field["elements"].get<long long>(), "element") + unit;
  const bool summary = field["drawers"].is_number();
  const long long drawers = summary ? field["drawers"].get<long long>() : field["count"].get<long long>();
  if (summary && drawers == 1)
    return OfDrawer(field["first"], false) + unit;
  const std::string steps =
      field.contains("steps") ? " of " + show_Counted(field["steps"].get<long long>(), "step") : "";
  const std::string text = show_Counted(drawers, "drawer") + steps + unit;
  return summary && drawers > 1 ? text + ", the first " + OfDrawer(field["first"], false) : text;
}

/// \param key  what the line begins with, which need not be said again.
std::string Writer::OfSet(const std::string& key, const show_Json& set) const {
  const std::string collection = Plain(set["collection"]), size = set["size"].dump();
  const std::string name = set.contains("set") && set["set"] != key ? "  (" + Plain(set["set"]) + ")" : "";
  return set["all"] == true ? "all of " + collection : size + " of " + collection + name;
}

void Writer::Line(const std::string& name, const std::string& text, int depth) {
  const std::string shown = std::string(static_cast<std::size_t>(2 * depth), ' ') + show_Printable(name);
  const std::size_t columns = Columns(shown);
  m_out << shown << std::string(columns + 2 < kColumn ? kColumn - columns : 2, ' ') << text << '\n';
}

void Writer::WriteRange(const show_Json& range, int depth) {
  std::string text;
  for (const show_Json& one : range) {
    text += (text.empty() ? "" : "   ") + Plain(one["min"]) + " .. " + Plain(one["max"]);
    if (one.contains("nan"))
      text += " (" + one["nan"].dump() + " NaN)";
  }
  Line("range", text, depth);
}

/// Rows with what people know them by; numbers stand in columns.
void Writer::WriteHead(const show_Json& head, long long size, int depth) {
  const show_Json none = show_Json::array();
  const show_Json& items = head["items"];
  const show_Json& rows = head.contains("rows") ? head["rows"] : none;
  std::vector<std::vector<std::string>> table(std::max(items.size(), rows.size()));
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < rows.size(); ++i)
    for (const show_Json& value : rows[i]) {
      table[i].push_back(Plain(value));
      widths.resize(std::max(widths.size(), table[i].size()));
      widths[table[i].size() - 1] = std::max(widths[table[i].size() - 1], table[i].back().size());
    }
  for (std::size_t i = 0; i < table.size(); ++i) {
    std::string name = i < items.size() ? "item " + items[i].dump() : "row " + std::to_string(i);
    if (head.contains("labels"))
      name += "  label " + head["labels"][i].dump();
    if (head.contains("times"))
      name += "  time " + Plain(head["times"][i]);
    std::string values;
    for (std::size_t k = 0; k < table[i].size(); ++k)
      values += std::string(widths[k] - table[i][k].size() + (k == 0 ? 0 : 2), ' ') + table[i][k];
    Line(name, values, depth);
  }
  More(size - static_cast<long long>(table.size()), depth);
}

void Writer::WriteField(const std::string& name, const show_Json& field, int depth) {
  Line(name, OfField(field), depth);
  if (field["drawers"].is_number())
    return;
  for (const show_Json& drawer : field["drawers"]) {
    const std::string step =
        drawer.contains("step") ? "  step " + drawer["step"].dump() + ", time " + Plain(drawer["time"]) : "";
    Line("drawer " + drawer["drawer"].dump() + step, OfDrawer(drawer, field.contains("sides")), depth + 1);
    WriteRange(drawer["range"], depth + 2);
    if (drawer.contains("head"))
      WriteHead(drawer["head"], drawer["rows"].get<long long>(), depth + 2);
  }
  const long long left = field["count"].get<long long>() - std::ssize(field["drawers"]);
  if (left > 0)
    m_out << std::string(static_cast<std::size_t>(2 * depth + 2), ' ') << show_More(left)
          << (field.contains("steps") ? " (--step, --drawer)" : " (--drawer)") << '\n';
}

void Writer::WriteObject(const std::string& name, const show_Json& object, int depth) {
  const std::string full = object["class"].get<std::string>();
  Line(name, full.substr(full.rfind('.') + 1), depth);
  for (const char* part : {"members", "children"})
    if (object.contains(part))
      for (const auto& [key, value] : object[part].items())
        if (!Nothing(value))
          Write(key, value, depth + 1, MeaningOf(key));
}

void Writer::WriteMap(const std::string& name, const show_Json& map, int depth, const std::string& meaning) {
  const auto count = map["count"].get<long long>(), shown = Cut(count, 10);
  Line(name, std::to_string(count) + meaning, depth);
  long long i = 0;
  for (const auto& [key, entry] : map["entries"].items())
    if (i++ < shown)
      Write(key, entry, depth + 1);
  More(count - shown, depth + 1);
}

void Writer::WriteArray(const std::string& name, const show_Json& array, int depth) {
  const auto count = array["count"].get<long long>();
  const long long shown = Cut(std::ssize(array["elements"]));
  Line(name, std::to_string(count), depth);
  for (long long i = 0; i < shown; ++i)
    Write(std::to_string(i), array["elements"][static_cast<std::size_t>(i)], depth + 1);
  More(count - shown, depth + 1);
}

void Writer::WriteList(const std::string& name, const show_Json& list, int depth) {
  const long long count = std::ssize(list), shown = Cut(count);
  Line(name, show_Counted(count, "value"), depth);
  for (long long i = 0; i < shown; ++i)
    Write("", list[static_cast<std::size_t>(i)], depth + 1);
  More(count - shown, depth + 1);
}

void Writer::Write(const std::string& name, const show_Json& value, int depth, const std::string& meaning) {
  const std::string kind = value.is_object() ? value.value("kind", "") : "";
  if (kind == "object")
    return WriteObject(name, value, depth);
  if (kind == "field")
    return WriteField(name, value, depth);
  if (kind == "map")
    return WriteMap(name, value, depth, meaning);
  if (kind == "array")
    return WriteArray(name, value, depth);
  if (value.is_array())
    return WriteList(name, value, depth);
  if (kind == "missing") {
    Line(name, "missing: the file has no " + Plain(value["what"]) + " " + value["id"].dump(), depth);
  } else if (kind == "collection") {
    Line(name, show_Counted(value["items"].get<long long>(), "item") + meaning, depth);
  } else if (kind == "set") {
    Line(name, OfSet(name, value) + meaning, depth);
    if (value.contains("head"))
      WriteHead(value["head"], value["size"].get<long long>(), depth + 1);
  } else {
    Line(name, (value.is_object() ? kind : Plain(value)) + meaning, depth);
  }
}

} // namespace

void show_Write(std::ostream& out, const std::string& name, const show_Json& value, int depth,
                const show_Format& format) {
  Writer(out, format).Write(name, value, depth);
}
