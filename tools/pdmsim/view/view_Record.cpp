#include <pdmsim/view/view_Record.h>

#include <algorithm>
#include <sstream>

namespace {

constexpr char kGroup[] = "/source";
constexpr char kDatasets[] = "/source/datasets";

std::string describe(std::string_view name, const std::string& type, std::uint64_t rows,
                     std::uint64_t width) {
  std::string text = name.empty() ? "" : "'" + std::string(name) + "', ";
  const auto ends = [](unsigned char c) { return c < ' '; }; // a record's line, or its column
  std::replace_if(text.begin(), text.end(), ends, '?');
  text += type + " " + std::to_string(rows);
  return width > 1 ? text + " x " + std::to_string(width) : text;
}

bool readNumber(const hdf_ForeignFile& file, const char* name, std::int64_t& number) {
  hdf_ForeignAttribute attribute;
  if (!file.Attribute("source", name, attribute) || attribute.integers.size() != 1)
    return false;
  number = attribute.integers.front();
  return true;
}

} // namespace

std::string view_Describe(std::string_view name, hdf_ViewType type, std::uint64_t rows, std::uint64_t width) {
  constexpr const char* kNames[] = {"int8", "int32", "int64", "float32", "float64"};
  return describe(name, kNames[static_cast<std::size_t>(type)], rows, width);
}

std::string view_Describe(const hdf_ForeignFile& file, const std::string& absolute) {
  const std::string path = absolute.substr(1);
  hdf_ForeignShape shape;
  if (!file.Shape(path, shape))
    return {};
  hdf_ForeignAttribute name; // of the field, which is the group around
  const std::size_t slash = path.rfind('/');
  if (slash != std::string::npos)
    file.Attribute(path.substr(0, slash), "name", name);
  return describe(name.text,
                  (shape.type == hdf_ForeignType::kFloat ? "float" : "int") + std::to_string(8 * shape.bytes),
                  shape.dims.empty() ? 1 : shape.dims[0], shape.dims.size() > 1 ? shape.dims[1] : 1);
}

std::string view_FileId(const std::string& file) {
  hdf_ForeignAttribute id;
  hdf_ForeignFile(file).Attribute("", "file_id", id);
  std::string text;
  for (const std::int64_t byte : id.integers)
    for (const int shift : {4, 0})
      text += "0123456789abcdef"[(byte >> shift) & 15];
  return text;
}

bool view_Record::Write(hdf_View& view) const {
  const auto number = [&](const char* name, std::int64_t value) {
    return view.Numbers(kGroup, name, {&value, 1}, true);
  };
  std::string text;
  for (const auto& [place, description] : datasets)
    text += place.first + '\t' + place.second + '\t' + description + '\n';
  return view.Group(kGroup) && view.Text(kGroup, "file", file) && view.Text(kGroup, "file_id", id) &&
         number("nodes", nodes) && number("elements", elements) && number("series", series ? 1 : 0) &&
         view.Create(kDatasets, {hdf_ViewType::kUInt8, text.size()}) &&
         view.Write(kDatasets, 0, text.size(), text.data());
}

bool view_Record::Read(const std::string& view) {
  const hdf_ForeignFile stored(view);
  hdf_ForeignAttribute name, mark;
  std::vector<std::string> texts;
  std::int64_t one = 0;
  if (!stored.IsOpen() || !stored.Attribute("source", "file", name) ||
      !stored.Attribute("source", "file_id", mark) || !readNumber(stored, "nodes", nodes) ||
      !readNumber(stored, "elements", elements) || !readNumber(stored, "series", one) ||
      !stored.Texts(kDatasets + 1, texts))
    return false;
  file = name.text;
  id = mark.text;
  series = one != 0;
  std::istringstream lines(texts.empty() ? std::string() : texts.front());
  for (std::string in, path, description;
       std::getline(lines, in, '\t') && std::getline(lines, path, '\t') && std::getline(lines, description);)
    Add(in, path, description);
  return true;
}
