#include <pdmsim/view/view_Record.h>

#include <algorithm>
#include <sstream>

namespace {

const std::string kPath = std::string("/") + view_Record::kGroup, kDatasets = kPath + "/datasets",
                  kCopied = kPath + "/copied";

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
  if (!file.Attribute(view_Record::kGroup, name, attribute) || attribute.integers.size() != 1)
    return false;
  number = attribute.integers.front();
  return true;
}

} // namespace

std::string view_Describe(std::string_view name, hdf_Datatype::Kind type, std::uint64_t rows,
                          std::uint64_t width) {
  constexpr const char* kNames[] = {"int32", "int8", "int64", "float32", "float64"};
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

std::string view_Digest(const hdf_ForeignFile& file, const std::string& path) {
  constexpr std::uint64_t kBegin = 0xcbf29ce484222325, kPrime = 0x100000001b3; // FNV-1a
  std::uint64_t sum = kBegin;
  const auto add = [&sum](std::uint64_t value) { sum = (sum ^ value) * kPrime; };
  hdf_ForeignShape shape;
  hdf_ForeignAttribute checksums, longName; // which has an element's type
  std::vector<int> bytes;                   // of what describes objects
  if (file.Look(path) != hdf_ForeignKind::kDataset || !file.Shape(path, shape))
    return {};
  for (const std::uint64_t dim : shape.dims)
    add(dim);
  if (file.HasAttribute(path, "long_name"))
    file.Attribute(path, "long_name", longName);
  for (const char one : longName.text)
    add(static_cast<unsigned char>(one));
  if (file.HasAttribute(path, "checksums") && file.Attribute(path, "checksums", checksums))
    for (const std::int64_t one : checksums.integers)
      add(static_cast<std::uint64_t>(one));
  else if (bytes.resize(shape.bytes == 1 ? shape.Elements() : 0);
           !bytes.empty() && file.Read(path, hdf_Datatype::NATIVE_INT, bytes.data()))
    for (const int one : bytes)
      add(static_cast<std::uint64_t>(one));
  else if (shape.Elements() > 0)
    return {};
  return std::to_string(sum);
}

std::vector<std::string> view_MeshDatasets(const hdf_ForeignFile& file) {
  const std::string collections = "store/collections";
  std::vector<std::string> paths{"sim/discreteModel/mesh/#simpleTypeMembers"}, numbers;
  if (file.Look(collections) == hdf_ForeignKind::kGroup)
    file.Links(collections, numbers);
  for (const std::string& number : numbers) {
    const std::string folder = collections + "/" + number + "/sets";
    std::vector<std::string> sets;
    if (file.Look(folder) == hdf_ForeignKind::kGroup)
      file.Links(folder, sets);
    for (const std::string& set : sets)
      paths.push_back(folder + "/" + set);
  }
  numbers.clear();
  if (file.Look("store/distributions") == hdf_ForeignKind::kGroup)
    file.Links("store/distributions", numbers);
  for (const std::string& number : numbers) {
    const std::string field = "store/distributions/" + number;
    hdf_ForeignAttribute name;
    if (file.HasAttribute(field, "name") && file.Attribute(field, "name", name) && name.text == "label")
      paths.push_back(field + "/0");
  }
  return paths;
}

bool view_Record::HasCopied(const std::string& simulation) const {
  const hdf_ForeignFile stored(simulation);
  return !copied.empty() && std::all_of(copied.begin(), copied.end(), [&](const auto& one) {
    return !one.second.empty() && view_Digest(stored, one.first) == one.second;
  });
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
    return view.Numbers(kPath, name, {&value, 1}, true);
  };
  const auto list = [&](const std::string& path, const std::string& text) {
    return view.Create(path, {hdf_Datatype::kUChar, text.size()}) &&
           view.Write(path, 0, text.size(), text.data());
  };
  std::string text, copies;
  for (const auto& [place, description] : datasets)
    text += place.first + '\t' + place.second + '\t' + description + '\n';
  for (const auto& [path, digest] : copied)
    copies += path + '\t' + digest + '\n';
  return view.Group(kPath) && view.Text(kPath, "file", file) && view.Text(kPath, "file_id", id) &&
         number("nodes", nodes) && number("elements", elements) && number("series", series ? 1 : 0) &&
         list(kDatasets, text) && list(kCopied, copies);
}

bool view_Record::Read(const std::string& view) {
  const hdf_ForeignFile stored(view);
  hdf_ForeignAttribute name, mark;
  std::vector<std::string> texts;
  std::int64_t one = 0;
  if (!stored.IsOpen() || !stored.Attribute(kGroup, "file", name) ||
      !stored.Attribute(kGroup, "file_id", mark) || !readNumber(stored, "nodes", nodes) ||
      !readNumber(stored, "elements", elements) || !readNumber(stored, "series", one) ||
      !stored.Texts(kDatasets.substr(1), texts))
    return false;
  file = name.text;
  id = mark.text;
  series = one != 0;
  std::istringstream lines(texts.empty() ? std::string() : texts.front());
  for (std::string in, path, description;
       std::getline(lines, in, '\t') && std::getline(lines, path, '\t') && std::getline(lines, description);)
    Add(in, path, description);
  texts.clear();
  if (stored.Look(kCopied.substr(1)) != hdf_ForeignKind::kDataset || // of an older version
      !stored.Texts(kCopied.substr(1), texts) || texts.empty())
    return true;
  std::istringstream copies(texts.front());
  for (std::string path, digest; std::getline(copies, path, '\t') && std::getline(copies, digest);)
    copied.emplace(path, digest);
  return true;
}
