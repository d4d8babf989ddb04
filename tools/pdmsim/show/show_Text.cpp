#include <pdmsim/cli/cli_Failure.h>
#include <pdmsim/show/show_Text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iostream>
#include <ostream>

namespace {

/// Columns that a UTF-8 text takes, near enough.
std::size_t Columns(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

/// The text of a JSON value that is a string, a number or null.
std::string Plain(const show_Json& value) {
  if (value.is_string())
    return show_Printable(value.get_ref<const std::string&>());
  if (value.is_null())
    return "-";
  if (!value.is_number_float())
    return value.dump();
  std::array<char, 32> text{};
  const double number = value.get<double>();
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), end.ptr};
}

std::string Counted(long long count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string OfDrawer(const show_Json& drawer) {
  std::string text = std::to_string(drawer["rows"].get<long long>()) + " x ";
  if (drawer["components"] != 1)
    text += drawer["components"].dump() + " ";
  text += drawer["type"].get<std::string>() + (drawer["all"] == true ? " over all " : " over some ") +
          show_Printable(drawer["collection"].get<std::string>());
  if (drawer.contains("unit"))
    text += " [" + Plain(drawer["unit"]) + "]";
  if (drawer.contains("longName"))
    text += "  (" + Plain(drawer["longName"]) + ")";
  return text;
}

std::string OfField(const show_Json& field) {
  const bool summary = field["drawers"].is_number();
  const long long drawers = summary ? field["drawers"].get<long long>() : std::ssize(field["drawers"]);
  std::string text = summary && drawers == 1 ? OfDrawer(field["first"]) : Counted(drawers, "drawer");
  if (field.contains("unit"))
    text += " [" + Plain(field["unit"]) + "]";
  return summary && drawers > 1 ? text + ", the first " + OfDrawer(field["first"]) : text;
}

std::string OfSet(const show_Json& set) {
  const std::string collection = Plain(set["collection"]), size = set["size"].dump();
  return set["all"] == true ? "all of " + collection : size + " of " + collection;
}

void Line(std::ostream& out, const std::string& name, const std::string& text, int depth) {
  constexpr std::size_t kColumn = 32;
  const std::string shown = std::string(static_cast<std::size_t>(2 * depth), ' ') + show_Printable(name);
  const std::size_t columns = Columns(shown);
  out << shown << std::string(columns + 2 < kColumn ? kColumn - columns : 2, ' ') << text << '\n';
}

void WriteRange(std::ostream& out, const show_Json& range, int depth) {
  std::string text;
  for (const show_Json& one : range) {
    text += (text.empty() ? "" : "   ") + Plain(one["min"]) + " .. " + Plain(one["max"]);
    if (one.contains("nan"))
      text += " (" + one["nan"].dump() + " NaN)";
  }
  Line(out, "range", text, depth);
}

void WriteHead(std::ostream& out, const show_Json& head, int depth) {
  const show_Json& items = head["items"];
  if (!head.contains("rows")) {
    for (const show_Json& item : items)
      Line(out, "", item.dump(), depth);
    return;
  }
  for (std::size_t i = 0; i < head["rows"].size(); ++i) {
    std::string values;
    for (const show_Json& value : head["rows"][i])
      values += (values.empty() ? "" : "  ") + Plain(value);
    Line(out, items.size() > i ? "item " + items[i].dump() : "row " + std::to_string(i), values, depth);
  }
}

void WriteField(std::ostream& out, const std::string& name, const show_Json& field, int depth) {
  Line(out, name, OfField(field), depth);
  if (field["drawers"].is_number())
    return;
  for (const show_Json& drawer : field["drawers"]) {
    Line(out, "drawer " + drawer["drawer"].dump(), OfDrawer(drawer), depth + 1);
    WriteRange(out, drawer["range"], depth + 2);
    if (field.contains("head") && field["head"]["drawer"] == drawer["drawer"])
      WriteHead(out, field["head"], depth + 2);
  }
}

bool Nothing(const show_Json& value) {
  return value.is_null() || (value.is_array() && value.empty()) ||
         (value.is_object() && value.contains("count") && value["count"] == 0);
}

void WriteObject(std::ostream& out, const std::string& name, const show_Json& object, int depth) {
  const std::string full = object["class"].get<std::string>();
  Line(out, name, full.substr(full.rfind('.') + 1), depth);
  for (const char* part : {"members", "children"})
    if (object.contains(part))
      for (const auto& [key, value] : object[part].items())
        if (!Nothing(value))
          show_Write(out, key, value, depth + 1);
}

} // namespace

std::string show_Printable(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f)
      printable += c;
    else
      printable += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
  }
  return printable;
}

void show_Write(std::ostream& out, const std::string& name, const show_Json& value, int depth) {
  const std::string kind = value.is_object() ? value.value("kind", "") : "";
  if (kind == "object")
    return WriteObject(out, name, value, depth);
  if (kind == "field")
    return WriteField(out, name, value, depth);
  if (kind == "missing") {
    Line(out, name, "missing: the file has no " + Plain(value["what"]) + " " + value["id"].dump(), depth);
  } else if (kind == "collection") {
    Line(out, name, Counted(value["items"].get<long long>(), "item"), depth);
  } else if (kind == "set") {
    Line(out, name, OfSet(value), depth);
    if (value.contains("head"))
      WriteHead(out, value["head"], depth + 1);
  } else if (kind == "map") {
    Line(out, name, std::to_string(value["count"].get<long long>()), depth);
    for (const auto& [key, entry] : value["entries"].items())
      show_Write(out, key, entry, depth + 1);
  } else if (kind == "array") {
    Line(out, name, std::to_string(value["count"].get<long long>()), depth);
    for (std::size_t i = 0; i < value["elements"].size(); ++i)
      show_Write(out, std::to_string(i), value["elements"][i], depth + 1);
  } else if (value.is_array()) {
    Line(out, name, Counted(std::ssize(value), "value"), depth);
    for (const show_Json& one : value)
      show_Write(out, "", one, depth + 1);
  } else {
    Line(out, name, value.is_object() ? kind : Plain(value), depth);
  }
}

std::string show_Size(unsigned long long bytes) {
  constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
  double size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 999.5 && unit + 1 < std::size(units); ++unit)
    size /= 1000;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit && size < 99.95 ? "%.1f %s" : "%.0f %s", size, units[unit]);
  return text.data();
}

void show_PrintJson(const show_Json& json) {
  std::cout << json.dump(2, ' ', false, show_Json::error_handler_t::replace) << '\n';
}

void show_Flush() {
  if (!std::cout.flush())
    throw cli_Failure(cli_Exit::kUnusable, "standard output: expected to write, found it closed or full");
}
